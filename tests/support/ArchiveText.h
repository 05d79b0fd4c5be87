#pragma once

#include <QFile>
#include <QStringList>

#include <Alembic/AbcCoreAbstract/All.h>
#include <Alembic/AbcCoreOgawa/ReadWrite.h>

#include <sstream>
#include <string>

/// What an archive holds, knowing nothing of any schema: a line an object and a property, which
/// begins with where it is.
class ArchiveText {
public:
    static QStringList of(const QString &path)
    {
        const auto archive =
            Alembic::AbcCoreOgawa::ReadArchive()(QFile::encodeName(path).toStdString());
        auto metaData = archive->getMetaData();
        metaData.set("_ai_AlembicVersion", "any"); // is the writing library's to say
        ArchiveText text;
        text.m_text.precision(17);
        text.m_text << metaData.serialize();
        text.add(*archive->getTop());
        return QString::fromStdString(text.m_text.str()).split(QLatin1Char('\n'));
    }

private:
    void add(Alembic::AbcCoreAbstract::ObjectReader &object)
    {
        const std::string where = '\n' + object.getFullName() + ' ';
        if (object.getParent()) // the top has only the archive's
            m_text << where << object.getMetaData().serialize();
        addProperties(*object.getProperties(), where);
        for (size_t i = 0; i < object.getNumChildren(); ++i)
            add(*object.getChild(i));
    }

    void addProperties(Alembic::AbcCoreAbstract::CompoundPropertyReader &compound,
                       const std::string &above)
    {
        for (size_t i = 0; i < compound.getNumProperties(); ++i) {
            const auto &header = compound.getPropertyHeader(i);
            const std::string &name = header.getName(), where = above + name + ' ';
            m_text << where << header.getMetaData().serialize() << ' ' << header.getPropertyType();
            if (header.isCompound()) {
                addProperties(*compound.getCompoundProperty(name), where);
                continue;
            }
            m_text << header.getDataType() << header.getTimeSampling()->getTimeSamplingType();
            for (const double time : header.getTimeSampling()->getStoredTimes())
                m_text << ' ' << time;
            if (header.isArray())
                addSamples(*compound.getArrayProperty(name));
            else
                addSamples(*compound.getScalarProperty(name));
        }
    }

    /// The key is a hash of the stored bytes, strings and their terminators included.
    void addSamples(Alembic::AbcCoreAbstract::ArrayPropertyReader &property)
    {
        for (size_t i = 0; i < property.getNumSamples(); ++i) {
            Alembic::AbcCoreAbstract::ArraySampleKey key;
            Alembic::Util::Dimensions size;
            property.getKey(ssize_t(i), key);
            property.getDimensions(ssize_t(i), size);
            m_text << ' ' << size << key.numBytes << ' ' << key.digest;
        }
    }

    void addSamples(Alembic::AbcCoreAbstract::ScalarPropertyReader &property)
    {
        const auto &type = property.getDataType();
        const bool isText = type.getPod() == Alembic::Util::kStringPOD;
        for (size_t i = 0; i < property.getNumSamples(); ++i) {
            std::vector<std::string> texts(type.getExtent());
            std::string bytes(type.getNumBytes(), '\0');
            property.getSample(ssize_t(i),
                               isText ? static_cast<void *>(texts.data()) : bytes.data());
            for (const std::string &value : isText ? texts : std::vector { bytes })
                m_text << ' ' << QByteArray::fromStdString(value).toHex().constData();
        }
    }

    std::ostringstream m_text;
};
