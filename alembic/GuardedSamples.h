#pragma once

#include <Alembic/Abc/IArrayProperty.h>
#include <Alembic/Abc/ICompoundProperty.h>
#include <Alembic/Abc/IObject.h>
#include <Alembic/Abc/IScalarProperty.h>
#include <Alembic/Abc/ITypedArrayProperty.h>
#include <Alembic/AbcCoreAbstract/TimeSampling.h>
#include <Alembic/AbcGeom/XformOp.h>

#include <stdexcept>
#include <utility>
#include <vector>

/// Samples of a file that may be damaged. The library's own array samples, transforms and cameras
/// take what the file says about types, counts and dimensions on trust, and end in a null pointer
/// or past an end where it is wrong. What is read here is checked first; where it does not fit,
/// std::runtime_error is thrown.
namespace guarded {

/// The items of one sample of an array. Copies share them.
template <class Property> class ArrayItems {
public:
    using Item = typename Property::value_type;

    explicit ArrayItems(typename Property::sample_ptr_type sample)
        : m_sample(std::move(sample))
    {
    }
    std::size_t size() const { return m_sample ? m_sample->size() : 0; }
    const Item *data() const { return m_sample ? m_sample->get() : nullptr; }
    const Item *begin() const { return data(); }
    const Item *end() const { return data() + size(); }

private:
    typename Property::sample_ptr_type m_sample; ///< null: no items
};

/// One sample of an array, empty where the property has none. Sized by the data alone; the
/// dimensions beside it may be missing or claim anything. Size and items come from one look at the
/// file: another program may rewrite it between two.
template <class Property>
ArrayItems<Property> readArray(const Property &property, const Alembic::Abc::ISampleSelector &when)
{
    using Items = ArrayItems<Property>;
    typename Property::sample_ptr_type sample;
    if (property.getNumSamples() == 0)
        return Items(sample);
    if (property.getDataType().getNumBytes() != sizeof(typename Items::Item))
        throw std::runtime_error("a property of the wrong type: " + property.getName());
    property.get(sample, when);
    const Items items(sample);
    Alembic::AbcCoreAbstract::ArraySampleKey key;
    if (!property.getKey(key, when) || key.numBytes != items.size() * sizeof(typename Items::Item))
        throw std::runtime_error("a sample of broken items: " + property.getName());
    return items;
}

/// How many items the first sample has, without reading them. 0 where it is damaged, which reading
/// it says.
template <class Property> std::size_t itemCount(const Property &property)
{
    Alembic::AbcCoreAbstract::ArraySampleKey key;
    try {
        if (property.getNumSamples() == 0 || !property.getKey(key, Alembic::Abc::index_t(0)))
            return 0;
    } catch (const std::exception &) {
        return 0;
    }
    return key.numBytes / sizeof(typename Property::value_type);
}

/// The index of the last of `count` samples that is not after a time. A frame's time is a rounded
/// quotient: one that falls short of a sample by less than 1e-4 of the step up to it means that
/// sample.
Alembic::Abc::index_t sampleAt(const Alembic::AbcCoreAbstract::TimeSampling &sampling,
                               Alembic::Abc::index_t count, double seconds);

template <class Property> Alembic::Abc::ISampleSelector at(const Property &property, double seconds)
{
    const auto count = Alembic::Abc::index_t(property.getNumSamples());
    return count < 2 ? Alembic::Abc::index_t(0)
                     : sampleAt(*property.getTimeSampling(), count, seconds);
}

/// How often a second a property's sampling repeats itself; 0 where it does not, or where a single
/// sample stands for all time.
template <class Property> double cyclesPerSecond(const Property &property)
{
    if (property.getNumSamples() < 2)
        return 0.0;
    const auto type = property.getTimeSampling()->getTimeSamplingType();
    return type.isAcyclic() ? 0.0 : 1.0 / type.getTimePerCycle();
}

/// One transform over time.
class TransformSamples {
public:
    explicit TransformSamples(const Alembic::Abc::IObject &object);
    Imath::M44d matrix(double seconds) const; ///< local, for row vectors
    /// Whether the transforms above it move it too; without, its matrix leads to world space.
    bool inherits(double seconds) const;
    double cyclesPerSecond() const;

private:
    void openValues(const Alembic::Abc::ICompoundProperty &properties);
    std::vector<double> values(double seconds) const;

    Alembic::Abc::IScalarProperty m_inherits; ///< one bool
    std::vector<Alembic::AbcGeom::XformOp> m_operations;
    std::size_t m_channelCount = 0; ///< numbers that the operations take together
    // The writer chooses one or the other by their number; without either all are zero.
    Alembic::Abc::IScalarProperty m_fewValues;
    Alembic::Abc::IDoubleArrayProperty m_manyValues;
};

/// The lens and film of one camera over time.
class CameraSamples {
public:
    struct Lens {
        double focalLength; ///< millimetres
        double horizontalAperture; ///< centimetres
        double verticalAperture; ///< centimetres
    };

    explicit CameraSamples(const Alembic::Abc::IObject &object);
    Lens lens(double seconds) const;
    double cyclesPerSecond() const { return guarded::cyclesPerSecond(m_core); }

private:
    Alembic::Abc::IScalarProperty m_core;
};

} // namespace guarded
