#pragma once

#include <QFile>
#include <QStringList>

#include <Alembic/AbcCoreAbstract/All.h>
#include <Alembic/AbcCoreOgawa/ReadWrite.h>

#include <cstring>
#include <string>

/// Compares two archives object by object, property by property, sample by sample, knowing nothing
/// of any schema: each difference is a line that begins with where it is.
class ArchiveDiff {
public:
    static QStringList between(const QString &a, const QString &b)
    {
        ArchiveDiff diff;
        const auto first = open(a), second = open(b);
        diff.differs(*first->getTop(),
                     ownWords(first->getMetaData()) != ownWords(second->getMetaData()),
                     "meta data of the archive");
        diff.objects(*first->getTop(), *second->getTop());
        return diff.m_lines;
    }

private:
    using Compound = Alembic::AbcCoreAbstract::CompoundPropertyReader;
    using Object = Alembic::AbcCoreAbstract::ObjectReader;
    using Header = Alembic::AbcCoreAbstract::PropertyHeader;

    static Alembic::AbcCoreAbstract::ArchiveReaderPtr open(const QString &path)
    {
        return Alembic::AbcCoreOgawa::ReadArchive()(QFile::encodeName(path).toStdString());
    }

    /// Which version of the library wrote the file is the library's to say.
    static std::string ownWords(Alembic::AbcCoreAbstract::MetaData metaData)
    {
        metaData.set("_ai_AlembicVersion", "any");
        return metaData.serialize();
    }

    bool differs(Object &at, bool different, const char *what)
    {
        m_where = QString::fromStdString(at.getFullName()) + QLatin1Char(' ');
        return note(different, what);
    }
    bool note(bool different, const char *what)
    {
        if (different)
            m_lines << m_where + QLatin1String(what);
        return different;
    }

    void objects(Object &a, Object &b)
    {
        differs(a, a.getName() != b.getName(), "name");
        differs(a, a.getParent() && a.getMetaData().serialize() != b.getMetaData().serialize(),
                "meta data");
        compounds(*a.getProperties(), *b.getProperties());
        if (differs(a, a.getNumChildren() != b.getNumChildren(), "number of children"))
            return;
        for (size_t i = 0; i < a.getNumChildren(); ++i)
            objects(*a.getChild(i), *b.getChild(i));
    }

    void compounds(Compound &a, Compound &b)
    {
        const QString where = m_where;
        if (note(a.getNumProperties() != b.getNumProperties(), "number of properties"))
            return;
        for (size_t i = 0; i < a.getNumProperties(); ++i) {
            const Header &header = a.getPropertyHeader(i), &other = b.getPropertyHeader(i);
            m_where = where + QString::fromStdString(header.getName()) + QLatin1Char(' ');
            if (note(!sameHeader(header, other), "header"))
                continue;
            if (header.isCompound())
                compounds(*a.getCompoundProperty(header.getName()),
                          *b.getCompoundProperty(header.getName()));
            else if (header.isArray())
                arrays(*a.getArrayProperty(header.getName()),
                       *b.getArrayProperty(header.getName()));
            else
                scalars(*a.getScalarProperty(header.getName()),
                        *b.getScalarProperty(header.getName()));
        }
        m_where = where;
    }

    static bool sameHeader(const Header &a, const Header &b)
    {
        return a.getName() == b.getName() && a.getPropertyType() == b.getPropertyType() &&
            a.getMetaData().serialize() == b.getMetaData().serialize() &&
            (a.isCompound() ||
             (a.getDataType() == b.getDataType() && *a.getTimeSampling() == *b.getTimeSampling()));
    }

    /// The key is a hash of the stored bytes, strings and their terminators included.
    void arrays(Alembic::AbcCoreAbstract::ArrayPropertyReader &a,
                Alembic::AbcCoreAbstract::ArrayPropertyReader &b)
    {
        bool different = a.getNumSamples() != b.getNumSamples();
        for (size_t i = 0; !different && i < a.getNumSamples(); ++i) {
            Alembic::AbcCoreAbstract::ArraySampleKey key, otherKey;
            Alembic::Util::Dimensions size, otherSize;
            a.getKey(ssize_t(i), key);
            b.getKey(ssize_t(i), otherKey);
            a.getDimensions(ssize_t(i), size);
            b.getDimensions(ssize_t(i), otherSize);
            different = key.numBytes != otherKey.numBytes || key.digest != otherKey.digest ||
                size != otherSize;
        }
        note(different, "samples");
    }

    template <class Reader> void scalars(Reader &a, Reader &b)
    {
        bool different = a.getNumSamples() != b.getNumSamples();
        const bool text = a.getDataType().getPod() == Alembic::Util::kStringPOD;
        for (size_t i = 0; !different && i < a.getNumSamples(); ++i) {
            std::vector<std::string> strings(256), otherStrings(256);
            std::vector<char> bytes(4096), otherBytes(4096);
            a.getSample(ssize_t(i), text ? static_cast<void *>(strings.data()) : bytes.data());
            b.getSample(ssize_t(i),
                        text ? static_cast<void *>(otherStrings.data()) : otherBytes.data());
            different = strings != otherStrings || bytes != otherBytes;
        }
        note(different, "samples");
    }

    QString m_where;
    QStringList m_lines;
};
