#include "support/Stage.h"
#include "timeline/RangeBar.h"
#include "timeline/RangeSlider.h"

namespace {

constexpr double kFps = 24.0;

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

} // namespace

/// The ruler and the range slider in the whole program, by mouse. No archive is imported.
class TimeWidgetsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void keyDragsAreRelative();
    void keyDragsOfLostKeysDoNothing();
    void rulerPicture();
    void typedFrames();
    void dragsOfTheRangeSlider();

private:
    static Timeline &ruler() { return Stage::ruler(); }
    Layer *addLayer(std::vector<LayerKey> keys);

    Stage m_stage;
};

void TimeWidgetsTest::initTestCase()
{
    Global::mainWindow()->activateWindow();
    Global::mainWindow()->resize(1000, 800);
    QTest::qWait(100);
}

void TimeWidgetsTest::init() { Global::clearScene(); }

Layer *TimeWidgetsTest::addLayer(std::vector<LayerKey> keys)
{
    Layer *layer = Stage::addLayer(LayerKind::Relax);
    layer->data()->setKeys(std::move(keys));
    return layer;
}

/// Away from the dot: the whole column holds the key. What a limit cuts off is not kept.
void TimeWidgetsTest::keyDragsAreRelative()
{
    const Layer *layer = addLayer({ { 4 / kFps, 0.5f } });
    const QPoint at = Stage::rulerPixel(4, 0.1);
    Stage::press(at, {}, Qt::RightButton, &ruler());
    for (const auto &[dy, value] :
         { std::pair(-35, 0.75f), { -175, 1 }, { -140, 0.75f }, { 600, 0 } }) {
        Stage::move(at + QPoint(0, dy), {}, &ruler());
        QCOMPARE(layer->data()->keys().front().value, value);
    }
    Stage::release(at, {}, Qt::RightButton, &ruler());
}

void TimeWidgetsTest::keyDragsOfLostKeysDoNothing()
{
    const std::vector<LayerKey> keys { { 2 / kFps, 0.5f }, { 4 / kFps, 0.5f } };
    const Layer *kept = addLayer(keys);
    Layer *dragged = addLayer(keys);
    const QPoint at = Stage::rulerPixel(4);
    Stage::press(at, {}, Qt::RightButton, &ruler());
    dragged->data()->keys().resize(1);
    Stage::move(at - QPoint(0, 35), {}, &ruler());
    QCOMPARE(keyText(dragged->data()->keys()), QStringLiteral("2:0.5"));
    dragged->data()->setKeys(keys);
    Global::deleteLayer(dragged);
    QCoreApplication::sendPostedEvents(dragged, QEvent::DeferredDelete);
    Stage::move(at - QPoint(0, 50), {}, &ruler());
    QCOMPARE(keyText(kept->data()->keys()), QStringLiteral("2:0.5 4:0.5"));
    Stage::release(at, {}, Qt::RightButton, &ruler());
}

/// Dots, curve, ticks and marker stand where a press on them would find their frame and value.
void TimeWidgetsTest::rulerPicture()
{
    addLayer({ { 18 / kFps, 0.25f, false }, { 6 / kFps, 0.75f, true } });
    Global::timeControls()->setCurrentTime(12);
    QApplication::processEvents();
    const QImage with = ruler().grab().toImage();
    Global::currentLayer()->data()->setSelected(false);
    const QImage without = ruler().grab().toImage();
    const auto differs = [&](const QPoint &at) { return with.pixel(at) != without.pixel(at); };
    const auto isRed = [&](const QPoint &at) { return with.pixelColor(at) == QColor(Qt::red); };
    const QPoint small = Stage::rulerPixel(18, 0.25), large = Stage::rulerPixel(6, 0.75);
    for (const QPoint &by : { QPoint(0, 0), QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1) })
        QVERIFY(isRed(small + by) && isRed(large + by));
    QVERIFY(isRed(large + QPoint(0, 5)) && !isRed(small + QPoint(0, 5))); // radius 7 and 4
    // An ease: level at both keys, through the middle between them. It is dotted.
    for (const auto &[frame, value] : { std::pair(8, 0.74), { 12, 0.5 }, { 16, 0.26 } }) {
        const QPoint on = Stage::rulerPixel(frame, value);
        int seen = 0;
        for (int x = -6; x <= 6; ++x)
            for (int y = -9; y <= 9; ++y)
                seen += differs(on + QPoint(x, y));
        QVERIFY2(seen > 3, qPrintable(QString::number(frame)));
    }
    // The marker fills the frame's column; a tick stands at the start of each.
    const int height = ruler().height() - 20;
    const QRgb marker = without.pixel(Stage::rulerPixel(12, 0.2));
    int marked = 0, ticks = 0;
    for (int x = 0; x < without.width(); ++x) {
        marked += without.pixel(x, height) == marker;
        ticks += without.pixel(x, height) != without.pixel(std::max(x - 1, 0), height) ? 1 : 0;
    }
    QVERIFY(std::abs(marked - ruler().width() / 25) <= 2);
    QVERIFY2(ticks > 40 && ticks < 60, qPrintable(QString::number(ticks))); // in and out
}

/// The limits keep what typing passes by.
void TimeWidgetsTest::typedFrames()
{
    const auto type = [](const char *label, const char *text) {
        QPointer<QLineEdit> field =
            Stage::beside<QLineEdit>(QLatin1String(label), Global::timeControls());
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, QLatin1String(text));
        return field;
    };
    type("Time", "-700");
    QCOMPARE(ruler().currentFrame(), -700); // nothing clamps a typed frame
    Global::timeControls()->setMinTime(1001);
    Global::timeControls()->setMaxTime(1100);
    type("Max", "1050"); // by way of 1, 10 and 105
    QVERIFY(ruler().rangeStart() == 1001 && ruler().rangeEnd() == 1050);
    type("Min", "2000");
    QVERIFY(ruler().rangeStart() == 2000 && ruler().rangeEnd() == 2000);
    const auto time = type("Time", "7");
    ruler().nextFrame(); // stands outside: the next one is the first
    QCOMPARE(time->text(), QString::number(ruler().currentFrame()));
    Global::timeControls()->showFrame(9); // shows only
    QVERIFY(ruler().currentFrame() != 9);
}

void TimeWidgetsTest::dragsOfTheRangeSlider()
{
    RangeSlider *slider = Global::rangeSlider();
    const auto *bar = slider->findChild<RangeBar *>();
    Global::timeControls()->setMaxTime(1000);
    const int width = slider->width(), y = slider->height() / 2;
    struct Row {
        const char *name;
        int from, to, left, right; ///< the last two: the margins afterwards
    };
    const Row rows[] = {
        { "nowhere to go", width / 2, width / 2 - 50, 0, 0 },
        { "the left end", 15, 115, 100, 0 },
        { "the right end", width - 15, width - 75, 100, 60 },
        { "the body", width / 2, width / 2 - 30, 70, 90 },
        { "the body up to the end", width / 2, width / 2 + 300, 160, 0 },
        { "an empty margin", 40, 140, 160, 0 },
        { "the left end past the edge", 175, -40, 0, 0 },
    };
    for (const Row &row : rows) {
        Driver::drag(slider, { row.from, y }, { row.to, y }, 3);
        Stage::move({ width / 2, y }, {}, slider); // hovering drags nothing
        QVERIFY2(bar->x() == row.left && width - bar->width() - bar->x() == row.right, row.name);
        QCOMPARE(ruler().rangeStart(), row.left * 1000 / width);
        QCOMPARE(ruler().rangeEnd(), 1000 - row.right * 1000 / width);
    }
    Driver::drag(slider, { 15, y }, { 215, y }, 3);
    const QRect trimmed = bar->geometry();
    QCOMPARE(slider->minimumSizeHint().width(), 60);
    for (int narrower = 0; narrower <= 100; ++narrower)
        slider->resize(width - qMin(narrower, 100 - narrower), slider->height());
    QCOMPARE(bar->geometry(), trimmed); // pixel by pixel, there and back
    Stage::press({ width / 2, y }, {}, Qt::LeftButton, slider);
    QMouseEvent unheld(QEvent::MouseMove, QPoint(width / 2 - 20, y), Qt::NoButton, {}, {});
    QApplication::sendEvent(slider, &unheld);
    QCOMPARE(bar->geometry(), trimmed);
    Stage::release({ width / 2, y }, {}, Qt::LeftButton, slider);
    Driver::mouse(QTest::MouseDClick, slider, { width / 2, y }, Qt::LeftButton);
    Stage::move({ width / 2 + 90, y }, {}, slider);
    QVERIFY(bar->geometry() == slider->rect());
    QVERIFY(ruler().rangeStart() == 0 && ruler().rangeEnd() == 1000);
}

PLEXMOLD_TEST_MAIN(TimeWidgetsTest)
#include "TimeWidgetsTest.moc"
