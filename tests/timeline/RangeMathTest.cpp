#include "timeline/RangeMath.h"

#include <QtTest>

#include <limits>

Q_DECLARE_METATYPE(RangeMargins)

class RangeMathTest : public QObject {
    Q_OBJECT

private slots:
    void endDrags_data();
    void endDrags();
    void bodyDrags_data();
    void bodyDrags();
    void resizing();
    void shownRanges_data();
    void shownRanges();
};

void RangeMathTest::endDrags_data()
{
    QTest::addColumn<int>("dx");
    QTest::addColumn<int>("leftMargin"); ///< of a 100 wide bar after the left end moved by dx
    QTest::addColumn<int>("rightMargin"); ///< after the right end moved by dx
    QTest::newRow("rest") << 0 << 20 << 30;
    QTest::newRow("to the right") << 25 << 45 << 5;
    QTest::newRow("to the left") << -15 << 5 << 45;
    QTest::newRow("far right") << 500 << 60 << 0;
    QTest::newRow("far left") << -500 << 0 << 70;
}

void RangeMathTest::endDrags()
{
    QFETCH(int, dx);
    QTEST(dragLeftEnd({ 20, 30 }, dx, 100, 60).left, "leftMargin");
    QTEST(dragRightEnd({ 20, 30 }, dx, 100, 60).right, "rightMargin");
    QCOMPARE(dragLeftEnd({ 20, 30 }, dx, 100, 60).right, 30);
    QCOMPARE(dragRightEnd({ 20, 30 }, dx, 100, 60).left, 20);
    // A bar that a small window squeezed below its minimum may still grow.
    QCOMPARE(dragLeftEnd({ 20, 30 }, dx, 40, 60).left, dx < 0 ? qMax(20 + dx, 0) : 20);
}

void RangeMathTest::bodyDrags_data()
{
    QTest::addColumn<int>("dx");
    QTest::addColumn<int>("leftMargin");
    QTest::newRow("right") << 10 << 30;
    QTest::newRow("left") << -10 << 10;
    QTest::newRow("far right stops at the edge") << 100 << 50;
    QTest::newRow("far left stops at the edge") << -100 << 0;
}

void RangeMathTest::bodyDrags()
{
    QFETCH(int, dx);
    const RangeMargins moved = dragBody({ 20, 30 }, dx);
    QTEST(moved.left, "leftMargin");
    QCOMPARE(moved.left + moved.right, 50);
}

void RangeMathTest::resizing()
{
    const RangeMargins grown = scaledMargins({ 33, 10 }, 100, 250);
    QCOMPARE(grown.left, 82); // 33 × 250 first, then ÷ 100
    QCOMPARE(grown.right, 25);
    QCOMPARE(scaledMargins({ 33, 10 }, 0, 250).left, 33);
    QCOMPARE(scaledMargins({ 33, 10 }, -1, 250).right, 10);
    QCOMPARE(scaledMargins({ 33, 10 }, 100, 0).left, 0);
    QCOMPARE(scaledMargins({ 16'000'000, 0 }, 16'000'000, 16'000'000).left, 16'000'000);
}

void RangeMathTest::shownRanges_data()
{
    constexpr int intMax = std::numeric_limits<int>::max();
    QTest::addColumn<RangeMargins>("margins");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("minFrame");
    QTest::addColumn<int>("maxFrame");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    const auto row = [](const char *name, RangeMargins margins, QVector<int> numbers) {
        auto &data = QTest::newRow(name) << margins;
        for (const int number : numbers)
            data << number;
    };
    row("no margins", { 0, 0 }, { 1000, 0, 24, 0, 24 });
    row("fractions are cut", { 49, 100 }, { 1000, 0, 24, 1, 22 });
    row("exact shares", { 29, 43 }, { 100, 0, 100, 29, 57 });
    row("the shift from a first frame", { 100, 0 }, { 1000, 10, 100, 20, 100 });
    row("shifted past the end", { 100, 0 }, { 1000, 1001, 1049, 1105, 1049 });
    row("below zero", { 100, 100 }, { 1000, -50, 100, -40, 90 });
    row("width 0", { 5, 5 }, { 0, 3, 9, 3, 9 });
    row("one frame", { 100, 100 }, { 1000, 7, 7, 7, 7 });
    row("widest range", { 900, 0 }, { 1000, intMax - 1, intMax, intMax, intMax });
}

void RangeMathTest::shownRanges()
{
    QFETCH(RangeMargins, margins);
    QFETCH(int, width);
    QFETCH(int, minFrame);
    QFETCH(int, maxFrame);
    const FrameRange shown = shownFrames(margins, width, minFrame, maxFrame);
    QTEST(shown.start, "start");
    QTEST(shown.end, "end");
}

QTEST_APPLESS_MAIN(RangeMathTest)
#include "RangeMathTest.moc"
