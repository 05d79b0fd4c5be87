#include "viewport/PixelLine.h"

#include <QtTest>

#include <cmath>

namespace {

// The pixel nearest to the true line at every step of the longer axis, from its equation.
std::vector<QPoint> roundedLine(const QPoint &from, const QPoint &to)
{
    const QPoint delta = to - from;
    const bool alongY = std::abs(delta.y()) > std::abs(delta.x());
    const int length = alongY ? delta.y() : delta.x();
    const int rise = alongY ? delta.x() : delta.y();
    std::vector<QPoint> line { from };
    for (int step = 1; step <= std::abs(length); ++step) {
        const double height = std::abs(double(rise)) * step / std::abs(length);
        // Half-way pixels go to the farther side only on the way up the longer axis.
        const double nearest = length > 0 ? std::floor(height + 0.5) : std::ceil(height - 0.5);
        const int major = length > 0 ? step : -step;
        const int minor = int(rise < 0 ? -nearest : nearest);
        line.push_back(from + (alongY ? QPoint(minor, major) : QPoint(major, minor)));
    }
    return line;
}

std::vector<QPoint> stroke(const std::vector<QPoint> &path, double spacing)
{
    QPoint lastStamp = path.front();
    std::vector<QPoint> stamps;
    for (size_t i = 1; i < path.size(); ++i) {
        const auto more = stampsAlong(pixelLine(path[i - 1], path[i]), spacing, lastStamp);
        stamps.insert(stamps.end(), more.begin(), more.end());
    }
    return stamps;
}

}

class PixelLineTest : public QObject {
    Q_OBJECT

private slots:
    void everyDirectionTakesTheNearestPixels()
    {
        const QPoint from(-3, 7);
        for (int dx = -13; dx <= 13; ++dx) {
            for (int dy = -13; dy <= 13; ++dy) {
                const QPoint to = from + QPoint(dx, dy);
                QVERIFY2(pixelLine(from, to) == roundedLine(from, to),
                         qPrintable(QStringLiteral("to %1, %2").arg(dx).arg(dy)));
            }
        }
    }

    void spacing_data()
    {
        QTest::addColumn<int>("radius");
        QTest::addColumn<double>("spacing");
        QTest::addColumn<QVector<int>>("stamps"); // along a horizontal drag of 32 pixels
        QTest::newRow("0") << 0 << 0.0 << QVector<int> { 1, 2, 3, 4 };
        QTest::newRow("10") << 10 << 1.5 << QVector<int> { 2, 4, 6, 8 };
        QTest::newRow("20: exactly the spacing is too near")
            << 20 << 3.0 << QVector<int> { 4, 8, 12, 16 };
        QTest::newRow("50") << 50 << 7.5 << QVector<int> { 8, 16, 24, 32 };
        QTest::newRow("200: as 50") << 200 << 7.5 << QVector<int> { 8, 16, 24, 32 };
    }
    void spacing()
    {
        QFETCH(const int, radius);
        QFETCH(const QVector<int>, stamps);
        QTEST(stampSpacing(radius), "spacing");
        for (const int sign : { 1, -1 }) {
            const auto found = stroke({ { 0, 3 }, { 32 * sign, 3 } }, stampSpacing(radius));
            QVERIFY(int(found.size()) >= stamps.size());
            for (int i = 0; i < stamps.size(); ++i)
                QCOMPARE(found[size_t(i)], QPoint(stamps[i] * sign, 3));
        }
    }

    void diagonalStampsMeasureTheTrueDistance()
    {
        const auto found = stroke({ { 0, 0 }, { 12, 12 } }, stampSpacing(50));
        QCOMPARE(found, std::vector<QPoint>({ { 6, 6 }, { 12, 12 } })); // 8.49 pixels apart
    }

    void oneEventOrFiftyGiveTheSameStamps()
    {
        for (const QPoint &end : { QPoint(100, 0), QPoint(-100, 0), QPoint(0, 100),
                                   QPoint(100, 100), QPoint(100, -50) }) {
            std::vector<QPoint> slow;
            for (int i = 0; i <= 50; ++i)
                slow.push_back(end * i / 50);
            const double spacing = stampSpacing(80);
            QCOMPARE(stroke(slow, spacing), stroke({ { 0, 0 }, end }, spacing));
        }
    }
};

QTEST_APPLESS_MAIN(PixelLineTest)
#include "PixelLineTest.moc"
