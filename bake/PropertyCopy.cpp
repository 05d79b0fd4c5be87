#include "bake/PropertyCopy.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace AbcA = Alembic::AbcCoreAbstract;
namespace Util = Alembic::Util;

constexpr int kMaxDepth = 64; ///< of compounds; damaged offsets can nest them without end

/// Room for one sample of a scalar property.
class ScalarBuffer {
public:
    explicit ScalarBuffer(const AbcA::DataType &type)
    {
        if (type.getPod() == Util::kStringPOD)
            m_strings.resize(type.getExtent());
        else if (type.getPod() == Util::kWstringPOD)
            m_wideStrings.resize(type.getExtent());
        else
            m_numbers.resize(type.getNumBytes() / sizeof(double) + 1);
    }
    void *data()
    {
        if (!m_strings.empty())
            return m_strings.data();
        return m_wideStrings.empty() ? static_cast<void *>(m_numbers.data())
                                     : static_cast<void *>(m_wideStrings.data());
    }

private:
    std::vector<std::string> m_strings;
    std::vector<std::wstring> m_wideStrings;
    std::vector<double> m_numbers; // aligned for every number
};

/// The library sizes a sample by the dimensions that the file claims beside the data.
void checkDimensions(AbcA::ArrayPropertyReader &from, AbcA::index_t sample)
{
    AbcA::ArraySampleKey key;
    Util::Dimensions dimensions;
    if (!from.getKey(sample, key))
        throw std::runtime_error("a sample without data: " + from.getName());
    from.getDimensions(sample, dimensions);
    const AbcA::DataType &type = from.getDataType();
    const bool text = type.getPod() == Util::kStringPOD || type.getPod() == Util::kWstringPOD;
    const std::size_t least = text ? 1 : Util::PODNumBytes(type.getPod());
    const std::size_t items = key.numBytes / least / std::max<std::size_t>(type.getExtent(), 1);
    if (text ? dimensions.numPoints() > items : dimensions.numPoints() != items)
        throw std::runtime_error("a sample whose size does not fit its data: " + from.getName());
}

} // namespace

PropertyCopy::PropertyCopy(Alembic::Abc::OArchive &archive)
    : m_archive(archive)
{
}

Util::uint32_t PropertyCopy::sampling(const AbcA::TimeSampling &sampling)
{
    return m_archive.addTimeSampling(sampling);
}

void PropertyCopy::copyAll(const Reader &from, const Writer &to, const Exception &exception)
{
    for (std::size_t i = 0; i < from->getNumProperties(); ++i) {
        const Header &header = from->getPropertyHeader(i);
        if (!exception || !exception(from, header, to))
            copy(from, header, to);
    }
}

void PropertyCopy::copy(const Reader &from, const Header &header, const Writer &to)
{
    copyOne(from, header, to, 0);
}

void PropertyCopy::copyNested(const Reader &from, const Writer &to, int depth)
{
    if (depth > kMaxDepth)
        throw std::runtime_error("the properties do not end");
    for (std::size_t i = 0; i < from->getNumProperties(); ++i)
        copyOne(from, from->getPropertyHeader(i), to, depth);
}

void PropertyCopy::copyOne(const Reader &from, const Header &header, const Writer &to, int depth)
{
    const std::string &name = header.getName();
    if (header.isCompound()) {
        copyNested(from->getCompoundProperty(name),
                   to->createCompoundProperty(name, header.getMetaData()), depth + 1);
    } else if (header.isScalar()) {
        copySamples(*from->getScalarProperty(name),
                    *to->createScalarProperty(name, header.getMetaData(), header.getDataType(),
                                              sampling(*header.getTimeSampling())));
    } else {
        copyArray(*from->getArrayProperty(name),
                  *to->createArrayProperty(name, header.getMetaData(), header.getDataType(),
                                           sampling(*header.getTimeSampling())));
    }
}

void PropertyCopy::copySamples(AbcA::ScalarPropertyReader &from, AbcA::ScalarPropertyWriter &to)
{
    ScalarBuffer sample(from.getDataType());
    const auto count = AbcA::index_t(from.getNumSamples());
    for (AbcA::index_t i = 0; i < count; ++i) {
        if (i > 0 && from.isConstant()) {
            to.setFromPreviousSample();
        } else {
            from.getSample(i, sample.data());
            to.setSample(sample.data());
        }
    }
}

void PropertyCopy::copyArray(AbcA::ArrayPropertyReader &from, AbcA::ArrayPropertyWriter &to)
{
    const auto count = AbcA::index_t(from.getNumSamples());
    for (AbcA::index_t i = 0; i < count; ++i) {
        if (i > 0 && from.isConstant()) {
            to.setFromPreviousSample();
        } else {
            checkDimensions(from, i);
            AbcA::ArraySamplePtr sample;
            from.getSample(i, sample);
            to.setSample(*sample);
        }
    }
}
