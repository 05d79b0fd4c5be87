#include "timeline/RangeMath.h"

#include <QtTest>

#include <limits>

class RangeMathTest : public QObject {
    Q_OBJECT

private slots:
    void endDrags();
    void bodyDrags();
    void resizing();
    void shownRanges();
};

void RangeMathTest::endDrags()
{
    const RangeMargins at { 20, 30 }; // around a bar 100 wide
    QCOMPARE(dragLeftEnd(at, 25, 100, 60), (RangeMargins { 45, 30 }));
    QCOMPARE(dragLeftEnd(at, 500, 100, 60), (RangeMargins { 60, 30 }));
    QCOMPARE(dragLeftEnd(at, -500, 100, 60), (RangeMargins { 0, 30 }));
    QCOMPARE(dragRightEnd(at, 25, 100, 60), (RangeMargins { 20, 5 }));
    QCOMPARE(dragRightEnd(at, 500, 100, 60), (RangeMargins { 20, 0 }));
    QCOMPARE(dragRightEnd(at, -500, 100, 60), (RangeMargins { 20, 70 }));
    // A bar that a small window squeezed below its minimum may only grow.
    QCOMPARE(dragLeftEnd(at, 5, 40, 60), at);
    QCOMPARE(dragLeftEnd(at, -5, 40, 60), (RangeMargins { 15, 30 }));
}

void RangeMathTest::bodyDrags()
{
    QCOMPARE(dragBody({ 20, 30 }, 10), (RangeMargins { 30, 20 }));
    QCOMPARE(dragBody({ 20, 30 }, 100), (RangeMargins { 50, 0 }));
    QCOMPARE(dragBody({ 20, 30 }, -100), (RangeMargins { 0, 50 }));
    QCOMPARE(dragBody({ 0, 30 }, -1), (RangeMargins { 0, 30 }));
}

void RangeMathTest::resizing()
{
    QCOMPARE(scaledMargins({ 33, 10 }, 100, 250), (RangeMargins { 82, 25 })); // 33 × 250 first
    QCOMPARE(scaledMargins({ 33, 10 }, -1, 250), (RangeMargins { 33, 10 })); // the first resize
    QCOMPARE(scaledMargins({ 33, 10 }, 0, 250), (RangeMargins { 33, 10 }));
    QCOMPARE(scaledMargins({ 33, 10 }, 100, 0), (RangeMargins { 0, 0 }));
}

void RangeMathTest::shownRanges()
{
    constexpr int intMax = std::numeric_limits<int>::max();
    struct Row {
        const char *name;
        RangeMargins margins;
        int width, minFrame, maxFrame, start, end;
    };
    for (const Row &row :
         { Row { "no margins", { 0, 0 }, 1000, 0, 24, 0, 24 },
           { "fractions are cut", { 49, 100 }, 1000, 0, 24, 1, 22 },
           { "exact shares", { 29, 43 }, 100, 0, 100, 29, 57 },
           { "the shift from a first frame", { 100, 0 }, 1000, 10, 100, 20, 100 },
           { "shifted past the end", { 100, 0 }, 1000, 1001, 1049, 1105, 1049 },
           { "below zero", { 100, 100 }, 1000, -50, 100, -40, 90 },
           { "width 0", { 5, 5 }, 0, 3, 9, 3, 9 },
           { "one frame", { 100, 100 }, 1000, 7, 7, 7, 7 },
           { "widest range", { 900, 0 }, 1000, intMax - 1, intMax, intMax, intMax } }) {
        const FrameRange shown = shownFrames(row.margins, row.width, row.minFrame, row.maxFrame);
        QVERIFY2(shown.start == row.start && shown.end == row.end, row.name);
    }
}

QTEST_APPLESS_MAIN(RangeMathTest)
#include "RangeMathTest.moc"
