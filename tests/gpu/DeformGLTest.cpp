#include "alembic/AlembicFile.h"
#include "gpu/GpuCounters.h"
#include "gpu/LayerPasses.h"
#include "gpu/MeshStage.h"

#include <QDir>

#include <functional>

namespace {
using reference::Pose;
using reference::Scene;

constexpr PlayState kStopped { false, false }, kPlaying { true, false };
constexpr int kFrames = 3; ///< of a jiggle layer, whose state has to travel

struct Subject {
    TestMesh mesh;
    Topology topology;
};

/// Meshes that other programs wrote (poles of 24 neighbours, nests of transforms), where the
/// environment variable PLEXMOLD_REAL_ARCHIVES names their folder.
std::vector<Subject> realSubjects()
{
    std::vector<Subject> subjects;
    const QDir folder(qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES"));
    for (const char *name : { "animatedCube.abc", "hasColorSet.abc", "testUsdAbcIsConstant.abc" }) {
        AlembicFile archive;
        Subject subject { { QLatin1String(name), {}, {}, {} }, {} };
        double start = 0.0, end = 0.0;
        if (archive.open(QFile::encodeName(folder.filePath(QLatin1String(name)))) &&
            archive.timeRange(start, end) && archive.fillTopology(subject.topology) &&
            archive.readPoints(subject.mesh.points, start))
            subjects.push_back(subject);
    }
    return subjects;
}

const std::vector<Subject> &subjects()
{
    static const std::vector<Subject> all = [] {
        std::vector<Subject> list = realSubjects();
        for (const TestMesh &mesh : testMeshes())
            list.push_back({ mesh, mesh.topology() });
        return list;
    }();
    return all;
}

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

LayerData layerOf(LayerKind kind, const MeshScene &scene)
{
    return layerOf(*std::find_if(std::begin(kRows), std::end(kRows),
                                 [=](const Row &row) { return row.kind == kind; }),
                   scene);
}

/// The jiggle layer comes first, so after the cloth of the frame before.
std::vector<LayerData> oneOfEachKind(const MeshScene &scene)
{
    std::vector<LayerData> layers;
    for (const LayerKind kind : { LayerKind::Jiggle, LayerKind::Sculpt, LayerKind::Mush,
                                  LayerKind::Relax, LayerKind::Cloth })
        layers.push_back(layerOf(kind, scene));
    return layers;
}

/// A jiggle layer's offset points are where it is; its clone keeps the shape that came in.
Pose jiggled(Scene s, const Row &row)
{
    s.deltas = s.offsetPoints;
    for (int frame = 0; frame < kFrames; ++frame) {
        const Pose shape = s.position;
        s.normal = vertexNormals(s, shape);
        reference::jiggle(s, { row.weight, double(0.2f), double(0.35f), row.asMuscle });
        s.position = clone(s, s.position, shape, 1.0, false, row.cloneIterations);
    }
    return s.position;
}

Pose formula(const Row &row, const Scene &s)
{
    const double weight = row.weight;
    switch (row.kind) {
    case LayerKind::Sculpt:
        return clone(s, addDeltas(s, s.position, s.basePoints, s.offsetPoints, weight, row.tangent),
                     s.offsetPoints, std::max(weight, 0.0), true, row.cloneIterations);
    case LayerKind::Mush:
        return mush(s, row.iterations, row.cloneIterations, weight);
    case LayerKind::Relax:
        return relax(s, s.position, weight, true, row.iterations);
    case LayerKind::Jiggle:
        return jiggled(s, row);
    default:
        return clone(s, s.position, clothSimulation(s, row.iterations), weight, false, 5);
    }
}

/// Dispatches, and all that the work made the card do.
struct Spent {
    int dispatches, everything;
};

template <class Work> Spent spentBy(Work work)
{
    const GpuCounters before = gpuCounters(), &now = gpuCounters();
    work();
    const auto dispatches = int(now.dispatches - before.dispatches);
    return { dispatches,
             dispatches + int(now.uploads - before.uploads + now.readBacks - before.readBacks) +
                 int(now.copies - before.copies) };
}

/// The energy in the springs, each counted from both its ends.
double springEnergy(const Scene &s, const Pose &pose)
{
    double energy = 0.0;
    for (size_t i = 0; i < pose.size(); ++i) {
        for (const quint32 j : s.springs.of(i)) {
            const double stretch = length(pose[j] - pose[i]) - length(s.rest[j] - s.rest[i]);
            energy += 0.25 * 400.0 * stretch * stretch;
        }
    }
    return energy;
}
} // namespace

/// The deformer kernels, as layers run them.
class DeformGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<MeshStage>();
        SKIP_WITHOUT_GL(*m_stage);
        if (qEnvironmentVariableIsSet("PLEXMOLD_REAL_ARCHIVES"))
            QCOMPARE(realSubjects().size(), size_t(3)); // rows must not go missing without a word
    }
    void cleanupTestCase() { m_stage.reset(); }

    void passesMatchTheReference();
    void clothSettles();
    void onlyExactlyZeroIsSkipped();
    void whatCannotRunChangesNothing();
    void unfitMaskCountsAsZeros();
    void countsAreHeld();
    void sameFrameSameBits();
    void layersStayOnTheCard();
    void jiggleStartsAtRest();
    void mushBaseIsTheRelaxedRestPose();

private:
    GPUMesh &mesh() { return m_stage->mesh(); }
    PointArray evaluated(std::vector<LayerData> &layers, const PointArray &imported,
                         const PlayState &play);

    std::unique_ptr<MeshStage> m_stage;
};

void DeformGLTest::passesMatchTheReference()
{
    for (const Subject &on : subjects()) {
        const MeshScene scene = meshScene(on.mesh, on.topology);
        m_stage->load(scene);
        mesh().updateNormals();
        QVERIFY2(matchesReference(m_stage->points(Semantic::kNormal), scene,
                                  [](const Scene &s) { return vertexNormals(s, s.position); }),
                 qPrintable(on.mesh.name));
        for (const Row &row : kRows) {
            m_stage->load(scene);
            LayerData layer = layerOf(row, scene);
            for (int frame = 0; frame < (row.kind == LayerKind::Jiggle ? kFrames : 1); ++frame)
                applyLayer(mesh(), layer, row.weight, { true, false, quint64(frame) });
            QVERIFY2(matchesReference(m_stage->points(), scene,
                                      [&](const Scene &s) { return formula(row, s); }),
                     qPrintable(QLatin1String(row.name) + QLatin1String(", ") + on.mesh.name));
        }
    }
}

/// Hung by its first row, stretched and sheared.
void DeformGLTest::clothSettles()
{
    std::vector<Subject> sheets = realSubjects();
    for (const TestMesh &grid : { testGrid(16, 16, 0.1, false), testGrid(16, 16, 0.1, true) })
        sheets.push_back({ grid, grid.topology() });
    for (const Subject &sheet : sheets) {
        MeshScene scene = meshScene(sheet.mesh, sheet.topology);
        scene.rest = sheet.mesh.points;
        scene.position = bent(scene.rest, 0.8f / float(sheet.mesh.extent()));
        for (QVector4D &p : scene.position)
            p = QVector4D(1.2f * p.x(), 0.9f * p.y() + 0.1f * p.x(), p.z(), 1.0f);
        const auto pinned = std::ptrdiff_t(scene.rest.size() / 16 + 1);
        scene.mask.assign(scene.rest.size(), 1.0f);
        std::fill_n(scene.mask.begin(), pinned, 0.0f);
        const Scene exact = toReference(scene);
        const double start = springEnergy(exact, exact.position);
        for (const int steps : { 2, 10, 50, 500 }) {
            m_stage->load(scene);
            mesh().cloth(steps, 1.0f);
            const PointArray hung = m_stage->points(Semantic::kOffsetPoints);
            QVERIFY(std::all_of(hung.begin(), hung.end(), isFinitePoint));
            QVERIFY(springEnergy(exact, reference::toPose(hung)) < start);
            for (const PointArray &points : { hung, m_stage->points() })
                QVERIFY(sameBits({ points.begin(), points.begin() + pinned },
                                 { scene.position.begin(), scene.position.begin() + pinned }));
        }
    }
}

void DeformGLTest::onlyExactlyZeroIsSkipped()
{
    const MeshScene scene = meshScene(testGrid(6));
    m_stage->load(scene);
    for (LayerData &layer : oneOfEachKind(scene)) {
        for (const float weight : { 0.0f, -0.0f, 1e-6f, -1.0f }) {
            const Spent spent = spentBy([&] { applyLayer(mesh(), layer, weight, kPlaying); });
            QCOMPARE(spent.everything == 0, weight == 0.0f);
            QCOMPARE(spent.dispatches == 0, weight == 0.0f);
        }
    }
}

void DeformGLTest::whatCannotRunChangesNothing()
{
    const MeshScene scene = meshScene(testGrid(6));
    m_stage->load(scene);
    const auto applied = [&](LayerData layer, float weight, PlayState play) {
        return spentBy([&] { applyLayer(mesh(), layer, weight, play); }).everything;
    };
    for (const LayerKind kind : { LayerKind::Sculpt, LayerKind::Mush }) {
        LayerData layer = layerOf(kind, scene);
        layer.editOffsetPoints().pop_back();
        QCOMPARE(applied(layer, 1.0f, kPlaying), 0);
    }
    LayerData layer = layerOf(LayerKind::Jiggle, scene);
    QCOMPARE(applied(layer, 1.0f, { false, true }), 0); // a jiggle layer only plays
    QCOMPARE(applied(layer, std::numeric_limits<float>::quiet_NaN(), kPlaying), 0);
    for (const int kind : { -1, 5 }) {
        layer.setKind(LayerKind(kind));
        QCOMPARE(applied(layer, 1.0f, kPlaying), 0);
    }
    QVERIFY(sameBits(m_stage->points(), scene.position));
}

void DeformGLTest::unfitMaskCountsAsZeros()
{
    const MeshScene scene = meshScene(testGrid(6));
    const auto shown = [&](const LayerData *layer) {
        m_stage->load(scene); // with a mask that must not stay
        showMask(mesh(), layer);
        return mesh().readBack<float>(Semantic::kMask);
    };
    LayerData layer = layerOf(LayerKind::Relax, scene);
    std::vector<float> mask = layer.mask();
    mask[0] = 0.5f;
    layer.setMask(mask);
    QCOMPARE(shown(&layer), layer.mask());
    QCOMPARE(shown(nullptr), std::vector<float>(36));
    for (const size_t length : { 0, 35, 37 }) {
        layer.setMask(std::vector<float>(length, 1.0f));
        QCOMPARE(shown(&layer), std::vector<float>(36));
        mesh().upload(Semantic::kMask, scene.mask);
        applyLayer(mesh(), layer, 1.0f, kStopped);
        QVERIFY(sameBits(m_stage->points(), scene.position));
    }
}

/// A damaged scene file may ask for any number of passes.
void DeformGLTest::countsAreHeld()
{
    const MeshScene scene = meshScene(testGrid(2));
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    m_stage->load(scene);
    const auto mushOf = [&](int iterations, float envelope) {
        mesh().mush(iterations, 3, envelope, scene.basePoints, scene.offsetPoints);
    };
    const std::pair<std::function<void()>, int> calls[] = {
        { [&] { mesh().clone(lowest, 1.0f, false); }, 0 },
        { [&] { mesh().relax(-1, 1.0f, false, false); }, 0 },
        { [&] { mesh().relax(highest, 1.0f, false, false); }, 65536 },
        { [&] { mesh().cloth(lowest, 1.0f); }, 0 },
        { [&] { mushOf(0, 0.5f); }, 0 },
        { [&] { mushOf(2, 1.0f); }, 2 + 1 + 3 }, // nothing to blend with
        { [&] { mushOf(2, 0.999f); }, 2 + 1 + 3 + 1 },
        { [&] { mesh().setRestPoints(PointArray(3)), mesh().cloth(4, 1.0f); }, 0 },
    };
    for (const auto &[call, dispatches] : calls)
        QCOMPARE(spentBy(call).dispatches, dispatches);
}

/// What the application does for a frame, without an archive and with weights as they are.
PointArray DeformGLTest::evaluated(std::vector<LayerData> &layers, const PointArray &imported,
                                   const PlayState &play)
{
    mesh().upload(Semantic::kPosition, imported);
    for (LayerData &layer : layers)
        applyLayer(mesh(), layer, 0.8f, play);
    mesh().updateNormals();
    showMask(mesh(), nullptr);
    return m_stage->points();
}

/// Also after stop, rewind and play: leftovers in shared buffers must not reach the simulation.
void DeformGLTest::sameFrameSameBits()
{
    const MeshScene scene = meshScene(testSphere());
    m_stage->load(scene);
    for (const float asMuscle : { 0.0f, 0.8f }) {
        std::vector<LayerData> layers = oneOfEachKind(scene);
        layers[0].setAsMuscle(asMuscle);
        std::vector<PointArray> runs[2];
        for (std::vector<PointArray> &frames : runs) {
            for (int frame = 0; frame < 10; ++frame) {
                const auto again = [&] {
                    return evaluated(layers, bent(scene.position, std::sin(0.7f * float(frame))),
                                     { true, frame == 0, quint64(frame) });
                };
                frames.push_back(again());
                QVERIFY(sameBits(again(), frames.back())); // a frame is one step of a simulation
            }
            frames.push_back(evaluated(layers, scene.position, kStopped));
            QVERIFY(sameBits(evaluated(layers, scene.position, kStopped), frames.back()));
            QVERIFY(!sameBits(frames.back(), scene.position));
        }
        for (size_t frame = 0; frame < runs[0].size(); ++frame)
            QVERIFY(sameBits(runs[1][frame], runs[0][frame]));
    }
}

/// Kept there or uploaded each time, the same bits; kept, a frame uploads nothing but itself, and a
/// layer that changed its array anew.
void DeformGLTest::layersStayOnTheCard()
{
    const MeshScene scene = meshScene(testSphere());
    std::vector<PointArray> runs[2];
    PointArray states[2];
    const qint64 room = 3 * 16 * qint64(scene.position.size()), limits[] = { 0, 100 * room };
    for (const int kept : { 0, 1 }) {
        m_stage->load(scene);
        mesh().setCardLimit(limits[kept]);
        std::vector<LayerData> layers = oneOfEachKind(scene);
        for (int frame = 0; frame < 6; ++frame) {
            if (frame == 4)
                layers[1].editOffsetPoints()[3] += QVector4D(0.1f, 0.0f, 0.0f, 0.0f);
            const GpuCounters before = gpuCounters();
            mesh().upload(Semantic::kPosition, bent(scene.position, 0.1f * float(frame)));
            for (LayerData &layer : layers)
                applyLayer(mesh(), layer, 0.8f, { true, frame == 0, quint64(frame) });
            const quint64 uploads = gpuCounters().uploads - before.uploads;
            if (kept && frame > 0)
                QCOMPARE(uploads, quint64(frame == 4 ? 2 : 1));
            QCOMPARE(gpuCounters().readBacks, before.readBacks);
            runs[kept].push_back(m_stage->points());
        }
        layers[0].bringHome();
        states[kept] = layers[0].offsetPoints();
        const LayerData copy = layers[0]; // whose state at home is uploaded again
        runs[kept].push_back(evaluated(layers, scene.position, { true, false, 6 }));
        layers[0] = copy;
        QVERIFY(sameBits(evaluated(layers, scene.position, { true, false, 7 }), runs[kept].back()));
    }
    QCOMPARE(runs[0].size(), runs[1].size());
    for (size_t i = 0; i < runs[0].size(); ++i)
        QVERIFY(sameBits(runs[0][i], runs[1][i]));
    QVERIFY(sameBits(states[0], states[1]));
}

/// At the start frame, and with arrays that fit another mesh.
void DeformGLTest::jiggleStartsAtRest()
{
    const MeshScene scene = meshScene(testGrid(6));
    m_stage->load(scene);
    LayerData layer = layerOf(LayerKind::Jiggle, scene);
    layer.setCloneIterations(0); // which would move even what rests
    for (const bool atStart : { true, false }) {
        if (!atStart)
            layer.setBasePoints(PointArray(3));
        mesh().upload(Semantic::kPosition, scene.position);
        applyLayer(mesh(), layer, 1.0f, { true, atStart, quint64(atStart) });
        QVERIFY(sameBits(layer.basePoints(), scene.position));
        QCOMPARE(layer.offsetPoints(), scene.position);
    }
}

void DeformGLTest::mushBaseIsTheRelaxedRestPose()
{
    const MeshScene scene = meshScene(testGrid(12));
    m_stage->load(scene);
    LayerData layer = layerOf(LayerKind::Mush, scene);
    rebuildMushBase(mesh(), layer);
    QVERIFY(matchesReference(layer.basePoints(), scene, [](const Scene &s) {
        return relax(s, s.offsetPoints, 1.0, false, 4);
    }));
    QVERIFY(sameBits(m_stage->points(), scene.position));
    QVERIFY(sameBits(layer.offsetPoints(), scene.offsetPoints));

    // On the rest pose the layer then gives back what relaxing took: nothing moves.
    layer.setCloneIterations(0);
    mesh().upload(Semantic::kPosition, scene.offsetPoints);
    applyLayer(mesh(), layer, 1.0f, kStopped);
    QVERIFY(pointsMatch(m_stage->points(), reference::toPose(scene.offsetPoints), 1e-5));

    layer.editOffsetPoints().pop_back();
    const PointArray before = layer.basePoints();
    rebuildMushBase(mesh(), layer);
    QVERIFY(sameBits(layer.basePoints(), before));
}

QTEST_MAIN(DeformGLTest)
#include "DeformGLTest.moc"
