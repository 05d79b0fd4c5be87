#pragma once

#include "alembic/ArchiveContent.h"

#include <Alembic/Abc/IArchive.h>
#include <Alembic/Abc/IObject.h>
#include <Alembic/Abc/ITypedArrayProperty.h>

#include <string>
#include <unordered_map>
#include <vector>

/// An object of the source, as the walk met it: below an instance its full name is that of the
/// path walked, its contents are those of what is instanced.
struct SourceNode {
    Alembic::Abc::IObject object;
    int parent = -1;
    int transform = -1; ///< index of its own, or the nearest above, or -1
    bool isTransform = false;
    int mesh = -1;
};

/// A polygon mesh or subdivision surface with points. Its point count may change over time.
struct SourceMesh {
    std::string name; ///< full
    int node = -1;
    bool isPolygonMesh = false; ///< and may bear normals
    Alembic::Abc::ICompoundProperty geometry;
    Alembic::Abc::IP3fArrayProperty positions;

    /// In the mesh's own space. Throws where the sample cannot be read.
    std::vector<Imath::V3f> points(double seconds) const;
    /// Whether every sample holds that many.
    bool alwaysHas(int pointCount) const;
};

/// An instance mirrors the mesh that lies at the same place below what it instances.
struct MirroredMesh {
    int mesh = -1;
    int mirrored = -1;
    int root = -1; ///< the instance's node
};

/// A whole archive, open: every object and what places it. Objects come depth first, parents before
/// children. Throws std::exception.
class SourceTree {
public:
    explicit SourceTree(const QString &path);

    const Alembic::Abc::IArchive &archive() const { return m_archive; }
    const std::vector<SourceNode> &nodes() const { return m_nodes; }
    const std::vector<SourceMesh> &meshes() const { return m_meshes; }
    int meshNamed(const std::string &name) const; ///< or -1
    /// An entry for each mesh below an instance and each instance that it lies below.
    std::vector<MirroredMesh> mirroredMeshes() const;
    WorldMatrices worldMatrices(double seconds) const { return { m_transforms, seconds }; }
    /// From the space of what lies below a node to that of its siblings.
    Imath::M44d placing(const SourceNode &node, WorldMatrices &world, double seconds) const;
    /// Tells archives apart by what they hold, without reading the samples.
    std::string fingerprint() const;

private:
    void enter(const Alembic::Abc::IObject &object, int parent);
    void collectMesh(SourceNode &node);

    Alembic::Abc::IArchive m_archive;
    DeepestFirst<SourceNode> m_nodes;
    std::vector<ArchiveTransform> m_transforms;
    std::vector<SourceMesh> m_meshes;
    std::unordered_map<std::string, int> m_meshByName;
};
