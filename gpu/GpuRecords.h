#pragma once

#include <QVector4D>

#include <cstddef>

/// Twins of the records in shaders/computeShaders/common/records.glsl (std430).
struct BrushData {
    QVector4D areaPosition;
    QVector4D areaNormal;
    QVector4D hitPosition;
    QVector4D hitNormal;
    qint32 hitTriangle = -1; ///< -1 without a hit
    qint32 hitVertex = -1;
    qint32 bySurfaceGrowCount = 0;
};
static_assert(sizeof(BrushData) == 76 && offsetof(BrushData, hitTriangle) == 64 &&
              offsetof(BrushData, hitVertex) == 68 &&
              offsetof(BrushData, bySurfaceGrowCount) == 72);

struct AreaData {
    QVector4D position; ///< w counts the points summed
    QVector4D normal;
};
static_assert(sizeof(AreaData) == 32 && offsetof(AreaData, normal) == 16);

struct HIT {
    qint32 id = -1; ///< triangle, -1 without one
    float distance = 0.0f; ///< from the near point
};
static_assert(sizeof(HIT) == 8 && offsetof(HIT, distance) == 4);
