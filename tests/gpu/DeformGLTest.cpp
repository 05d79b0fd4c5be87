#include "alembic/AlembicFile.h"
#include "gpu/GpuCounters.h"
#include "gpu/LayerPasses.h"
#include "gpu/MeshStage.h"
#include "support/LogCapture.h"

namespace {
using reference::Pose;
using reference::Scene;

constexpr PlayState kStopped { false, false }, kPlaying { true, false };
constexpr int kFrames = 3; ///< of a jiggle layer, whose state has to travel

struct Subject {
    TestMesh mesh;
    Topology topology;
};

/// A layer's parameters that its pass has to hand on to the kernels.
struct Row {
    const char *name;
    LayerKind kind;
    float weight;
    bool tangent;
    int iterations, cloneIterations;
    float asMuscle;
};

constexpr Row kRows[] = {
    { "offsets with their shape forced", LayerKind::Sculpt, 0.75f, true, 0, 2, 0 },
    { "offsets in the tangent frame", LayerKind::Sculpt, 0.75f, true, 0, 0, 0 },
    { "offsets", LayerKind::Sculpt, 0.75f, false, 0, 0, 0 },
    { "offsets turned over", LayerKind::Sculpt, -1.0f, false, 0, 2, 0 },
    { "mush cloned and blended", LayerKind::Mush, 0.4f, false, 4, 2, 0 },
    { "mush", LayerKind::Mush, 1.0f, false, 3, 0, 0 },
    { "mush turned over", LayerKind::Mush, -0.5f, false, 1, 0, 0 },
    { "relax", LayerKind::Relax, 0.6f, false, 3, 0, 0 },
    { "relax by cotangents, which are all the same", LayerKind::Relax, 1.0f, true, 3, 0, 0 },
    { "jiggle", LayerKind::Jiggle, 0.8f, false, 0, 2, 0 },
    { "jiggle as muscle", LayerKind::Jiggle, 0.8f, false, 0, 0, 0.7f },
    { "cloth", LayerKind::Cloth, 0.9f, false, 8, 0, 0 },
    { "cloth, whose last odd step is unused", LayerKind::Cloth, -0.5f, false, 7, 0, 0 },
};

LayerData layerOf(const Row &row, const MeshScene &scene)
{
    LayerData layer;
    layer.setKind(row.kind);
    layer.setBasePoints(scene.basePoints);
    layer.setOffsetPoints(scene.offsetPoints);
    layer.setMask(scene.mask);
    layer.setTangent(row.tangent);
    layer.setIterations(row.iterations);
    layer.setCloneIterations(row.cloneIterations);
    layer.setAsMuscle(row.asMuscle);
    layer.setDamping(0.2f);
    layer.setStiffness(0.35f);
    return layer;
}

/// Of the first row of that kind.
LayerData layerOf(LayerKind kind, const MeshScene &scene)
{
    const Row *row = kRows;
    while (row->kind != kind)
        ++row;
    return layerOf(*row, scene);
}

int framesOf(LayerKind kind) { return kind == LayerKind::Jiggle ? kFrames : 1; }

/// A jiggle layer's offset points are where it is.
Pose expectedOf(const LayerData &layer, const Row &row, Scene s)
{
    if (row.kind == LayerKind::Jiggle)
        s.deltas = s.offsetPoints;
    for (int frame = 0; frame < framesOf(row.kind); ++frame)
        reference::apply(s, layer, row.weight);
    return s.position;
}

/// Dispatches, and all that the work made the card do.
struct Spent {
    int dispatches, everything;
};

template <class Work> Spent spentBy(Work work)
{
    const auto all = [](const GpuCounters &c) {
        return int(c.dispatches + c.uploads + c.readBacks + c.copies);
    };
    const GpuCounters before = gpuCounters();
    work();
    return { int(gpuCounters().dispatches - before.dispatches), all(gpuCounters()) - all(before) };
}

} // namespace

/// The deformer kernels, as layers run them.
class DeformGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        NEEDS_GL(m_stage.valid());
        // What other programs wrote: poles of 24 neighbours, nests of transforms.
        for (const char *name :
             { "animatedCube.abc", "hasColorSet.abc", "testUsdAbcIsConstant.abc" }) {
            AlembicFile archive;
            Subject subject { { QLatin1String(name), {}, {}, {} }, {} };
            double start = 0.0, end = 0.0;
            if (realArchives().isEmpty())
                break;
            QVERIFY(archive.open(QFile::encodeName(realArchives() + QLatin1String(name))) &&
                    archive.timeRange(start, end) && archive.fillTopology(subject.topology) &&
                    archive.readPoints(subject.mesh.points, start));
            m_subjects.push_back(subject);
        }
        for (const TestMesh &mesh : testMeshes())
            m_subjects.push_back({ mesh, mesh.topology() });
    }

    void passesMatchTheReference()
    {
        for (const Subject &on : m_subjects) {
            const MeshScene scene = meshScene(on.mesh, on.topology);
            m_stage.load(scene);
            mesh().updateNormals();
            QVERIFY2(matchesReference(m_stage.points(Semantic::kNormal), scene,
                                      [](const Scene &s) { return vertexNormals(s, s.position); }),
                     qPrintable(on.mesh.name));
            for (const Row &row : kRows) {
                m_stage.load(scene);
                const LayerData parameters = layerOf(row, scene);
                LayerData layer = parameters;
                for (int frame = 0; frame < framesOf(row.kind); ++frame)
                    applyLayer(mesh(), layer, row.weight, { true, false, quint64(frame) });
                const auto expected = [&](const Scene &s) {
                    return expectedOf(parameters, row, s);
                };
                QVERIFY2(matchesReference(m_stage.points(), scene, expected),
                         qPrintable(QLatin1String(row.name) + QLatin1String(", ") + on.mesh.name));
            }
        }
    }

    void onlyWhatCanRunRuns()
    {
        const MeshScene scene = meshScene(testGrid(6));
        m_stage.load(scene);
        const auto spent = [&](LayerData layer, float weight, PlayState play) {
            return spentBy([&] { applyLayer(mesh(), layer, weight, play); });
        };
        for (int kind = 0; kind < 5; ++kind) {
            LayerData layer = layerOf(LayerKind(kind), scene);
            for (const float weight : { 0.0f, -0.0f, 1e-6f, -1.0f }) // exactly zero is skipped
                QCOMPARE(spent(layer, weight, kPlaying).dispatches == 0, weight == 0.0f);
            QCOMPARE(spent(layer, 0.0f, kPlaying).everything, 0);
            QCOMPARE(spent(layer, std::numeric_limits<float>::quiet_NaN(), kPlaying).everything, 0);
            layer.editOffsetPoints().pop_back();
            const LogCapture log;
            for (int frame = 0; frame < 2; ++frame) // they do not fit, which is told once
                applyLayer(mesh(), layer, 1.0f, kPlaying);
            QCOMPARE(LogCapture::countContaining(QStringLiteral("is passed over")), int(kind < 2));
            QCOMPARE(spent(layer, 1.0f, kPlaying).everything == 0, kind < 2); // they do not fit
            QCOMPARE(spent(layer, 1.0f, { false, true }).everything == 0, kind < 2 || kind == 3);
        }
        m_stage.load(scene);
        LayerData layer = layerOf(LayerKind::Relax, scene);
        for (const int kind : { -1, 5 }) {
            layer.setKind(LayerKind(kind));
            QCOMPARE(spent(layer, 1.0f, kPlaying).everything, 0);
        }
        layer.setKind(LayerKind::Relax);
        for (const size_t length : { 0, 35, 37 }) { // an unfit mask counts as zeros
            layer.setMask(std::vector<float>(length, 1.0f));
            mesh().upload(Semantic::kMask, scene.mask);
            showMask(mesh(), &layer);
            QCOMPARE(mesh().readBack<float>(Semantic::kMask), std::vector<float>(36));
            mesh().upload(Semantic::kMask, scene.mask);
            applyLayer(mesh(), layer, 1.0f, kStopped);
            QVERIFY(sameBits(m_stage.points(), scene.position));
        }
    }

    /// Kept on the card or uploaded each time, the same bits; kept, a frame uploads nothing but
    /// itself, and a layer that changed its array anew.
    void layersStayOnTheCard()
    {
        const MeshScene scene = meshScene(testSphere());
        std::vector<PointArray> runs[2];
        for (const int kept : { 0, 1 }) {
            m_stage.load(scene);
            mesh().setCardLimit(kept * 4800 * qint64(scene.position.size()));
            std::vector<LayerData> layers; // jiggle comes after the cloth of the frame before
            for (const LayerKind kind : { LayerKind::Jiggle, LayerKind::Sculpt, LayerKind::Mush,
                                          LayerKind::Relax, LayerKind::Cloth })
                layers.push_back(layerOf(kind, scene));
            for (quint64 frame = 0; frame < 6; ++frame) {
                if (frame == 4)
                    layers[1].editOffsetPoints()[3] += QVector4D(0.1f, 0.0f, 0.0f, 0.0f);
                const GpuCounters before = gpuCounters();
                for (int again = 0; again < 2; ++again) { // a frame is one step of a simulation
                    mesh().upload(Semantic::kPosition, bent(scene.position, 0.1f * float(frame)));
                    for (LayerData &layer : layers)
                        applyLayer(mesh(), layer, 0.8f, { true, frame == 0, frame });
                    runs[kept].push_back(m_stage.points());
                }
                QVERIFY(sameBits(runs[kept].back(), runs[kept][2 * size_t(frame)]));
                if (kept && frame > 0)
                    QCOMPARE(gpuCounters().uploads - before.uploads, quint64(frame == 4 ? 3 : 2));
            }
            layers[0].bringHome();
            runs[kept].push_back(layers[0].offsetPoints());
        }
        for (size_t i = 0; i < runs[0].size(); ++i)
            QVERIFY(sameBits(runs[0][i], runs[1][i]));
    }

    /// A damaged scene file may ask for any number of passes.
    void countsAreHeld()
    {
        const MeshScene scene = meshScene(testGrid(2));
        m_stage.load(scene);
        using Limits = std::numeric_limits<int>;
        using Row = std::tuple<LayerKind, int, int, float, int>;
        for (const auto &[kind, iterations, clones, weight, dispatches] :
             { Row(LayerKind::Sculpt, 0, Limits::min(), 1.0f, 1),
               Row(LayerKind::Relax, -1, 0, 1.0f, 0),
               Row(LayerKind::Relax, Limits::max(), 0, 1.0f, 65536),
               Row(LayerKind::Cloth, Limits::min(), 0, 1.0f, 0),
               Row(LayerKind::Mush, 0, 3, 0.5f, 0),
               Row(LayerKind::Mush, 2, 3, 1.0f, 2 + 1 + 3), // nothing to blend with
               Row(LayerKind::Mush, 2, 3, 0.999f, 2 + 1 + 3 + 1) }) {
            LayerData layer = layerOf(kind, scene);
            layer.setIterations(iterations);
            layer.setCloneIterations(clones);
            QCOMPARE(spentBy([&] { applyLayer(mesh(), layer, weight, kPlaying); }).dispatches,
                     dispatches);
        }
    }

private:
    GPUMesh &mesh() { return m_stage.mesh(); }
    std::vector<Subject> m_subjects;
    MeshStage m_stage;
};

QTEST_MAIN(DeformGLTest)
#include "DeformGLTest.moc"
