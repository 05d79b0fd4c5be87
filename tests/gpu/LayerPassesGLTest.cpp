#include "gpu/DeformStage.h"
#include "gpu/GpuCounters.h"
#include "gpu/LayerPasses.h"
#include "support/LogCapture.h"

namespace {
LayerData layerFor(const DeformScene &scene, LayerKind kind)
{
    LayerData layer;
    layer.setKind(kind);
    layer.setName(QStringLiteral("the %1").arg(layerKindName(kind)));
    layer.setBasePoints(scene.basePoints);
    layer.setOffsetPoints(scene.offsetPoints);
    layer.setMask(scene.mask);
    layer.setIterations(4);
    layer.setCloneIterations(2);
    layer.setDamping(0.2f);
    layer.setStiffness(0.35f);
    return layer;
}

std::vector<LayerData> fiveLayers(const DeformScene &scene)
{
    std::vector<LayerData> layers;
    for (int kind = 0; kind < 5; ++kind)
        layers.push_back(layerFor(scene, LayerKind(kind)));
    layers[0].setTangent(true);
    return layers;
}

constexpr PlayState kStopped { false, false };

GpuCounters since(const GpuCounters &before)
{
    const GpuCounters &now = gpuCounters();
    return { now.uploads - before.uploads,       now.uploadedBytes - before.uploadedBytes,
             now.readBacks - before.readBacks,   now.copies - before.copies,
             now.dispatches - before.dispatches, now.evaluations - before.evaluations };
}

bool nothingRan(const GpuCounters &spent)
{
    return spent.uploads == 0 && spent.readBacks == 0 && spent.copies == 0 && spent.dispatches == 0;
}

/// Two frames. A jiggle layer's base points are where it was, its offset points where it is. Its
/// clone keeps the shape that came in.
reference::Pose jiggledTwice(const ReferenceScene &s, double weight, float asMuscle)
{
    const reference::Jiggle jiggle { weight, double(0.2f), double(0.35f), double(asMuscle) };
    reference::Simulation state { s.offsetPoints, s.basePoints };
    reference::Pose position = s.position;
    for (int frame = 0; frame < 2; ++frame) {
        const reference::Pose shape = position;
        position = reference::jiggle(shape, vertexNormals(s.rings, shape), s.mask, jiggle, state);
        position = clone(s.rings, position, shape, s.mask, 1.0, false, 2);
    }
    return position;
}
} // namespace

class LayerPassesGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<DeformStage>();
        SKIP_WITHOUT_GL(*m_stage);
    }
    void cleanupTestCase() { m_stage.reset(); }

    void onlyExactlyZeroIsSkipped_data();
    void onlyExactlyZeroIsSkipped();
    void damagedLayersArePassedOver_data();
    void damagedLayersArePassedOver();
    void unfitMaskCountsAsZeros();
    void layersHandOnTheirParameters_data();
    void layersHandOnTheirParameters();
    void evaluatingTwiceGivesTheSameBits();
    void jiggleOnlyPlays();
    void jiggleIsTheSameAfterARewind_data();
    void jiggleIsTheSameAfterARewind();
    void maskShownIsTheLayers();
    void mushBaseIsTheRelaxedRestPose();

private:
    GPUMesh &mesh() { return m_stage->mesh(); }
    PointArray evaluated(std::vector<LayerData> &layers, const PointArray &imported,
                         const PlayState &play);
    std::vector<PointArray> played(std::vector<LayerData> &layers, const DeformScene &scene);

    std::unique_ptr<DeformStage> m_stage;
};

/// What the application does for a frame, without an archive and with weights as they are.
PointArray LayerPassesGLTest::evaluated(std::vector<LayerData> &layers, const PointArray &imported,
                                        const PlayState &play)
{
    mesh().upload(Semantic::kPosition, imported);
    for (LayerData &layer : layers)
        applyLayer(mesh(), layer, layer.intensity(), play);
    mesh().updateNormals();
    showMask(mesh(), nullptr);
    return m_stage->points();
}

/// Ten frames of a swinging mesh from the start frame.
std::vector<PointArray> LayerPassesGLTest::played(std::vector<LayerData> &layers,
                                                  const DeformScene &scene)
{
    std::vector<PointArray> frames;
    for (int frame = 0; frame < 10; ++frame)
        frames.push_back(evaluated(layers, bent(scene.position, std::sin(0.7f * float(frame))),
                                   { true, frame == 0 }));
    return frames;
}

void LayerPassesGLTest::onlyExactlyZeroIsSkipped_data()
{
    QTest::addColumn<int>("kind");
    for (int kind = 0; kind < 5; ++kind)
        QTest::newRow(qPrintable(layerKindName(LayerKind(kind)))) << kind;
}

void LayerPassesGLTest::onlyExactlyZeroIsSkipped()
{
    QFETCH(int, kind);
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    LayerData layer = layerFor(scene, LayerKind(kind));
    const PlayState playing { true, false };
    for (const float weight : { 0.0f, -0.0f }) {
        const GpuCounters before = gpuCounters();
        applyLayer(mesh(), layer, weight, playing);
        QVERIFY(nothingRan(since(before)));
    }
    for (const float weight : { 1e-6f, -1.0f }) {
        const GpuCounters before = gpuCounters();
        applyLayer(mesh(), layer, weight, playing);
        QVERIFY(since(before).dispatches > 0);
        QVERIFY(since(before).uploads > 0);
    }
}

void LayerPassesGLTest::damagedLayersArePassedOver_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("missing");
    QTest::addColumn<float>("weight");
    QTest::addColumn<QString>("line");
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto row = [](const char *name, int kind, int missing, float weight, const char *line) {
        QTest::newRow(name) << kind << missing << weight << QString::fromLatin1(line);
    };
    row("Sculpt", 0, 1, 1.0f, "layer L is passed over, its points do not fit the mesh");
    row("Mush", 1, 36, 1.0f, "layer L is passed over, its points do not fit the mesh");
    row("kind 5", 5, 0, 1.0f, "layer L is passed over, unknown kind 5");
    row("kind -1", -1, 0, 1.0f, "layer L is passed over, unknown kind -1");
    row("NaN", 2, 0, nan, "layer L is passed over, its weight is not a number");
}

void LayerPassesGLTest::damagedLayersArePassedOver()
{
    QFETCH(int, kind);
    QFETCH(int, missing);
    QFETCH(float, weight);
    QFETCH(QString, line);
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    LayerData layer = layerFor(scene, LayerKind(kind));
    layer.setName(QStringLiteral("L"));
    layer.offsetPoints().resize(size_t(36 - missing));
    const GpuCounters before = gpuCounters();
    const LogCapture log;
    applyLayer(mesh(), layer, weight, kStopped);
    QVERIFY(nothingRan(since(before)));
    QCOMPARE(LogCapture::lines(), QStringList(line));
    QCOMPARE(layer.offsetPoints().size(), size_t(36 - missing));
}

void LayerPassesGLTest::unfitMaskCountsAsZeros()
{
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene); // with a mask that must not stay
    for (const size_t length : { 0, 35, 37 }) {
        LayerData layer = layerFor(scene, LayerKind::Relax);
        layer.setMask(std::vector<float>(length, 1.0f));
        applyLayer(mesh(), layer, 1.0f, kStopped);
        QVERIFY(sameBits(m_stage->points(), scene.position));
        QCOMPARE(mesh().readBack<float>(Semantic::kMask), std::vector<float>(36));
        QCOMPARE(layer.mask().size(), length);
    }
}

void LayerPassesGLTest::layersHandOnTheirParameters_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<float>("weight");
    for (const float weight : { 1.0f, 0.4f, -0.5f }) {
        for (int kind = 0; kind < 5; ++kind)
            QTest::addRow("%s by %g", qPrintable(layerKindName(LayerKind(kind))), double(weight))
                << kind << weight;
    }
}

void LayerPassesGLTest::layersHandOnTheirParameters()
{
    QFETCH(int, kind);
    QFETCH(float, weight);
    const DeformScene scene = deformScene(testGrid(12));
    m_stage->load(scene);
    std::vector<LayerData> layers = fiveLayers(scene);
    layers[3].setAsMuscle(0.6f);
    const int frames = LayerKind(kind) == LayerKind::Jiggle ? 2 : 1; // its state has to travel
    for (int frame = 0; frame < frames; ++frame)
        applyLayer(mesh(), layers[size_t(kind)], weight, { true, false });
    const double w = double(weight);
    const auto formula = [=](const ReferenceScene &s) -> reference::Pose {
        switch (LayerKind(kind)) {
        case LayerKind::Sculpt:
            return clone(s.rings,
                         addDeltas(s.rings, s.position, { s.basePoints, s.offsetPoints, w, true }),
                         s.offsetPoints, s.mask, std::max(w, 0.0), true, 2);
        case LayerKind::Mush:
            return mush(s.rings, s.position, s.mask, { 4, 2, w, s.basePoints, s.offsetPoints });
        case LayerKind::Relax:
            return relax(s.rings, s.position, s.mask, w, 4);
        case LayerKind::Jiggle:
            return jiggledTwice(s, w, 0.6f);
        default:
            return clone(s.rings, s.position,
                         clothSimulation(s.springs, s.position, s.mask, s.rest, 4), s.mask, w,
                         false, 5);
        }
    };
    const QString fault = expectation(scene, formula).mismatch(m_stage->points());
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
}

void LayerPassesGLTest::evaluatingTwiceGivesTheSameBits()
{
    const DeformScene scene = deformScene(testSphere());
    m_stage->load(scene);
    std::vector<LayerData> layers = fiveLayers(scene);
    const PointArray once = evaluated(layers, scene.position, kStopped);
    const PointArray normals = m_stage->points(Semantic::kNormal);
    QVERIFY(!sameBits(once, scene.position));
    QVERIFY(sameBits(evaluated(layers, scene.position, kStopped), once));
    QVERIFY(sameBits(m_stage->points(Semantic::kNormal), normals));
}

void LayerPassesGLTest::jiggleOnlyPlays()
{
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    LayerData layer = layerFor(scene, LayerKind::Jiggle);
    const GpuCounters before = gpuCounters();
    applyLayer(mesh(), layer, 1.0f, { false, true });
    QVERIFY(nothingRan(since(before)));
    QVERIFY(sameBits(layer.basePoints(), scene.basePoints));

    // At the start frame, and with arrays that fit another mesh, the simulation starts at rest on
    // the current points.
    for (const bool atStart : { true, false }) {
        if (!atStart)
            layer.setBasePoints(PointArray(3));
        layer.setCloneIterations(0);
        mesh().upload(Semantic::kPosition, scene.position);
        applyLayer(mesh(), layer, 1.0f, { true, atStart });
        QVERIFY(sameBits(layer.basePoints(), scene.position));
        QCOMPARE(layer.offsetPoints(), scene.position);
    }
}

void LayerPassesGLTest::jiggleIsTheSameAfterARewind_data()
{
    QTest::addColumn<float>("asMuscle");
    QTest::newRow("plain") << 0.0f;
    QTest::newRow("as muscle") << 0.8f;
}

/// With other layers around it, whose leftovers in shared buffers must not reach the simulation.
void LayerPassesGLTest::jiggleIsTheSameAfterARewind()
{
    QFETCH(float, asMuscle);
    const DeformScene scene = deformScene(testSphere());
    m_stage->load(scene);
    std::vector<LayerData> layers = fiveLayers(scene);
    std::swap(layers[0], layers[3]); // first in the frame, last comes the cloth of the frame before
    layers[0].setAsMuscle(asMuscle);
    const std::vector<PointArray> first = played(layers, scene);
    const PointArray stopped = evaluated(layers, bent(scene.position, 0.3f), kStopped);
    const std::vector<PointArray> second = played(layers, scene);
    for (size_t frame = 0; frame < first.size(); ++frame)
        QVERIFY(sameBits(second[frame], first[frame]));
    QVERIFY(sameBits(evaluated(layers, bent(scene.position, 0.3f), kStopped), stopped));
}

void LayerPassesGLTest::maskShownIsTheLayers()
{
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    LayerData layer;
    layer.setMask(std::vector<float>(36, 0.5f));
    showMask(mesh(), &layer);
    QCOMPARE(mesh().readBack<float>(Semantic::kMask), layer.mask());
    layer.mask().push_back(1.0f);
    showMask(mesh(), &layer);
    QCOMPARE(mesh().readBack<float>(Semantic::kMask), std::vector<float>(36));
    mesh().upload(Semantic::kMask, scene.mask);
    showMask(mesh(), nullptr);
    QCOMPARE(mesh().readBack<float>(Semantic::kMask), std::vector<float>(36));
}

void LayerPassesGLTest::mushBaseIsTheRelaxedRestPose()
{
    const DeformScene scene = deformScene(testGrid(12));
    m_stage->load(scene);
    LayerData layer = layerFor(scene, LayerKind::Mush);
    rebuildMushBase(mesh(), layer);
    const auto relaxed = [](const ReferenceScene &s) {
        return relax(s.rings, s.offsetPoints, reference::Weights(s.mask.size(), 1.0), 1.0, 4);
    };
    const QString fault = expectation(scene, relaxed).mismatch(layer.basePoints());
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
    QVERIFY(sameBits(m_stage->points(), scene.position));
    QVERIFY(sameBits(layer.offsetPoints(), scene.offsetPoints));

    // On the rest pose the layer then gives back what relaxing took: nothing moves.
    layer.setCloneIterations(0);
    mesh().upload(Semantic::kPosition, scene.offsetPoints);
    applyLayer(mesh(), layer, 1.0f, kStopped);
    const PointArray shown = m_stage->points();
    for (size_t i = 0; i < shown.size(); ++i)
        QVERIFY((shown[i] - scene.offsetPoints[i]).length() < 1e-5f);

    layer.setIterations(0);
    rebuildMushBase(mesh(), layer);
    QVERIFY(sameBits(layer.basePoints(), layer.offsetPoints()));

    layer.offsetPoints().pop_back();
    const PointArray before = layer.basePoints();
    QTest::ignoreMessage(QtDebugMsg,
                         "layer the Mush is passed over, its points do not fit the mesh");
    rebuildMushBase(mesh(), layer);
    QVERIFY(sameBits(layer.basePoints(), before));
}

QTEST_MAIN(LayerPassesGLTest)
#include "LayerPassesGLTest.moc"
