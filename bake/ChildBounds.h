#pragma once

#include "bake/BakedMesh.h"

/// The boxes that objects of a baked archive keep of everything below them, each in the space of
/// its object's children. Where meshes below were rewritten they are written anew, one a frame;
/// elsewhere they stay the source's.
class ChildBounds {
public:
    ChildBounds(const SourceTree &source, const BakePlan &plan);

    /// True for such a property of the node: it is created in its place and filled by finish().
    bool keep(PropertyCopy &copy, int node, const PropertyCopy::Reader &from,
              const PropertyCopy::Header &header, const PropertyCopy::Writer &to);
    /// `meshes`: per mesh of the source, the one that shows in its place.
    void finish(PropertyCopy &copy, const std::vector<const BakedMesh *> &meshes);
    void release() { m_entries.clear(); }

private:
    struct Entry {
        int node;
        Alembic::AbcCoreAbstract::ScalarPropertyReaderPtr source;
        Alembic::AbcCoreAbstract::ScalarPropertyWriterPtr writer;
    };

    std::vector<bool> changedNodes(const std::vector<const BakedMesh *> &meshes) const;
    std::vector<Imath::Box3d> boxes(int frame, const std::vector<const BakedMesh *> &meshes) const;
    Imath::Box3d ownBox(int node, double seconds) const;

    const SourceTree &m_source;
    const BakePlan &m_plan;
    std::vector<Entry> m_entries;
};
