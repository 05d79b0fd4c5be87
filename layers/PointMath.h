#pragma once

#include "layers/LayerData.h"

#include <QVector3D>

#include <optional>

/// Axis-aligned box.
struct PointBounds {
    QVector3D low;
    QVector3D high;
};

/// Whether x, y and z are neither NaN nor infinite.
bool isFinitePoint(const QVector4D &point);

/// The box around the finite points; nothing when there is none. Archives do carry NaN points, and
/// a view framed on one would show nothing.
std::optional<PointBounds> boundsOf(const PointArray &points);
