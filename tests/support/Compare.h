#pragma once

#include "reference/Ring.h"

#include <QString>

#include <cmath>

/// True within the tolerance. Written so that a NaN in the place of a number fails; where the
/// reference is not finite, the value must not be either.
inline bool nearlyEqual(double actual, double expected, double tolerance)
{
    return std::isfinite(expected) ? std::fabs(actual - expected) <= tolerance
                                   : !std::isfinite(actual);
}

/// Both name the first element that does not match on the warning stream.
inline bool pointsMatch(const PointArray &actual, const reference::Pose &expected, double tolerance)
{
    if (actual.size() != expected.size()) {
        qWarning("%zu points instead of %zu", actual.size(), expected.size());
        return false;
    }
    for (size_t i = 0; i < actual.size(); ++i) {
        const QVector4D &p = actual[i];
        const reference::Vec &e = expected[i];
        if (nearlyEqual(double(p.x()), e.x, tolerance) &&
            nearlyEqual(double(p.y()), e.y, tolerance) &&
            nearlyEqual(double(p.z()), e.z, tolerance))
            continue;
        qWarning("point %zu: (%.9g %.9g %.9g) instead of (%.9g %.9g %.9g), tolerance %g", i,
                 double(p.x()), double(p.y()), double(p.z()), e.x, e.y, e.z, tolerance);
        return false;
    }
    return true;
}

inline bool valuesMatch(const std::vector<float> &actual, const std::vector<double> &expected,
                        double tolerance)
{
    if (actual.size() != expected.size()) {
        qWarning("%zu values instead of %zu", actual.size(), expected.size());
        return false;
    }
    for (size_t i = 0; i < actual.size(); ++i) {
        if (nearlyEqual(double(actual[i]), expected[i], tolerance))
            continue;
        qWarning("value %zu: %.9g instead of %.9g, tolerance %g", i, double(actual[i]), expected[i],
                 tolerance);
        return false;
    }
    return true;
}
