#pragma once

#include "reference/Ring.h"

#include <QtGlobal>

/// True within the tolerance of each point. Written so that a NaN in the place of a number fails;
/// where the reference is not finite, the point must not be either. Names the first mismatch.
inline bool pointsMatch(const PointArray &actual, const reference::Pose &expected,
                        const std::vector<double> &tolerance)
{
    if (actual.size() != expected.size()) {
        qWarning("%zu points instead of %zu", actual.size(), expected.size());
        return false;
    }
    const reference::Pose got = reference::toPose(actual);
    for (size_t i = 0; i < got.size(); ++i) {
        const reference::Vec g = got[i], e = expected[i];
        if (finite(e) ? length(g - e) <= tolerance[i] : !finite(g))
            continue;
        qWarning("point %zu: (%.9g %.9g %.9g) instead of (%.9g %.9g %.9g), tolerance %g", i, g.x,
                 g.y, g.z, e.x, e.y, e.z, tolerance[i]);
        return false;
    }
    return true;
}

inline bool pointsMatch(const PointArray &actual, const reference::Pose &expected, double tolerance)
{
    return pointsMatch(actual, expected, std::vector<double>(expected.size(), tolerance));
}

inline bool valuesMatch(const std::vector<float> &actual, const std::vector<double> &expected,
                        double tolerance)
{
    PointArray points;
    for (const float value : actual)
        points.emplace_back(value, 0.0f, 0.0f, 0.0f);
    reference::Pose pose;
    for (const double value : expected)
        pose.push_back({ value, 0.0, 0.0 });
    return pointsMatch(points, pose, tolerance);
}

/// NaNs of one pattern count as the same, and 0 and -0 do not.
inline bool sameBits(const PointArray &a, const PointArray &b)
{
    const auto bytes = [](const PointArray &points) {
        return QByteArray::fromRawData(reinterpret_cast<const char *>(points.data()),
                                       int(points.size() * sizeof(QVector4D)));
    };
    return bytes(a) == bytes(b);
}
