#pragma once

#include "bake/BakedMesh.h"
#include "bake/ChildBounds.h"

#include <memory>

/// Writes an archive like its source, with other points: the same objects, names, meta data and
/// properties in the same order. What the new points make untrue is recomputed (bounds), replaced
/// or left out (normals, velocities). Throws std::exception; the archive is then worth nothing.
class BakedArchive {
public:
    /// Writes everything but the meshes. All three arguments must outlive this.
    BakedArchive(const SourceTree &source, const BakePlan &plan, std::ostream &stream);
    ~BakedArchive() { close(); }

    /// For each frame of the plan in order; null where the source's own points hold.
    void writeFrame(int mesh, int frame, const std::vector<Imath::V3f> *points);
    /// After the last frame. `mark` may be null.
    void finish(const PartMark *mark);
    /// The stream has everything when this returns.
    void close();

    int lostVelocitiesCount() const;
    int lostNormalsCount() const;

private:
    using ObjectWriter = Alembic::AbcCoreAbstract::ObjectWriterPtr;

    void createObjects();
    ObjectWriter createObject(const SourceNode &node);
    bool isOwn(const Alembic::Abc::IObject &instance) const;
    std::vector<bool> neededNodes() const;
    void copyProperties(int node, const ObjectWriter &object);
    std::vector<const BakedMesh *> shownMeshes() const;

    const SourceTree &m_source;
    const BakePlan &m_plan;
    Alembic::Abc::OArchive m_archive;
    PropertyCopy m_copy;
    std::vector<ObjectWriter> m_objects; ///< per node; null where not written
    std::vector<bool> m_open; ///< per node: written, and not as an instance
    std::vector<BakedMesh> m_meshes;
    ChildBounds m_childBounds;
};
