#include "support/Stage.h"
#include "viewport/UIDrawManager.h"

#include <QtMath>

namespace {

OrbitCamera &camera() { return Stage::view()->camera(); }

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

/// What the hand does in a view beside strokes: camera, light, brush settings, wipe, keys.
class ViewHandTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { NEEDS_GL(m_stage.hasGL()); }
    void init() { m_stage.import(testSphere(48, 32)); }
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
        Global::setBrushRadius(80); // as the other view may have set it
        Global::setBrushStrength(1.0f);
        Stage::press(at, {}, Qt::MiddleButton);
        const std::pair<QPoint, int> moves[] = {
            { { 0, 90 }, 80 }, { { -50, 30 }, 30 }, { { -200, 0 }, 0 }, { { -40, 0 }, 40 }
        };
        for (const auto &[by, radius] : moves) {
            Stage::move(at + by);
            QCOMPARE(Global::brushRadius(), radius);
            const QImage circle = overlayPicture();
            const auto drawn = [&](int x, int y) {
                return qGray(circle.pixel(at + QPoint(x, y))) < 100;
            };
            for (const int x : { 0, 15, 30, 40, 55, 80 })
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
        QVERIFY(camera().pivot().length() < 1e-5f);
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
        const auto drawn = [&](float x, float z) {
            const QPoint at = Stage::pixelOf({ x, 0, z }).toPoint();
            int seen = 0;
            for (int i = 0; i < 9; ++i)
                seen += qGray(grid.pixel(at + QPoint(i % 3 - 1, i / 3 - 1))) != 102;
            return seen > 0;
        };
        for (const float i : { -5.0f, -2.0f, 0.0f, 3.0f, 5.0f })
            QVERIFY(drawn(i, 2.5f) && drawn(2.5f, i) && !drawn(i + 0.5f, 2.5f));
        QVERIFY(!drawn(5.6f, 2.0f) && !drawn(2.0f, -5.6f));
    }

private:
    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(ViewHandTest)
#include "ViewHandTest.moc"
