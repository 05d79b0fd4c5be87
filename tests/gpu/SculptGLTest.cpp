#include "gpu/MeshStage.h"
#include "reference/Sculpt.h"

using reference::BrushFrame;
using reference::Dab;
using reference::Pose;
using reference::Scene;
using reference::Vec;
using Matrix = std::array<QVector4D, 4>; // columns

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
const QVector3D kMove(0.2f, -0.1f, 0.05f);
/// X, Y and Z as columns; Z is the normal.
const BrushFrame kFrame {
    { 0.8, 0, -0.6 }, { -0.36, 0.8, -0.48 }, { 0.48, 0.6, 0.64 }, { 0.1, -0.05, 0.1 }
};

Vec toVec(const QVector3D &v) { return { double(v.x()), double(v.y()), double(v.z()) }; }
Vec toVec(const QVector4D &v) { return toVec(v.toVector3D()); }
QVector4D toPoint(Vec v, float w) { return { float(v.x), float(v.y), float(v.z), w }; }

/// Separate triangles, which share no vertex: each three corners in a row.
TestMesh soupOf(const std::vector<QVector3D> &corners)
{
    TestMesh soup;
    for (const QVector3D &corner : corners)
        soup.points.emplace_back(corner, 1.0f);
    for (int first = 0; first < soup.vertexCount(); first += 3)
        soup.addFace({ first, first + 2, first + 1 }); // the topology turns it
    return soup;
}

/// `count` unit triangles in the plane z = 0, three apart.
TestMesh triangleRow(int count)
{
    std::vector<QVector3D> corners;
    for (int i = 0; i < count; ++i)
        for (const QVector3D &corner : { QVector3D(0, 0, 0), { 1, 0, 0 }, { 0, 1, 0 } })
            corners.push_back(corner + QVector3D(3.0f * float(i), 0, 0));
    return soupOf(corners);
}

/// On both sides of the threshold, and on no two neighbours: mask smoothing reads them in place.
std::vector<float> someWeights(const Topology &topology)
{
    const size_t count = size_t(topology.vertexCount());
    const float weights[] = { 0.5f, 1.0f, 0.0f, 0.25f, 0.00009f, 0.75f, 0.00011f };
    std::vector<float> falloff(count, 0.0f);
    const reference::Neighbours rings { topology.rings(), count };
    for (size_t i = 0, next = 0; i < count; ++i) {
        const auto ring = rings.of(i);
        if (std::all_of(ring.begin(), ring.end(), [&](quint32 n) { return falloff[n] == 0.0f; }))
            falloff[i] = weights[next++ % std::size(weights)];
    }
    return falloff;
}

BrushData someArea()
{
    BrushData brush;
    brush.hitTriangle = 0;
    brush.areaPosition = { 0.1f, -0.05f, 0.1f, 1.0f };
    brush.areaNormal = { 0.48f, 0.6f, 0.64f, 0.0f };
    return brush;
}

/// What a tree of halvings makes of one group's items: rounded in this order, whoever adds.
QVector4D groupSum(const PointArray &items, size_t group)
{
    PointArray tree(kGroupSize);
    for (size_t i = 0; i < tree.size() && group * kGroupSize + i < items.size(); ++i)
        tree[i] = items[group * kGroupSize + i];
    for (size_t stride = kGroupSize / 2; stride > 0; stride /= 2)
        for (size_t i = 0; i < stride; ++i)
            tree[i] += tree[i + stride];
    return tree.front();
}

/// All that a dab may write, one after the other.
Pose stateAfter(const Scene &s, const std::vector<float> &falloff, const BrushSettings &brush)
{
    Dab dab { s.rings, s.position, s.normal, s.deltas, s.basePoints, s.offsetPoints, s.mask };
    dab.falloff.assign(falloff.begin(), falloff.end());
    dab.area = { toVec(someArea().areaPosition), toVec(someArea().areaNormal), 1 };
    dab.frame = kFrame;
    dab.brush = brush;
    dab.moveVector = toVec(kMove);
    static const QString path = QStringLiteral(":/alphas2d/Alphas/alphas2d/%1.png");
    static const reference::Alpha square(path.arg(QStringLiteral("square")));
    static const reference::Alpha dot(path.arg(QStringLiteral("dot")));
    const Dab after = reference::sculpted(dab, brush.type == BrushType::Clay ? square : dot);
    Pose state = after.position;
    for (const Pose *more : { &after.deltas, &after.offsetPoints })
        state.insert(state.end(), more->begin(), more->end());
    for (const reference::Weights *weights : { &after.mask, &after.falloff })
        for (const double weight : *weights)
            state.push_back({ weight, 0, 0 });
    return state;
}

} // namespace

/// Ray hit, picking, brush area and the sculpt kernel.
class SculptGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { NEEDS_GL(m_stage.valid()); }

    void hitsLikeTheReference()
    {
        std::mt19937 random(11);
        const auto somewhere = [&](float reach) {
            std::uniform_real_distribution<float> place(-reach, reach);
            const float x = place(random), y = place(random);
            return QVector3D(x, y, place(random));
        };
        std::vector<QVector3D> corners;
        for (int triangle = 0; triangle < 2000; ++triangle)
            for (int i = 0; i < 3; ++i)
                corners.push_back(i ? corners[size_t(3 * triangle)] + somewhere(3) : somewhere(11));
        const TestMesh soup = soupOf(corners);
        m_stage.load(soup);
        int hits = 0;
        for (int ray = 0; ray < 600; ++ray) {
            const QVector3D nearPoint = somewhere(12), farPoint = somewhere(12);
            const bool frontOnly = ray % 2 == 1;
            const BrushData record = hit(nearPoint, farPoint, frontOnly);
            QVERIFY(isRightHit(record, soup, toVec(nearPoint), toVec(farPoint), frontOnly));
            hits += record.hitTriangle != -1;
        }
        QVERIFY2(hits > 60 && hits < 540, "the rays have to try both outcomes");
    }

    /// Slots 1 and 512 meet late in the reduction's tree, from the wrong side each.
    void aTieKeepsTheLowerTriangle()
    {
        TestMesh soup = triangleRow(2050);
        for (const int copy : { 512, 2049 })
            std::copy_n(&soup.points[3], 3, &soup.points[size_t(3 * copy)]);
        m_stage.load(soup);
        QCOMPARE(hitBelow(3.25f, 0.25f).hitTriangle, 1);
        QCOMPARE(hitBelow(3.0f * 2048 + 0.25f, 0.25f).hitTriangle, 2048);
        QCOMPARE(hitBelow(-2, 0.25f).hitTriangle, -1);
    }

    /// A stroke must not skip where rounding leaves a ray outside of both neighbours.
    void raysAlongSharedEdgesHit()
    {
        const TestMesh sheet = testGrid(100);
        m_stage.load(sheet);
        const auto edges = m_stage.topology().edges();
        for (size_t k = 0; k < 300; ++k) {
            const size_t edge = (k * 7919) % (edges.size() / 2);
            const QVector4D a = sheet.points[edges[2 * edge]];
            const QVector4D b = sheet.points[edges[2 * edge + 1]];
            const QVector3D onEdge = (a + (b - a) * (float(k % 3) / 2.0f)).toVector3D();
            const QVector3D away(7.3f, -4.1f, 9.7f);
            // Past the border a miss is right.
            if (std::abs(onEdge.x()) < 0.99f && std::abs(onEdge.y()) < 0.99f)
                QVERIFY(hit(onEdge + away, onEdge - away * 99.0f).hitTriangle != -1);
        }
    }

    void brokenTrianglesAreNoHit()
    {
        const QVector3D o, x(1, 0, 0), y(0, 1, 0), a(0, 0, 1), b(0, 1, 1), c(0.3f, 0.3f, 1);
        const QVector3D nan(kNan, 0, 1), inf(kInf, 0, 1);
        // Collapsed to a line, with a broken corner, collapsed to a point, whole.
        m_stage.load(
            soupOf({ a, a + x + y, a + (x + y) / 2, a, nan, b, a, inf, b, c, c, c, o, x, y }));
        const BrushData record = hitBelow(0.3f, 0.3f);
        QCOMPARE(record.hitTriangle, 4);
        QCOMPARE(record.hitPosition, QVector4D(0.3f, 0.3f, 0.0f, 1.0f));
        QCOMPARE(record.hitNormal, QVector4D(0, 0, 1, 0));
    }

    void hitRecordsTheNearestCorner()
    {
        m_stage.load(triangleRow(2));
        // The last two are as far from the first corner (3) as from another: the first stays.
        const std::pair<QVector2D, int> places[] = {
            { { 3.1f, 0.1f }, 0 },   { { 3.8f, 0.1f }, 1 },   { { 3.1f, 0.8f }, 2 },
            { { 3.5f, 0.125f }, 0 }, { { 3.125f, 0.5f }, 0 },
        };
        for (const auto &[place, corner] : places) {
            mesh().fillZero(Semantic::kFalloff);
            const BrushData record = hitBelow(place.x(), place.y());
            QCOMPARE(record.hitVertex, int(m_stage.topology().triangles()[size_t(3 + corner)]));
            QCOMPARE(falloff()[size_t(record.hitVertex)], 1.0f); // it always carries a weight
        }
    }

    void picksLikeTheReference()
    {
        const Vec centre { 0.125, -0.25, 0.0 };
        const double radius = 0.625;
        TestMesh sheet = testGrid(33, 31, 0.3);
        sheet.points[0] = toPoint(centre + Vec { radius, 0, 0 }, 1.0f); // on the rim: no weight
        sheet.points[40].setX(kNan);
        sheet.points[41].setY(-kInf);
        m_stage.load(sheet);
        setHit(centre);
        mesh().pickVertices(float(radius));
        std::vector<double> expected; // the weight's slope is at most 1.5 / radius
        for (const Vec &p : reference::toPose(sheet.points))
            expected.push_back(reference::brushWeight(centre, p, radius));
        QVERIFY(valuesMatch(falloff(), expected, 1e-6));
        QCOMPARE(falloff()[0], 0.0f);
    }

    void surfacePickEqualsRadiusPickOnASheet()
    {
        const TestMesh sheet = testGrid(20, 20, 0.0);
        m_stage.load(sheet);
        hitBelow(sheet.points[210].x(), sheet.points[210].y());
        mesh().pickVertices(0.4f);
        const auto byRadius = falloff();
        QCOMPARE(byRadius[210], 1.0f);
        mesh().pickVerticesBySurface(0.4f);
        QVERIFY(valuesMatch(falloff(), { byRadius.begin(), byRadius.end() }, 1e-5));
    }

    /// The brush's frame follows the way from one dab to the next.
    void areaAndFrameLikeTheReference()
    {
        for (const int count : { 0, 1, 1023, 1024, 1025, 5000 }) {
            TestMesh cloud = testLoosePoints(count);
            cloud.points = jittered(PointArray(size_t(count), { 0, 0, 0, 1 }), 1.0, 3);
            PointArray normals = jittered(PointArray(size_t(count), { 0, 0, 0.5f, 0 }), 1.0, 4);
            if (count > 100) { // a broken normal counts as none, a broken point is not inside
                normals[7].setX(kNan);
                cloud.points[8].setX(kNan);
            }
            m_stage.load(cloud);
            mesh().upload(Semantic::kNormal, normals);
            BrushFrame frame;
            // The second dab stands still, so it has no direction; the last one holds no point.
            const std::pair<Vec, double> dabs[] = { { {}, 3.5 },
                                                    { {}, 3.5 },
                                                    { { 0.125, 0.25, -0.125 }, 0.7 },
                                                    { { -0.25, 0.25, 0 }, 0.6 },
                                                    { { 0.125, 0.25, -0.125 }, 1e-6 } };
            for (const auto &[centre, radius] : dabs) {
                setHit(centre);
                mesh().computeArea(float(radius));
                const reference::Area area = reference::brushArea(
                    centre, radius, reference::toPose(cloud.points), reference::toPose(normals));
                frame = reference::nextFrame(frame.origin, area);
                const Matrix m = mesh().readBack<Matrix>(Semantic::kBrushMatrix).at(0);
                // Sums of up to 5,000 floats below 2, in a tree of 13 steps; the normal's sum and
                // the way between two dabs may be short.
                QVERIFY(pointsMatch(
                    { brush().areaPosition, brush().areaNormal, m[0], m[1], m[2], m[3] },
                    { area.position, area.normal, frame.x, frame.y, frame.z, frame.origin }, 5e-5));
                QCOMPARE(brush().areaPosition.w(), area.points > 0 ? 1.0f : 0.0f);
                const auto sums = mesh().readBack<AreaData>(Semantic::kArea);
                for (size_t group = 1; radius > 3.0 && group < sums.size(); ++group) { // all inside
                    QCOMPARE(sums[group].position, groupSum(cloud.points, group));
                    QCOMPARE(sums[group].normal, groupSum(normals, group));
                }
            }
        }
    }

    /// Just over 2^20 vertices and 2^21 triangles: several groups in the second pass.
    void meshPastTheSecondPass()
    {
        const TestMesh sheet = testGrid(1027, 1027, 0.0);
        m_stage.load(sheet);
        const auto t = m_stage.topology().triangles();
        const int last = mesh().triangleCount() - 1;
        QVERIFY(mesh().vertexCount() > (1 << 20) && last > (1 << 21));
        for (const int triangle : { 0, 1023 * 1024 + 3, 1024 * 1024 - 1, 1024 * 1024 + 1,
                                    2047 * 1024, 2 * 1024 * 1024 + 1, last }) {
            QVector4D middle;
            for (size_t k = 0; k < 3; ++k)
                middle += sheet.points[t[size_t(3 * triangle) + k]] / 3.0f;
            QCOMPARE(hitBelow(middle.x(), middle.y()).hitTriangle, triangle);
        }
        // The last vertex alone, and all of them. These are even around the origin; a missing or
        // doubled group of rows shifts the mean by about a thousandth.
        mesh().upload(Semantic::kNormal, PointArray(sheet.points.size(), { 0, 0, 1, 0 }));
        const Vec corner = toVec(sheet.points.back());
        for (const auto &[at, radius] : { std::pair(corner, 0.0005f), { Vec(), 2.0f } }) {
            setHit(at);
            mesh().computeArea(radius);
            QVERIFY(pointsMatch({ brush().areaPosition, brush().areaNormal }, { at, { 0, 0, 1 } },
                                1e-5));
        }
    }

    void brushesLikeTheReference()
    {
        for (const TestMesh &on : testMeshes()) {
            const MeshScene scene = meshScene(on);
            const std::vector<float> weights = someWeights(scene.topology);
            for (int type = 0; type < 2 * int(BrushType::None); ++type) {
                const bool control = type % 2 == 1, cotangent = control;
                const BrushSettings brush {
                    BrushType(type / 2), 0.7f, 0.8f, 0.6f, true, control, cotangent
                };
                load(scene, weights);
                const PointArray before = state();
                mesh().upload(Semantic::kBrush, std::vector<BrushData>(1)); // no hit
                mesh().sculpt(brush, kMove);
                QVERIFY(sameBits(state(), before));
                load(scene, weights);
                mesh().sculpt(brush, kMove);
                QVERIFY2(
                    matchesReference(state(), scene,
                                     [&](const Scene &s) { return stateAfter(s, weights, brush); }),
                    qPrintable(QStringLiteral("brush %1, %2").arg(type / 2).arg(on.name)));
            }
        }
    }

    void brokenInputsMoveNothing()
    {
        MeshScene scene = meshScene(testGrid(5));
        scene.normal.assign(25, { 0, kInf, 0, 0 });
        scene.offsetPoints.assign(25, { kNan, 0, 0, 1 });
        BrushData brush = someArea();
        brush.areaNormal.setY(kNan);
        for (int type = 0; type <= int(BrushType::Erase); ++type) {
            load(scene, someWeights(scene.topology));
            mesh().upload(Semantic::kBrush, std::vector<BrushData> { brush });
            mesh().sculpt({ BrushType(type), 0.7f, 0.8f, 0.6f }, { kNan, 1, 1 });
            QVERIFY2(sameBits(m_stage.points(), scene.position), qPrintable(QString::number(type)));
        }
    }

private:
    GPUMesh &mesh() { return m_stage.mesh(); }
    std::vector<float> falloff() { return mesh().readBack<float>(Semantic::kFalloff); }
    BrushData brush() { return mesh().readBack<BrushData>(Semantic::kBrush).at(0); }
    BrushData hit(QVector3D nearPoint, QVector3D farPoint, bool ignoreBackface = false)
    {
        BrushData record;
        mesh().closestIntersection(nearPoint, farPoint, ignoreBackface, &record);
        return record;
    }

    BrushData hitBelow(float x, float y) { return hit({ x, y, 5 }, { x, y, -5 }); }
    /// Whether the kernel's choice is one that rounding allows.
    bool isRightHit(const BrushData &record, const TestMesh &soup, Vec nearPoint, Vec farPoint,
                    bool ignoreBackface)
    {
        // Rays within this of an edge, and hits within this of each other, may fall either way: a
        // float computation of numbers up to 20 errs by about 20 epsilons.
        constexpr double kClose = 1e-4;
        const auto t = m_stage.topology().triangles();
        double nearest = double(kInf), chosen = double(kNan);
        for (size_t i = 0; i < t.size(); i += 3) {
            const auto corner = [&](size_t k) { return toVec(soup.points[t[i + k]]); };
            const reference::Crossing crossing =
                reference::crossing(nearPoint, farPoint, corner(0), corner(1), corner(2));
            if (ignoreBackface && crossing.facing < 0.0)
                continue;
            if (int(i) == 3 * record.hitTriangle && crossing.inside > -kClose)
                chosen = crossing.distance;
            if (crossing.inside > kClose)
                nearest = std::min(nearest, crossing.distance);
        }
        if (record.hitTriangle == -1)
            return std::isinf(nearest);
        const double reported = length(toVec(record.hitPosition) - nearPoint);
        return chosen <= nearest + kClose && std::fabs(reported - chosen) <= kClose;
    }

    void setHit(Vec position)
    {
        BrushData record = someArea();
        record.hitPosition = toPoint(position, 1.0f);
        mesh().upload(Semantic::kBrush, std::vector<BrushData> { record });
    }

    void load(const MeshScene &scene, const std::vector<float> &falloff)
    {
        m_stage.load(scene);
        mesh().upload(Semantic::kBackupPoints, scene.basePoints);
        mesh().upload(Semantic::kFalloff, falloff);
        mesh().upload(Semantic::kBrush, std::vector<BrushData> { someArea() });
        const Matrix matrix { toPoint(kFrame.x, 0), toPoint(kFrame.y, 0), toPoint(kFrame.z, 0),
                              toPoint(kFrame.origin, 1) };
        mesh().upload(Semantic::kBrushMatrix, std::vector<Matrix> { matrix });
    }

    PointArray state()
    {
        PointArray state = m_stage.points();
        for (const QLatin1String &name : { Semantic::kDeltas, Semantic::kOffsetPoints })
            for (const QVector4D &point : m_stage.points(name))
                state.push_back(point);
        for (const QLatin1String &name : { Semantic::kMask, Semantic::kFalloff })
            for (const float weight : mesh().readBack<float>(name))
                state.emplace_back(weight, 0.0f, 0.0f, 0.0f);
        return state;
    }

    MeshStage m_stage;
};

QTEST_MAIN(SculptGLTest)
#include "SculptGLTest.moc"
