#pragma once

#include "layers/LayerData.h"

#include <QString>

#include <memory>
#include <span>
#include <vector>

/// Triangles, wireframe edges, one-rings and cloth springs of the merged mesh, as flat index tables
/// in the layouts that the kernels read. Built once per import from polygon face lists; points
/// move, topology does not. The tables live as long as it or a copy does, and until it is built
/// anew.
///
/// Archive faces wind clockwise seen from outside; the tables here are turned, so that a triangle
/// (A, B, C) is counter-clockwise from outside and cross(B − A, C − A) points out.
///
/// Ring and constraint tables: the first V + 1 entries are offsets; the neighbours of vertex v are
/// entries V + 1 + k for k in [table[v], table[v + 1]).
class Topology {
public:
    struct MeshEntry {
        QString name; ///< full object path in the archive
        int vertexCount = 0;
    };

    void clear();
    void addMesh(const QString &name, int vertexCount);
    const std::vector<MeshEntry> &meshes() const { return m_meshes; }

    /// Builds every table. Faces with fewer than three corners, repeated corners or indices out of
    /// range are dropped, and one debug line counts them; index lists shorter than the counts claim
    /// drop the faces that do not fit. Polygons are fanned from their first corner.
    void build(int vertexCount, const std::vector<qint32> &faceIndices,
               const std::vector<qint32> &faceCounts);

    int vertexCount() const { return m_vertexCount; }
    int triangleCount() const { return int(m_triangles.size() / 3); }
    std::span<const quint32> triangles() const { return m_triangles; } ///< three per triangle
    /// Polygon edges as pairs of vertices, each once.
    std::span<const quint32> edges() const { return m_edges; }
    /// Neighbours along polygon edges in cyclic order: cross(y, x) of consecutive neighbour
    /// directions x, y points out; a border vertex's ring runs from one border edge to the other; a
    /// vertex of several fans lists them one after another. Each neighbour once.
    std::span<const quint32> rings() const { return m_rings; }
    /// The ring table for the kernels: kRingGap is set in each neighbour that no face spans
    /// together with its cyclic predecessor.
    std::vector<quint32> markedRings() const;
    static constexpr quint32 kRingGap = 0x80000000; ///< RING_GAP of ring.glsl
    /// Ring neighbours plus the opposite corners of quads, ascending, each once.
    std::span<const quint32> constraints() const { return m_constraints; }

    /// Brush weight per vertex, walking from `hitVertex` along the ring through vertices closer
    /// than `radius` to it; each vertex reached gets brushFalloff() of its straight distance, all
    /// others 0. All zeros when the vertex or the point count does not fit.
    std::vector<float> surfaceFalloff(int hitVertex, const PointArray &positions,
                                      float radius) const;

    /// Checks every table against the others; false with the first fault in `fault`.
    bool validate(QString *fault = nullptr) const;

private:
    int m_vertexCount = 0;
    std::vector<MeshEntry> m_meshes;
    std::shared_ptr<quint32[]> m_memory; ///< of the tables, which nothing changes; copies share it
    std::span<const quint32> m_triangles;
    std::span<const quint32> m_edges;
    std::span<const quint32> m_rings;
    std::span<const quint32> m_constraints;
    std::vector<quint32> m_ringGaps; ///< places in m_rings, ascending
};

/// The picking kernel's own curve: 1 − 3t² + 2t³ with t = distance / radius, 0 from the rim on.
float brushFalloff(float squaredDistance, float squaredRadius);
