#include "layers/PointMath.h"

#include <algorithm>
#include <cmath>

bool isFinitePoint(const QVector4D &point)
{
    return std::isfinite(point.x()) && std::isfinite(point.y()) && std::isfinite(point.z());
}

std::optional<PointBounds> boundsOf(const PointArray &points)
{
    std::optional<PointBounds> bounds;
    for (const QVector4D &point : points) {
        if (!isFinitePoint(point))
            continue;
        const QVector3D p = point.toVector3D();
        if (!bounds)
            bounds = PointBounds { p, p };
        for (int axis = 0; axis < 3; ++axis) {
            bounds->low[axis] = std::min(bounds->low[axis], p[axis]);
            bounds->high[axis] = std::max(bounds->high[axis], p[axis]);
        }
    }
    return bounds;
}
