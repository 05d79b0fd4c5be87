#include "Stage.h"
#include "gpu/CameraWindow.h"
#include "support/LogCapture.h"

#include <QTabletEvent>

#include <functional>
#include <numeric>

Q_DECLARE_METATYPE(std::function<void(Stage &)>)
Q_DECLARE_METATYPE(Qt::KeyboardModifiers)

// Strokes of real mouse events over real windows.
class StrokeTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Stage> m_stage;

    static LayerData &data() { return *Global::currentLayer()->data(); }
    static QPoint end() { return Stage::middle() + QPoint(60, 0); }
    static bool idle(int brush)
    {
        return Global::currentBrush() == brush && Global::tabletPressure() == 1.0f &&
            Global::compareSplit() <= -999.0f && Stage::view()->mode() == InteractionMode::None;
    }

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<Stage>();
        SKIP_WITHOUT_GL(*m_stage);
    }
    void init()
    {
        m_stage->import(testSphere(72, 48));
        m_stage->addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(40);
        Global::setBrushStrength(1.0f);
        Global::setCurrentBrush(2);
    }
    void cleanupTestCase() { m_stage.reset(); }

    void onlyTheUnmaskedSweptCircleMoves_data()
    {
        QTest::addColumn<int>("brush");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        const Qt::KeyboardModifiers none, control = Qt::ControlModifier, shift = Qt::ShiftModifier;
        for (const int brush : { 0, 1, 2, 3, 4, 6 }) {
            QTest::newRow(qPrintable(QString::number(brush))) << brush << none;
            QTest::newRow(qPrintable(QStringLiteral("%1 control").arg(brush))) << brush << control;
        }
        QTest::newRow("shift") << 2 << shift;
    }
    void onlyTheUnmaskedSweptCircleMoves()
    {
        QFETCH(const int, brush);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        std::vector<float> mask(data().basePoints().size(), 0.0f);
        for (size_t i = 0; i < mask.size(); i += 3)
            mask[i] = 1.0f;
        data().setMask(mask);
        Global::evaluateLayers(true);
        const bool heedsTheMask = brush != 6 && modifiers != Qt::ShiftModifier;
        Global::setCurrentBrush(brush);
        const PointArray before = data().offsetPoints();
        Stage::stroke(Stage::middle(), end(), 6, modifiers);
        const PointArray way = Stage::difference(data().offsetPoints(), before);
        QVERIFY(Stage::movedCount(way) > 10);
        QCOMPARE(Global::commands()->undoCount(), 1);
        QVERIFY(idle(brush));
        // The radius is the press's; nearer parts of the ball span a few more pixels of it.
        const double reach = 40 * 1.15;
        for (size_t i = 0; i < way.size(); ++i) {
            if (way[i].length() == 0.0f)
                continue;
            QVERIFY(mask[i] == 0.0f || !heedsTheMask);
            const QPointF pixel = Stage::pixelOf(before[i].toVector3D());
            const double along = qBound(0.0, pixel.x() - Stage::middle().x(), 60.0);
            const QPointF nearest(Stage::middle().x() + along, Stage::middle().y());
            QVERIFY(QLineF(pixel, nearest).length() < reach);
        }
    }

    // One dab's way is the reference's affair; here the ways of many add up to that of one.
    void moveDoesNotDependOnTheEvents()
    {
        Global::setCurrentBrush(1);
        for (const Qt::KeyboardModifiers modifiers : { Qt::NoModifier, Qt::ControlModifier }) {
            const PointArray before = data().offsetPoints();
            Stage::stroke(Stage::middle(), end(), 1, modifiers);
            const PointArray atOnce = data().offsetPoints();
            Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
            Stage::stroke(Stage::middle(), end(), 50, modifiers);
            QVERIFY(Stage::farthest(data().offsetPoints(), atOnce) < 1e-5f);
            QVERIFY(Stage::farthest(atOnce, before) > 0.1f);
        }
    }

    void stampsAreTheLinesAndEachIsOneDab_data()
    {
        QTest::addColumn<int>("radius");
        QTest::addColumn<int>("events");
        for (const int radius : { 10, 50, 200 })
            for (const int events : { 1, 50 })
                QTest::addRow("radius %d, %d events", radius, events) << radius << events;
    }
    void stampsAreTheLinesAndEachIsOneDab()
    {
        QFETCH(const int, radius);
        QFETCH(const int, events);
        Global::setBrushRadius(radius);
        QPoint last = Stage::middle();
        const auto stamps =
            stampsAlong(pixelLine(Stage::middle(), end()), stampSpacing(radius), last);
        Stage::press(Stage::middle());
        const quint64 before = gpuCounters().dispatches;
        const quint64 readBacks = gpuCounters().readBacks;
        for (int i = 1; i <= events; ++i)
            Stage::move(Stage::middle() + QPoint(60, 0) * i / events);
        // Ray hit and area in three passes each, picking, sculpt; normals once an event.
        const quint64 perStamp = 3 + 1 + 3 + 1;
        const int real = std::min(events, 60);
        QCOMPARE(gpuCounters().dispatches - before, perStamp * stamps.size() + quint64(real));
        QCOMPARE(gpuCounters().readBacks, readBacks); // a stamp costs no read-back
        Stage::release(end());
    }

    void maskBrushesPaintTheMask()
    {
        Global::setCurrentBrush(8);
        Global::setBrushStrength(0.5f);
        const PointArray before = data().offsetPoints();
        Stage::stroke(Stage::middle(), end(), 20);
        Stage::stroke(end(), Stage::middle(), 20);
        const float most = *std::max_element(data().mask().begin(), data().mask().end());
        QVERIFY(most > 0.4f && most <= 0.5f); // the strength is the ceiling
        Stage::stroke(Stage::middle(), end(), 20, Qt::ShiftModifier);
        QVERIFY(idle(8));
        const std::vector<float> smoothed = data().mask();
        Stage::stroke(Stage::middle(), end(), 20, Qt::ControlModifier);
        QVERIFY(std::accumulate(data().mask().begin(), data().mask().end(), 0.0f) <
                0.5f * std::accumulate(smoothed.begin(), smoothed.end(), 0.0f));
        QCOMPARE(Global::commands()->undoCount(), 4);
        QCOMPARE(data().offsetPoints(), before);
        Stage::view()->setFocus();
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(data().mask(), smoothed);
        QCOMPARE(Stage::read<float>(Semantic::kMask), smoothed);
    }

    void nothingHappensOffTheMeshOrTheLayer()
    {
        const QPoint corner(5, 5);
        const PointArray before = Stage::positions();
        Stage::stroke(corner, Stage::middle(), 10); // missed at the press: for the whole drag
        Stage::press(Stage::middle());
        Stage::release(Stage::middle()); // no way, no stamp
        Global::setCurrentBrush(5);
        Global::mesh()->setRestPoints({});
        Stage::stroke(Stage::middle(), end()); // nothing to clone
        QVERIFY(idle(5));
        QCOMPARE(Global::commands()->undoCount(), 0);
        QCOMPARE(Stage::positions(), before);
        Global::setCurrentBrush(2);
        Global::mesh()->setRestPoints(before);
        m_stage->addLayer(LayerKind::Mush);
        Stage::stroke(Stage::middle(), end());
        Stage::stroke(Stage::middle(), end(), 6, Qt::ShiftModifier);
        QCOMPARE(Global::commands()->undoCount(), 0);
        QVERIFY(idle(2));
        Global::setCurrentBrush(8);
        Stage::stroke(Stage::middle(), end());
        QCOMPARE(Global::commands()->undoCount(), 1);
        QVERIFY(data().mask().size() == before.size());
    }

    void bySurfaceStrokesAndReadsBack()
    {
        Global::mainWindow()->toggleBySurface();
        Stage::press(Stage::middle());
        const GpuCounters before = gpuCounters();
        Stage::move(end());
        const quint64 stamps = gpuCounters().uploads - before.uploads; // the weights of each
        QVERIFY(stamps > 1);
        QCOMPARE(gpuCounters().readBacks - before.readBacks, stamps + 1); // each hit, once the mesh
        Stage::release(end());
        Global::mainWindow()->toggleBySurface();
        QCOMPARE(Global::commands()->undoCount(), 1);
        QVERIFY(Stage::movedCount(Stage::difference(data().offsetPoints(), data().basePoints())) >
                10);
    }

    void mirrorStrokesBothSides()
    {
        Global::mainWindow()->toggleSymmetry();
        Stage::view()->camera() = OrbitCamera();
        Stage::view()->camera().setSize(Stage::view()->width(), Stage::view()->height());
        Driver::key(Stage::view(), Qt::Key_F);
        Stage::stroke(Stage::middle() + QPoint(20, 0), end());
        Global::mainWindow()->toggleSymmetry();
        QCOMPARE(Global::commands()->undoCount(), 1);
        const PointArray way = Stage::difference(data().offsetPoints(), data().basePoints());
        int left = 0, right = 0;
        for (size_t i = 0; i < way.size(); ++i) {
            if (way[i].length() > 0.0f)
                ++(data().basePoints()[i].x() < 0 ? left : right);
        }
        QVERIFY2(left > 10 && right > 10,
                 qPrintable(QStringLiteral("%1, %2").arg(left).arg(right)));
    }

    void penPressureCarriesTheStroke()
    {
        const auto pen = [](QEvent::Type type, qreal pressure, Qt::MouseButtons buttons) {
            QTabletEvent event(type, Stage::middle(), Stage::middle(), QTabletEvent::Stylus,
                               QTabletEvent::Pen, pressure, 0, 0, 0, 0, 0, Qt::NoModifier, 1,
                               Qt::LeftButton, buttons);
            QApplication::sendEvent(Stage::view(), &event);
            return event.isAccepted();
        };
        pen(QEvent::TabletMove, 0.0, Qt::NoButton);
        QCOMPARE(Global::tabletPressure(), 1.0f); // hovering
        const auto lift = [&](qreal pressure) {
            const PointArray before = data().offsetPoints();
            Stage::press(Stage::middle());
            if (pressure < 1.0)
                [&] { QVERIFY(!pen(QEvent::TabletPress, pressure, Qt::LeftButton)); }();
            Stage::move(Stage::middle() + QPoint(7, 0));
            Stage::release(Stage::middle() + QPoint(7, 0));
            return Stage::farthest(data().offsetPoints(), before);
        };
        const float light = lift(0.25);
        QVERIFY(idle(2));
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(qAbs(light / lift(1.0) - 0.25f) < 0.01f);
    }

    void brushKeysMidStrokeLastUntilTheRelease()
    {
        Stage::press(Stage::middle());
        Stage::move(Stage::middle() + QPoint(20, 0));
        Driver::key(Stage::view(), Qt::Key_U);
        QCOMPARE(Global::currentBrush(), 8);
        Stage::move(end());
        Stage::release(end());
        QVERIFY(idle(2));
        QVERIFY(data().mask().size() == data().basePoints().size()); // the mask brush was in force
        QCOMPARE(data().offsetPoints(), data().basePoints());
    }

    void whatEndsAStroke_data()
    {
        QTest::addColumn<std::function<void(Stage &)>>("interrupt");
        QTest::addColumn<int>("commands");
        using Interrupt = std::function<void(Stage &)>;
        const auto send = [](QEvent::Type type) {
            QEvent event(type);
            QApplication::sendEvent(Stage::view(), &event);
        };
        QTest::newRow("a playback tick")
            << Interrupt([](Stage &) { Global::timeline()->nextFrame(); }) << 1;
        QTest::newRow("undo") << Interrupt([](Stage &) {
            Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        }) << 0;
        QTest::newRow("the layer goes")
            << Interrupt([](Stage &) { Global::deleteLayer(Global::currentLayer()); }) << 0;
        QTest::newRow("a new scene") << Interrupt([](Stage &) { Global::clearScene(); }) << 0;
        QTest::newRow("another mesh")
            << Interrupt([](Stage &stage) { stage.import(testTorus(32, 16)); }) << 0;
        QTest::newRow("a new layer")
            << Interrupt([](Stage &stage) { stage.addLayer(LayerKind::Sculpt); }) << 1;
        QTest::newRow("another window")
            << Interrupt([send](Stage &) { send(QEvent::WindowDeactivate); }) << 1;
        QTest::newRow("a release that never came") << Interrupt([](Stage &) {
            QMouseEvent event(QEvent::MouseMove, end(), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(Stage::view(), &event);
        }) << 1;
    }
    void whatEndsAStroke()
    {
        QFETCH(const std::function<void(Stage &)>, interrupt);
        QFETCH(const int, commands);
        Layer *layer = Global::currentLayer();
        const PointArray base = data().basePoints();
        Stage::press(Stage::middle(), Qt::ShiftModifier);
        Stage::move(Stage::middle() + QPoint(30, 0), Qt::ShiftModifier);
        QCOMPARE(Global::currentBrush(), int(BrushType::Smooth));
        interrupt(*m_stage);
        QVERIFY(idle(2));
        QCOMPARE(Global::commands()->undoCount(), commands);
        const int mesh = Global::mesh()->vertexCount();
        Stage::move(end()); // the button is still down: nothing more happens
        Stage::release(end());
        QVERIFY(idle(2));
        QCOMPARE(Global::commands()->undoCount(), commands);
        QCOMPARE(Global::mesh()->vertexCount(), mesh);
        auto &layers = Global::layers();
        if (std::find(layers.begin(), layers.end(), layer) != layers.end() && commands == 1)
            QVERIFY(layer->data()->offsetPoints() != base);
    }

    void aStrokeStaysWithItsLayer_data()
    {
        QTest::addColumn<bool>("cameraView");
        QTest::newRow("main view") << false;
        QTest::newRow("camera view") << true;
    }
    void aStrokeStaysWithItsLayer()
    {
        QFETCH(const bool, cameraView);
        Viewport *view = cameraView ? Global::auxViewport() : Stage::view();
        Global::cameraWindow()->setVisible(cameraView);
        QVERIFY(QTest::qWaitForWindowExposed(view->window()));
        const QPoint at = Stage::pixelOf({ 0, 0, 0 }, view).toPoint();
        Layer *first = Global::currentLayer();
        Layer *second = m_stage->addLayer(LayerKind::Sculpt);
        const PointArray base = data().basePoints();
        for (const int brush : { 2, 8 }) {
            Global::setCurrentBrush(brush);
            second->select();
            Driver::mouse(QTest::MousePress, view, at, Qt::LeftButton);
            Driver::mouse(QTest::MouseMove, view, at + QPoint(20, 0), Qt::NoButton);
            first->select();
            QCOMPARE(view->mode(), InteractionMode::None);
            Driver::mouse(QTest::MouseMove, view, at + QPoint(40, 0), Qt::NoButton);
            Driver::mouse(QTest::MouseRelease, view, at + QPoint(40, 0), Qt::LeftButton);
        }
        Global::cameraWindow()->hide();
        QCOMPARE(Global::commands()->undoCount(), 2);
        QCOMPARE(first->data()->offsetPoints(), base);
        QVERIFY(first->data()->mask().empty());
        QVERIFY(second->data()->offsetPoints() != base);
        QCOMPARE(second->data()->mask().size(), base.size());
    }

    void aSecondButtonLeavesTheStroke()
    {
        Stage::press(Stage::middle());
        Stage::move(Stage::middle() + QPoint(20, 0));
        Stage::press(Stage::middle() + QPoint(20, 0), Qt::NoModifier, Qt::RightButton);
        QCOMPARE(Stage::view()->mode(), InteractionMode::Stroke);
        Stage::release(Stage::middle() + QPoint(20, 0), Qt::NoModifier, Qt::RightButton);
        QCOMPARE(Stage::view()->mode(), InteractionMode::Stroke);
        Stage::release(end());
        QVERIFY(idle(2));
        QCOMPARE(Global::commands()->undoCount(), 1);
    }

    void nullLayerAtTheReleaseIsSaid()
    {
        Stage::press(Stage::middle());
        Stage::move(end());
        data().setSelected(false);
        const LogCapture log;
        Stage::release(end());
        QCOMPARE(LogCapture::countContaining(
                     QStringLiteral("error applying command, selected layer is null")),
                 1);
        QCOMPARE(Global::commands()->undoCount(), 0);
    }
};

PLEXMOLD_TEST_MAIN(StrokeTest)
#include "StrokeTest.moc"
