#pragma once

#include "bake/PartMark.h"
#include "bake/PropertyCopy.h"
#include "bake/SourceTree.h"

#include <Alembic/AbcGeom/OGeomParam.h>

#include <Imath/ImathBox.h>

/// What a baked archive is to hold.
struct BakePlan {
    FrameRange frames;
    double framesPerSecond = 24.0;
    bool normals = false; ///< vertex normals where points were replaced
    /// Only the points of the meshes that `wanted` marks, and the objects above them.
    bool pointsOnly = false;
    std::vector<bool> wanted; ///< per mesh of the source
    std::vector<std::string> ownInstances; ///< by full name: instances that become objects

    double seconds(int frame) const { return double(frame) / framesPerSecond; }
};

/// One mesh of a baked archive. It stays the source's, sample for sample, until a frame brings
/// other points; then it is rewritten with one sample a frame, the frames before included.
class BakedMesh {
public:
    /// `object` is null for a mesh that is not written (it lies below an instance).
    BakedMesh(const SourceMesh &source, const BakePlan &plan,
              Alembic::AbcCoreAbstract::ObjectWriterPtr object);

    /// Frame after frame; null where the source's own points hold.
    void writeFrame(PropertyCopy &copy, int frame, const std::vector<Imath::V3f> *points);
    /// After the last frame: what could not be written before.
    void finish(PropertyCopy &copy);
    void release();

    bool rewritten() const { return bool(m_positions); }
    bool lostVelocities() const { return m_lostVelocities; }
    bool lostNormals() const { return m_lostNormals; }
    /// In the mesh's own space, of a mesh that was rewritten.
    const Imath::Box3d &box(int frame) const;

private:
    void rewrite(PropertyCopy &copy, int frame);
    void openGeometry(PropertyCopy &copy, const PropertyCopy::Reader &from,
                      const PropertyCopy::Writer &to);
    bool replace(const PropertyCopy::Header &header, const PropertyCopy::Writer &to);
    void openNormals(const PropertyCopy::Writer &to);
    void writeSample(int frame, const std::vector<Imath::V3f> &points);
    void writeNormals(double seconds, const std::vector<Imath::V3f> &points);

    const SourceMesh &m_source;
    const BakePlan &m_plan;
    Alembic::AbcCoreAbstract::ObjectWriterPtr m_object;
    Alembic::Util::uint32_t m_sampling = 0; ///< one sample a frame
    Alembic::AbcCoreAbstract::ArrayPropertyWriterPtr m_positions;
    Alembic::AbcCoreAbstract::ScalarPropertyWriterPtr m_bounds;
    Alembic::AbcGeom::ON3fGeomParam m_normals;
    std::vector<Imath::Box3d> m_boxes; ///< per frame
    bool m_lostVelocities = false;
    bool m_lostNormals = false;
};
