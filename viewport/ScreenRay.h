#pragma once

#include "viewport/CameraMatrices.h"

#include <QPoint>
#include <QVector3D>

#include <optional>

/// A mouse ray by its two ends, on the near and the far plane, in world space.
struct ScreenRay {
    QVector3D nearPoint;
    QVector3D farPoint;
};

/// The ray through a pixel; y counts from the bottom.
ScreenRay screenRay(const QPoint &pixel, const CameraMatrices &matrices);

/// Both ends taken through a matrix as points.
ScreenRay transformed(const ScreenRay &ray, const QMatrix4x4 &transform);

/// The world length that `pixels` span at the depth of a world point, across the view.
float worldRadius(float pixels, const QVector3D &point, const CameraMatrices &matrices);

/// Where the ray's line meets a plane; nothing for a line along the plane.
std::optional<QVector3D> planeHit(const ScreenRay &ray, const QVector3D &point,
                                  const QVector3D &normal);

/// The world direction from the scene towards the viewer, unit length.
QVector3D viewDirection(const CameraMatrices &matrices);
