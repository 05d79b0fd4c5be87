#include "gpu/ImageSequence.h"
#include "viewport/OrbitCamera.h"
#include "viewport/PixelLine.h"
#include "viewport/ScreenRay.h"
#include "viewport/StrengthLabel.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {

constexpr int kWidth = 640, kHeight = 480;

// The window point of the camera that turns about y, then tilts about x, then moves by `pan`, all
// about a pivot; written from the trigonometry.
QPointF plainPixel(const OrbitCamera &camera, const QVector3D &point, const QVector3D &pivot,
                   double fieldOfView)
{
    const double turn = camera.turn(), tilt = camera.tilt();
    const QVector3D q = point - pivot;
    const double x = q.x() * std::cos(turn) + q.z() * std::sin(turn);
    const double z = -q.x() * std::sin(turn) + q.z() * std::cos(turn);
    const QVector3D moved = pivot + camera.pan();
    const double depth = -(q.y() * std::sin(tilt) + z * std::cos(tilt) + moved.z());
    const double scale = 0.5 * kHeight / std::tan(fieldOfView * M_PI / 360.0) / depth;
    return { 0.5 * kWidth + scale * (x + moved.x()),
             0.5 * kHeight + scale * (q.y() * std::cos(tilt) - z * std::sin(tilt) + moved.y()) };
}

QPointF pixelOf(const CameraMatrices &matrices, const QVector3D &point)
{
    const QVector3D ndc = (matrices.projection * matrices.view).map(point);
    return { (double(ndc.x()) * 0.5 + 0.5) * matrices.width,
             (double(ndc.y()) * 0.5 + 0.5) * matrices.height };
}

double distance(const QPointF &a, const QPointF &b) { return QLineF(a, b).length(); }

// The pixel nearest to the true line at every step of the longer axis, from its equation.
std::vector<QPoint> roundedLine(const QPoint &from, const QPoint &delta)
{
    const bool alongY = std::abs(delta.y()) > std::abs(delta.x());
    const int length = alongY ? delta.y() : delta.x();
    // Half-way pixels go to the farther side only on the way up the longer axis.
    const double tie = length > 0 ? 1 + 1e-9 : 1 - 1e-9;
    std::vector<QPoint> line { from };
    for (int step = 1; step <= std::abs(length); ++step)
        line.push_back(from + (QPointF(delta) * step / std::abs(length) * tie).toPoint());
    return line;
}

std::vector<QPoint> stroke(const std::vector<QPoint> &path, double spacing)
{
    QPoint lastStamp = path.front();
    std::vector<QPoint> stamps;
    for (size_t i = 1; i < path.size(); ++i) {
        const auto more = stampsAlong(pixelLine(path[i - 1], path[i]), spacing, lastStamp);
        stamps.insert(stamps.end(), more.begin(), more.end());
    }
    return stamps;
}

}

/// Cameras, rays, strokes' pixels and the rules of the mouse, as values.
class ViewMathTest : public QObject {
    Q_OBJECT

    OrbitCamera camera;

private slots:
    void init()
    {
        camera = {};
        camera.setSize(kWidth, kHeight);
    }

    void orbitsAsTheTrigonometrySays()
    {
        const QVector3D point(1.5f, -2.25f, 0.75f);
        // Single precision over a few hundred pixels leaves that much.
        QVERIFY(distance(pixelOf(camera.matrices(), point), plainPixel(camera, point, {}, 45)) <
                0.01);
        camera.setFieldOfView(20);
        camera.frameBox({ 1, 2, 3 }, { 3, 4, 4 });
        camera.beginDrag(100, 100);
        camera.orbitDrag(131, 80, DragKind::Tumble);
        camera.orbitDrag(140, 60, DragKind::Pan);
        camera.orbitDrag(140, 300, DragKind::Dolly);
        QVERIFY(distance(pixelOf(camera.matrices(), point),
                         plainPixel(camera, point, { 2, 3, 3.5 }, 20)) < 0.01);
        for (const float impossible : { 0.0f, -1.0f, 180.0f, float(qQNaN()) })
            camera.setFieldOfView(impossible);
        QCOMPARE(camera.fieldOfView(), 20.0f);

        // Sideways or downwards enlarges, the longer way wins, a tie is the vertical one's.
        for (const QVector3D &drag :
             { QVector3D(30, 20, 30), { -20, 30, -30 }, { 25, 25, -25 }, { 0, -7, 7 } }) {
            OrbitCamera dolly;
            dolly.orbitDrag(int(drag.x()), int(drag.y()), DragKind::Dolly);
            QVERIFY(qAbs(dolly.pan().z() - (-20.0f + drag.z() * 0.02f)) < 1e-5f);
        }
    }

    void dragsStop()
    {
        camera.frameBox({ 1, 2, 3 }, { 1, 2, 3 });
        QCOMPARE(camera.pan(), QVector3D(-1, -2, -3));
        camera.orbitDrag(0, 500, DragKind::Dolly); // one point leaves nothing to dolly by
        camera.orbitDrag(40, 500, DragKind::Pan); // the eye sits in the pivot: no scale to pan by
        QCOMPARE(camera.pan(), QVector3D(-1, -2, -3));
        camera.reset();
        // The picture's zoom stops while the drag goes on being counted.
        camera.beginDrag(0, 0);
        for (const auto &[heights, zoom] :
             { std::pair(10.0, 0.1f), { 1.0, 0.1f }, { 0.5, 0.5f } }) {
            camera.pictureDrag(0, int(heights * kHeight), DragKind::Dolly);
            QVERIFY(camera.picture()(0, 0) == zoom && camera.picture()(1, 1) == zoom);
        }
        camera.pictureDrag(300, 300, DragKind::Tumble);
        QCOMPARE(camera.picture()(0, 0), 0.5f);
        QCOMPARE(camera.view(), OrbitCamera().view());
    }

    void raysAndRadiiAgreeWithTheProjection()
    {
        camera.frameBox({ 90, 0, -40 }, { 130, 60, 10 });
        camera.pictureDrag(40, 25, DragKind::Pan);
        camera.pictureDrag(40, -75, DragKind::Dolly);
        QMatrix4x4 scaled = camera.view();
        scaled.scale(2.5f);
        for (const CameraMatrices &matrices : { camera.matrices(), camera.matrices(scaled) }) {
            for (const QPoint &pixel : { QPoint(0, 0), QPoint(17, 400), QPoint(639, 480) }) {
                const ScreenRay ray = screenRay(pixel, matrices);
                // Not the near end itself: a tenth of a unit from the eye, single precision at
                // these coordinates is a fraction of a pixel.
                QVERIFY(distance(pixelOf(matrices, ray.farPoint), pixel) < 0.05);
                QVERIFY(qAbs(-matrices.view.map(ray.nearPoint).z() - 0.1f) < 2e-3f);
                QVERIFY(qAbs(-matrices.view.map(ray.farPoint).z() - 10000) < 100);
            }
            const QVector3D hit(100, 20, -10);
            const QVector3D up = matrices.view.row(1).toVector3D().normalized();
            const QPointF rim = pixelOf(matrices, hit + up * worldRadius(80, hit, matrices));
            QVERIFY(qAbs(distance(rim, pixelOf(matrices, hit)) - 80) < 0.05);
        }
        QVERIFY(!planeHit({ { 0, 0, 5 }, { 2, 0, -5 } }, { 0, 3, 0 }, { 0, 1, 0 }).has_value());
    }

    void strokesTakeTheNearestPixels()
    {
        for (int dx = -13; dx <= 13; ++dx)
            for (int dy = -13; dy <= 13; ++dy)
                QVERIFY(pixelLine({ -3, 7 }, { dx - 3, dy + 7 }) ==
                        roundedLine({ -3, 7 }, { dx, dy }));
        // A stamp at every so many pixels.
        for (const auto &[radius, step] :
             { std::pair(0, 1), { 10, 2 }, { 20, 4 }, { 50, 8 }, { 200, 8 } }) {
            QCOMPARE(stampSpacing(radius), 0.15 * std::min(radius, 50));
            for (const int sign : { 1, -1 }) {
                std::vector<QPoint> expected;
                for (int x = step; x <= 32; x += step)
                    expected.emplace_back(x * sign, 3);
                QCOMPARE(stroke({ { 0, 3 }, { 32 * sign, 3 } }, stampSpacing(radius)), expected);
            }
        }
        QCOMPARE(stroke({ { 0, 0 }, { 12, 12 } }, 7.5), // 8.49 pixels apart
                 std::vector<QPoint>({ { 6, 6 }, { 12, 12 } }));
        for (const QPoint &end : { QPoint(100, 0), QPoint(0, -100), QPoint(100, -50) }) {
            std::vector<QPoint> slow; // fifty events give the stamps of one
            for (int i = 0; i <= 50; ++i)
                slow.push_back(end * i / 50);
            QCOMPARE(stroke(slow, 7.5), stroke({ { 0, 0 }, end }, 7.5));
        }
    }

    void strengthLabels()
    {
        QStringList labels; // six digits round the sixth up
        for (const float strength :
             { 1.0f, 0.0f, 0.5f, 0.123f, 0.999f, 0.9999999f, 0.00001f, 1.25f })
            labels << strengthLabel(strength);
        QCOMPARE(labels.join(QLatin1Char(' ')),
                 QStringLiteral("1 0 0.50 0.12 0.99 1.00 0.00 1.25"));
    }

    void imageSequences()
    {
        // The folder's files, of which the first is chosen, and what is found as frame=name.
        const std::pair<const char *, const char *> rows[] = {
            { "p.0010.png p.0009.png p.11.png q.0012.png p.0013.jpg",
              "9=p.0009.png 10=p.0010.png 11=p.11.png" },
            { "s2_02.png s2_01.png s3_03.png", "1=s2_01.png 2=s2_02.png" },
            { "a1.png a01.png a2.png", "1=a1.png 2=a2.png" },
            { "still.png still1.png", "-5=still.png" },
            { "x4.jp2 x3.jp2", "3=x3.jp2 4=x4.jp2" },
            { "x.3 x.4", "3=x.3 4=x.4" },
            { "b99999999999.png b1.png", "-5=b99999999999.png" },
            { "c_001_v.png c_002_v.png c_002_w.png", "1=c_001_v.png 2=c_002_v.png" },
        };
        for (const auto &[files, expected] : rows) {
            const QTemporaryDir folder;
            const QStringList names = QString::fromLatin1(files).split(QLatin1Char(' '));
            for (const QString &name : names)
                QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
            QStringList found;
            for (const auto &[frame, path] : scanImageSequence(folder.filePath(names[0]), -5))
                found << QStringLiteral("%1=%2").arg(frame).arg(QFileInfo(path).fileName());
            QCOMPARE(found.join(QLatin1Char(' ')), QLatin1String(expected));
        }
    }
};

QTEST_APPLESS_MAIN(ViewMathTest)
#include "ViewMathTest.moc"
