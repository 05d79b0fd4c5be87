#include "timeline/RulerMath.h"

#include "layers/Envelope.h"

#include <QtTest>

#include <limits>

namespace {

constexpr double kFps = 24.0;
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();

LayerKey keyAt(double frame, float value = 1.0f) { return { frame / kFps, value, false }; }

} // namespace

class RulerMathTest : public QObject {
    Q_OBJECT

private slots:
    void framesAndMarkersAgree();
    void degenerateRulers();
    void steppingStopsAndWraps();
    void everyFrameHoldsOneKey();
    void draggedKeySurvivesSorting();
};

void RulerMathTest::framesAndMarkersAgree()
{
    for (const auto &[width, range] :
         std::initializer_list<std::pair<int, FrameRange>> { { 250, { 0, 24 } },
                                                             { 777, { 0, 24 } },
                                                             { 1131, { 1001, 1049 } },
                                                             { 640, { -30, 17 } },
                                                             { 300, { 12, 12 } } }) {
        const QSize widget(width, 140);
        for (int frame = range.start; frame <= range.end; ++frame) {
            const QRect marker = markerRect(frame, widget, range);
            QCOMPARE(frameUnder(rulerPoint(marker.center(), widget, range), range), frame);
            QVERIFY(marker.left() >= 0 && marker.right() < width);
        }
        QVERIFY(markerRect(range.start - 1, widget, range).right() < 2);
        QVERIFY(markerRect(range.end + 1, widget, range).left() >= width - 1);
    }
}

void RulerMathTest::degenerateRulers()
{
    const RulerPoint none = rulerPoint({ 3, 3 }, { 0, 0 }, {});
    QVERIFY(qIsFinite(none.frameOffset) && qIsFinite(none.value));
    QCOMPARE(markerRect(0, { 300, 140 }, { 0, 0 }), QRect(0, 0, 300, 140));
    QCOMPARE(markerWidth(pixelsPerFrame(100, { 0, 999 })), 2);
    const auto frameAt = [](int x, const FrameRange &range) {
        return frameUnder(rulerPoint({ x, 0 }, { 250, 140 }, range), range);
    };
    QCOMPARE(frameAt(249, { 1105, 1049 }), 1105); // reversed: one frame
    QCOMPARE(clampedFrame(5, { 9, 3 }), 9);
    QCOMPARE(frameAt(0, { kIntMin, kIntMax }), kIntMin);
    QVERIFY(frameAt(249, { kIntMin, kIntMax }) > kIntMax - 30'000'000);
    QVERIFY(markerRect(kIntMax, { 300, 140 }, { kIntMin, kIntMin + 1 }).left() > 300);
    QVERIFY(markerRect(kIntMin, { 300, 140 }, { kIntMax - 1, kIntMax }).right() < 0);
    QCOMPARE(playInterval(1001), 0);
    QCOMPARE(playInterval(0), 1000);
    QCOMPARE(playInterval(23.976), 41);
}

void RulerMathTest::steppingStopsAndWraps()
{
    struct Row {
        int current, before, after;
    };
    for (const Row &row : { Row { 12, 11, 13 },
                            { 10, 10, 11 },
                            { 20, 19, 10 },
                            { 3, 10, 4 },
                            { 40, 39, 10 },
                            { kIntMin, 10, kIntMin + 1 },
                            { kIntMax, kIntMax - 1, 10 } }) {
        QCOMPARE(previousFrame(row.current, { 10, 20 }), row.before);
        QCOMPARE(nextFrame(row.current, { 10, 20 }), row.after);
    }
    QCOMPARE(nextFrame(50, { 50, 40 }), 50); // a reversed range loops over its one frame
}

void RulerMathTest::everyFrameHoldsOneKey()
{
    for (const int fps : { 24, 25, 30, 60 }) {
        std::vector<LayerKey> keys;
        for (int frame = -700; frame < 1100; ++frame) {
            QVERIFY(addKey(keys, frame, 1.0f, fps));
            QVERIFY(!addKey(keys, frame, 1.0f, fps));
            QCOMPARE(firstKeyAt(keys, frame, fps), frame + 700);
        }
    }
}

void RulerMathTest::draggedKeySurvivesSorting()
{
    std::vector<LayerKey> keys { keyAt(9, 0.1f), keyAt(4, 0.2f), keyAt(9, 0.3f), keyAt(1, 0.4f) };
    QCOMPARE(sortKeysAround(keys, 2), 3);
    QCOMPARE(keys[3], keyAt(9, 0.3f));
    QCOMPARE(sortKeysAround(keys, 4), -1);
    QCOMPARE(sortKeysAround(keys, -1), -1);
}

QTEST_APPLESS_MAIN(RulerMathTest)
#include "RulerMathTest.moc"
