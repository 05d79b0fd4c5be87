#pragma once

#include <Alembic/Abc/OArchive.h>
#include <Alembic/AbcCoreAbstract/All.h>

#include <functional>

/// Copies properties of one archive into another as they are: names, meta data, types, samples,
/// dimensions, time samplings. Nothing is decoded, so whatever a schema or a pipeline keeps there
/// comes through. Throws std::exception where the source cannot be read.
class PropertyCopy {
public:
    using Reader = Alembic::AbcCoreAbstract::CompoundPropertyReaderPtr;
    using Writer = Alembic::AbcCoreAbstract::CompoundPropertyWriterPtr;
    using Header = Alembic::AbcCoreAbstract::PropertyHeader;
    /// Asked for each property directly in a compound; true where it was dealt with.
    using Exception = std::function<bool(const Reader &, const Header &, const Writer &)>;

    /// The archive must outlive this.
    explicit PropertyCopy(Alembic::Abc::OArchive &archive);

    void copyAll(const Reader &from, const Writer &to, const Exception &exception = {});
    void copy(const Reader &from, const Header &header, const Writer &to);
    void copySamples(Alembic::AbcCoreAbstract::ScalarPropertyReader &from,
                     Alembic::AbcCoreAbstract::ScalarPropertyWriter &to);

    /// The index of an equal time sampling in the new archive, which gets it where it has none.
    Alembic::Util::uint32_t sampling(const Alembic::AbcCoreAbstract::TimeSampling &sampling);

private:
    void copyNested(const Reader &from, const Writer &to, int depth);
    void copyOne(const Reader &from, const Header &header, const Writer &to, int depth);
    void copyArray(Alembic::AbcCoreAbstract::ArrayPropertyReader &from,
                   Alembic::AbcCoreAbstract::ArrayPropertyWriter &to);

    Alembic::Abc::OArchive &m_archive;
};
