#include "layers/PointMath.h"
#include "layers/SparsePoints.h"
#include "support/TestMeshes.h"

#include <QtTest>

class PointMathTest : public QObject {
    Q_OBJECT

private slots:
    void boundsPassOverBrokenPoints();
    void noFinitePointHasNoBounds();
    void sparsePointsKeepWhatIsThere();
};

void PointMathTest::boundsPassOverBrokenPoints()
{
    // Far from the origin on one side, so that a box begun at zero would show.
    TestMesh mesh = testNaNPoint();
    for (QVector4D &point : mesh.points)
        point += QVector4D(10, -10, 5, 0);
    const std::optional<PointBounds> bounds = boundsOf(mesh.points);
    QVERIFY(bounds.has_value());
    QCOMPARE(bounds->low, QVector3D(9, -11, bounds->low.z()));
    QCOMPARE(bounds->high, QVector3D(11, -9, bounds->high.z()));
    QVERIFY(bounds->low.z() >= 4.9f && bounds->low.z() < bounds->high.z());
    QVERIFY(bounds->high.z() <= 5.1f);
}

void PointMathTest::noFinitePointHasNoBounds()
{
    QVERIFY(!boundsOf({}).has_value());
    QVERIFY(!boundsOf({ testNaNPoint().points[12], testNaNPoint().points[0] }).has_value());
    QVERIFY(isFinitePoint(testNaNPoint().points[1]));
}

void PointMathTest::sparsePointsKeepWhatIsThere()
{
    const QVector4D p(1, -2, 3, 0), none;
    for (const PointArray &deltas : { PointArray {},
                                      { none },
                                      { p },
                                      { p, none, none, p, p },
                                      { none, p, none, QVector4D(0, 0, 0, 1), none } }) {
        const PointArray start(deltas.size(), QVector4D(1, 1, 1, 1));
        PointArray points = start, expected = start;
        SparsePoints(deltas).addTo(points, 0.5f);
        for (size_t i = 0; i < deltas.size(); ++i)
            expected[i] += deltas[i] * 0.5f;
        QCOMPARE(points, expected);
    }
    PointArray stroke(1000);
    std::fill_n(stroke.begin() + 100, 10, p);
    QVERIFY(SparsePoints(stroke).storedBytes() < 200);
}

QTEST_APPLESS_MAIN(PointMathTest)
#include "PointMathTest.moc"
