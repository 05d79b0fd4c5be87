#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/Needs.h"

#include <cmath>

/// Archives that other programs wrote. The expected values were taken from them with the library's
/// own tools, rounded to four decimals.
class RealArchivesTest : public QObject {
    Q_OBJECT

private:
    static bool open(AlembicFile &file, const char *name)
    {
        return file.open(QFile::encodeName(realArchives() + QLatin1String(name)));
    }

private slots:
    void initTestCase() { NEEDS_REAL_ARCHIVES(); }

    void content()
    {
        struct Row {
            const char *name;
            int meshes, cameras, vertices, triangles;
            double start, end;
        };
        const Row rows[] = {
            { "animatedCube.abc", 1, 4, 8, 12, 1.0 / 24, 10.0 / 24 },
            { "rotatingCube.abc", 1, 0, 8, 12, 1.0 / 24, 1.0 },
            { "testUsdAbcIsConstant.abc", 2, 0, 532, 2 * (48 + 480), 1.0 / 24, 10.0 },
            { "cubes-hi.abc", 7, 0, 61614, 2 * 61600, 1.0 / 24, 1.0 / 24 },
            { "hasColorSet.abc", 2, 0, 16, 24, 1001 / 24.0, 1001 / 24.0 },
            { "points.abc", 0, 0, 0, 0, 1.0 / 30, 10.0 / 30 },
            { "testAbcCamera.abc", 0, 1, 0, 0, 0.0, 20.0 / 24 },
            { "testUsdAbcP_OldEncoding.abc", 1, 0, 42, 40 + 2 * 20, 0.0, 0.0 },
            { "sample_ogawa.abc", 2, 0, 1, 0, 0.0, 3.0 },
        };
        for (const Row &row : rows) {
            AlembicFile file;
            double first = -1.0, last = -1.0;
            Topology topology;
            PointArray points;
            QVERIFY2(open(file, row.name) && file.timeRange(first, last) &&
                         file.fillTopology(topology) && file.readPoints(points, first) &&
                         file.meshCount() == row.meshes && file.cameraCount() == row.cameras &&
                         std::abs(first - row.start) < 1e-9 && std::abs(last - row.end) < 1e-9 &&
                         topology.vertexCount() == row.vertices &&
                         int(points.size()) == row.vertices &&
                         topology.triangleCount() == row.triangles && topology.validate(),
                     row.name);
        }
    }

    void bounds()
    {
        const QVector3D colourLow(-5.7104f, 0.0408f, -2.0687f),
            colourHigh(5.1266f, 4.1781f, 2.0687f), oldLow(-5.5218f, 0, -3.0173f),
            oldHigh(2.6615f, 9.7758f, 5.1661f);
        struct Row {
            const char *name;
            double seconds;
            int from, to; ///< vertices of the merged mesh
            QVector3D low, high;
        };
        const Row rows[] = {
            { "animatedCube.abc", 1.0 / 24, 0, 8, { -0.5f, -0.5f, -0.5f }, { 0.5f, 0.5f, 0.5f } },
            { "animatedCube.abc", 10.0 / 24, 0, 8, { 0.5f, -0.5f, -0.5f }, { 1.5f, 2.0f, 0.5f } },
            { "testUsdAbcIsConstant.abc", 5.0, 0, 266, { -1, 2, -1 }, { 1, 4, 1 } },
            { "testUsdAbcIsConstant.abc", 5, 266, 532, { -2, 2.5f, -0.5f }, { -1, 3.5f, 0.5f } },
            { "cubes-hi.abc", 0.0, 0, 61614, { -2.5f, -0.5f, -3.5f }, { 2.5f, 3.5f, 3.5f } },
            { "hasColorSet.abc", 41.7083, 0, 16, colourLow, colourHigh },
            { "testUsdAbcP_OldEncoding.abc", 0.0, 0, 42, oldLow, oldHigh },
            // Static points under a turning transform.
            { "rotatingCube.abc", 1.0 / 24, 0, 1, { -0.5f, -0.5f, 0.5f }, { -0.5f, -0.5f, 0.5f } },
            { "rotatingCube.abc", 0.25, 0, 1, { -0.5f, -0.5f, -0.5f }, { -0.5f, -0.5f, -0.5f } },
            { "rotatingCube.abc", 7.0, 0, 1, { -0.5f, 0.5f, 0.5f }, { -0.5f, 0.5f, 0.5f } },
        };
        for (const Row &row : rows) {
            AlembicFile file;
            PointArray points;
            QVERIFY(open(file, row.name) && file.readPoints(points, row.seconds));
            QVector3D low = points.at(size_t(row.to) - 1).toVector3D(), high = low;
            for (int i = 3 * row.from; i < 3 * row.to; ++i) {
                const float value = points[size_t(i / 3)][i % 3];
                low[i % 3] = std::min(low[i % 3], value);
                high[i % 3] = std::max(high[i % 3], value);
            }
            QVERIFY2((low - row.low).length() < 1e-4f && (high - row.high).length() < 1e-4f,
                     row.name);
        }
        AlembicFile growing;
        PointArray points;
        QVERIFY(open(growing, "sample_ogawa.abc")); // its second mesh ends earlier
        const std::pair<double, int> counts[] = { { 0, 0 + 1 }, { 1.0 / 30, 8 + 1 }, { 3, 270 } };
        for (const auto &[seconds, count] : counts)
            QVERIFY(growing.readPoints(points, seconds) && int(points.size()) == count);
    }

    void cameras()
    {
        AlembicFile file;
        CameraRecord camera;
        QVERIFY(open(file, "testAbcCamera.abc") && file.readCamera(camera, 0.0));
        QVERIFY(std::abs(camera.focalLength - 11700.0f) < 0.1f);
        QVERIFY(camera.horizontalAperture == 1000.0f && camera.verticalAperture == 400.0f);
        // The transform has a sampling of its own.
        const QMatrix4x4 before = camera.matrix;
        QVERIFY(file.readCamera(camera, 20.0 / 24) && camera.matrix != before);
        QVERIFY(std::abs(camera.focalLength - 4247.4f) < 0.1f);

        // The views that the writing program starts with stand 100.1 from the origin.
        QVERIFY(open(file, "animatedCube.abc") && file.readCamera(camera, 0.0));
        QVERIFY((camera.matrix.column(3) - QVector4D(0, 0, 100.1f, 1)).length() < 1e-4f);
        QVERIFY(file.readCamera(camera, 0.0, QStringLiteral("topShape")));
        QVERIFY((camera.matrix.column(3) - QVector4D(0, 100.1f, 0, 1)).length() < 1e-4f);
        QVERIFY((camera.matrix.column(2) - QVector4D(0, 1, 0, 0)).length() < 1e-4f); // looks down
        QCOMPARE(camera.focalLength, 35.0f);
    }
};

QTEST_GUILESS_MAIN(RealArchivesTest)
#include "RealArchivesTest.moc"
