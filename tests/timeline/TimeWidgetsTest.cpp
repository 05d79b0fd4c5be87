// The ruler, the time fields and the range slider inside the whole program, by mouse and keys. No
// archive is imported, so no mesh is needed; PlaybackGLTest watches the mesh follow.

#include "layers/Layer.h"
#include "support/AppFixture.h"
#include "support/Driver.h"
#include "timeline/RangeBar.h"
#include "timeline/RangeSlider.h"
#include "timeline/RulerMath.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"

#include <QGroupBox>
#include <QLabel>
#include <QtTest>

#include <algorithm>

namespace {

constexpr double kFps = 24.0;
const QRgb kMarker = qRgb(210, 210, 210);
const QRgb kTick = qRgb(110, 110, 110);
const QRgb kOutline = qRgb(80, 80, 80);

Timeline &ruler() { return *Global::timeline(); }
TimeControls &controls() { return *Global::timeControls(); }
RangeSlider &slider() { return *Global::rangeSlider(); }
RangeBar &bar() { return *slider().findChild<RangeBar *>(); }

FrameRange shownRange() { return { ruler().rangeStart(), ruler().rangeEnd() }; }

/// The middle of a frame's column at the height of a value.
QPoint rulerPixel(int frame, float value = 0.5f)
{
    const QRect marker = markerRect(frame, ruler().size(), shownRange());
    return { marker.center().x(), int(float(ruler().height()) * (1.0f - value)) };
}

/// "frame:value" of every key, in time order.
QString keyText(std::vector<LayerKey> keys)
{
    std::stable_sort(keys.begin(), keys.end(),
                     [](const LayerKey &a, const LayerKey &b) { return a.time < b.time; });
    QStringList words;
    for (const LayerKey &key : keys)
        words << QStringLiteral("%1:%2")
                     .arg(qRound(key.time * kFps))
                     .arg(double(key.value), 0, 'g', 3);
    return words.join(QLatin1Char(' '));
}

QLineEdit *field(const char *label)
{
    for (QLabel *candidate : controls().findChildren<QLabel *>()) {
        if (candidate->text() != QLatin1String(label))
            continue;
        for (QLineEdit *edit : controls().findChildren<QLineEdit *>())
            if (qAbs(edit->geometry().center().y() - candidate->geometry().center().y()) < 8)
                return edit;
    }
    return nullptr;
}

void type(const char *label, const QString &text)
{
    field(label)->setFocus();
    field(label)->selectAll();
    QTest::keyClicks(field(label), text);
    QApplication::processEvents();
}

/// "min-max, start-end" as the fields and the ruler tell them.
QString toldRanges()
{
    return QStringLiteral("%1-%2, %3-%4")
        .arg(field("Min")->text(), field("Max")->text())
        .arg(ruler().rangeStart())
        .arg(ruler().rangeEnd());
}

QRgb pixel(const QImage &picture, int x, int y) { return picture.pixel(x, y) | 0xff000000; }

} // namespace

class TimeWidgetsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void pressTable_data();
    void pressTable();
    void keyDragsAreClampedAndRelative();
    void keyDragsOfLostKeysDoNothing();
    void rulerPicture();
    void typedFramesAndShownFrames();
    void sliderEnds();
    void sliderBody();
    void sliderDoubleClick();

private:
    Layer *addLayer(std::vector<LayerKey> keys);

    std::unique_ptr<AppFixture> m_app;
    Global m_receiver;
};

void TimeWidgetsTest::initTestCase()
{
    m_app = std::make_unique<AppFixture>();
    QApplication::setActiveWindow(Global::mainWindow());
    Global::mainWindow()->resize(1000, 800);
    QTest::qWait(100);
}

void TimeWidgetsTest::init()
{
    while (!Global::layers().empty())
        Global::deleteLayer(Global::layers().back());
    slider().resetSize();
    controls().reset();
    QApplication::processEvents();
    QCOMPARE(toldRanges(), QStringLiteral("0-24, 0-24"));
    QCOMPARE(ruler().currentFrame(), 0);
}

Layer *TimeWidgetsTest::addLayer(std::vector<LayerKey> keys)
{
    m_receiver.addLayer(int(LayerKind::Sculpt));
    Layer *layer = Global::layers().back();
    layer->data()->setKeys(std::move(keys));
    layer->select();
    QApplication::processEvents();
    return layer;
}

void TimeWidgetsTest::pressTable_data()
{
    QTest::addColumn<Qt::MouseButtons>("held");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<int>("frame");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<int>("current");
    const QString same = QStringLiteral("4:0.5 9:0.25 9:0.75");
    const QString removed = QStringLiteral("4:0.5 9:0.25");
    const QString added = QStringLiteral("4:0.5 9:0.25 9:0.75 12:0.5");
    const QString firstUp = QStringLiteral("4:0.5 9:0.5 9:0.75");
    const Qt::MouseButtons left = Qt::LeftButton;
    const Qt::MouseButtons right = Qt::RightButton;
    const Qt::KeyboardModifiers none = Qt::NoModifier;
    const Qt::KeyboardModifiers shift = Qt::ShiftModifier;
    const Qt::KeyboardModifiers control = Qt::ControlModifier;
    QTest::newRow("left scrubs, key or not") << left << none << 4 << same << 6;
    QTest::newRow("shift adds") << left << shift << 12 << added << 0;
    QTest::newRow("shift adds nothing onto a key") << left << shift << 4 << same << 0;
    QTest::newRow("shift goes before control") << left << (shift | control) << 12 << added << 0;
    QTest::newRow("control removes the last found") << left << control << 9 << removed << 0;
    QTest::newRow("control finds nothing") << left << control << 5 << same << 0;
    QTest::newRow("right drags the first found") << right << none << 9 << firstUp << 0;
    QTest::newRow("right scrubs beside a key") << right << none << 5 << same << 7;
    QTest::newRow("right ignores shift") << right << shift << 9 << firstUp << 0;
    QTest::newRow("right ignores control") << right << control << 5 << same << 7;
    QTest::newRow("middle drags") << Qt::MouseButtons(Qt::MiddleButton) << none << 9 << firstUp
                                  << 0;
    QTest::newRow("left and right are not left") << (left | right) << shift << 9 << firstUp << 0;
}

void TimeWidgetsTest::pressTable()
{
    QFETCH(Qt::MouseButtons, held);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(int, frame);
    const Layer *layer = addLayer({ { 4 / kFps, 0.5f }, { 9 / kFps, 0.25f }, { 9 / kFps, 0.75f } });

    const QPoint from = rulerPixel(frame);
    const QPoint to = rulerPixel(frame + 2, 0.75f);
    std::vector<Qt::MouseButton> buttons;
    for (const auto button : { Qt::RightButton, Qt::MiddleButton, Qt::LeftButton })
        if (held & button)
            buttons.push_back(button);
    for (const auto button : buttons)
        Driver::mouse(QTest::MousePress, &ruler(), from, button, modifiers);
    Driver::mouse(QTest::MouseMove, &ruler(), to, Qt::NoButton, modifiers);
    for (const auto button : buttons)
        Driver::mouse(QTest::MouseRelease, &ruler(), to, button, modifiers);

    QTEST(keyText(layer->data()->keys()), "keys");
    QTEST(ruler().currentFrame(), "current");
    Driver::mouse(QTest::MouseMove, &ruler(), rulerPixel(20), Qt::NoButton);
    QTEST(ruler().currentFrame(), "current"); // the release has ended the drag
}

void TimeWidgetsTest::keyDragsAreClampedAndRelative()
{
    const Layer *layer = addLayer({ { 4 / kFps, 0.5f } });
    const auto value = [&] { return layer->data()->keys().front().value; };
    const QPoint at = rulerPixel(4, 0.1f); // away from the dot: the whole column holds the key
    Driver::mouse(QTest::MousePress, &ruler(), at, Qt::RightButton);
    Driver::mouse(QTest::MouseMove, &ruler(), at - QPoint(0, 35), Qt::NoButton);
    QCOMPARE(value(), 0.75f);
    Driver::mouse(QTest::MouseMove, &ruler(), at - QPoint(0, 175), Qt::NoButton);
    QCOMPARE(value(), 1.0f);
    Driver::mouse(QTest::MouseMove, &ruler(), at - QPoint(0, 140), Qt::NoButton);
    QCOMPARE(value(), 0.75f); // what the limit cut off is not kept
    Driver::mouse(QTest::MouseMove, &ruler(), at + QPoint(0, 600), Qt::NoButton);
    QCOMPARE(value(), 0.0f);
    Driver::mouse(QTest::MouseRelease, &ruler(), at, Qt::RightButton);
}

void TimeWidgetsTest::keyDragsOfLostKeysDoNothing()
{
    const std::vector<LayerKey> keys { { 2 / kFps, 0.5f }, { 4 / kFps, 0.5f } };
    const Layer *kept = addLayer(keys);
    Layer *dragged = addLayer(keys);
    const QPoint at = rulerPixel(4);
    Driver::mouse(QTest::MousePress, &ruler(), at, Qt::RightButton);
    dragged->data()->keys().resize(1);
    Driver::mouse(QTest::MouseMove, &ruler(), at - QPoint(0, 35), Qt::NoButton);
    QCOMPARE(keyText(dragged->data()->keys()), QStringLiteral("2:0.5"));

    dragged->data()->setKeys(keys);
    Global::deleteLayer(dragged);
    QCoreApplication::sendPostedEvents(dragged, QEvent::DeferredDelete);
    Driver::mouse(QTest::MouseMove, &ruler(), at - QPoint(0, 50), Qt::NoButton);
    QCOMPARE(keyText(kept->data()->keys()), QStringLiteral("2:0.5 4:0.5"));
    Driver::mouse(QTest::MouseRelease, &ruler(), at, Qt::RightButton);
}

void TimeWidgetsTest::rulerPicture()
{
    addLayer({ { 18 / kFps, 0.25f, false }, { 6 / kFps, 0.75f, true } });
    controls().setCurrentTime(12);
    const QImage picture = ruler().grab().toImage();
    const int middle = ruler().height() / 2;
    const float p = pixelsPerFrame(ruler().width(), shownRange());

    const QRect marker = markerRect(12, ruler().size(), shownRange());
    for (const int x : { marker.left(), marker.right() })
        for (const int y : { 1, middle + 20, ruler().height() - 2 })
            QCOMPARE(pixel(picture, x, y), kMarker);
    QVERIFY(pixel(picture, marker.left() - 2, middle + 20) != kMarker);
    QVERIFY(pixel(picture, marker.right() + 3, middle + 20) != kMarker);

    for (const int frame : { 1, 10, 24 })
        QCOMPARE(pixel(picture, int(float(frame) * p), middle + 40), kTick);
    const int betweenTicks = int(2.5f * p);
    QCOMPARE(pixel(picture, betweenTicks, 0), kOutline);
    QCOMPARE(pixel(picture, betweenTicks, ruler().height() - 1), kOutline);
    QCOMPARE(pixel(picture, ruler().width() - 1, middle), kOutline);
    QVERIFY(pixel(picture, betweenTicks, 4) != kOutline);

    const QPoint small =
        keyPoint({ 18 / kFps, 0.25f, false }, kFps, ruler().size(), shownRange()).toPoint();
    const QPoint large =
        keyPoint({ 6 / kFps, 0.75f, true }, kFps, ruler().size(), shownRange()).toPoint();
    QCOMPARE(pixel(picture, small.x(), small.y()), qRgb(255, 0, 0));
    QCOMPARE(pixel(picture, large.x(), large.y()), qRgb(255, 0, 0));
    QCOMPARE(pixel(picture, large.x(), large.y() + 5), qRgb(255, 0, 0)); // radius 7
    QVERIFY(pixel(picture, small.x(), small.y() + 5) != qRgb(255, 0, 0)); // radius 4

    // The dotted curve crosses the marker half way between the keys.
    int dark = 0;
    for (int x = marker.left(); x <= marker.right(); ++x)
        for (int y = middle - 20; y <= middle + 20; ++y)
            dark += qGray(picture.pixel(x, y)) < 120;
    QVERIFY2(dark > 5 && dark < 60, qPrintable(QString::number(dark)));
}

void TimeWidgetsTest::typedFramesAndShownFrames()
{
    type("Time", QStringLiteral("13"));
    QCOMPARE(ruler().currentFrame(), 13);
    type("Time", QStringLiteral("-700"));
    QCOMPARE(ruler().currentFrame(), -700); // nothing clamps a typed frame

    controls().setMinTime(1001);
    controls().setMaxTime(1100);
    type("Max", QStringLiteral("1050")); // by way of 1, 10 and 105
    QCOMPARE(toldRanges(), QStringLiteral("1001-1050, 1001-1050"));
    type("Min", QStringLiteral("2000"));
    QCOMPARE(toldRanges(), QStringLiteral("2000-2000, 2000-2000"));
    ruler().nextFrame(); // stands outside: the next one is the first
    QCOMPARE(field("Time")->text(), QString::number(ruler().currentFrame()));

    ruler().setCurrentFrame(5);
    controls().showFrame(5);
    QCOMPARE(field("Time")->text(), QStringLiteral("5"));
    controls().showFrame(5); // writes nothing new, so no signal comes to swallow
    type("Time", QStringLiteral("7"));
    QCOMPARE(ruler().currentFrame(), 7);

    controls().showFrame(9); // shows only
    QCOMPARE(ruler().currentFrame(), 7);
}

void TimeWidgetsTest::sliderEnds()
{
    controls().setMaxTime(1000);
    const int width = slider().width();
    const int y = slider().height() / 2;
    const auto frames = [&](int margin) { return margin * 1000 / width; };

    Driver::drag(&slider(), { 15, y }, { 115, y }, 5);
    QCOMPARE(bar().x(), 100);
    QCOMPARE(ruler().rangeStart(), frames(100));
    QCOMPARE(ruler().rangeEnd(), 1000);

    Driver::drag(&slider(), { width - 15, y }, { width - 65, y }, 5);
    QCOMPARE(bar().geometry().right(), width - 51);
    QCOMPARE(ruler().rangeStart(), frames(100));
    QCOMPARE(ruler().rangeEnd(), 1000 - frames(50));

    Driver::drag(&slider(), { 115, y }, { -40, y }, 5); // past the edge
    QCOMPARE(bar().x(), 0);
    QCOMPARE(ruler().rangeStart(), 0);
}

void TimeWidgetsTest::sliderBody()
{
    controls().setMaxTime(1000);
    const int width = slider().width();
    const int y = slider().height() / 2;
    const QPoint body(width / 2, y);
    Driver::drag(&slider(), body, body - QPoint(50, 0), 3);
    QCOMPARE(bar().geometry(), slider().rect()); // nowhere to go

    Driver::drag(&slider(), { 15, y }, { 115, y }, 2);
    Driver::drag(&slider(), { width - 15, y }, { width - 75, y }, 2);
    Driver::drag(&slider(), body, body - QPoint(30, 0), 3);
    QCOMPARE(bar().x(), 70);
    QCOMPARE(bar().width(), width - 160);
    QCOMPARE(ruler().rangeStart(), 70 * 1000 / width);
    QCOMPARE(ruler().rangeEnd(), 1000 - 90 * 1000 / width);

    const QRect trimmed = bar().geometry();
    QCOMPARE(slider().minimumSizeHint().width(), 60);
    for (int narrower = 0; narrower <= 100; ++narrower)
        slider().resize(width - qMin(narrower, 100 - narrower), slider().height());
    QCOMPARE(bar().geometry(), trimmed); // pixel by pixel, there and back
    Driver::mouse(QTest::MousePress, &slider(), body, Qt::LeftButton);
    QMouseEvent unheld(QEvent::MouseMove, body + QPoint(20, 0), Qt::NoButton, {}, {});
    QApplication::sendEvent(&slider(), &unheld);
    QCOMPARE(bar().geometry(), trimmed);
    Driver::mouse(QTest::MouseRelease, &slider(), body, Qt::LeftButton);

    Driver::drag(&slider(), body, body + QPoint(300, 0), 3);
    QCOMPARE(bar().geometry().right(), width - 1);
    QCOMPARE(bar().width(), width - 160);
    Driver::mouse(QTest::MouseMove, &slider(), body, Qt::NoButton); // hovering drags nothing
    QCOMPARE(bar().geometry().right(), width - 1);
    Driver::drag(&slider(), { 40, y }, { 140, y }, 3); // nor does a press on an empty margin
    QCOMPARE(bar().geometry().right(), width - 1);
}

void TimeWidgetsTest::sliderDoubleClick()
{
    controls().setMinTime(10);
    controls().setMaxTime(100);
    const int width = slider().width();
    const int y = slider().height() / 2;
    Driver::drag(&slider(), { 15, y }, { 215, y }, 3);
    Driver::drag(&slider(), { width - 15, y }, { width - 215, y }, 3);
    QVERIFY(ruler().rangeStart() > 10 && ruler().rangeEnd() < 100);
    const QPoint body(width / 2, y);
    Driver::mouse(QTest::MouseDClick, &slider(), body, Qt::LeftButton);
    QCOMPARE(toldRanges(), QStringLiteral("10-100, 10-100"));
    QCOMPARE(bar().geometry(), slider().rect());
    Driver::mouse(QTest::MouseMove, &slider(), body + QPoint(90, 0), Qt::NoButton);
    QCOMPARE(toldRanges(), QStringLiteral("10-100, 10-100"));
}

PLEXMOLD_TEST_MAIN(TimeWidgetsTest)
#include "TimeWidgetsTest.moc"
