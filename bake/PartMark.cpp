#include "bake/PartMark.h"

#include "alembic/GuardedSamples.h"
#include "bake/BakeError.h"

#include <Alembic/Abc/ICompoundProperty.h>
#include <Alembic/Abc/ITypedArrayProperty.h>
#include <Alembic/Abc/ITypedScalarProperty.h>
#include <Alembic/Abc/OCompoundProperty.h>
#include <Alembic/Abc/OTypedArrayProperty.h>
#include <Alembic/Abc/OTypedScalarProperty.h>

namespace {

namespace Abc = Alembic::Abc;

constexpr std::size_t kNumberCount = 6;

void writeNames(const Abc::OCompoundProperty &mark, const char *name,
                const std::vector<std::string> &names)
{
    if (!names.empty())
        Abc::OStringArrayProperty(mark, name).set(Abc::StringArraySample(names));
}

std::vector<std::string> readNames(const Abc::ICompoundProperty &mark, const char *name)
{
    if (!mark.getPropertyHeader(name))
        return {};
    const Abc::StringArraySamplePtr names = Abc::IStringArrayProperty(mark, name).getValue();
    return { names->get(), names->get() + names->size() };
}

} // namespace

void PartMark::write(Abc::OObject top) const
{
    const Abc::OCompoundProperty mark(top.getProperties(), kProperty);
    const std::vector<Alembic::Util::int32_t> numbers { frames.first, frames.last, whole.first,
                                                        whole.last,   pointsOnly,  normals };
    Abc::OInt32ArrayProperty(mark, "numbers").set(Abc::Int32ArraySample(numbers));
    Abc::ODoubleProperty(mark, "framesPerSecond").set(framesPerSecond);
    Abc::OStringProperty(mark, "scene").set(scene);
    writeNames(mark, "moved", moved);
    writeNames(mark, "ownInstances", ownInstances);
}

PartMark PartMark::read(Abc::IArchive archive)
{
    const Abc::ICompoundProperty top = archive.getTop().getProperties();
    const auto *header = top.getPropertyHeader(kProperty);
    if (!header || !header->isCompound())
        throw BakeError(QStringLiteral("%1 is no part of a bake (made with --frames or --part)")
                            .arg(QString::fromStdString(archive.getName())));
    const Abc::ICompoundProperty mark(top, kProperty);
    const auto numbers =
        guarded::readArray(Abc::IInt32ArrayProperty(mark, "numbers"), Abc::index_t(0));
    if (numbers.size() != kNumberCount)
        throw BakeError(QStringLiteral("%1 is a part of another version of this program")
                            .arg(QString::fromStdString(archive.getName())));
    PartMark part;
    const Alembic::Util::int32_t *number = numbers.begin();
    part.frames = { number[0], number[1] };
    part.whole = { number[2], number[3] };
    part.pointsOnly = number[4] != 0;
    part.normals = number[5] != 0;
    part.framesPerSecond = Abc::IDoubleProperty(mark, "framesPerSecond").getValue();
    part.scene = Abc::IStringProperty(mark, "scene").getValue();
    part.moved = readNames(mark, "moved");
    part.ownInstances = readNames(mark, "ownInstances");
    return part;
}
