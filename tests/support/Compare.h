#pragma once

#include "layers/LayerData.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

/// A vector in double precision, for reference computations.
using Vec3 = std::array<double, 3>;

inline Vec3 toVec3(const QVector4D &v) { return { v.x(), v.y(), v.z() }; }

/// True within the tolerance, and where a NaN was expected and is there. Written so that a NaN in
/// the place of a number fails.
inline bool nearlyEqual(double actual, double expected, double tolerance)
{
    if (std::isnan(expected) || std::isinf(expected))
        return std::isnan(expected) ? std::isnan(actual) : actual == expected;
    return std::fabs(actual - expected) <= tolerance;
}

/// Empty when all match, otherwise names the first element that does not. With QVERIFY2 as
/// `const QByteArray fault = …; QVERIFY2(fault.isEmpty(), fault);`
inline QByteArray pointsMismatch(const PointArray &actual, const std::vector<Vec3> &expected,
                                 double tolerance)
{
    if (actual.size() != expected.size())
        return QByteArray::number(int(actual.size())) + " points instead of " +
            QByteArray::number(int(expected.size()));
    for (size_t i = 0; i < actual.size(); ++i) {
        const Vec3 got = toVec3(actual[i]);
        for (int axis = 0; axis < 3; ++axis) {
            if (!nearlyEqual(got[axis], expected[i][axis], tolerance))
                return QStringLiteral("point %1 axis %2: %3 instead of %4")
                    .arg(i)
                    .arg(axis)
                    .arg(got[axis], 0, 'g', 9)
                    .arg(expected[i][axis], 0, 'g', 9)
                    .toUtf8();
        }
    }
    return QByteArray();
}

inline QByteArray valuesMismatch(const std::vector<float> &actual,
                                 const std::vector<double> &expected, double tolerance)
{
    if (actual.size() != expected.size())
        return QByteArray::number(int(actual.size())) + " values instead of " +
            QByteArray::number(int(expected.size()));
    for (size_t i = 0; i < actual.size(); ++i) {
        if (!nearlyEqual(double(actual[i]), expected[i], tolerance))
            return QStringLiteral("value %1: %2 instead of %3")
                .arg(i)
                .arg(double(actual[i]), 0, 'g', 9)
                .arg(expected[i], 0, 'g', 9)
                .toUtf8();
    }
    return QByteArray();
}

inline bool pointsMatch(const PointArray &actual, const std::vector<Vec3> &expected,
                        double tolerance)
{
    const QByteArray fault = pointsMismatch(actual, expected, tolerance);
    if (!fault.isEmpty())
        qWarning("%s", fault.constData());
    return fault.isEmpty();
}

inline bool valuesMatch(const std::vector<float> &actual, const std::vector<double> &expected,
                        double tolerance)
{
    const QByteArray fault = valuesMismatch(actual, expected, tolerance);
    if (!fault.isEmpty())
        qWarning("%s", fault.constData());
    return fault.isEmpty();
}
