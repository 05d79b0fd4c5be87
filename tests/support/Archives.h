#pragma once

#include "support/TestMeshes.h"

#include <QFile>
#include <QString>

#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/OCamera.h>
#include <Alembic/AbcGeom/OPolyMesh.h>
#include <Alembic/AbcGeom/OSubD.h>
#include <Alembic/AbcGeom/OXform.h>

#include <cmath>
#include <vector>

/// Archives that tests write on the fly.
namespace archives {

using Imath::M44d;
using Imath::V3d;
using Imath::V3f;
using Points = std::vector<V3f>;

struct Shape {
    Points points;
    std::vector<qint32> faceIndices;
    std::vector<qint32> faceCounts;
};

inline Shape shapeOf(const TestMesh &mesh)
{
    Shape shape { {}, mesh.indices, mesh.counts };
    for (const QVector4D &point : mesh.points)
        shape.points.emplace_back(point.x(), point.y(), point.z());
    return shape;
}
inline Shape cube() { return shapeOf(testCube()); }
inline Shape grid(int side) { return shapeOf(testGrid(side, side)); }

inline Points moved(Points points, const V3f &by)
{
    for (V3f &point : points)
        point += by;
    return points;
}

/// One archive being written; complete on disk once this and every object made from it are gone.
/// Samples lie at start + k / fps seconds, unless an object is given its own sampling.
class Writer {
public:
    explicit Writer(const QString &path, double start = 0.0, double fps = 24.0,
                    const Alembic::Abc::MetaData &metaData = {})
        : m_archive(Alembic::AbcCoreOgawa::WriteArchive(), QFile::encodeName(path).toStdString(),
                    metaData)
        , m_sampling(
              m_archive.addTimeSampling(Alembic::AbcCoreAbstract::TimeSampling(1.0 / fps, start)))
    {
    }

    Alembic::Abc::OObject top() { return m_archive.getTop(); }

    Alembic::AbcGeom::OXform xform(Alembic::Abc::OObject parent, const char *name,
                                   const std::vector<M44d> &samples, bool inherits = true)
    {
        Alembic::AbcGeom::OXform object(parent, name, samplingFor(samples.size()));
        for (const M44d &matrix : samples) {
            Alembic::AbcGeom::XformSample sample;
            sample.setMatrix(matrix);
            sample.setInheritsXforms(inherits);
            object.getSchema().set(sample);
        }
        return object;
    }

    /// A mesh whose points are those of `shape` at the first sample and then those of `later`.
    Alembic::AbcGeom::OPolyMesh mesh(Alembic::Abc::OObject parent, const char *name,
                                     const Shape &shape, const std::vector<Points> &later = {})
    {
        Alembic::AbcGeom::OPolyMesh object(parent, name, samplingFor(1 + later.size()));
        object.getSchema().set(firstSample<Alembic::AbcGeom::OPolyMeshSchema::Sample>(shape));
        for (const Points &points : later)
            object.getSchema().set(Alembic::AbcGeom::OPolyMeshSchema::Sample(points));
        return object;
    }

    /// A mesh whose samples each have faces of their own, at times of their own.
    Alembic::AbcGeom::OPolyMesh mesh(Alembic::Abc::OObject parent, const char *name,
                                     const std::vector<Shape> &samples,
                                     const Alembic::AbcCoreAbstract::TimeSampling &times)
    {
        Alembic::AbcGeom::OPolyMesh object(parent, name, m_archive.addTimeSampling(times));
        for (const Shape &shape : samples)
            object.getSchema().set(firstSample<Alembic::AbcGeom::OPolyMeshSchema::Sample>(shape));
        return object;
    }

    Alembic::AbcGeom::OSubD subdivision(Alembic::Abc::OObject parent, const char *name,
                                        const Shape &shape)
    {
        Alembic::AbcGeom::OSubD object(parent, name);
        object.getSchema().set(firstSample<Alembic::AbcGeom::OSubDSchema::Sample>(shape));
        return object;
    }

    Alembic::AbcGeom::OCamera camera(Alembic::Abc::OObject parent, const char *name,
                                     const std::vector<double> &focalLengths)
    {
        Alembic::AbcGeom::OCamera object(parent, name, samplingFor(focalLengths.size()));
        for (const double focalLength : focalLengths) {
            Alembic::AbcGeom::CameraSample sample;
            sample.setFocalLength(focalLength);
            sample.setHorizontalAperture(2.4);
            sample.setVerticalAperture(1.8);
            object.getSchema().set(sample);
        }
        return object;
    }

private:
    quint32 samplingFor(std::size_t sampleCount) const { return sampleCount > 1 ? m_sampling : 0; }

    template <class Sample> static Sample firstSample(const Shape &shape)
    {
        return Sample(Alembic::Abc::P3fArraySample(shape.points),
                      Alembic::Abc::Int32ArraySample(shape.faceIndices),
                      Alembic::Abc::Int32ArraySample(shape.faceCounts));
    }

    Alembic::Abc::OArchive m_archive;
    quint32 m_sampling;
};

inline M44d translation(double x, double y, double z)
{
    return M44d().setTranslation(V3d(x, y, z));
}

} // namespace archives
