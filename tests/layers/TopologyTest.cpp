#include "layers/Topology.h"
#include "support/TestMeshes.h"

#include <QtTest>

#include <cfloat>
#include <map>
#include <set>

namespace {

using Edge = std::pair<quint32, quint32>;

std::vector<quint32> neighbours(const std::vector<quint32> &table, int vertexCount, int vertex)
{
    const auto first = table.begin() + vertexCount + 1;
    return { first + table[size_t(vertex)], first + table[size_t(vertex) + 1] };
}

/// Calls `use` with every corner of a mesh whose faces are all whole: next, vertex, previous.
template <class Use> void forEachCorner(const TestMesh &mesh, Use use)
{
    size_t begin = 0;
    for (const qint32 count : mesh.counts) {
        const auto corner = [&](qint32 i) { return mesh.indices[begin + size_t(i % count)]; };
        for (qint32 i = 0; i < count; ++i)
            use(corner(i + 1), corner(i), corner(i + count - 1), count, corner(i + 2));
        begin += size_t(count);
    }
}

QVector3D triangleNormal(const TestMesh &mesh, const quint32 *corner)
{
    const auto p = [&](int i) { return mesh.points[corner[i]].toVector3D(); };
    return QVector3D::crossProduct(p(1) - p(0), p(2) - p(0));
}

/// As the vertex-normals kernel sums it: every neighbour with its cyclic predecessor.
QVector3D ringNormal(const TestMesh &mesh, const Topology &topology, int vertex)
{
    const auto ring = neighbours(topology.rings(), topology.vertexCount(), vertex);
    const auto way = [&](quint32 neighbour) {
        return (mesh.points[neighbour] - mesh.points[size_t(vertex)]).toVector3D().normalized();
    };
    QVector3D sum;
    for (size_t i = 0; i < ring.size(); ++i) {
        const QVector3D x = way(ring[i ? i - 1 : ring.size() - 1]);
        sum += QVector3D::crossProduct(way(ring[i]), x).normalized();
    }
    return sum;
}

} // namespace

class TopologyTest : public QObject {
    Q_OBJECT

private slots:
    void tablesOfTheShelf_data();
    void tablesOfTheShelf();
    void closedMeshesFaceOut();
    void borderRingRunsFromBorderToBorder();
    void separateFansFollowEachOther();
    void polygonsFanFromTheirFirstCorner();
    void brokenFacesAreDropped_data();
    void brokenFacesAreDropped();
    void hugeValence();
    void randomFacesStayConsistent();
    void falloffEqualsPickingOnASheet();
    void falloffDoesNotJumpAGap();
    void falloffOfBadInput();
};

void TopologyTest::tablesOfTheShelf_data()
{
    QTest::addColumn<int>("index");
    const std::vector<TestMesh> meshes = testMeshes();
    for (size_t i = 0; i < meshes.size(); ++i)
        QTest::newRow(qPrintable(meshes[i].name)) << int(i);
}

void TopologyTest::tablesOfTheShelf()
{
    QFETCH(int, index);
    const TestMesh mesh = testMeshes()[size_t(index)];
    const Topology topology = mesh.topology();
    QString fault;
    QVERIFY2(topology.validate(&fault), qPrintable(fault));

    std::vector<std::set<quint32>> ringOf(mesh.points.size()), springsOf(mesh.points.size());
    std::set<Edge> edges;
    size_t triangleCount = 0;
    forEachCorner(mesh, [&](int next, int vertex, int previous, int count, int afterNext) {
        for (const int neighbour : { next, previous })
            ringOf[size_t(vertex)].insert(quint32(neighbour));
        if (count == 4)
            springsOf[size_t(vertex)].insert(quint32(afterNext));
        edges.insert(std::minmax(quint32(vertex), quint32(next)));
    });
    for (const qint32 count : mesh.counts)
        triangleCount += size_t(count - 2);

    QCOMPARE(topology.triangles().size(), 3 * triangleCount);
    QCOMPARE(topology.edges().size(), 2 * edges.size());
    for (size_t i = 0; i < topology.edges().size(); i += 2)
        QVERIFY(edges.count(std::minmax(topology.edges()[i], topology.edges()[i + 1])));
    for (int v = 0; v < mesh.vertexCount(); ++v) {
        const auto ring = neighbours(topology.rings(), mesh.vertexCount(), v);
        QCOMPARE(std::set<quint32>(ring.begin(), ring.end()), ringOf[size_t(v)]);
        QCOMPARE(ring.size(), ringOf[size_t(v)].size());
        springsOf[size_t(v)].insert(ring.begin(), ring.end());
        const auto springs = neighbours(topology.constraints(), mesh.vertexCount(), v);
        QVERIFY(std::equal(springs.begin(), springs.end(), springsOf[size_t(v)].begin(),
                           springsOf[size_t(v)].end()));
    }
}

void TopologyTest::closedMeshesFaceOut()
{
    for (const TestMesh &mesh : testClosedMeshes()) {
        const Topology topology = mesh.topology();
        std::set<std::array<int, 3>> corners; // vertex, ring neighbour, the one after it
        forEachCorner(mesh, [&](int next, int vertex, int previous, int, int) {
            corners.insert({ vertex, next, previous });
        });
        double volume = 0.0;
        const std::vector<quint32> &triangles = topology.triangles();
        for (size_t i = 0; i < triangles.size(); i += 3) {
            const QVector3D out = triangleNormal(mesh, &triangles[i]);
            volume += double(QVector3D::dotProduct(out, mesh.points[triangles[i]].toVector3D()));
            for (size_t c = i; c < i + 3; ++c) {
                const QVector3D normal = ringNormal(mesh, topology, int(triangles[c]));
                QVERIFY2(QVector3D::dotProduct(out, normal) > 0.0f, qPrintable(mesh.name));
            }
        }
        QVERIFY2(volume > 0.0, qPrintable(mesh.name));
        for (int v = 0; v < mesh.vertexCount(); ++v) {
            const auto ring = neighbours(topology.rings(), mesh.vertexCount(), v);
            for (size_t i = 0; i < ring.size(); ++i) {
                const std::array<int, 3> corner { v, int(ring[i]),
                                                  int(ring[(i + 1) % ring.size()]) };
                QVERIFY2(corners.count(corner), qPrintable(mesh.name));
            }
        }
    }
}

void TopologyTest::borderRingRunsFromBorderToBorder()
{
    const Topology topology = testGrid(3).topology();
    // Seen from +z, which is outside, rings run clockwise.
    QCOMPARE(neighbours(topology.rings(), 9, 0), (std::vector<quint32> { 3, 1 }));
    QCOMPARE(neighbours(topology.rings(), 9, 1), (std::vector<quint32> { 0, 4, 2 }));
    QCOMPARE(neighbours(topology.rings(), 9, 8), (std::vector<quint32> { 5, 7 }));
    QCOMPARE(neighbours(topology.rings(), 9, 4).size(), size_t(4));
}

void TopologyTest::separateFansFollowEachOther()
{
    const Topology topology = testTwoFans().topology();
    QCOMPARE(neighbours(topology.rings(), 7, 0), (std::vector<quint32> { 1, 2, 3, 4, 5, 6 }));
}

void TopologyTest::polygonsFanFromTheirFirstCorner()
{
    Topology topology;
    topology.build(5, { 4, 0, 1, 2, 3 }, { 5 });
    QCOMPARE(topology.triangles(), (std::vector<quint32> { 4, 1, 0, 4, 2, 1, 4, 3, 2 }));
    QCOMPARE(topology.edges().size(), size_t(10));
}

void TopologyTest::brokenFacesAreDropped_data()
{
    QTest::addColumn<int>("vertexCount");
    QTest::addColumn<QVector<int>>("indices");
    QTest::addColumn<QVector<int>>("counts");
    QTest::addColumn<int>("triangles");
    const int huge = std::numeric_limits<int>::max(), lowest = std::numeric_limits<int>::min();
    using Ints = QVector<int>;
    QTest::newRow("two corners") << 3 << Ints { 0, 1, 0, 1, 2 } << Ints { 2, 3 } << 1;
    QTest::newRow("no corner") << 3 << Ints { 0, 1, 2 } << Ints { 0, 3 } << 1;
    QTest::newRow("repeated") << 4 << Ints { 0, 1, 0, 2, 1, 2, 3 } << Ints { 4, 3 } << 1;
    QTest::newRow("past the mesh") << 3 << Ints { 0, 1, 3, 0, 1, 2 } << Ints { 3, 3 } << 1;
    QTest::newRow("below zero") << 3 << Ints { 0, 1, -1, 0, 1, 2 } << Ints { 3, 3 } << 1;
    QTest::newRow("short list") << 3 << Ints { 0, 1, 2, 0, 1 } << Ints { 3, 3, 3 } << 1;
    QTest::newRow("negative count") << 3 << Ints { 0, 1, 2 } << Ints { -3, lowest, 3 } << 1;
    QTest::newRow("huge counts") << 3 << Ints { 0, 1, 2 } << Ints { 3, huge, huge, huge } << 1;
    QTest::newRow("no index") << 3 << Ints {} << Ints { 3 } << 0;
    QTest::newRow("negative vertices") << -5 << Ints { 0, 1, 2 } << Ints { 3 } << 0;
}

void TopologyTest::brokenFacesAreDropped()
{
    QFETCH(int, vertexCount);
    QFETCH(QVector<int>, indices);
    QFETCH(QVector<int>, counts);
    QFETCH(int, triangles);
    const std::string line = "faces dropped for too few, repeated or missing corners: " +
        std::to_string(counts.size() - triangles);
    QTest::ignoreMessage(QtDebugMsg, line.c_str());
    Topology topology;
    topology.build(vertexCount, { indices.begin(), indices.end() },
                   { counts.begin(), counts.end() });
    QVERIFY(topology.validate());
    QCOMPARE(topology.triangleCount(), triangles);
    QCOMPARE(topology.vertexCount(), std::max(vertexCount, 0));
}

void TopologyTest::hugeValence()
{
    const TestMesh mesh = testFan(200000); // quadratic work would not end
    const Topology topology = mesh.topology();
    QVERIFY(topology.validate());
    const auto ring = neighbours(topology.rings(), mesh.vertexCount(), 0);
    QCOMPARE(ring.size(), size_t(200000));
    for (size_t i = 0; i + 1 < ring.size(); ++i)
        QVERIFY(ring[i + 1] == (ring[i] == 1 ? 200000u : ring[i] - 1));
}

void TopologyTest::randomFacesStayConsistent()
{
    std::mt19937 random(7);
    const auto below = [&](int bound) { return int(random() % unsigned(bound)); };
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.layers.debug=false"));
    for (int round = 0; round < 3000; ++round) {
        const int vertexCount = 1 + below(12);
        std::vector<qint32> counts(size_t(below(20))), indices(size_t(below(80)));
        for (qint32 &count : counts)
            count = below(50) ? 3 + below(4) : -1;
        for (qint32 &index : indices)
            index = below(50) ? below(vertexCount) : below(40) - 20;
        Topology topology;
        topology.build(vertexCount, indices, counts);
        QString fault;
        QVERIFY2(topology.validate(&fault), qPrintable(fault));
    }
    QLoggingCategory::setFilterRules(QString());
}

void TopologyTest::falloffEqualsPickingOnASheet()
{
    const TestMesh mesh = testGrid(21, 21);
    const Topology topology = mesh.topology();
    const float radius = 0.55f;
    const int hit = 10 * 21 + 9;
    const std::vector<float> falloff = topology.surfaceFalloff(hit, mesh.points, radius);
    int inside = 0;
    for (size_t v = 0; v < mesh.points.size(); ++v) {
        const double way = double((mesh.points[v] - mesh.points[size_t(hit)]).length());
        const double t = std::min(way / double(radius), 1.0);
        QVERIFY(std::abs(double(falloff[v]) - (1 - 3 * t * t + 2 * t * t * t)) < 8 * FLT_EPSILON);
        inside += falloff[v] > 0.0f;
    }
    QVERIFY(inside > 60);
}

void TopologyTest::falloffDoesNotJumpAGap()
{
    // Two sheets, one just above the other.
    TestMesh mesh = testGrid(5, 5);
    const TestMesh above = mesh;
    for (const QVector4D &p : above.points)
        mesh.points.push_back(p + QVector4D(0, 0, 0.01f, 0));
    for (const qint32 index : above.indices)
        mesh.indices.push_back(index + above.vertexCount());
    mesh.counts.insert(mesh.counts.end(), above.counts.begin(), above.counts.end());

    const std::vector<float> falloff = mesh.topology().surfaceFalloff(12, mesh.points, 0.6f);
    QCOMPARE(falloff[12], 1.0f);
    QVERIFY(falloff[13] > 0.0f);
    QVERIFY(std::all_of(falloff.begin() + 25, falloff.end(), [](float f) { return f == 0.0f; }));
}

void TopologyTest::falloffOfBadInput()
{
    const TestMesh mesh = testNaNPoint();
    const Topology topology = mesh.topology();
    const std::vector<float> zeros(25, 0.0f);
    for (const int hit : { -1, 25, 12 }) // 12 is the NaN point itself
        QCOMPARE(topology.surfaceFalloff(hit, mesh.points, 1.0f), zeros);
    QCOMPARE(topology.surfaceFalloff(3, PointArray(24), 1.0f), zeros);
    QCOMPARE(topology.surfaceFalloff(3, mesh.points, 0.0f), zeros);
    const std::vector<float> beside = topology.surfaceFalloff(11, mesh.points, 10.0f);
    QCOMPARE(beside[11], 1.0f);
    QCOMPARE(beside[12], 0.0f);
    QVERIFY(beside[13] > 0.0f); // reached around the NaN point
}

QTEST_APPLESS_MAIN(TopologyTest)
#include "TopologyTest.moc"
