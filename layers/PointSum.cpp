#include "layers/PointSum.h"

bool addScaled(PointArray &points, const PointArray &deltas, float factor)
{
    if (points.size() != deltas.size())
        return false;
    for (size_t i = 0; i < points.size(); ++i)
        points[i] += deltas[i] * factor;
    return true;
}
