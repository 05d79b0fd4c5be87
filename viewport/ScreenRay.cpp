#include "viewport/ScreenRay.h"

#include <cmath>

ScreenRay screenRay(const QPoint &pixel, const CameraMatrices &matrices)
{
    const float x = 2.0f * float(pixel.x()) / float(matrices.width) - 1.0f;
    const float y = 2.0f * float(pixel.y()) / float(matrices.height) - 1.0f;
    // Two inversions instead of one of the product: near and far lie five orders of magnitude
    // apart, and in the product's entries the view's translation would drown in rounding.
    const QMatrix4x4 toEye = matrices.projection.inverted();
    const QMatrix4x4 toWorld = matrices.view.inverted();
    return { toWorld.map(toEye.map(QVector3D(x, y, -1))),
             toWorld.map(toEye.map(QVector3D(x, y, 1))) };
}

ScreenRay transformed(const ScreenRay &ray, const QMatrix4x4 &transform)
{
    return { transform.map(ray.nearPoint), transform.map(ray.farPoint) };
}

float worldRadius(float pixels, const QVector3D &point, const CameraMatrices &matrices)
{
    const QVector4D eye = matrices.view * QVector4D(point, 1);
    const float clipW = (matrices.projection * eye).w();
    // The view may scale the world (a scene camera under a scaled transform).
    const float eyeUnits = matrices.view.row(0).toVector3D().length();
    return std::abs(pixels * 2 * clipW /
                    (matrices.projection(1, 1) * float(matrices.height) * eyeUnits));
}

std::optional<QVector3D> planeHit(const ScreenRay &ray, const QVector3D &point,
                                  const QVector3D &normal)
{
    const QVector3D along = ray.farPoint - ray.nearPoint;
    const float share =
        QVector3D::dotProduct(point - ray.nearPoint, normal) / QVector3D::dotProduct(along, normal);
    if (!std::isfinite(share))
        return std::nullopt;
    return ray.nearPoint + along * share;
}

QVector3D viewDirection(const CameraMatrices &matrices)
{
    return matrices.view.row(2).toVector3D().normalized();
}
