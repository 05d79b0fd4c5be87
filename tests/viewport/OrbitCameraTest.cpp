#include "viewport/OrbitCamera.h"
#include "alembic/CameraRecord.h"
#include "viewport/Lens.h"
#include "viewport/ScreenRay.h"

#include <QtTest>

#include <cmath>

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

struct Vec {
    double x, y, z;
};

// Eye-space point of the camera that turns about y, then tilts about x, then moves by `pan`, all
// about a pivot; written from the trigonometry.
Vec eyePoint(const OrbitCamera &camera, const Vec &p, const Vec &pivot)
{
    const double turn = camera.turn(), tilt = camera.tilt();
    const Vec q { p.x - pivot.x, p.y - pivot.y, p.z - pivot.z };
    const Vec turned { q.x * std::cos(turn) + q.z * std::sin(turn), q.y,
                       -q.x * std::sin(turn) + q.z * std::cos(turn) };
    const Vec tilted { turned.x, turned.y * std::cos(tilt) - turned.z * std::sin(tilt),
                       turned.y * std::sin(tilt) + turned.z * std::cos(tilt) };
    return { tilted.x + pivot.x + double(camera.pan().x()),
             tilted.y + pivot.y + double(camera.pan().y()),
             tilted.z + pivot.z + double(camera.pan().z()) };
}

QPointF pixelOf(const Vec &eye, double fieldOfView)
{
    const double f = 1.0 / std::tan(fieldOfView * M_PI / 360.0);
    return { (f * eye.x / -eye.z * kHeight / kWidth * 0.5 + 0.5) * kWidth,
             (f * eye.y / -eye.z * 0.5 + 0.5) * kHeight };
}

QPointF pixelOf(const CameraMatrices &matrices, const QVector3D &point)
{
    const QVector3D ndc = (matrices.projection * matrices.view).map(point);
    return { (double(ndc.x()) * 0.5 + 0.5) * matrices.width,
             (double(ndc.y()) * 0.5 + 0.5) * matrices.height };
}

double distance(const QPointF &a, const QPointF &b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

OrbitCamera sizedCamera()
{
    OrbitCamera camera;
    camera.setSize(kWidth, kHeight);
    return camera;
}

constexpr double kPixelTolerance = 0.01; // single precision over a few hundred pixels

}

class OrbitCameraTest : public QObject {
    Q_OBJECT

private slots:
    void projectsAsTheTrigonometrySays()
    {
        OrbitCamera camera = sizedCamera();
        const QVector3D point(1.5f, -2.25f, 0.75f);
        const Vec p { 1.5, -2.25, 0.75 };
        QVERIFY(distance(pixelOf(camera.matrices(), point), pixelOf(eyePoint(camera, p, {}), 45)) <
                kPixelTolerance);

        camera.setFieldOfView(20);
        camera.frameBox({ 1, 2, 3 }, { 3, 4, 4 });
        camera.beginDrag(100, 100);
        camera.orbitDrag(131, 80, DragKind::Tumble);
        camera.orbitDrag(140, 60, DragKind::Pan);
        camera.orbitDrag(140, 300, DragKind::Dolly);
        QVERIFY(distance(pixelOf(camera.matrices(), point),
                         pixelOf(eyePoint(camera, p, { 2, 3, 3.5 }), 20)) < kPixelTolerance);
        for (const float impossible : { 0.0f, -1.0f, 180.0f, float(qQNaN()) })
            camera.setFieldOfView(impossible);
        QCOMPARE(camera.fieldOfView(), 20.0f);
    }

    void depthsSpanTheClipRange()
    {
        const QMatrix4x4 projection = sizedCamera().matrices().projection;
        QVERIFY(qAbs(projection.map(QVector3D(0, 0, -0.1f)).z() + 1) < 1e-4f);
        QVERIFY(qAbs(projection.map(QVector3D(0, 0, -10000)).z() - 1) < 1e-4f);
    }

    void dolly_data()
    {
        QTest::addColumn<QPoint>("way");
        QTest::addColumn<int>("pixels");
        QTest::newRow("horizontal wins") << QPoint(30, 20) << 30;
        QTest::newRow("vertical wins, upwards moves away") << QPoint(-20, 30) << -30;
        QTest::newRow("a tie is vertical") << QPoint(25, 25) << -25;
        QTest::newRow("downwards") << QPoint(0, -7) << 7;
    }
    void dolly()
    {
        QFETCH(const QPoint, way);
        QFETCH(const int, pixels);
        OrbitCamera camera = sizedCamera();
        camera.beginDrag(0, 0);
        camera.orbitDrag(way.x(), way.y(), DragKind::Dolly);
        QVERIFY(qAbs(camera.pan().z() - (-20.0f + float(pixels) * 0.02f)) < 1e-5f);
    }

    void framingOnePointStopsTheDolly()
    {
        OrbitCamera camera = sizedCamera();
        camera.frameBox({ 1, 2, 3 }, { 1, 2, 3 });
        QCOMPARE(camera.pan(), QVector3D(-1, -2, -3));
        QCOMPARE(camera.zoomSpeed(), 0.0f);
        camera.orbitDrag(0, 500, DragKind::Dolly);
        QCOMPARE(camera.pan().z(), -3.0f);
        camera.orbitDrag(40, 500, DragKind::Pan); // the eye sits in the pivot: no scale to pan by
        QCOMPARE(camera.pan(), QVector3D(-1, -2, -3));
        camera.reset();
        QCOMPARE(camera.view(), OrbitCamera().view());
    }

    void pictureMovesWithTheCursorAndStopsShrinking()
    {
        OrbitCamera camera = sizedCamera();
        camera.setName(QStringLiteral("shot"));
        const QMatrix4x4 sceneView = OrbitCamera().view();
        const QVector3D point(0.5f, 1, -0.25f);
        const QPointF before = pixelOf(camera.matrices(sceneView), point);
        camera.beginDrag(0, 0);
        camera.pictureDrag(64, -36, DragKind::Pan);
        QVERIFY(distance(pixelOf(camera.matrices(sceneView), point), before + QPointF(64, -36)) <
                kPixelTolerance);

        camera.pictureDrag(64, -36 + 10 * kHeight, DragKind::Dolly);
        QCOMPARE(camera.picture()(0, 0), 0.1f);
        camera.pictureDrag(64, -36 + kHeight, DragKind::Dolly); // still beyond the stop
        QCOMPARE(camera.picture()(1, 1), 0.1f);
        camera.pictureDrag(64, -36 + kHeight / 2, DragKind::Dolly);
        QCOMPARE(camera.picture()(1, 1), 0.5f);
        const QMatrix4x4 view = camera.view();
        camera.pictureDrag(300, 300, DragKind::Tumble);
        camera.resetPicture();
        QVERIFY(camera.picture().isIdentity());
        QCOMPARE(camera.view(), view);
    }

    void rayAndProjectionAgree()
    {
        OrbitCamera camera = sizedCamera();
        camera.frameBox({ 90, 0, -40 }, { 130, 60, 10 });
        camera.beginDrag(0, 0);
        camera.pictureDrag(40, 25, DragKind::Pan);
        camera.pictureDrag(40, -75, DragKind::Dolly);
        for (const CameraMatrices &matrices :
             { camera.matrices(), camera.matrices(camera.view()) }) {
            for (const QPoint &pixel : { QPoint(0, 0), QPoint(17, 400), QPoint(639, 480) }) {
                const ScreenRay ray = screenRay(pixel, matrices);
                // Not at the near end itself: a tenth of a unit from the eye, single precision at
                // these coordinates is a fraction of a pixel.
                for (const float share : { 0.001f, 0.01f, 1.0f }) {
                    const QVector3D point = ray.nearPoint + (ray.farPoint - ray.nearPoint) * share;
                    QVERIFY(distance(pixelOf(matrices, point), pixel) < 0.02);
                }
                QVERIFY(qAbs(-matrices.view.map(ray.nearPoint).z() - 0.1f) < 1e-3f);
            }
        }
    }

    void radiusSpansItsPixelsAtTheHit()
    {
        OrbitCamera camera = sizedCamera();
        camera.beginDrag(0, 0);
        camera.pictureDrag(0, 120, DragKind::Dolly);
        QMatrix4x4 scaled = camera.view();
        scaled.scale(2.5f);
        const QVector3D hit(1, 2, -1);
        for (const CameraMatrices &matrices :
             { camera.matrices(), camera.matrices(camera.view()), camera.matrices(scaled) }) {
            const float radius = worldRadius(80, hit, matrices);
            const QVector3D up = matrices.view.row(1).toVector3D().normalized() * radius;
            QVERIFY(qAbs(distance(pixelOf(matrices, hit + up), pixelOf(matrices, hit)) - 80) <
                    0.05);
        }
    }

    void planeAndRay()
    {
        const ScreenRay ray { { 0, 0, 5 }, { 2, 0, -5 } };
        QCOMPARE(planeHit(ray, { 7, 7, 0 }, { 0, 0, 1 }).value(), QVector3D(1, 0, 0));
        QVERIFY(!planeHit(ray, { 0, 3, 0 }, { 0, 1, 0 }).has_value());
        QMatrix4x4 mirror;
        mirror(0, 0) = -1;
        QCOMPARE(transformed(ray, mirror).farPoint, QVector3D(-2, 0, -5));
    }

    void lens()
    {
        CameraRecord camera;
        QCOMPARE(verticalFieldOfView(camera), 0.0f);
        camera.verticalAperture = 2.4f;
        camera.focalLength = 12.0f; // half the film is as high as the lens is long
        QCOMPARE(verticalFieldOfView(camera), 90.0f);
    }
};

QTEST_APPLESS_MAIN(OrbitCameraTest)
#include "OrbitCameraTest.moc"
