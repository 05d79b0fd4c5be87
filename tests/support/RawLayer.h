#pragma once

#include "layers/LayerData.h"
#include "support/SceneBytes.h"

inline std::array<double, 3> rawPoint(const QVector4D &point)
{
    return { double(point.x()), double(point.y()), double(point.z()) };
}

/// What a layer should be in a file.
inline RawLayer rawLayer(const LayerData &data)
{
    RawLayer raw;
    for (const QVector4D &point : data.basePoints())
        raw.basePoints.push_back(rawPoint(point));
    for (const QVector4D &point : data.offsetPoints())
        raw.offsetPoints.push_back(rawPoint(point));
    raw.mask.assign(data.mask().begin(), data.mask().end());
    for (const LayerKey &key : data.keys())
        raw.keys.push_back({ key.time, double(key.value), key.flag });
    raw.name = data.name();
    raw.type = qint32(data.kind());
    raw.intensity = double(data.intensity());
    raw.reserved = data.reserved();
    raw.selected = data.selected();
    raw.tangent = data.tangent();
    raw.iterations = data.iterations();
    raw.cloneIterations = data.cloneIterations();
    raw.damping = double(data.damping());
    raw.stiffness = double(data.stiffness());
    raw.asMuscle = double(data.asMuscle());
    return raw;
}
