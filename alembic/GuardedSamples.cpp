#include "alembic/GuardedSamples.h"

#include <Alembic/AbcGeom/ICamera.h>
#include <Alembic/AbcGeom/IXform.h>
#include <Alembic/AbcGeom/XformSample.h>

#include <algorithm>

namespace Abc = Alembic::Abc;
namespace AbcGeom = Alembic::AbcGeom;
using Abc::ISampleSelector;

namespace guarded {

namespace {

constexpr int kCameraValueCount = 16;

template <class Schema> Abc::ICompoundProperty openSchema(const Abc::IObject &object)
{
    const Abc::ICompoundProperty top = object.getProperties();
    const std::string name = Schema::getDefaultSchemaName();
    const auto *header = top.getPropertyHeader(name);
    if (!header || !Schema::matches(*header, Abc::kSchemaTitleMatching))
        throw std::runtime_error("an object without its schema: " + object.getFullName());
    return { top, name };
}

Abc::IScalarProperty openScalar(const Abc::ICompoundProperty &properties, const char *name,
                                Alembic::Util::PlainOldDataType type)
{
    Abc::IScalarProperty property(properties, name);
    if (property.getDataType().getPod() != type)
        throw std::runtime_error(std::string("a property of the wrong type: ") + name);
    return property;
}

/// The library's get() is not const, its properties are handles.
template <class Item>
std::vector<Item> readScalar(Abc::IScalarProperty property, const ISampleSelector &when)
{
    std::vector<Item> items(property.getDataType().getExtent());
    property.get(items.data(), when);
    return items;
}

} // namespace

Abc::index_t sampleAt(const Alembic::AbcCoreAbstract::TimeSampling &sampling, Abc::index_t count,
                      double seconds)
{
    constexpr double tolerance = 1e-4;
    const auto starts = [&](Abc::index_t index) {
        const double time = sampling.getSampleTime(index);
        return time - tolerance * (time - sampling.getSampleTime(index - 1));
    };
    // The library's own look-up tolerates an absolute time, whatever the rate: a guess.
    const Abc::index_t guess = sampling.getFloorIndex(seconds, count).first;
    Abc::index_t index = std::clamp(guess, Abc::index_t(0), count - 1);
    while (index + 1 < count && seconds > starts(index + 1))
        ++index;
    while (index > 0 && seconds <= starts(index))
        --index;
    return index;
}

TransformSamples::TransformSamples(const Abc::IObject &object)
{
    const Abc::ICompoundProperty properties = openSchema<AbcGeom::IXformSchema>(object);
    if (properties.getPropertyHeader(".inherits"))
        m_inherits = openScalar(properties, ".inherits", Alembic::Util::kBooleanPOD);
    if (!properties.getPropertyHeader(".ops"))
        return;
    const auto codes = openScalar(properties, ".ops", Alembic::Util::kUint8POD);
    if (codes.getNumSamples() == 0)
        return;
    for (const auto code : readScalar<Alembic::Util::uint8_t>(codes, Abc::index_t(0))) {
        const AbcGeom::XformOp operation(code);
        if (operation.getNumChannels() == 0)
            throw std::runtime_error("an unknown operation in " + object.getFullName());
        m_operations.push_back(operation);
        m_channelCount += operation.getNumChannels();
    }
    openValues(properties);
}

void TransformSamples::openValues(const Abc::ICompoundProperty &properties)
{
    const auto *header = properties.getPropertyHeader(".vals");
    if (!header)
        return;
    if (header->isScalar())
        m_fewValues = openScalar(properties, ".vals", Alembic::Util::kFloat64POD);
    else
        m_manyValues = Abc::IDoubleArrayProperty(properties, ".vals");
}

std::vector<double> TransformSamples::values(double seconds) const
{
    std::vector<double> values;
    if (m_fewValues && m_fewValues.getNumSamples() > 0) {
        values = readScalar<double>(m_fewValues, at(m_fewValues, seconds));
    } else if (m_manyValues && m_manyValues.getNumSamples() > 0) {
        const auto items = readArray(m_manyValues, at(m_manyValues, seconds));
        values.assign(items.begin(), items.end());
    } else {
        values.resize(m_channelCount);
    }
    if (values.size() < m_channelCount)
        throw std::runtime_error("a transform with too few values");
    return values;
}

bool TransformSamples::inherits(double seconds) const
{
    if (!m_inherits || m_inherits.getNumSamples() == 0)
        return true;
    const auto flags = readScalar<Alembic::Util::bool_t>(m_inherits, at(m_inherits, seconds));
    return !flags.empty() && flags.front();
}

double TransformSamples::cyclesPerSecond() const
{
    return m_fewValues ? guarded::cyclesPerSecond(m_fewValues)
        : m_manyValues ? guarded::cyclesPerSecond(m_manyValues)
                       : 0.0;
}

Imath::M44d TransformSamples::matrix(double seconds) const
{
    const std::vector<double> numbers = values(seconds);
    auto next = numbers.begin();
    AbcGeom::XformSample sample;
    for (AbcGeom::XformOp operation : m_operations) {
        for (std::size_t i = 0; i < operation.getNumChannels(); ++i)
            operation.setChannelValue(i, *next++);
        sample.addOp(operation);
    }
    return sample.getMatrix();
}

CameraSamples::CameraSamples(const Abc::IObject &object)
    : m_core(openScalar(openSchema<AbcGeom::ICameraSchema>(object), ".core",
                        Alembic::Util::kFloat64POD))
{
    if (m_core.getDataType().getExtent() != kCameraValueCount)
        throw std::runtime_error("a camera without its values: " + object.getFullName());
}

CameraSamples::Lens CameraSamples::lens(double seconds) const
{
    const std::vector<double> core = readScalar<double>(m_core, at(m_core, seconds));
    return { core[0], core[1], core[3] };
}

} // namespace guarded
