#include "layers/Envelope.h"

#include <QtTest>

#include <limits>

Q_DECLARE_METATYPE(std::vector<LayerKey>)

class EnvelopeTest : public QObject {
    Q_OBJECT

private slots:
    void framesOfTimes_data();
    void framesOfTimes();
    void weights_data();
    void weights();
    void damagedKeys();
};

void EnvelopeTest::framesOfTimes_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<double>("fps");
    QTest::addColumn<int>("frame");
    QTest::newRow("whole") << 10.0 / 24 << 24.0 << 10;
    QTest::newRow("rounded up") << 0.5 << 25.0 << 13;
    QTest::newRow("read back through a float") << double(float(1001.0 / 24)) << 24.0 << 1001;
    QTest::newRow("below zero") << -5.0 / 24 << 24.0 << -5;
    QTest::newRow("below zero, rounded up") << -5.5 / 24 << 24.0 << -5;
    QTest::newRow("below zero, rounded down") << -1.6 / 24 << 24.0 << -2;
    QTest::newRow("too late for an int") << 1e300 << 24.0 << std::numeric_limits<int>::max();
    QTest::newRow("too early for an int") << -1e300 << 24.0 << std::numeric_limits<int>::min();
    QTest::newRow("not a number") << qQNaN() << 24.0 << 0;
}

void EnvelopeTest::framesOfTimes()
{
    QFETCH(double, seconds);
    QFETCH(double, fps);
    QTEST(frameAtTime(seconds, fps), "frame");
}

void EnvelopeTest::weights_data()
{
    QTest::addColumn<std::vector<LayerKey>>("keys");
    QTest::addColumn<int>("frame");
    QTest::addColumn<float>("weight");
    using Keys = std::vector<LayerKey>;
    const auto key = [](double frame, float value) { return LayerKey { frame / 24, value, true }; };
    const Keys ramp { key(20, 1), key(10, 0) }; // out of order, as appended by hand
    QTest::newRow("no keys") << Keys {} << 5 << 1.0f;
    QTest::newRow("between") << ramp << 15 << 0.5f;
    QTest::newRow("before the first") << ramp << 5 << 0.0f;
    QTest::newRow("after the last") << ramp << 30 << 1.0f;
    QTest::newRow("on a key") << ramp << 10 << 0.0f;
    QTest::newRow("one key, before") << Keys { key(3, 0.25f) } << -8 << 0.25f;
    const Keys sameFrame { key(5.2, 0.75f), key(4.8, 0.25f), key(0, 1) };
    QTest::newRow("same frame: first by time") << sameFrame << 5 << 0.25f;
    const Keys sameTime { key(5, 0.75f), key(5, 0.25f) };
    QTest::newRow("same time: first as listed") << sameTime << 5 << 0.75f;
    // The second of the pair continues the curve.
    const Keys step { key(0, 0), key(10, 1), key(10, 0), key(20, 1) };
    QTest::newRow("up to a step") << step << 5 << 0.5f;
    QTest::newRow("on a step") << step << 10 << 1.0f;
    QTest::newRow("after a step") << step << 15 << 0.5f;
    QTest::newRow("beyond 0 to 1") << Keys { key(0, -2), key(4, 6) } << 3 << 4.0f;
}

void EnvelopeTest::weights()
{
    QFETCH(std::vector<LayerKey>, keys);
    QFETCH(int, frame);
    QTEST(layerWeight(keys, frame, 24.0), "weight");
}

void EnvelopeTest::damagedKeys()
{
    const double infinity = std::numeric_limits<double>::infinity();
    std::vector<LayerKey> keys;
    for (int i = 0; i < 40; ++i) {
        for (const double time : { qQNaN(), infinity, -infinity, 1e12, double(i) })
            keys.push_back({ time, 0.5f, true });
    }
    for (const int frame : { std::numeric_limits<int>::min(), -1, 0, 7, 100000 })
        QCOMPARE(layerWeight(keys, frame, 24.0), 0.5f);
    QVERIFY(std::isnan(keys.back().time));
    QCOMPARE(keys.front().time, -infinity);
}

QTEST_APPLESS_MAIN(EnvelopeTest)
#include "EnvelopeTest.moc"
