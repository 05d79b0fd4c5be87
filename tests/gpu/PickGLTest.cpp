#include "gpu/GPUMesh.h"
#include "reference/Sculpt.h"
#include "support/Compare.h"
#include "support/GLFixture.h"
#include "support/TestMeshes.h"

#include <random>

using reference::Vec;

namespace {

Vec toVec(const QVector4D &v) { return { double(v.x()), double(v.y()), double(v.z()) }; }
Vec toVec(const QVector3D &v) { return { double(v.x()), double(v.y()), double(v.z()) }; }
QVector4D toPoint(Vec v, float w) { return { float(v.x), float(v.y), float(v.z), w }; }

/// Separate triangles, which share no vertex.
struct Soup : TestMesh {
    void add(QVector3D a, QVector3D b, QVector3D c)
    {
        const int first = vertexCount();
        for (const QVector3D &p : { a, b, c })
            points.emplace_back(p, 1.0f);
        addFace({ first, first + 2, first + 1 }); // the topology turns it
    }
};

/// `count` unit triangles in the plane z = 0, three apart.
Soup triangleRow(int count)
{
    Soup soup;
    for (int i = 0; i < count; ++i) {
        const QVector3D origin(3.0f * float(i), 0.0f, 0.0f);
        soup.add(origin, origin + QVector3D(1, 0, 0), origin + QVector3D(0, 1, 0));
    }
    return soup;
}

Soup randomSoup(int count)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> place(-10.0f, 10.0f), offset(-1.5f, 1.5f);
    Soup soup;
    for (int i = 0; i < count; ++i) {
        const QVector3D centre(place(random), place(random), place(random));
        const auto corner = [&] {
            return centre + QVector3D(offset(random), offset(random), offset(random));
        };
        soup.add(corner(), corner(), corner());
    }
    return soup;
}

} // namespace

/// Ray hit, picking and brush area against references.
class PickGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void hitsLikeTheReference_data();
    void hitsLikeTheReference();
    void findsTheLastTriangle_data();
    void findsTheLastTriangle();
    void tiesKeepTheLowerTriangle();
    void raysAlongSharedEdgesHit();
    void brokenTrianglesAreNoHit();
    void hitRecordsTheNearestCorner();
    void picksLikeTheReference();
    void surfacePickEqualsRadiusPickOnASheet();
    void areaLikeTheReference_data();
    void areaLikeTheReference();
    void frameFollowsTheStroke();
    void meshPastTheSecondPass();

private:
    void load(const TestMesh &mesh);
    BrushData hit(QVector3D nearPoint, QVector3D farPoint, bool ignoreBackface = false);
    /// Empty when the kernel's choice is one that rounding allows.
    QString wrongHit(const BrushData &record, QVector3D nearPoint, QVector3D farPoint,
                     bool ignoreBackface) const;
    void setHit(Vec position);
    reference::BrushFrame frame();

    GLFixture m_gl;
    Topology m_topology;
    PointArray m_points;
    GPUMesh m_mesh;
};

void PickGLTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_gl);
    QVERIFY(m_mesh.initialize());
}

void PickGLTest::load(const TestMesh &mesh)
{
    m_points = mesh.points;
    m_topology = mesh.topology();
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    QVERIFY(m_mesh.upload(Semantic::kPosition, m_points));
}

BrushData PickGLTest::hit(QVector3D nearPoint, QVector3D farPoint, bool ignoreBackface)
{
    BrushData record;
    record.bySurfaceGrowCount = -2; // overwritten by the read-back
    m_mesh.closestIntersection(nearPoint, farPoint, ignoreBackface, &record);
    return record;
}

void PickGLTest::setHit(Vec position)
{
    BrushData record;
    record.hitTriangle = 0;
    record.hitVertex = 0;
    record.hitPosition = toPoint(position, 1.0f);
    QVERIFY(m_mesh.upload(Semantic::kBrush, std::vector<BrushData> { record }));
}

QString PickGLTest::wrongHit(const BrushData &record, QVector3D nearPoint, QVector3D farPoint,
                             bool ignoreBackface) const
{
    // Rays within this of an edge, and hits within this of each other, may fall either way: a
    // float computation of numbers up to 20 errs by about 20 epsilons.
    constexpr double kClose = 1e-4;
    const std::vector<quint32> &t = m_topology.triangles();
    double nearest = std::numeric_limits<double>::infinity(), chosen = std::nan("");
    for (int i = 0; i < m_topology.triangleCount(); ++i) {
        const auto corner = [&](int k) { return toVec(m_points[t[size_t(3 * i + k)]]); };
        const reference::Crossing crossing =
            reference::crossing(toVec(nearPoint), toVec(farPoint), corner(0), corner(1), corner(2));
        if (ignoreBackface && crossing.facing < 0.0)
            continue;
        if (i == record.hitTriangle && crossing.inside > -kClose)
            chosen = crossing.distance;
        if (crossing.inside > kClose)
            nearest = std::min(nearest, crossing.distance);
    }
    if (record.hitTriangle == -1)
        return std::isinf(nearest) ? QString() : QStringLiteral("missed a hit at %1").arg(nearest);
    const double reported = reference::length(toVec(record.hitPosition) - toVec(nearPoint));
    if (chosen <= nearest + kClose && std::fabs(reported - chosen) <= kClose)
        return QString();
    return QStringLiteral("hit triangle %1, which lies at %2, at %3; nearest %4")
        .arg(record.hitTriangle)
        .arg(chosen)
        .arg(reported)
        .arg(nearest);
}

void PickGLTest::hitsLikeTheReference_data()
{
    QTest::addColumn<bool>("ignoreBackface");
    QTest::newRow("both sides") << false;
    QTest::newRow("front sides") << true;
}

void PickGLTest::hitsLikeTheReference()
{
    QFETCH(bool, ignoreBackface);
    load(randomSoup(5000));
    std::mt19937 random(11);
    std::uniform_real_distribution<float> place(-12.0f, 12.0f);
    int hits = 0;
    for (int ray = 0; ray < 300; ++ray) {
        const QVector3D nearPoint(place(random), place(random), place(random));
        const QVector3D farPoint(place(random), place(random), place(random));
        const BrushData record = hit(nearPoint, farPoint, ignoreBackface);
        const QString fault = wrongHit(record, nearPoint, farPoint, ignoreBackface);
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
        hits += record.hitTriangle != -1;
    }
    QVERIFY2(hits > 30 && hits < 300, "the rays have to try both outcomes");
}

void PickGLTest::findsTheLastTriangle_data()
{
    QTest::addColumn<int>("count");
    for (const int count : { 1, 1023, 1024, 1025, 3000 })
        QTest::addRow("%d triangles", count) << count;
}

void PickGLTest::findsTheLastTriangle()
{
    QFETCH(int, count);
    load(triangleRow(count));
    for (const int triangle : { count - 1, 0, count / 2 }) {
        const float x = 3.0f * float(triangle) + 0.25f;
        QCOMPARE(hit({ x, 0.25f, 5 }, { x, 0.25f, -5 }).hitTriangle, triangle);
    }
    QCOMPARE(hit({ -2, 0.25f, 5 }, { -2, 0.25f, -5 }).hitTriangle, -1);
    QCOMPARE(m_gl.gl().glGetError(), GLenum(GL_NO_ERROR));
}

void PickGLTest::tiesKeepTheLowerTriangle()
{
    // Slots 1 and 512 meet late in the reduction's tree, from the wrong side each.
    Soup soup = triangleRow(2050);
    for (const int copy : { 512, 2049 }) {
        for (int corner = 0; corner < 3; ++corner)
            soup.points[size_t(3 * copy + corner)] = soup.points[size_t(3 + corner)];
    }
    load(soup);
    QCOMPARE(hit({ 3.25f, 0.25f, 5 }, { 3.25f, 0.25f, -5 }).hitTriangle, 1);
}

void PickGLTest::raysAlongSharedEdgesHit()
{
    // A stroke must not skip where rounding leaves a ray outside of both neighbours.
    load(testGrid(100));
    const auto &edges = m_topology.edges();
    for (size_t k = 0; k < 300; ++k) {
        const size_t edge = (k * 7919) % (edges.size() / 2);
        const QVector4D a = m_points[edges[2 * edge]], b = m_points[edges[2 * edge + 1]];
        if (std::max({ std::abs(a.x()), std::abs(a.y()), std::abs(b.x()), std::abs(b.y()) }) >
            0.99f)
            continue; // past the border a miss is right
        const QVector3D onEdge = (a + (b - a) * (float(k % 3) / 2.0f)).toVector3D();
        const QVector3D nearPoint = onEdge + QVector3D(7.3f, -4.1f, 9.7f);
        const QVector3D farPoint = nearPoint + (onEdge - nearPoint) * 100.0f;
        QVERIFY(hit(nearPoint, farPoint).hitTriangle != -1);
    }
}

void PickGLTest::brokenTrianglesAreNoHit()
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInf = std::numeric_limits<float>::infinity();
    Soup soup;
    soup.add({ 0, 0, 1 }, { 1, 1, 1 }, { 0.5f, 0.5f, 1 }); // collapsed to a line
    soup.add({ 0, 0, 1 }, { kNan, 0, 1 }, { 0, 1, 1 });
    soup.add({ 0, 0, 1 }, { kInf, 0, 1 }, { 0, 1, 1 });
    soup.add({ 0.3f, 0.3f, 1 }, { 0.3f, 0.3f, 1 }, { 0.3f, 0.3f, 1 }); // to a point
    soup.add({ 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 });
    load(soup);
    const BrushData record = hit({ 0.3f, 0.3f, 5 }, { 0.3f, 0.3f, -5 });
    QCOMPARE(record.hitTriangle, 4);
    QCOMPARE(record.hitPosition, QVector4D(0.3f, 0.3f, 0.0f, 1.0f));
}

void PickGLTest::hitRecordsTheNearestCorner()
{
    load(triangleRow(2));
    const QVector2D places[] = { { 3.1f, 0.1f }, { 3.8f, 0.1f }, { 3.1f, 0.8f } };
    for (const QVector2D &place : places) {
        m_mesh.fillZero(Semantic::kFalloff);
        const BrushData record = hit({ place, 5 }, { place, -5 });
        QCOMPARE(record.hitTriangle, 1);
        QVERIFY(record.hitVertex >= 3 && record.hitVertex < 6);
        const double toVertex =
            double((m_points[size_t(record.hitVertex)].toVector2D() - place).length());
        QVERIFY2(toVertex < 0.25, "a farther corner");
        QCOMPARE(record.hitNormal, QVector4D(0, 0, 1, 0));
        // The picked vertex always carries a weight.
        QCOMPARE(m_mesh.readBack<float>(Semantic::kFalloff)[size_t(record.hitVertex)], 1.0f);
    }
    // As far from the first corner (3) as from the second (4) or the third (5): the first stays.
    for (const QVector2D &place : { QVector2D(3.5f, 0.125f), QVector2D(3.125f, 0.5f) })
        QCOMPARE(hit({ place, 5 }, { place, -5 }).hitVertex, 3);
}

void PickGLTest::picksLikeTheReference()
{
    TestMesh mesh = testGrid(33, 31, 0.3);
    mesh.points[40].setX(std::numeric_limits<float>::quiet_NaN());
    mesh.points[41].setY(-std::numeric_limits<float>::infinity());
    load(mesh);
    const Vec centre { 0.125, -0.25, 0.0 };
    setHit(centre);
    const double radius = 0.625;
    m_mesh.pickVertices(float(radius));
    std::vector<double> expected;
    for (const Vec &p : reference::toPose(m_points))
        expected.push_back(reference::brushWeight(centre, p, radius));
    // The weight's slope is at most 1.5 / radius.
    QVERIFY(valuesMatch(m_mesh.readBack<float>(Semantic::kFalloff), expected, 1e-6));

    // A vertex exactly on the rim weighs nothing.
    m_points[0] = toPoint(centre + Vec { radius, 0, 0 }, 1.0f);
    QVERIFY(m_mesh.upload(Semantic::kPosition, m_points));
    m_mesh.pickVertices(float(radius));
    QCOMPARE(m_mesh.readBack<float>(Semantic::kFalloff)[0], 0.0f);
}

void PickGLTest::surfacePickEqualsRadiusPickOnASheet()
{
    load(testGrid(20, 20, 0.0));
    const QVector3D above(m_points[210].x(), m_points[210].y(), 3.0f);
    hit(above, above - QVector3D(0, 0, 6));
    m_mesh.pickVertices(0.4f);
    const auto byRadius = m_mesh.readBack<float>(Semantic::kFalloff);
    QVERIFY(*std::max_element(byRadius.begin(), byRadius.end()) > 0.9f);
    m_mesh.pickVerticesBySurface(0.4f);
    QVERIFY(valuesMatch(m_mesh.readBack<float>(Semantic::kFalloff),
                        { byRadius.begin(), byRadius.end() }, 1e-5));

    hit({ 9, 9, 3 }, { 9, 9, -3 });
    m_mesh.pickVerticesBySurface(0.4f);
    const auto missed = m_mesh.readBack<float>(Semantic::kFalloff);
    QCOMPARE(std::count(missed.begin(), missed.end(), 0.0f), std::ptrdiff_t(missed.size()));
}

void PickGLTest::areaLikeTheReference_data()
{
    QTest::addColumn<int>("count");
    for (const int count : { 0, 1, 1023, 1024, 1025, 5000 })
        QTest::addRow("%d vertices", count) << count;
}

void PickGLTest::areaLikeTheReference()
{
    QFETCH(int, count);
    TestMesh mesh = testLoosePoints(count);
    std::mt19937 random(3);
    std::uniform_real_distribution<float> place(-1.0f, 1.0f);
    PointArray normals;
    for (QVector4D &p : mesh.points) {
        p = QVector4D(place(random), place(random), place(random), 1.0f);
        normals.emplace_back(place(random), place(random), place(random) + 0.5f, 0.0f);
    }
    if (count > 100) { // a broken normal counts as none, a broken point is not inside
        normals[7].setX(std::numeric_limits<float>::quiet_NaN());
        mesh.points[8].setX(std::numeric_limits<float>::quiet_NaN());
    }
    load(mesh);
    QVERIFY(m_mesh.upload(Semantic::kNormal, normals));
    for (const double radius : { 3.5, 0.7, 1e-6 }) {
        setHit({ 0.125, 0.25, -0.125 });
        m_mesh.computeArea(float(radius));
        const auto record = m_mesh.readBack<BrushData>(Semantic::kBrush).at(0);
        const reference::Area area =
            reference::brushArea({ 0.125, 0.25, -0.125 }, radius, reference::toPose(m_points),
                                 reference::toPose(normals));
        // Sums of up to 5,000 floats below 2, in a tree of 13 steps; the normal's sum may be short.
        QVERIFY(pointsMatch({ record.areaPosition, record.areaNormal },
                            { area.position, area.normal }, 2e-5));
        QCOMPARE(record.areaPosition.w(), area.points > 0 ? 1.0f : 0.0f);
        const auto sums = m_mesh.readBack<AreaData>(Semantic::kArea);
        QCOMPARE(sums.at(0).position, QVector4D(record.areaPosition.toVector3D(), 1.0f));
        QCOMPARE(record.hitTriangle, 0);
    }
    QCOMPARE(m_gl.gl().glGetError(), GLenum(GL_NO_ERROR));
}

reference::BrushFrame PickGLTest::frame()
{
    const auto m = m_mesh.readBack<std::array<float, 16>>(Semantic::kBrushMatrix).at(0);
    const auto column = [&](size_t k) {
        return Vec { double(m[4 * k]), double(m[4 * k + 1]), double(m[4 * k + 2]) };
    };
    return { column(0), column(1), column(2), column(3) };
}

void PickGLTest::frameFollowsTheStroke()
{
    load(testGrid(33));
    PointArray normals;
    for (size_t i = 0; i < m_points.size(); ++i)
        normals.emplace_back(0.1f * float(i % 3), -0.1f, 1.0f, 0.0f);
    QVERIFY(m_mesh.upload(Semantic::kNormal, normals));
    Vec origin;
    const Vec dabs[] = { { -0.5, -0.5, 0 }, { -0.3, -0.5, 0 }, { -0.2, -0.2, 0 } };
    for (const Vec &dab : dabs) {
        setHit(dab);
        m_mesh.computeArea(0.4f);
        const reference::Area area =
            reference::brushArea(dab, 0.4, reference::toPose(m_points), reference::toPose(normals));
        const reference::BrushFrame expected = reference::nextFrame(origin, area);
        const reference::BrushFrame got = frame();
        const auto points = [](const reference::BrushFrame &f) {
            return reference::Pose { f.x, f.y, f.z, f.origin };
        };
        PointArray actual;
        for (const Vec &v : points(got))
            actual.push_back(toPoint(v, 0.0f));
        // The way between two dabs is about 0.2 long, so its direction errs five times as much.
        QVERIFY(pointsMatch(actual, points(expected), 1e-5));
        origin = got.origin;
    }
    m_mesh.computeArea(0.4f); // the stroke stands still: no direction, so the identity
    const reference::BrushFrame still = frame();
    QVERIFY(still.x.x == 1 && still.y.y == 1 && still.z.z == 1 && length(still.origin) == 0);
}

void PickGLTest::meshPastTheSecondPass()
{
    // Just over 2^20 vertices and just over 2^21 triangles: several groups in the second pass.
    const int side = 1027;
    load(testGrid(side, side, 0.0));
    QVERIFY(m_mesh.vertexCount() > (1 << 20) && m_mesh.triangleCount() > (1 << 21));
    const auto &t = m_topology.triangles();
    const int last = m_mesh.triangleCount() - 1;
    for (const int triangle : { 0, 5 * 1024, 1023 * 1024 + 3, 1024 * 1024 - 1, 1024 * 1024 + 1,
                                1025 * 1024, 2047 * 1024, 2 * 1024 * 1024 + 1, last }) {
        QVector4D middle;
        for (size_t k = 0; k < 3; ++k)
            middle += m_points[t[size_t(3 * triangle) + k]] / 3.0f;
        const QVector3D above(middle.x(), middle.y(), 0.01f);
        QCOMPARE(hit(above, above - QVector3D(0, 0, 0.02f)).hitTriangle, triangle);
    }

    // The last vertex alone, and all of them.
    QVERIFY(m_mesh.upload(Semantic::kNormal, PointArray(m_points.size(), { 0, 0, 1, 0 })));
    const Vec corner = toVec(m_points.back());
    setHit(corner);
    m_mesh.computeArea(0.0005f);
    PointArray average { m_mesh.readBack<BrushData>(Semantic::kBrush).at(0).areaPosition };
    QVERIFY(pointsMatch(average, { corner }, 1e-6));

    setHit({ 0, 0, 0 });
    m_mesh.computeArea(2.0f);
    const auto record = m_mesh.readBack<BrushData>(Semantic::kBrush).at(0);
    average = { record.areaPosition, record.areaNormal };
    // The points are even around the origin; a missing or doubled group of rows shifts the mean by
    // about a thousandth.
    QVERIFY(pointsMatch(average, { { 0, 0, 0 }, { 0, 0, 1 } }, 1e-5));
}

QTEST_MAIN(PickGLTest)
#include "PickGLTest.moc"
