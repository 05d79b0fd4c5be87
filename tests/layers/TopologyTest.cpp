#include "layers/PointMath.h"
#include "layers/SparsePoints.h"
#include "support/TestMeshes.h"

#include <QtTest>

#include <set>

namespace {

using Indices = std::vector<quint32>;

Indices neighbours(std::span<const quint32> table, int vertexCount, int vertex)
{
    const auto first = table.begin() + vertexCount + 1;
    return { first + table[size_t(vertex)], first + table[size_t(vertex) + 1] };
}

/// What the tables have to hold, from the faces of a mesh that are all whole.
struct Expected {
    std::vector<std::set<quint32>> rings, springs;
    std::set<std::pair<quint32, quint32>> edges;
    std::set<std::array<quint32, 3>> corners; ///< vertex, the next corner, the one before

    explicit Expected(const TestMesh &mesh)
        : rings(mesh.points.size())
        , springs(mesh.points.size())
    {
        size_t begin = 0;
        for (const qint32 count : mesh.counts) {
            const auto corner = [&](qint32 i) {
                return quint32(mesh.indices[begin + size_t(i % count)]);
            };
            for (qint32 i = 0; i < count; ++i) {
                const quint32 vertex = corner(i), next = corner(i + 1),
                              last = corner(i + count - 1);
                rings[vertex].insert({ next, last });
                springs[vertex].insert({ next, last, count == 4 ? corner(i + 2) : next });
                edges.insert(std::minmax(vertex, next));
                corners.insert({ vertex, next, last });
            }
            begin += size_t(count);
        }
    }
};

} // namespace

class TopologyTest : public QObject {
    Q_OBJECT

private slots:
    void tablesOfTheShelf()
    {
        for (const TestMesh &mesh : testMeshes()) {
            const Topology topology = mesh.topology();
            QString fault;
            QVERIFY2(topology.validate(&fault), qPrintable(mesh.name + fault));
            const Expected expected(mesh);
            const std::span<const quint32> triangles = topology.triangles(),
                                           edges = topology.edges();
            QCOMPARE(triangles.size(), 3 * (mesh.indices.size() - 2 * mesh.counts.size()));
            QCOMPARE(edges.size(), 2 * expected.edges.size());
            for (size_t i = 0; i < edges.size(); i += 2)
                QVERIFY(expected.edges.count(std::minmax(edges[i], edges[i + 1])));
            const bool closed = expected.corners.size() == edges.size() && !edges.empty();
            double volume = 0.0;
            for (size_t i = 0; i < triangles.size(); i += 3) {
                const auto p = [&](size_t k) { return mesh.points[triangles[i + k]].toVector3D(); };
                volume += double(QVector3D::dotProduct(QVector3D::crossProduct(p(0), p(1)), p(2)));
            }
            QVERIFY2(volume > 0.0 || !closed, qPrintable(mesh.name)); // it faces out
            for (int v = 0; v < mesh.vertexCount(); ++v) {
                const Indices ring = neighbours(topology.rings(), mesh.vertexCount(), v);
                QCOMPARE(std::set<quint32>(ring.begin(), ring.end()), expected.rings[size_t(v)]);
                QCOMPARE(ring.size(), expected.rings[size_t(v)].size());
                for (size_t i = 0; closed && i < ring.size(); ++i)
                    QVERIFY(expected.corners.count(
                        { quint32(v), ring[i], ring[(i + 1) % ring.size()] }));
                const Indices marked = neighbours(topology.markedRings(), mesh.vertexCount(), v);
                for (size_t i = 0; i < ring.size(); ++i) {
                    const quint32 previous = ring[(i + ring.size() - 1) % ring.size()];
                    const bool spanned =
                        expected.corners.count({ quint32(v), previous, ring[i] }) ||
                        (ring.size() > 2 &&
                         expected.corners.count({ quint32(v), ring[i], previous }));
                    QCOMPARE(marked[i], spanned ? ring[i] : ring[i] | Topology::kRingGap);
                }
                const auto &springs = expected.springs[size_t(v)];
                QCOMPARE(neighbours(topology.constraints(), mesh.vertexCount(), v),
                         Indices(springs.begin(), springs.end()));
            }
        }
    }

    /// Seen from +z, which is outside, rings run clockwise, from border to border.
    void openRings()
    {
        const Topology sheet = testGrid(3).topology();
        QCOMPARE(neighbours(sheet.rings(), 9, 0), (Indices { 3, 1 }));
        QCOMPARE(neighbours(sheet.rings(), 9, 1), (Indices { 0, 4, 2 }));
        QCOMPARE(neighbours(sheet.rings(), 9, 8), (Indices { 5, 7 }));
        const Topology fans = testTwoFans().topology(); // one after the other
        QCOMPARE(neighbours(fans.rings(), 9, 4), (Indices { 0, 3, 6, 8, 5, 2 }));
        Topology polygon;
        polygon.build(5, { 4, 0, 1, 2, 3 }, { 5 });
        const auto fan = polygon.triangles();
        QCOMPARE(Indices(fan.begin(), fan.end()), (Indices { 4, 1, 0, 4, 2, 1, 4, 3, 2 }));
    }

    void brokenFacesAreDropped()
    {
        constexpr int huge = std::numeric_limits<int>::max(), low = std::numeric_limits<int>::min();
        using Ints = std::vector<qint32>;
        const std::tuple<int, Ints, Ints, int> rows[] = {
            // the last: triangles that stay
            { 3, { 0, 1, 0, 1, 2 }, { 2, 0, 3 }, 1 },
            { 4, { 0, 1, 0, 2, 1, 2, 3 }, { 4, 3 }, 1 },
            { 3, { 0, 1, 3, 0, -1, 2, 0, 1, 2 }, { 3, 3, 3 }, 1 },
            { 3, { 0, 1, 2, 0, 1 }, { 3, 3, 3 }, 1 },
            { 3, { 0, 1, 2 }, { -3, low, 3 }, 1 },
            { 3, { 0, 1, 2 }, { 3, huge, huge, huge }, 1 },
            { -5, { 0, 1, 2 }, { 3 }, 0 },
        };
        for (const auto &[vertexCount, indices, counts, triangles] : rows) {
            const std::string line = "faces dropped for too few, repeated or missing corners: " +
                std::to_string(int(counts.size()) - triangles);
            QTest::ignoreMessage(QtDebugMsg, line.c_str());
            Topology topology;
            topology.build(vertexCount, indices, counts);
            QVERIFY(topology.validate() && topology.triangleCount() == triangles);
            QCOMPARE(topology.vertexCount(), std::max(vertexCount, 0));
        }
    }

    /// Two sheets, one just above the other.
    void falloffDoesNotJumpAGap()
    {
        TestMesh mesh = testGrid(5, 5);
        for (int i = 0; i < 25; ++i)
            mesh.points.push_back(mesh.points[size_t(i)] + QVector4D(0, 0, 0.01f, 0));
        for (size_t i = 0; i < 16; ++i)
            mesh.addFace({ mesh.indices[4 * i] + 25, mesh.indices[4 * i + 1] + 25,
                           mesh.indices[4 * i + 2] + 25, mesh.indices[4 * i + 3] + 25 });
        const std::vector<float> falloff = mesh.topology().surfaceFalloff(12, mesh.points, 0.6f);
        QVERIFY(falloff[12] == 1.0f && falloff[13] > 0.0f);
        QVERIFY(std::all_of(falloff.begin() + 25, falloff.end(), [](float f) { return f == 0; }));
    }

    /// Far from the origin on one side, so that a box begun at zero would show.
    void boundsPassOverBrokenPoints()
    {
        TestMesh mesh = testNaNPoint();
        QVERIFY(!boundsOf({}) && !boundsOf({ mesh.points[12], mesh.points[0] }));
        for (QVector4D &point : mesh.points)
            point += QVector4D(10, -10, 5, 0);
        const std::optional<PointBounds> bounds = boundsOf(mesh.points);
        QVERIFY(bounds && bounds->low.z() >= 4.9f && bounds->high.z() <= 5.1f);
        QCOMPARE(bounds->low, QVector3D(9, -11, bounds->low.z()));
        QCOMPARE(bounds->high, QVector3D(11, -9, bounds->high.z()));
    }

    void sparsePointsKeepWhatIsThere()
    {
        const QVector4D p(1, -2, 3, 0), none, w(0, 0, 0, 1);
        for (const PointArray &deltas :
             { PointArray {}, { none }, { p, none, none, p, p }, { none, p, none, w, none } }) {
            PointArray points(deltas.size(), QVector4D(1, 1, 1, 1)), expected = points;
            SparsePoints(deltas).addTo(points, 0.5f);
            for (size_t i = 0; i < deltas.size(); ++i)
                expected[i] += deltas[i] * 0.5f;
            QCOMPARE(points, expected);
        }
        PointArray stroke(1000);
        std::fill_n(stroke.begin() + 100, 10, p);
        QVERIFY(SparsePoints(stroke).storedBytes() < 200);
    }
};

QTEST_APPLESS_MAIN(TopologyTest)
#include "TopologyTest.moc"
