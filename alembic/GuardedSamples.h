#pragma once

#include <Alembic/Abc/IArrayProperty.h>
#include <Alembic/Abc/ICompoundProperty.h>
#include <Alembic/Abc/IObject.h>
#include <Alembic/Abc/IScalarProperty.h>
#include <Alembic/Abc/ITypedArrayProperty.h>
#include <Alembic/AbcGeom/XformOp.h>

#include <stdexcept>
#include <vector>

/// Samples of a file that may be damaged. The library's own array samples, transforms and cameras
/// take what the file says about types, counts and dimensions on trust, and end in a null pointer
/// or past an end where it is wrong. What is read here is checked first; where it does not fit,
/// std::runtime_error is thrown.
namespace guarded {

/// One sample of an array, empty where the property has none. Sized by the data alone, which the
/// library holds to the file's size; the dimensions beside it may be missing or claim anything.
template <class Property>
std::vector<typename Property::value_type> readArray(Property property,
                                                     const Alembic::Abc::ISampleSelector &when)
{
    std::vector<typename Property::value_type> items;
    if (property.getNumSamples() == 0)
        return items;
    Alembic::AbcCoreAbstract::ArraySampleKey key;
    if (!property.getKey(key, when))
        throw std::runtime_error("a sample without data: " + property.getName());
    if (key.numBytes % sizeof(typename Property::value_type) != 0)
        throw std::runtime_error("a sample of broken items: " + property.getName());
    items.resize(key.numBytes / sizeof(typename Property::value_type));
    property.getAs(items.data(), when);
    return items;
}

/// The local matrix of one transform over time, for row vectors.
class TransformSamples {
public:
    explicit TransformSamples(const Alembic::Abc::IObject &object);
    Imath::M44d matrix(const Alembic::Abc::ISampleSelector &when) const;

private:
    void openValues(const Alembic::Abc::ICompoundProperty &properties);
    std::vector<double> values(const Alembic::Abc::ISampleSelector &when) const;

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
    Lens lens(const Alembic::Abc::ISampleSelector &when) const;

private:
    Alembic::Abc::IScalarProperty m_core;
};

} // namespace guarded
