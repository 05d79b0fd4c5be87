#include "support/Stage.h"
#include "timeline/RangeBar.h"
#include "timeline/RangeSlider.h"

/// The ruler and the range slider in the whole program, by mouse. No archive is imported.
class TimeWidgetsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Global::mainWindow()->activateWindow();
        Global::mainWindow()->resize(1000, 800);
        QTest::qWait(100);
    }
    void init() { Global::clearScene(); }

    /// Away from the dot: the whole column holds the key. What a limit cuts off is not kept, and a
    /// key or a layer that is gone takes no more.
    void keyDrags()
    {
        const std::vector<LayerKey> keys { { 2 / 24.0, 0.5f }, { 4 / 24.0, 0.5f } };
        for (int i = 0; i < 2; ++i)
            Stage::addLayer(LayerKind::Relax)->data()->setKeys(keys);
        Layer *layer = Global::layers()[1];
        const LayerData &kept = *Global::layers()[0]->data();
        LayerData &dragged = *layer->data();
        const QPoint at = Stage::rulerPixel(4, 0.1);
        Stage::press(at, {}, Qt::RightButton, &ruler());
        for (const auto &[dy, value] : { std::pair(-175, 1.0f), { -140, 0.75f }, { 600, 0 } }) {
            Stage::move(at + QPoint(0, dy), {}, &ruler());
            QCOMPARE(dragged.keys()[1].value, value);
        }
        dragged.keys() = { keys[0] };
        Stage::move(at, {}, &ruler());
        QVERIFY(dragged.keys() == std::vector { keys[0] });
        dragged.setKeys(keys);
        Global::deleteLayer(layer);
        QCoreApplication::sendPostedEvents(layer, QEvent::DeferredDelete);
        Stage::move(at - QPoint(0, 50), {}, &ruler());
        QVERIFY(kept.keys() == keys);
        Stage::release(at, {}, Qt::RightButton, &ruler());
    }

    /// Dots, curve, ticks and marker stand where a press on them would find their frame and value.
    void rulerPicture()
    {
        Stage::addLayer(LayerKind::Relax)
            ->data()
            ->setKeys({ { 18 / 24.0, 0.25f, false }, { 6 / 24.0, 0.75f, true } });
        Global::timeControls()->setCurrentTime(12);
        QApplication::processEvents();
        const QImage with = ruler().grab().toImage();
        Global::currentLayer()->data()->setSelected(false);
        const QImage without = ruler().grab().toImage();
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
                    seen += with.pixel(on + QPoint(x, y)) != without.pixel(on + QPoint(x, y));
            QVERIFY2(seen > 3, "the curve");
        }
        // The marker fills the frame's column; a tick stands at the start of each.
        const QRgb marker = without.pixel(Stage::rulerPixel(12, 0.2));
        int marked = 0, ticks = 0;
        for (int x = 0; x < without.width(); ++x) {
            const QRgb here = without.pixel(x, ruler().height() - 20);
            marked += here == marker;
            ticks += here != without.pixel(std::max(x - 1, 0), ruler().height() - 20);
        }
        QVERIFY(std::abs(marked - ruler().width() / 25) <= 2 && ticks > 40 && ticks < 60);
    }

    /// The limits keep what typing passes by.
    void typedFrames()
    {
        const auto type = [](const char *label, const char *text) {
            auto *field = Stage::beside<QLineEdit>(QLatin1String(label), Global::timeControls());
            Stage::type(field, QLatin1String(text));
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
        const auto *time = type("Time", "7");
        ruler().nextFrame(); // stands outside: the next one is the first
        QCOMPARE(time->text(), QString::number(ruler().currentFrame()));
        Global::timeControls()->showFrame(9); // shows only
        QVERIFY(ruler().currentFrame() != 9);
    }

    void dragsOfTheRangeSlider()
    {
        RangeSlider *slider = Global::rangeSlider();
        const auto *bar = slider->findChild<RangeBar *>();
        Global::timeControls()->setMaxTime(1000);
        const int width = slider->width(), y = slider->height() / 2;
        const std::tuple<int, int, int, int> rows[] = {
            // from, to; the margins afterwards
            { width / 2, width / 2 - 50, 0, 0 }, // nowhere to go
            { 15, 115, 100, 0 },
            { width - 15, width - 75, 100, 60 },
            { width / 2, width / 2 - 30, 70, 90 },
            { width / 2, width / 2 + 300, 160, 0 },
            { 140, 40, 160, 0 }, // an empty margin
            { 175, -40, 0, 0 },
        };
        for (const auto &[from, to, left, right] : rows) {
            Driver::drag(slider, { from, y }, { to, y }, 3);
            Stage::move({ width / 2, y }, {}, slider); // hovering drags nothing
            QCOMPARE(bar->geometry(), QRect(left, bar->y(), width - left - right, bar->height()));
            QCOMPARE(ruler().rangeStart(), left * 1000 / width);
            QCOMPARE(ruler().rangeEnd(), 1000 - right * 1000 / width);
        }
        Driver::drag(slider, { 15, y }, { 215, y }, 3);
        const QRect trimmed = bar->geometry();
        slider->resize(width / 2, slider->height());
        QCOMPARE(bar->x(), trimmed.x() * (width / 2) / width);
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

private:
    static Timeline &ruler() { return Stage::ruler(); }
    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(TimeWidgetsTest)
#include "TimeWidgetsTest.moc"
