#include "gpu/DeformStage.h"
#include "gpu/GpuCounters.h"
#include "reference/Sculpt.h"
#include "support/Compare.h"

Q_DECLARE_METATYPE(TestMesh)

using reference::Dab;
using reference::Vec;

namespace {

constexpr BrushType kTypes[] = { BrushType::Clay,       BrushType::Move,    BrushType::Standard,
                                 BrushType::Crease,     BrushType::Inflate, BrushType::Fix,
                                 BrushType::Flatten,    BrushType::Erase,   BrushType::Mask,
                                 BrushType::MaskSmooth, BrushType::Smooth };
constexpr const char *kTypeNames[] = { "clay",    "move",        "standard", "crease",
                                       "inflate", "fix",         "flatten",  "erase",
                                       "mask",    "mask smooth", "smooth" };

/// Everything that the sculpt kernel reads, as it lies on the card.
struct Scene {
    Topology topology;
    PointArray position, normal, deltas, backupPoints, offsetPoints;
    std::vector<float> mask, falloff;
    BrushData brush;
    reference::BrushFrame frame;
};

/// A weight for every vertex, or, where the kernel reads its neighbours in place, for no two
/// neighbours.
std::vector<float> someWeights(const Topology &topology, bool apart)
{
    const size_t count = size_t(topology.vertexCount());
    const float weights[] = { 0.5f, 1.0f, 0.0f, 0.25f, 0.00009f, 0.75f, 0.00011f };
    std::vector<float> falloff(count, 0.0f);
    const reference::Neighbours rings { topology.rings(), count };
    for (size_t i = 0; i < count; ++i) {
        const auto ring = rings.of(i);
        const bool free =
            std::all_of(ring.begin(), ring.end(), [&](quint32 n) { return falloff[n] == 0.0f; });
        if (!apart || free)
            falloff[i] = weights[i % std::size(weights)];
    }
    return falloff;
}

Scene sceneOf(const TestMesh &mesh, bool apart)
{
    Scene scene;
    scene.topology = mesh.topology();
    scene.position = jittered(mesh.points, 0.02f, 1);
    scene.backupPoints = jittered(scene.position, 0.01f, 2);
    scene.offsetPoints = jittered(mesh.points, 0.02f, 3);
    scene.deltas = jittered(PointArray(mesh.points.size()), 0.1f, 4);
    scene.normal = jittered(PointArray(mesh.points.size(), { 0, 0.6f, 0.8f, 0 }), 0.1f, 5);
    const float masks[] = { 0.0f, 1.0f, 0.3f, 0.6f, 0.9f };
    for (size_t i = 0; i < mesh.points.size(); ++i)
        scene.mask.push_back(masks[i % std::size(masks)]);
    scene.falloff = someWeights(scene.topology, apart);
    scene.brush.hitTriangle = 0;
    scene.brush.areaPosition = { 0.1f, -0.05f, 0.1f, 1.0f };
    scene.brush.areaNormal = { 0.48f, 0.6f, 0.64f, 0.0f };
    // X, Y and Z as columns; Z is the normal.
    scene.frame = {
        { 0.8, 0, -0.6 }, { -0.36, 0.8, -0.48 }, { 0.48, 0.6, 0.64 }, { 0.1, -0.05, 0.1 }
    };
    return scene;
}

std::array<float, 16> matrixOf(const reference::BrushFrame &frame)
{
    std::array<float, 16> matrix {};
    const Vec columns[] = { frame.x, frame.y, frame.z, frame.origin };
    for (size_t k = 0; k < 4; ++k) {
        matrix[4 * k] = float(columns[k].x);
        matrix[4 * k + 1] = float(columns[k].y);
        matrix[4 * k + 2] = float(columns[k].z);
    }
    matrix[15] = 1.0f;
    return matrix;
}

Dab referenceOf(const Scene &scene, const BrushSettings &brush, QVector3D moveVector)
{
    using reference::toPose;
    return { { scene.topology.rings(), scene.position.size() },
             toPose(scene.position),
             toPose(scene.normal),
             toPose(scene.deltas),
             toPose(scene.backupPoints),
             toPose(scene.offsetPoints),
             { scene.mask.begin(), scene.mask.end() },
             { scene.falloff.begin(), scene.falloff.end() },
             { toPose({ scene.brush.areaPosition })[0], toPose({ scene.brush.areaNormal })[0], 1 },
             scene.frame,
             brush,
             toPose({ QVector4D(moveVector, 0.0f) })[0] };
}

} // namespace

/// The sculpt kernel, and whole dabs.
class SculptGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void brushLikeTheReference_data();
    void brushLikeTheReference();
    void missChangesNothing();
    void brokenInputsMoveNothing();
    void standardStampCostsNoReadBack();

private:
    void load(const Scene &scene);
    bool matches(const Dab &expected, double tolerance);

    GLFixture m_gl;
    Topology m_topology;
    GPUMesh m_mesh;
};

void SculptGLTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_gl);
    QVERIFY(m_mesh.initialize());
}

void SculptGLTest::load(const Scene &scene)
{
    m_topology = scene.topology;
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    QVERIFY(m_mesh.upload(Semantic::kPosition, scene.position));
    QVERIFY(m_mesh.upload(Semantic::kNormal, scene.normal));
    QVERIFY(m_mesh.upload(Semantic::kDeltas, scene.deltas));
    QVERIFY(m_mesh.upload(Semantic::kBackupPoints, scene.backupPoints));
    QVERIFY(m_mesh.upload(Semantic::kOffsetPoints, scene.offsetPoints));
    QVERIFY(m_mesh.upload(Semantic::kMask, scene.mask));
    QVERIFY(m_mesh.upload(Semantic::kFalloff, scene.falloff));
    QVERIFY(m_mesh.upload(Semantic::kBrush, std::vector<BrushData> { scene.brush }));
    const std::vector<std::array<float, 16>> matrix { matrixOf(scene.frame) };
    QVERIFY(m_mesh.upload(Semantic::kBrushMatrix, matrix));
}

bool SculptGLTest::matches(const Dab &expected, double tolerance)
{
    const auto same = [&](const QString &semantic, const reference::Pose &pose) {
        return pointsMatch(m_mesh.readBack<QVector4D>(semantic), pose, tolerance);
    };
    return same(Semantic::kPosition, expected.position) &&
        same(Semantic::kDeltas, expected.deltas) &&
        same(Semantic::kOffsetPoints, expected.offsetPoints) &&
        same(Semantic::kBackupPoints, expected.backupPoints) &&
        valuesMatch(m_mesh.readBack<float>(Semantic::kMask), expected.mask, tolerance) &&
        valuesMatch(m_mesh.readBack<float>(Semantic::kFalloff), expected.falloff, 0.0);
}

void SculptGLTest::brushLikeTheReference_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<TestMesh>("mesh");
    const TestMesh meshes[] = { testLoosePoints(1), testGrid(33, 31, 0.1),
                                testGrid(32),       testGrid(41, 25, 0.1),
                                testFan(),          testSheetAndLoosePoints() };
    for (size_t type = 0; type < std::size(kTypes); ++type) {
        for (const TestMesh &mesh : meshes)
            QTest::addRow("%s, %s", kTypeNames[type], qPrintable(mesh.name))
                << int(kTypes[type]) << mesh;
    }
}

void SculptGLTest::brushLikeTheReference()
{
    QFETCH(int, type);
    QFETCH(TestMesh, mesh);
    const bool apart = type == int(BrushType::MaskSmooth);
    const Scene scene = sceneOf(mesh, apart);
    const QString alphaName =
        type == int(BrushType::Clay) ? QStringLiteral("square") : QStringLiteral("dot");
    const reference::Alpha alpha(
        QStringLiteral(":/alphas2d/Alphas/alphas2d/%1.png").arg(alphaName));
    QVERIFY(alpha.isValid());
    const QVector3D moveVector(0.2f, -0.1f, 0.05f);
    for (const bool control : { false, true }) {
        const bool cotangent = control;
        const BrushSettings brush { BrushType(type), 0.7f, 0.8f, 0.6f, true, control, cotangent };
        load(scene);
        m_mesh.sculpt(brush, moveVector);
        const Dab expected = reference::sculpted(referenceOf(scene, brush, moveVector), alpha);
        // A few dozen roundings of numbers below 3; the frames of the jittered fans and the slope
        // of the alphas (12 per unit) multiply those by about ten.
        QVERIFY(matches(expected, 2e-5));
    }
    QCOMPARE(m_gl.gl().glGetError(), GLenum(GL_NO_ERROR));
}

void SculptGLTest::missChangesNothing()
{
    Scene scene = sceneOf(testGrid(9), false);
    load(scene);
    const Dab before = referenceOf(scene, {}, {});
    m_mesh.closestIntersection({ 50, 50, 5 }, { 50, 50, -5 }, false);
    for (const BrushType type : kTypes) {
        m_mesh.sculpt({ type, 0.7f, 0.8f, 0.6f }, { 1, 1, 1 });
        QVERIFY(matches(before, 0.0));
    }
    // And without a brush a hit changes nothing either.
    m_mesh.closestIntersection({ 0.1f, 0.1f, 5 }, { 0.1f, 0.1f, -5 }, false);
    QVERIFY(m_mesh.upload(Semantic::kFalloff, scene.falloff));
    m_mesh.sculpt({ BrushType::None, 0.7f, 0.8f, 0.6f }, { 1, 1, 1 });
    QVERIFY(matches(before, 0.0));
}

void SculptGLTest::brokenInputsMoveNothing()
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    Scene scene = sceneOf(testGrid(5), false);
    scene.brush.areaNormal.setY(kNan);
    scene.normal.assign(scene.normal.size(), { 0, std::numeric_limits<float>::infinity(), 0, 0 });
    scene.offsetPoints.assign(scene.offsetPoints.size(), { kNan, 0, 0, 1 });
    scene.mask.assign(scene.mask.size(), 0.0f);
    const reference::Pose before = reference::toPose(scene.position);
    for (const BrushType type :
         { BrushType::Clay, BrushType::Standard, BrushType::Crease, BrushType::Inflate,
           BrushType::Fix, BrushType::Flatten, BrushType::Erase, BrushType::Move }) {
        load(scene);
        m_mesh.sculpt({ type, 0.7f, 0.8f, 0.6f }, { kNan, 1, 1 });
        QVERIFY2(pointsMatch(m_mesh.readBack<QVector4D>(Semantic::kPosition), before, 0.0),
                 kTypeNames[int(type)]);
    }
}

void SculptGLTest::standardStampCostsNoReadBack()
{
    const Scene scene = sceneOf(testGrid(32), false);
    load(scene);
    m_mesh.fillZero(Semantic::kMask);
    const GpuCounters before = gpuCounters();
    m_mesh.closestIntersection({ 0.1f, 0.1f, 5 }, { 0.1f, 0.1f, -5 }, false);
    m_mesh.pickVertices(0.5f);
    m_mesh.computeArea(0.5f);
    m_mesh.sculpt({ BrushType::Standard, 0.5f, 1.0f, 1.0f }, {});
    m_mesh.updateNormals();
    const GpuCounters after = gpuCounters();
    QCOMPARE(after.readBacks, before.readBacks);
    QCOMPARE(after.uploads, before.uploads);
    QCOMPARE(after.copies, before.copies);
    QCOMPARE(after.dispatches - before.dispatches, quint64(3 + 1 + 3 + 1 + 1));
    QVERIFY(m_mesh.readBack<QVector4D>(Semantic::kPosition) != scene.position);
    QCOMPARE(gpuCounters().readBacks, before.readBacks + 1); // the counter does count
}

QTEST_MAIN(SculptGLTest)
#include "SculptGLTest.moc"
