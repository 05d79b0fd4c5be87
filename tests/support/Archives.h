#pragma once

#include <QFile>
#include <QString>

#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/OCamera.h>
#include <Alembic/AbcGeom/OPolyMesh.h>
#include <Alembic/AbcGeom/OSubD.h>
#include <Alembic/AbcGeom/OXform.h>

#include <cmath>
#include <vector>

/// Archives that tests write on the fly. Faces wind clockwise seen from outside, as archives have
/// it.
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

/// Eight points at the corners of [-1, 1]³, six quads.
inline Shape cube()
{
    Shape shape;
    for (int i = 0; i < 8; ++i)
        shape.points.emplace_back(i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f);
    shape.faceIndices = { 0, 1, 3, 2, 4, 6, 7, 5, 0, 4, 5, 1, 2, 3, 7, 6, 0, 2, 6, 4, 1, 5, 7, 3 };
    shape.faceCounts.assign(6, 4);
    return shape;
}

/// side × side points over [0, 1]² in the plane y = 0, whose outside is up.
inline Shape grid(int side)
{
    Shape shape;
    const float step = 1.0f / float(side - 1);
    for (int i = 0; i < side * side; ++i)
        shape.points.emplace_back(float(i % side) * step, 0.0f, float(i / side) * step);
    for (int row = 0; row + 1 < side; ++row) {
        for (int column = 0; column + 1 < side; ++column) {
            const int corner = row * side + column;
            shape.faceIndices.insert(shape.faceIndices.end(),
                                     { corner, corner + 1, corner + side + 1, corner + side });
            shape.faceCounts.push_back(4);
        }
    }
    return shape;
}

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
