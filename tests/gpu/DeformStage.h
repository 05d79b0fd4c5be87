#pragma once

#include "gpu/GPUMesh.h"
#include "reference/Deform.h"
#include "support/GLFixture.h"
#include "support/TestMeshes.h"

#include <QTest>

#include <cstring>
#include <random>

/// The poses that the deformer passes work on, for one mesh: jittered, so that no fan triangle is
/// degenerate by accident, and bent against each other, so that frames turn.
struct DeformScene {
    TestMesh mesh;
    Topology topology;
    PointArray position, normal, deltas, basePoints, offsetPoints, rest;
    std::vector<float> mask; ///< full, partial, none, and both sides of each kernel's threshold
};

/// The same in double, for the references.
struct ReferenceScene {
    reference::Neighbours rings, springs;
    reference::Pose position, normal, deltas, basePoints, offsetPoints, rest;
    reference::Weights mask;
};

inline PointArray jittered(PointArray points, double amplitude, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> offset(-1.0f, 1.0f);
    for (QVector4D &p : points)
        p += QVector4D(offset(random), offset(random), offset(random), 0.0f) * float(amplitude);
    return points;
}

/// Twists about the x axis, further the further out.
inline PointArray bent(PointArray points, float angle)
{
    for (QVector4D &p : points) {
        const float turn = angle * p.x(), c = std::cos(turn), s = std::sin(turn);
        p = QVector4D(p.x(), c * p.y() - s * p.z(), s * p.y() + c * p.z(), p.w());
    }
    return points;
}

inline double shortestEdge(const TestMesh &mesh, const Topology &topology)
{
    double shortest = mesh.extent();
    const std::vector<quint32> &edges = topology.edges();
    for (size_t k = 0; k + 1 < edges.size(); k += 2) {
        const double edge = double((mesh.points[edges[k]] - mesh.points[edges[k + 1]]).length());
        if (edge < shortest) // not for a NaN
            shortest = edge;
    }
    return shortest;
}

inline DeformScene deformScene(const TestMesh &mesh, const Topology &topology)
{
    DeformScene scene { mesh, topology, {}, {}, {}, {}, {}, {}, {} };
    const double amplitude = 0.2 * shortestEdge(mesh, scene.topology);
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

inline DeformScene deformScene(const TestMesh &mesh) { return deformScene(mesh, mesh.topology()); }

inline ReferenceScene toReference(const DeformScene &scene)
{
    const auto count = size_t(scene.mesh.vertexCount());
    return { { scene.topology.rings(), count },       { scene.topology.constraints(), count },
             reference::toPose(scene.position),       reference::toPose(scene.normal),
             reference::toPose(scene.deltas),         reference::toPose(scene.basePoints),
             reference::toPose(scene.offsetPoints),   reference::toPose(scene.rest),
             { scene.mask.begin(), scene.mask.end() } };
}

/// A reference result and how far the float result may lie from it.
struct Expectation {
    reference::Pose pose;
    std::vector<double> tolerance; ///< per vertex

    /// Empty when the points match. Where the reference is not finite, the points must not be.
    QString mismatch(const PointArray &actual) const
    {
        if (actual.size() != pose.size())
            return QStringLiteral("%1 points, not %2").arg(actual.size()).arg(pose.size());
        const reference::Pose got = reference::toPose(actual);
        for (size_t i = 0; i < pose.size(); ++i) {
            const reference::Vec wanted = pose[i], error = got[i] - wanted;
            if (finite(wanted) ? !(length(error) <= tolerance[i]) : finite(got[i]))
                return QStringLiteral("vertex %1: (%2 %3 %4), not (%5 %6 %7), tolerance %8")
                    .arg(i)
                    .arg(got[i].x)
                    .arg(got[i].y)
                    .arg(got[i].z)
                    .arg(wanted.x)
                    .arg(wanted.y)
                    .arg(wanted.z)
                    .arg(tolerance[i]);
        }
        return {};
    }
};

/// Runs a reference on the scene, and again with every point nudged by a few rounding errors. A
/// float kernel makes such errors at every step, so it may stray by a small multiple of what they
/// move the reference itself: much at a sliver's frame, nearly nothing on an even mesh.
template <class Reference> Expectation expectation(const DeformScene &scene, Reference compute)
{
    const ReferenceScene exact = toReference(scene);
    const double rounding = std::numeric_limits<float>::epsilon() * scene.mesh.extent();
    Expectation result { compute(exact), {} };
    result.tolerance.assign(result.pose.size(), 16 * rounding);
    for (unsigned run = 0; run < 4; ++run) {
        std::mt19937 random(run);
        std::uniform_real_distribution<double> nudge(-2 * rounding, 2 * rounding);
        ReferenceScene moved = exact;
        for (reference::Pose *pose : { &moved.position, &moved.deltas, &moved.basePoints,
                                       &moved.offsetPoints, &moved.rest }) {
            for (reference::Vec &p : *pose)
                p = p + reference::Vec { nudge(random), nudge(random), nudge(random) };
        }
        const reference::Pose other = compute(moved);
        for (size_t i = 0; i < other.size(); ++i)
            result.tolerance[i] =
                std::max(result.tolerance[i], 8 * length(other[i] - result.pose[i]));
    }
    return result;
}

/// A context and a mesh in it, refilled for every test.
class DeformStage {
public:
    bool valid() { return m_gl.valid() && m_gl.makeCurrent() && m_mesh.initialize(); }
    GPUMesh &mesh() { return m_mesh; }
    void finish() { m_gl.gl().glFinish(); } ///< waits for the card

    /// Sizes the buffers for the scene's mesh and fills all that the passes read.
    void load(const DeformScene &scene)
    {
        m_topology = scene.topology;
        m_mesh.setTopology(&m_topology);
        m_mesh.allocateBuffers();
        m_mesh.setRestPoints(scene.rest);
        m_mesh.bind();
        m_mesh.upload(Semantic::kPosition, scene.position);
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

/// NaNs of one pattern count as the same, and 0 and -0 do not.
inline bool sameBits(const PointArray &a, const PointArray &b)
{
    return a.size() == b.size() &&
        (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(QVector4D)) == 0);
}
