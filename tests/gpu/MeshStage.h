#pragma once

#include "gpu/GPUMesh.h"
#include "reference/Deform.h"
#include "support/Compare.h"
#include "support/GLFixture.h"
#include "support/TestMeshes.h"

#include <QTest>

#include <random>

/// The poses that the passes work on, for one mesh: jittered, so that no fan triangle is degenerate
/// by accident, and bent against each other, so that frames turn.
struct MeshScene {
    TestMesh mesh; ///< without faces when it comes from an archive
    Topology topology;
    PointArray position, normal, deltas, basePoints, offsetPoints, rest;
    std::vector<float> mask; ///< full, partial, none, and both sides of each kernel's threshold
};

inline PointArray jittered(PointArray points, double amplitude, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> offset(-1.0f, 1.0f);
    for (QVector4D &p : points)
        p += QVector4D(offset(random), offset(random), offset(random), 0.0f) * float(amplitude);
    return points;
}

inline MeshScene meshScene(const TestMesh &mesh, const Topology &topology)
{
    MeshScene scene { mesh, topology, {}, {}, {}, {}, {}, {}, {} };
    double shortest = mesh.extent();
    const auto edges = topology.edges();
    for (size_t k = 0; k + 1 < edges.size(); k += 2) // a NaN is not less
        shortest = std::min(shortest,
                            double((mesh.points[edges[k]] - mesh.points[edges[k + 1]]).length()));
    const double amplitude = 0.2 * shortest;
    scene.rest = jittered(mesh.points, amplitude, 1);
    scene.position = jittered(bent(scene.rest, 0.4f), 0.5 * amplitude, 2);
    scene.basePoints = jittered(scene.rest, 0.2 * amplitude, 3);
    scene.offsetPoints = jittered(scene.basePoints, amplitude, 4);
    scene.deltas = jittered(scene.position, amplitude, 5);
    scene.normal.assign(mesh.points.size(), QVector4D(0.48f, 0.6f, 0.64f, 0.0f));
    const float weights[] = { 1.0f, 0.3f, 0.0f, 0.75f, 0.00015f, 0.00005f, 0.000005f, 1.0f };
    for (size_t i = 0; i < mesh.points.size(); ++i)
        scene.mask.push_back(weights[i % std::size(weights)]);
    return scene;
}
inline MeshScene meshScene(const TestMesh &mesh) { return meshScene(mesh, mesh.topology()); }

/// The same in double, for the references.
inline reference::Scene toReference(const MeshScene &scene)
{
    using reference::toPose;
    const size_t count = scene.mesh.points.size();
    return { { scene.topology.rings(), count, scene.topology.triangles() },
             { scene.topology.constraints(), count },
             toPose(scene.position),
             toPose(scene.normal),
             toPose(scene.deltas),
             toPose(scene.basePoints),
             toPose(scene.offsetPoints),
             toPose(scene.rest),
             { scene.mask.begin(), scene.mask.end() } };
}

/// Runs a reference on the scene, and again with every point nudged by a few rounding errors. A
/// float kernel makes such errors at every step, so it may stray by a small multiple of what they
/// move the reference itself: much at a sliver's frame, nearly nothing on an even mesh.
template <class Reference>
bool matchesReference(const PointArray &actual, const MeshScene &scene, Reference compute)
{
    const reference::Scene exact = toReference(scene);
    const double rounding = double(std::numeric_limits<float>::epsilon()) * scene.mesh.extent();
    const reference::Pose expected = compute(exact);
    std::vector<double> tolerance(expected.size(), 16 * rounding);
    for (unsigned run = 0; run < 4; ++run) {
        std::mt19937 random(run);
        std::uniform_real_distribution<double> nudge(-2 * rounding, 2 * rounding);
        reference::Scene moved = exact;
        for (reference::Pose *pose : { &moved.position, &moved.deltas, &moved.basePoints,
                                       &moved.offsetPoints, &moved.rest }) {
            for (reference::Vec &p : *pose)
                p = p + reference::Vec { nudge(random), nudge(random), nudge(random) };
        }
        const reference::Pose other = compute(moved);
        for (size_t i = 0; i < other.size(); ++i)
            tolerance[i] = std::max(tolerance[i], 8 * length(other[i] - expected[i]));
    }
    return pointsMatch(actual, expected, tolerance);
}

/// A context and a mesh in it, refilled for every test.
class MeshStage {
public:
    bool valid() { return m_gl.valid() && m_gl.makeCurrent() && m_mesh.initialize(); }
    GLFixture &fixture() { return m_gl; }
    GPUMesh &mesh() { return m_mesh; }
    const Topology &topology() const { return m_topology; }
    void finish() { m_gl.gl().glFinish(); } ///< waits for the card

    /// Sizes the buffers for the mesh and fills in its points.
    void load(const Topology &topology, const PointArray &points)
    {
        m_topology = topology;
        m_mesh.setTopology(&m_topology);
        m_mesh.allocateBuffers();
        m_mesh.bind();
        m_mesh.upload(Semantic::kPosition, points);
    }
    void load(const TestMesh &mesh) { load(mesh.topology(), mesh.points); }
    /// Fills all that the deformer passes read.
    void load(const MeshScene &scene)
    {
        load(scene.topology, scene.position);
        m_mesh.setRestPoints(scene.rest);
        m_mesh.upload(Semantic::kNormal, scene.normal);
        m_mesh.upload(Semantic::kMask, scene.mask);
        m_mesh.upload(Semantic::kDeltas, scene.deltas);
        m_mesh.upload(Semantic::kBasePoints, scene.basePoints);
        m_mesh.upload(Semantic::kOffsetPoints, scene.offsetPoints);
    }
    PointArray points(const QString &semantic = Semantic::kPosition)
    {
        return m_mesh.readBack<QVector4D>(semantic);
    }

private:
    GLFixture m_gl;
    Topology m_topology;
    GPUMesh m_mesh;
};
