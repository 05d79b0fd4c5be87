#include "Stage.h"
#include "viewport/UIDrawManager.h"

#include <QSignalSpy>
#include <QtMath>

Q_DECLARE_METATYPE(Qt::Key)
Q_DECLARE_METATYPE(Qt::MouseButton)

// What the hand does in a view beside strokes: camera, light, brush settings, wipe, keys.
class ViewHandTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Stage> m_stage;

    static OrbitCamera &camera() { return Stage::view()->camera(); }
    static QImage overlayPicture()
    {
        QImage picture(Stage::view()->size(), QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::white);
        Stage::view()->overlay()->render(&picture, {}, {}, QWidget::DrawChildren);
        return picture;
    }
    static bool isDark(const QImage &picture, int x, int y)
    {
        return qGray(picture.pixel(x, y)) < 100;
    }
    static bool isRed(const QImage &picture, int x, int y)
    {
        const QColor color = picture.pixelColor(x, y);
        return color.red() > 150 && color.green() < 110 && color.blue() < 110;
    }
    /// Columns [from, to) of two pictures.
    static bool sameColumns(const QImage &a, const QImage &b, int from, int to)
    {
        return a.copy(from, 0, to - from, a.height()) == b.copy(from, 0, to - from, b.height());
    }

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<Stage>();
        SKIP_WITHOUT_GL(*m_stage);
        QVERIFY(QSize(400, 400) == Stage::view()->minimumSize());
    }
    void init() { m_stage->import(testSphere(48, 32)); }
    void cleanupTestCase() { m_stage.reset(); }

    void altDragsMoveTheCamera()
    {
        const OrbitCamera before = camera();
        const auto drag = [](Qt::MouseButton button, const QPoint &way) {
            Driver::drag(Stage::view(), Stage::middle(), Stage::middle() + way, 4, button,
                         Qt::AltModifier);
        };
        drag(Qt::LeftButton, { 20, 10 }); // downwards on the screen: y counts from the bottom
        QVERIFY(qAbs(camera().turn() - before.turn() - qDegreesToRadians(10.0f)) < 1e-5f);
        QVERIFY(qAbs(camera().tilt() - before.tilt() - qDegreesToRadians(5.0f)) < 1e-5f);

        const QPointF pivot = Stage::pixelOf(camera().pivot());
        drag(Qt::MiddleButton, { 31, -17 });
        QVERIFY(QLineF(Stage::pixelOf(camera().pivot()), pivot + QPointF(31, -17)).length() < 0.1);

        const float z = camera().pan().z();
        drag(Qt::RightButton, { 40, 0 });
        QVERIFY(qAbs(camera().pan().z() - z - 40 * camera().zoomSpeed()) < 1e-4f);
        QCOMPARE(Stage::view()->mode(), InteractionMode::None);
    }

    void buttonsMidDragChangeOnlyTheKindOfNavigation()
    {
        const auto alt = Qt::KeyboardModifiers(Qt::AltModifier);
        const QPoint at = Stage::middle();
        const OrbitCamera start = camera();
        Stage::press(at, alt);
        Stage::press(at, alt, Qt::MiddleButton);
        Stage::move(at + QPoint(0, -40), alt); // left and middle: a dolly
        QCOMPARE(camera().turn(), start.turn());
        QVERIFY(camera().pan().z() < start.pan().z());
        Stage::release(at, alt, Qt::MiddleButton);
        Stage::move(at + QPoint(30, -40)); // Alt is let go, left is held: a tumble
        QVERIFY(camera().turn() > start.turn());
        Stage::release(at);
        QCOMPARE(Stage::view()->mode(), InteractionMode::None);
    }

    void lightComesFromTheHit()
    {
        const auto right = [](const QPoint &at, Qt::KeyboardModifiers modifiers) {
            Stage::press(at, modifiers, Qt::RightButton);
            Stage::release(at, modifiers, Qt::RightButton);
        };
        right(Stage::middle() + QPoint(25, -15), {});
        const QVector3D light = Stage::view()->lightDirection();
        // On the unit sphere about the pivot the hit point is its own direction.
        const QPointF there =
            Stage::pixelOf(Stage::view()->matrices().view.inverted().mapVector(light));
        QVERIFY(QLineF(there, Stage::middle() + QPointF(25, -15)).length() < 3.0);
        right({ 3, 3 }, {}); // a miss
        QCOMPARE(Stage::view()->lightDirection(), light);
        right({ 3, 3 }, Qt::ControlModifier);
        QCOMPARE(Stage::view()->lightDirection(), QVector3D(0, 0, 1));
    }

    void radiusAndStrengthFollowTheHorizontalWay()
    {
        const QPoint at = Stage::middle();
        Global::setBrushRadius(80);
        Global::setBrushStrength(1.0f);
        Stage::press(at, {}, Qt::MiddleButton);
        Stage::move(at + QPoint(0, 90));
        QCOMPARE(Global::brushRadius(), 80);
        Stage::move(at + QPoint(-50, 30));
        QCOMPARE(Global::brushRadius(), 30);
        const QImage circle = overlayPicture();
        QVERIFY(isDark(circle, at.x() + 30, at.y()) && isDark(circle, at.x(), at.y() - 30));
        QVERIFY(isDark(circle, at.x(), at.y()) && !isDark(circle, at.x() + 15, at.y()));
        Stage::move(at + QPoint(-200, 0));
        QCOMPARE(Global::brushRadius(), 0);
        Stage::move(at + QPoint(-40, 0));
        Stage::release(at + QPoint(-40, 0), {}, Qt::MiddleButton);
        QCOMPARE(Global::brushRadius(), 40);
        QVERIFY(!Stage::view()->overlay()->isShown());

        const QPoint left(50, 200), full = left + QPoint(300, 0); // the cursor holds the value
        Stage::press(full, Qt::ShiftModifier, Qt::MiddleButton);
        const std::tuple<int, float, int> rows[] = { { 0, 1.0f, 300 },        { -150, 0.5f, 150 },
                                                     { -292, 8 / 300.0f, 8 }, { -294, 0.02f, 0 },
                                                     { -900, 0.0f, 0 },       { 900, 1.0f, 300 } };
        for (const auto &[way, strength, filled] : rows) {
            Stage::move(full + QPoint(way, 20));
            QCOMPARE(Global::brushStrength(), strength);
            const QImage bar = overlayPicture();
            for (const int x : { 4, 140, 160, 290 })
                QCOMPARE(isRed(bar, left.x() + x, left.y()), x < filled);
        }
        Stage::release(full, Qt::ShiftModifier, Qt::MiddleButton);
    }

    // What the other view's overlay has set is where a drag here starts.
    void bothViewsShareTheSettings()
    {
        Global::setBrushRadius(33);
        Global::setBrushStrength(0.25f);
        for (const auto &modifier : { Qt::NoModifier, Qt::ShiftModifier })
            Driver::drag(Stage::view(), { 100, 100 }, { 130, 100 }, 1, Qt::MiddleButton, modifier);
        QCOMPARE(Global::brushRadius(), 63);
        QCOMPARE(Global::brushStrength(), 0.35f);
    }

    void theWipeShowsBothAndLeavesNothing()
    {
        m_stage->addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(60);
        Global::setBrushStrength(1.0f);
        Global::setCurrentBrush(2);
        const QImage imported = Stage::view()->grabFramebuffer();
        for (const int y : { -60, 0, 60 })
            Stage::stroke(Stage::middle() + QPoint(-80, y), Stage::middle() + QPoint(80, y), 10);
        const QImage corrected = Stage::view()->grabFramebuffer();
        QVERIFY(!sameColumns(imported, corrected, Stage::middle().x(), imported.width()));
        const auto buffers = Stage::pointBuffers();

        const auto keys = Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier;
        Stage::press(Stage::middle(), keys);
        QCOMPARE(Stage::view()->mode(), InteractionMode::Compare);
        QCOMPARE(Global::compareSplit(),
                 float(Stage::middle().x()) / float(Stage::view()->width()) * 2 - 1);
        const QImage wipe = Stage::view()->grabFramebuffer();
        // Triangles across the line mix both; one is at most this wide on the screen.
        const int mixed = 40;
        QVERIFY(sameColumns(wipe, corrected, 0, Stage::middle().x() - mixed));
        QVERIFY(sameColumns(wipe, imported, Stage::middle().x() + mixed, wipe.width()));
        QCOMPARE(Stage::positions(), buffers.at(Semantic::kPosition));
        const QImage line = overlayPicture();
        int dots = 0;
        for (int y = 0; y < line.height(); ++y)
            dots += qGray(line.pixel(Stage::middle().x(), y)) < 200;
        QVERIFY(dots > line.height() / 5 && dots < line.height() * 4 / 5);

        Stage::move({ 0, 10 }, keys);
        QCOMPARE(Global::compareSplit(), -1.0f);
        QVERIFY(sameColumns(Stage::view()->grabFramebuffer(), imported, mixed, imported.width()));
        Stage::release({ 0, 10 }, keys);
        QVERIFY(Global::compareSplit() <= -999.0f);
        for (const auto &[name, points] : Stage::pointBuffers())
            QVERIFY2(points == buffers.at(name), qPrintable(name));
        QCOMPARE(Stage::view()->grabFramebuffer(), corrected);
    }

    void aTickEndsTheWipe()
    {
        Stage::press(Stage::middle(), Qt::ShiftModifier | Qt::ControlModifier);
        Global::timeline()->nextFrame();
        QVERIFY(Global::compareSplit() <= -999.0f);
        QVERIFY(!Stage::view()->overlay()->isShown());
        Stage::release(Stage::middle());
        Stage::press(Stage::middle(), Qt::AltModifier); // but a camera drag goes on
        Global::timeline()->nextFrame();
        QCOMPARE(Stage::view()->mode(), InteractionMode::Navigate);
        Stage::release(Stage::middle(), Qt::AltModifier);
    }

    void brushKeys_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<int>("brush");
        const std::pair<Qt::Key, int> rows[] = { { Qt::Key_Q, 0 }, { Qt::Key_W, 1 },
                                                 { Qt::Key_E, 3 }, { Qt::Key_R, 4 },
                                                 { Qt::Key_T, 5 }, { Qt::Key_Y, 6 },
                                                 { Qt::Key_U, 8 }, { Qt::Key_P, 2 } };
        for (const auto &[key, brush] : rows)
            QTest::newRow(qPrintable(QKeySequence(key).toString())) << key << brush;
    }
    void brushKeys()
    {
        QFETCH(const Qt::Key, key);
        Global::setCurrentBrush(2);
        const QSignalSpy changed(Stage::view(), &Viewport::brushChanged);
        Driver::key(Stage::view(), key);
        QTEST(Global::currentBrush(), "brush");
        QCOMPARE(changed.count(), int(Global::currentBrush() != 2));
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Q, Qt::NoModifier, QString(), true);
        QApplication::sendEvent(Stage::view(), &repeated);
        QTEST(Global::currentBrush(), "brush");
        QVERIFY(repeated.isAccepted());
    }

    void commandKeys()
    {
        Global::setCurrentBrush(2);
        const QSignalSpy undo(Stage::view(), &Viewport::undoRequested);
        const QSignalSpy redo(Stage::view(), &Viewport::redoRequested);
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        Driver::key(Stage::view(), Qt::Key_Z);
        QCOMPARE(undo.count(), 1);
        Driver::key(Stage::view(), Qt::Key_Y, Qt::ControlModifier);
        QCOMPARE(redo.count(), 1);
        QCOMPARE(Global::currentBrush(), 6); // it does both

        Global::timeline()->setCurrentFrame(0);
        Driver::key(Stage::view(), Qt::Key_Left);
        QCOMPARE(Global::timeline()->currentFrame(), 0);
        for (int i = 0; i < Stage::kFrames; ++i)
            Driver::key(Stage::view(), Qt::Key_Right);
        QCOMPARE(Global::timeline()->currentFrame(), 0); // wrapped
    }

    void framingKeys()
    {
        camera().reset();
        Driver::key(Stage::view(), Qt::Key_F);
        const QVector3D centre = camera().pivot();
        QVERIFY(centre.length() < 1e-5f); // the unit sphere at frame 0
        const float diagonal = std::sqrt(12.0f);
        QVERIFY((camera().pan() - QVector3D(0, 0, -diagonal)).length() < 1e-4f);
        QVERIFY(qAbs(camera().zoomSpeed() - 0.001f * diagonal) < 1e-6f);

        const QImage plain = Stage::view()->grabFramebuffer();
        Driver::key(Stage::view(), Qt::Key_F, Qt::ShiftModifier);
        QVERIFY(Stage::view()->grabFramebuffer() != plain); // with the wireframe
        Driver::key(Stage::view(), Qt::Key_F, Qt::ShiftModifier);
        QCOMPARE(Stage::view()->grabFramebuffer(), plain);

        Global::clearScene();
        const QVector3D pan = camera().pan();
        Driver::key(Stage::view(), Qt::Key_F); // nothing to frame
        QCOMPARE(camera().pan(), pan);
    }
};

PLEXMOLD_TEST_MAIN(ViewHandTest)
#include "ViewHandTest.moc"
