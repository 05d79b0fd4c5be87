#include "layers/Topology.h"
#include "reference/Sculpt.h"
#include "support/Compare.h"
#include "support/Stage.h"
#include "viewport/UIDrawManager.h"

#include <QTabletEvent>
#include <QtMath>

#include <limits>

using reference::Dab;
using reference::Vec;

namespace {

const QPoint kPress(180, 190);
const QPoint kStamp(187, 188); // the first pixel beyond the spacing, so one stamp

OrbitCamera &camera() { return Stage::view()->camera(); }

Vec toVec(const QVector3D &v) { return { v.x(), v.y(), v.z() }; }

/// World units that a pixel spans one unit away from the eye.
double pixelSize()
{
    const double halfAngle = qDegreesToRadians(double(camera().fieldOfView())) / 2;
    return 2 * std::tan(halfAngle) / Stage::view()->height();
}

// The mouse ray from the lens and the view: independent of the projection's inverse.
struct Ray {
    Vec eye, along; ///< one unit deep

    explicit Ray(const QPointF &pixel)
    {
        const QPointF aside = (pixel - QRectF(Stage::view()->rect()).center()) * pixelSize();
        const QMatrix4x4 toWorld = camera().view().inverted();
        eye = toVec(toWorld.map(QVector3D()));
        along = toVec(toWorld.mapVector({ float(aside.x()), float(-aside.y()), -1 }));
    }
    /// Of the nearest triangle.
    double depth(const reference::Pose &pose, std::span<const quint32> t) const
    {
        double nearest = std::numeric_limits<double>::infinity();
        for (size_t k = 0; k + 2 < t.size(); k += 3) {
            const auto crossing = reference::crossing(eye, eye + along * 1e4, pose[t[k]],
                                                      pose[t[k + 1]], pose[t[k + 2]]);
            if (crossing.inside >= 0)
                nearest = std::min(nearest, crossing.distance);
        }
        return nearest / reference::length(along);
    }
};

void pressPen(double pressure)
{
    QTabletEvent event(QEvent::TabletPress, kPress, kPress, QTabletEvent::Stylus, QTabletEvent::Pen,
                       pressure, 0, 0, 0, 0, 0, Qt::NoModifier, 1, Qt::LeftButton, Qt::LeftButton);
    QApplication::sendEvent(Stage::view(), &event);
    QVERIFY(!event.isAccepted()); // the mouse events that carry the stroke follow
}

QImage overlayPicture()
{
    QImage picture(Stage::view()->size(), QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::white);
    Stage::view()->overlay()->render(&picture, {}, {}, QWidget::DrawChildren);
    return picture;
}

/// Columns [from, to) of two pictures.
bool sameColumns(const QImage &a, const QImage &b, int from, int to)
{
    return a.copy(from, 0, to - from, a.height()) == b.copy(from, 0, to - from, b.height());
}

}

/// What the hand does in a view: camera, light, brush settings, wipe, keys, and one dab of every
/// brush, seen in the layer against the plain loops.
class ViewHandTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { NEEDS_GL(m_stage.hasGL()); }
    void init() { m_stage.import(testSphere(48, 32)); }
    void onlyFrontsAreDrawn()
    {
        TestMesh sheet = testGrid(5);
        std::reverse(sheet.indices.begin(), sheet.indices.end());
        m_stage.import(sheet);
        const QImage behind = Stage::view()->grabFramebuffer();
        Global::clearScene();
        QVERIFY(behind == Stage::view()->grabFramebuffer());
    }

    void altDragsMoveTheCamera()
    {
        const QPoint at = Stage::middle();
        const auto drag = [&](Qt::MouseButton button, const QPoint &by) {
            Driver::drag(Stage::view(), at, at + by, 4, button, Qt::AltModifier);
        };
        const OrbitCamera before = camera();
        drag(Qt::LeftButton, { 20, 10 }); // downwards on the screen: y counts from the bottom
        QVERIFY(qAbs(camera().turn() - before.turn() - qDegreesToRadians(10.0f)) < 1e-5f);
        QVERIFY(qAbs(camera().tilt() - before.tilt() - qDegreesToRadians(5.0f)) < 1e-5f);
        const QPointF pivot = Stage::pixelOf(camera().pivot());
        drag(Qt::MiddleButton, { 31, -17 });
        QVERIFY(QLineF(Stage::pixelOf(camera().pivot()), pivot + QPointF(31, -17)).length() < 0.1);
        const float z = camera().pan().z();
        drag(Qt::RightButton, { 40, 0 });
        QVERIFY(qAbs(camera().pan().z() - z - 40 * camera().zoomSpeed()) < 1e-4f);

        const OrbitCamera start = camera();
        Stage::press(at, Qt::AltModifier);
        Stage::press(at, Qt::AltModifier, Qt::MiddleButton);
        Global::timeline()->nextFrame(); // a tick leaves the drag alone
        Stage::move(at + QPoint(0, -40), Qt::AltModifier); // left and middle: a dolly
        QCOMPARE(camera().turn(), start.turn());
        QVERIFY(camera().pan().z() < start.pan().z());
        Stage::release(at, Qt::AltModifier, Qt::MiddleButton);
        Stage::move(at + QPoint(30, -40)); // Alt is let go, left is held: a tumble
        QVERIFY(camera().turn() > start.turn());
        Stage::release(at);
        QCOMPARE(Stage::view()->mode(), InteractionMode::None);
    }

    void lightComesFromTheHit()
    {
        const auto right = [](const QPoint &at, Qt::KeyboardModifiers modifiers = {}) {
            Driver::drag(Stage::view(), at, at, 0, Qt::RightButton, modifiers);
            return Stage::view()->lightDirection();
        };
        // On the unit sphere about the pivot the hit point is its own direction.
        const QVector3D light = right(Stage::middle() + QPoint(25, -15));
        const QPointF there =
            Stage::pixelOf(Stage::view()->matrices().view.inverted().mapVector(light));
        QVERIFY(QLineF(there, Stage::middle() + QPointF(25, -15)).length() < 3.0);
        QCOMPARE(right({ 3, 3 }), light); // a miss
        QCOMPARE(right({ 3, 3 }, Qt::ControlModifier), QVector3D(0, 0, 1));
    }

    void radiusAndStrengthFollowTheDrag()
    {
        const QPoint at = Stage::middle();
        Global::setBrushRadius(90); // as the other view may have set it
        Global::setBrushStrength(1.0f);
        Stage::press(at, {}, Qt::MiddleButton);
        const std::pair<QPoint, int> moves[] = {
            { { 0, 90 }, 90 }, { { -50, 30 }, 40 }, { { -200, 0 }, 0 }, { { -40, 0 }, 50 }
        };
        for (const auto &[by, radius] : moves) {
            Stage::move(at + by);
            QCOMPARE(Global::brushRadius(), radius);
            const QImage circle = overlayPicture();
            const auto drawn = [&](int x, int y) {
                return qGray(circle.pixel(at + QPoint(x, y))) < 100;
            };
            for (const int x : { 0, 20, 40, 50, 65, 90 })
                QCOMPARE(drawn(x, 0), x == 0 || x == radius);
            QVERIFY(drawn(0, -radius));
        }
        Stage::release(at + QPoint(-40, 0), {}, Qt::MiddleButton);
        QVERIFY(!Stage::view()->overlay()->isShown());

        const QPoint left(50, 200), full = left + QPoint(300, 0); // the cursor holds the value
        Stage::press(full, Qt::ShiftModifier, Qt::MiddleButton);
        // By so many pixels; the last: pixels of the bar that are filled.
        const std::tuple<int, float, int> rows[] = { { 0, 1.0f, 300 },        { -150, 0.5f, 150 },
                                                     { -292, 8 / 300.0f, 8 }, { -294, 0.02f, 0 },
                                                     { -900, 0.0f, 0 },       { 900, 1.0f, 300 } };
        for (const auto &[by, strength, filled] : rows) {
            Stage::move(full + QPoint(by, 20));
            QCOMPARE(Global::brushStrength(), strength);
            const QImage bar = overlayPicture();
            for (const int x : { 4, 140, 160, 290 }) {
                const QColor color = bar.pixelColor(left + QPoint(x, 0));
                QCOMPARE(color.red() > 150 && color.green() < 110, x < filled);
                QVERIFY(bar.pixelColor(left + QPoint(x, 12)) == QColor(Qt::white));
            }
        }
        Stage::release(full, Qt::ShiftModifier, Qt::MiddleButton);
    }

    void theWipeShowsBothAndLeavesNothing()
    {
        Stage::addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(60);
        Global::setBrushStrength(1.0f);
        Road::chooseBrush(2);
        Stage::ruler().setCurrentFrame(2);
        const QImage imported = Stage::view()->grabFramebuffer();
        for (const int y : { -60, 0, 60 })
            Stage::stroke(Stage::middle() + QPoint(-80, y), Stage::middle() + QPoint(80, y), 10);
        const QImage corrected = Stage::view()->grabFramebuffer();
        const int middle = Stage::middle().x(), width = imported.width();
        QVERIFY(!sameColumns(imported, corrected, middle, width));
        const PointArray before = Stage::positions();
        Stage::key(Qt::Key_F, Qt::ShiftModifier); // the wireframe is not drawn while comparing
        QVERIFY(Stage::view()->grabFramebuffer() != corrected);
        const auto keys = Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier;
        Stage::press(Stage::middle(), keys);
        QCOMPARE(Stage::view()->mode(), InteractionMode::Compare);
        const QImage wipe = Stage::view()->grabFramebuffer();
        // Triangles across the line mix both; one is at most this wide on the screen.
        const int mixed = 40;
        QVERIFY(sameColumns(wipe, corrected, 0, middle - mixed));
        QVERIFY(sameColumns(wipe, imported, middle + mixed, width));
        const auto isDotted = [](int x) {
            const QImage line = overlayPicture();
            int dots = 0;
            for (int y = 0; y < line.height(); ++y)
                dots += qGray(line.pixel(x, y)) < 200;
            return dots > line.height() / 5 && dots < line.height() * 4 / 5;
        };
        QVERIFY(isDotted(middle));
        Stage::move({ 0, 10 }, keys);
        QVERIFY(isDotted(0));
        QVERIFY(sameColumns(Stage::view()->grabFramebuffer(), imported, mixed, width));
        Stage::release({ 0, 10 }, keys);
        QVERIFY(Stage::idle(2) && Stage::positions() == before);
        Stage::key(Qt::Key_F, Qt::ShiftModifier);
        QCOMPARE(Stage::view()->grabFramebuffer(), corrected);

        Stage::press(Stage::middle(), Qt::ShiftModifier | Qt::ControlModifier);
        for (const auto &[split, picture] : // everything is uncorrected; exactly this is off
             { std::pair(-998.0f, &imported), { -999.0f, &corrected } }) {
            Global::setCompareSplit(split);
            QCOMPARE(Stage::view()->grabFramebuffer(), *picture);
        }
        Global::timeline()->nextFrame(); // a tick ends it
        QVERIFY(Stage::idle(2) && !Stage::view()->overlay()->isShown());
        Stage::release(Stage::middle());
    }

    void keysFrameAndDrawEdges()
    {
        camera().reset();
        Stage::key(Qt::Key_F);
        const float diagonal = std::sqrt(12.0f); // of the unit sphere at frame 0
        QVERIFY((camera().pan() - QVector3D(0, 0, -diagonal)).length() < 1e-4f);
        QVERIFY(qAbs(camera().zoomSpeed() - 0.001f * diagonal) < 1e-6f);

        Global::setCurrentBrush(2);
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Q, Qt::NoModifier, QString(), true);
        QApplication::sendEvent(Stage::view(), &repeated);
        QVERIFY(Global::currentBrush() == 2 && repeated.isAccepted());
        // The grid's lines: ten units a side, one apart, through the empty scene.
        Global::clearScene();
        const QVector3D pan = camera().pan();
        Stage::key(Qt::Key_F); // nothing to frame
        QCOMPARE(camera().pan(), pan);
        camera().reset();
        const QImage grid = Stage::view()->grabFramebuffer();
        QImage empty(3, 3, grid.format());
        empty.fill(QColor(102, 102, 102));
        const auto drawn = [&](float x, float z) {
            const QPoint at = Stage::pixelOf({ x, 0, z }).toPoint();
            return grid.copy(at.x() - 1, at.y() - 1, 3, 3) != empty;
        };
        for (const float i : { -5.0f, -2.0f, 0.0f, 3.0f, 5.0f })
            QVERIFY(drawn(i, 2.5f) && drawn(2.5f, i) && !drawn(i + 0.5f, 2.5f));
        QVERIFY(!drawn(5.6f, 2.0f) && !drawn(2.0f, -5.6f));
    }

    void oneDabLikeTheReference()
    {
        // A layer with something to smooth, to erase and to rebuild, a mask with every value.
        Stage::ruler().setCurrentFrame(2); // away from the rest points
        Stage::addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(45);
        Global::setBrushStrength(0.8f);
        Global::setCurrentBrush(3);
        Stage::stroke(kPress, kStamp, 4);
        std::vector<float> mask(data().basePoints().size());
        for (size_t i = 0; i < mask.size(); ++i)
            mask[i] = 0.1f * float(i % 11);
        data().setMask(mask);
        Global::evaluateLayers(true);
        std::vector<Row> rows { { 2, BrushType::Fix, {}, Qt::Key_T },
                                { 2, BrushType::Inflate, {}, Qt::Key_R },
                                { 2, BrushType::Standard, {}, {}, 0.25f } };
        for (int brush = 0; brush <= 8; ++brush) {
            rows.push_back({ brush, BrushType(brush) });
            rows.push_back({ brush, BrushType(brush), Qt::ControlModifier });
            if (brush < 8)
                rows.push_back({ brush, BrushType::Smooth, Qt::ShiftModifier });
        }
        for (const Row &row : rows)
            QVERIFY2(matches(row),
                     qPrintable(QString::asprintf("brush %d as %d, modifiers %x", row.shelf,
                                                  int(row.brush), int(row.held))));
    }

private:
    struct Row {
        int shelf; ///< the brush chosen before the press
        BrushType brush; ///< the one that the dab is done with
        Qt::KeyboardModifiers held {};
        Qt::Key key {}; ///< pressed between the press and the dab
        float pressure = 1.0f;
    };

    static LayerData &data() { return *Global::currentLayer()->data(); }
    /// Press and one stamp, as the dab's steps say.
    static Dab expected(const Row &row)
    {
        const Topology &topology = *Global::topology();
        Dab dab { { topology.rings(), size_t(topology.vertexCount()), topology.triangles() } };
        dab.position = dab.backupPoints = dab.offsetPoints = reference::toPose(Stage::positions());
        dab.normal = reference::toPose(Stage::read<QVector4D>(Semantic::kNormal));
        dab.deltas.resize(dab.position.size());
        dab.mask.assign(data().mask().begin(), data().mask().end());
        if (row.brush == BrushType::Fix)
            dab.offsetPoints = reference::toPose(Global::mesh()->restPoints());
        if (row.brush == BrushType::Erase) {
            dab.backupPoints = reference::toPose(data().basePoints());
            dab.offsetPoints = reference::toPose(data().offsetPoints());
        }
        const Ray press(kPress), stamp(kStamp);
        const double depth = press.depth(dab.position, topology.triangles());
        const double radius = Global::brushRadius() * pixelSize() * depth;
        const bool control = row.held.testFlag(Qt::ControlModifier);
        dab.brush = { row.brush,    float(radius), Global::brushStrength(),
                      row.pressure, false,         control };
        const Vec pressHit = press.eye + press.along * depth;
        Vec hit = stamp.eye + stamp.along * stamp.depth(dab.position, topology.triangles());
        if (row.brush == BrushType::Move) {
            // The pointer moves the hit point over a plane through it that faces the ray, or with
            // Control the viewer.
            const QPointF centre = QRectF(Stage::view()->rect()).center();
            const Vec facing = control ? Ray(centre).along : press.along;
            const double share = dot(pressHit - stamp.eye, facing) / dot(stamp.along, facing);
            dab.moveVector = stamp.eye + stamp.along * share - pressHit;
            hit = pressHit;
        }
        for (const Vec &p : dab.position)
            dab.falloff.push_back(reference::brushWeight(hit, p, radius));
        const auto pressArea = reference::brushArea(pressHit, radius, dab.position, dab.normal);
        dab.area = reference::brushArea(hit, radius, dab.position, dab.normal);
        dab.frame =
            reference::nextFrame(reference::nextFrame(pressHit, pressArea).origin, dab.area);
        return dab;
    }

    static bool matches(const Row &row)
    {
        const auto shape = QLatin1String(row.brush == BrushType::Clay ? "square" : "dot");
        const reference::Alpha alpha(
            QStringLiteral(":/alphas2d/Alphas/alphas2d/%1.png").arg(shape));
        const Dab after = reference::sculpted(expected(row), alpha);

        const PointArray points = data().offsetPoints();
        const std::vector<float> mask = data().mask();
        Global::setCurrentBrush(row.shelf);
        Stage::press(kPress, row.held);
        if (row.pressure < 1.0f)
            pressPen(double(row.pressure));
        if (row.key)
            Driver::key(Stage::view(), row.key);
        const bool chosen = Global::currentBrush() == int(row.brush);
        if (row.brush == BrushType::Move)
            Stage::move(kStamp + QPoint(9, 5), row.held); // and back: by what the pointer moved
        Stage::move(kStamp, row.held);
        Stage::release(kStamp, row.held);
        PointArray moved = data().offsetPoints();
        for (size_t i = 0; i < moved.size(); ++i)
            moved[i] -= points[i];
        const std::vector<float> painted = data().mask();
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        if (!chosen || !Stage::idle(row.shelf) || data().mask() != mask)
            return false;
        if (row.brush == BrushType::Mask)
            return painted != mask && valuesMatch(painted, after.mask, 2e-4);
        // A hit some units from the eye in single precision; and a weight beside 0.0001, under
        // which a vertex stays, may fall on either side: that much of a displacement of up to 0.3.
        const double tolerance = 4e-5;
        const auto shows = [&](const Vec &d) { return reference::length(d) > 50 * tolerance; };
        return std::any_of(after.deltas.begin(), after.deltas.end(), shows) &&
            pointsMatch(moved, after.deltas, tolerance);
    }

    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(ViewHandTest)
#include "ViewHandTest.moc"
