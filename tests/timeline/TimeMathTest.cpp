#include "layers/Envelope.h"
#include "timeline/RangeMath.h"

#include <QtTest>

#include <limits>

namespace {

using Keys = std::vector<LayerKey>;
constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

LayerKey keyAt(double frame, float value = 1.0f) { return { frame / 24, value, true }; }

} // namespace

/// Frames and seconds, keys, the ruler's pixels and the range slider's margins, as values.
class TimeMathTest : public QObject {
    Q_OBJECT

private slots:
    void frames()
    {
        const auto frameAt = [](int x, const FrameRange &range) {
            return frameUnder(rulerPoint({ x, 0 }, { 250, 140 }, range), range);
        };
        const FrameRange shot { 10, 20 }, all { kLeast, kMost }, reversed { 50, 40 };
        const std::pair<int, int> rows[] = {
            { frameAtTime(10.0 / 24, 24), 10 },
            { frameAtTime(0.5, 25), 13 }, // rounded up
            { frameAtTime(double(float(1001.0 / 24)), 24), 1001 }, // read back through a float
            { frameAtTime(-5.5 / 24, 24), -5 },
            { frameAtTime(-1.6 / 24, 24), -2 },
            { frameAtTime(1e300, 24), kMost },
            { frameAtTime(-1e300, 24), kLeast },
            { frameAtTime(qQNaN(), 24), 0 },
            { previousFrame(3, shot), 10 },
            { previousFrame(40, shot), 39 },
            { previousFrame(kLeast, shot), 10 },
            { nextFrame(3, shot), 4 },
            { nextFrame(40, shot), 10 },
            { nextFrame(kMost, shot), 10 },
            { nextFrame(50, reversed), 50 }, // such a range is its one frame
            { frameAt(249, reversed), 50 },
            { clampedFrame(45, reversed), 50 },
            { frameAt(0, all), kLeast },
            { markerWidth(pixelsPerFrame(100, { 0, 999 })), 2 },
        };
        for (const auto &[found, expected] : rows)
            QCOMPARE(found, expected);
        for (const double fps : { 23.976, 24.0, 25.0, 60.0 }) { // every frame holds one key
            Keys keys;
            for (int frame = -700; frame < 1100; ++frame) {
                QVERIFY(addKey(keys, frame, 1.0f, fps) && !addKey(keys, frame, 1.0f, fps));
                QCOMPARE(firstKeyAt(keys, frame, fps), frame + 700);
            }
        }
    }

    void weights()
    {
        const Keys step { keyAt(0, 0), keyAt(10, 1), keyAt(10, 0), keyAt(20, 1) };
        const std::tuple<Keys, int, float> rows[] = {
            { { keyAt(20, 1), keyAt(10, 0) }, 15, 0.5f }, // out of order, as appended by hand
            { { keyAt(5.2, 0.75f), keyAt(4.8, 0.25f), keyAt(0, 1) }, 5, 0.25f }, // first by time
            { { keyAt(5, 0.75f), keyAt(5, 0.25f) }, 5, 0.75f }, // first as listed
            { { keyAt(qInf(), 1), keyAt(qQNaN(), 9), keyAt(-1e300, 0) }, -1, 0.5f }, // damaged
            { step, 10, 1.0f },
            { step, 15, 0.5f }, // the second of the pair continues the curve
        };
        for (auto [keys, frame, weight] : rows)
            QCOMPARE(layerWeight(keys, frame, 24.0), weight);
        Keys keys { keyAt(9, 0.1f), keyAt(4, 0.2f), keyAt(9, 0.3f), keyAt(1, 0.4f) };
        QCOMPARE(sortKeysAround(keys, 2), 3);
        QCOMPARE(keys[3], keyAt(9, 0.3f));
        QVERIFY(sortKeysAround(keys, 4) == -1 && sortKeysAround(keys, -1) == -1);
    }

    void pixelsOfFrames()
    {
        const std::pair<int, FrameRange> rulers[] = { { 1131, { 1001, 1049 } },
                                                      { 640, { -30, 17 } } };
        for (const auto &[width, range] : rulers) {
            const QSize widget(width, 140);
            for (int frame = range.start; frame <= range.end; ++frame) {
                const QRect marker = markerRect(frame, widget, range);
                QCOMPARE(frameUnder(rulerPoint(marker.center(), widget, range), range), frame);
                QVERIFY(marker.left() >= 0 && marker.right() < width);
            }
            QVERIFY(markerRect(range.start - 1, widget, range).right() < 2);
            QVERIFY(markerRect(range.end + 1, widget, range).left() >= width - 1);
        }
        QVERIFY(qIsFinite(rulerPoint({ 3, 3 }, { 0, 0 }, {}).frameOffset));
        QVERIFY(markerRect(kMost, { 300, 140 }, { kLeast, kLeast + 1 }).left() > 300);
        QVERIFY(markerRect(kLeast, { 300, 140 }, { kMost - 1, kMost }).right() < 0);
    }

    void margins()
    {
        const RangeMargins at { 20, 30 }; // squeezed below its minimum a bar may only grow
        QCOMPARE(dragLeftEnd(at, 5, 40, 60), at);
        QCOMPARE(dragRightEnd(at, -5, 80, 60), (RangeMargins { 20, 35 }));
        QCOMPARE(dragRightEnd(at, -5, 62, 60), (RangeMargins { 20, 32 }));
        QCOMPARE(dragLeftEnd(at, -5, 40, 60), (RangeMargins { 15, 30 }));
        const std::tuple<RangeMargins, int, FrameRange, FrameRange> rows[] = {
            { { 49, 100 }, 1000, { 0, 24 }, { 1, 22 } }, // fractions are cut
            { { 29, 43 }, 100, { 0, 100 }, { 29, 57 } }, // exact shares
            { { 100, 0 }, 1000, { 1001, 1049 }, { 1105, 1049 } }, // shifted past the end
            { { 5, 5 }, 0, { 3, 9 }, { 3, 9 } },
            { { 900, 0 }, 1000, { kMost - 1, kMost }, { kMost, kMost } },
        };
        for (const auto &[margins, width, shot, expected] : rows) {
            const FrameRange shown = shownFrames(margins, width, shot.start, shot.end);
            QCOMPARE(std::pair(shown.start, shown.end), std::pair(expected.start, expected.end));
        }
    }
};

QTEST_APPLESS_MAIN(TimeMathTest)
#include "TimeMathTest.moc"
