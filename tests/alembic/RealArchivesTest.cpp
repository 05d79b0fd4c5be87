#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/LogCapture.h"

#include <QDir>
#include <QtTest>

#include <algorithm>
#include <cmath>

/// Archives that other programs wrote, in the folder that PLEXMOLD_REAL_ARCHIVES names. The
/// expected values were taken from them with the library's own tools.
class RealArchivesTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void content_data();
    void content();
    void bounds_data();
    void bounds();
    void vertices_data();
    void vertices();
    void growingMesh();
    void animatedCamera();
    void staticCameras();
    void badFiles_data();
    void badFiles();

private:
    QByteArray path(const QByteArray &name) const
    {
        return QFile::encodeName(m_folder.filePath(QString::fromLatin1(name)));
    }

    QDir m_folder;
};

void RealArchivesTest::initTestCase()
{
    const QString folder = qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES");
    if (folder.isEmpty())
        QSKIP("PLEXMOLD_REAL_ARCHIVES names no folder");
    m_folder.setPath(folder);
    QVERIFY2(m_folder.exists(), "PLEXMOLD_REAL_ARCHIVES names a folder that is not there");
}

void RealArchivesTest::content_data()
{
    QTest::addColumn<int>("meshes");
    QTest::addColumn<int>("cameras");
    QTest::addColumn<int>("vertices");
    QTest::addColumn<int>("triangles");
    QTest::addColumn<double>("start");
    QTest::addColumn<double>("end");
    QTest::newRow("animatedCube.abc") << 1 << 4 << 8 << 12 << 1.0 / 24 << 10.0 / 24;
    QTest::newRow("rotatingCube.abc") << 1 << 0 << 8 << 12 << 1.0 / 24 << 1.0;
    QTest::newRow("testUsdAbcIsConstant.abc")
        << 2 << 0 << 532 << 2 * (48 + 480) << 1.0 / 24 << 10.0;
    QTest::newRow("cubes-hi.abc") << 7 << 0 << 61614 << 2 * 61600 << 1.0 / 24 << 1.0 / 24;
    QTest::newRow("hasColorSet.abc") << 2 << 0 << 16 << 24 << 1001 / 24.0 << 1001 / 24.0;
    QTest::newRow("points.abc") << 0 << 0 << 0 << 0 << 1.0 / 30 << 10.0 / 30;
    QTest::newRow("testAbcCamera.abc") << 0 << 1 << 0 << 0 << 0.0 << 20.0 / 24;
    QTest::newRow("testUsdAbcP_OldEncoding.abc") << 1 << 0 << 42 << 40 + 2 * 20 << 0.0 << 0.0;
    QTest::newRow("sample_ogawa.abc") << 2 << 0 << 1 << 0 << 0.0 << 3.0;
}

void RealArchivesTest::content()
{
    QFETCH(int, vertices);
    QFETCH(double, start);
    QFETCH(double, end);
    AlembicFile file;
    QVERIFY(file.open(path(QTest::currentDataTag())));
    QTEST(file.meshCount(), "meshes");
    QTEST(file.cameraCount(), "cameras");
    double first = -1.0, last = -1.0;
    QVERIFY(file.timeRange(first, last));
    QVERIFY2(std::abs(first - start) < 1e-9 && std::abs(last - end) < 1e-9,
             qPrintable(QStringLiteral("%1 to %2").arg(first).arg(last)));
    Topology topology;
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(topology.vertexCount(), vertices);
    QTEST(topology.triangleCount(), "triangles");
    QString fault;
    QVERIFY2(topology.validate(&fault), qPrintable(fault));
    PointArray points;
    QVERIFY(file.readPoints(points, first));
    QCOMPARE(int(points.size()), vertices);
}

void RealArchivesTest::bounds_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<int>("from"); // vertices of the merged mesh
    QTest::addColumn<int>("to");
    QTest::addColumn<QVector3D>("lowest");
    QTest::addColumn<QVector3D>("highest");
    const auto row = [](const char *name, double seconds, int from, int to, QVector3D lowest,
                        QVector3D highest) {
        QTest::newRow(name) << seconds << from << to << lowest << highest;
    };
    row("animatedCube.abc first", 1.0 / 24, 0, 8, { -0.5f, -0.5f, -0.5f }, { 0.5f, 0.5f, 0.5f });
    row("animatedCube.abc last", 10.0 / 24, 0, 8, { 0.5f, -0.5f, -0.5f }, { 1.5f, 2.0f, 0.5f });
    row("testUsdAbcIsConstant.abc points move", 5.0, 0, 266, { -1, 2, -1 }, { 1, 4, 1 });
    row("testUsdAbcIsConstant.abc transform moves", 5.0, 266, 532, { -2, 2.5f, -0.5f },
        { -1, 3.5f, 0.5f });
    row("cubes-hi.abc", 0.0, 0, 61614, { -2.5f, -0.5f, -3.5f }, { 2.5f, 3.5f, 3.5f });
    row("hasColorSet.abc", 41.7083, 0, 16, { -5.7104f, 0.0408f, -2.0687f },
        { 5.1266f, 4.1781f, 2.0687f });
    row("testUsdAbcP_OldEncoding.abc", 0.0, 0, 42, { -5.5218f, 0, -3.0173f },
        { 2.6615f, 9.7758f, 5.1661f });
}

void RealArchivesTest::bounds()
{
    QFETCH(double, seconds);
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QVector3D, lowest);
    QFETCH(QVector3D, highest);
    AlembicFile file;
    QVERIFY(file.open(path(QByteArray(QTest::currentDataTag()).split(' ').first())));
    PointArray points;
    QVERIFY(file.readPoints(points, seconds));
    QVERIFY(int(points.size()) >= to);
    for (int axis = 0; axis < 3; ++axis) {
        const auto less = [axis](const QVector4D &a, const QVector4D &b) {
            return a[axis] < b[axis];
        };
        const auto [low, high] =
            std::minmax_element(points.begin() + from, points.begin() + to, less);
        // The known values are rounded to four decimals.
        QVERIFY(std::abs((*low)[axis] - lowest[axis]) < 1e-4f);
        QVERIFY(std::abs((*high)[axis] - highest[axis]) < 1e-4f);
    }
}

void RealArchivesTest::vertices_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QVector4D>("first");
    QTest::newRow("first sample") << 1.0 / 24 << QVector4D(-0.5f, -0.5f, 0.5f, 1);
    QTest::newRow("a quarter") << 0.25 << QVector4D(-0.5f, -0.5f, -0.5f, 1);
    QTest::newRow("a half") << 0.5 << QVector4D(-0.5f, 0.5f, 0.5f, 1);
    QTest::newRow("after the last") << 7.0 << QVector4D(-0.5f, 0.5f, 0.5f, 1);
}

/// Static points under a turning transform.
void RealArchivesTest::vertices()
{
    QFETCH(double, seconds);
    QFETCH(QVector4D, first);
    AlembicFile file;
    QVERIFY(file.open(path("rotatingCube.abc")));
    PointArray points;
    QVERIFY(file.readPoints(points, seconds));
    QVERIFY2((points.front() - first).length() < 1e-5f, "vertex 0 is elsewhere");
}

void RealArchivesTest::growingMesh()
{
    AlembicFile file;
    QVERIFY(file.open(path("sample_ogawa.abc")));
    PointArray points;
    const auto countAt = [&](double seconds) {
        return file.readPoints(points, seconds) ? int(points.size()) : -1;
    };
    QCOMPARE(countAt(0.0), 0 + 1); // the one mesh starts without points, the other with one
    QCOMPARE(countAt(1.0 / 30), 8 + 1);
    QCOMPARE(countAt(3.0), 240 + 30); // the second's samples end before the archive does
}

void RealArchivesTest::animatedCamera()
{
    AlembicFile file;
    QVERIFY(file.open(path("testAbcCamera.abc")));
    CameraRecord camera;
    QVERIFY(file.readCamera(camera, 0.0));
    QVERIFY(std::abs(camera.focalLength - 11700.0f) < 0.1f);
    QCOMPARE(camera.horizontalAperture, 1000.0f);
    QCOMPARE(camera.verticalAperture, 400.0f);
    const QMatrix4x4 before = camera.matrix;
    QVERIFY(file.readCamera(camera, 20.0 / 24));
    QVERIFY(std::abs(camera.focalLength - 4247.4f) < 0.1f);
    QVERIFY(camera.matrix != before); // the camera's transform has a sampling of its own
}

void RealArchivesTest::staticCameras()
{
    AlembicFile file;
    QVERIFY(file.open(path("animatedCube.abc")));
    CameraRecord camera;
    // The views that the writing program starts with stand 100.1 from the origin.
    QVERIFY(file.readCamera(camera, 0.0));
    QVERIFY((camera.matrix.column(3) - QVector4D(0, 0, 100.1f, 1)).length() < 1e-4f);
    QVERIFY(file.readCamera(camera, 0.0, QStringLiteral("topShape")));
    QVERIFY((camera.matrix.column(3) - QVector4D(0, 100.1f, 0, 1)).length() < 1e-4f);
    QVERIFY((camera.matrix.column(2) - QVector4D(0, 1, 0, 0)).length() < 1e-4f); // looks down
    QCOMPARE(camera.focalLength, 35.0f);
}

void RealArchivesTest::badFiles_data()
{
    QTest::addColumn<QString>("words");
    QTest::newRow("bad_hdf5_animatedCube.abc") << QStringLiteral("Could not open as Ogawa file");
    QTest::newRow("bad_truncated_rotatingCube.abc") << QStringLiteral("read failed");
}

void RealArchivesTest::badFiles()
{
    QFETCH(QString, words);
    AlembicFile file;
    QVERIFY(file.open(path("rotatingCube.abc")));
    const LogCapture log;
    QVERIFY(!file.open(path(QTest::currentDataTag())));
    QCOMPARE(int(LogCapture::lines().size()), 1);
    QVERIFY(LogCapture::lines().front().contains(QLatin1String(QTest::currentDataTag())));
    QVERIFY(LogCapture::lines().front().contains(words));
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QCOMPARE(int(points.size()), 8);
}

QTEST_GUILESS_MAIN(RealArchivesTest)
#include "RealArchivesTest.moc"
