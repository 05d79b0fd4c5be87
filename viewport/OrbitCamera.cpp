#include "viewport/OrbitCamera.h"

#include <QtMath>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr float kRadiansPerPixel = float(0.5 * M_PI / 180.0);
constexpr float kFramingZoomSpeed = 0.001f; // of the framed diagonal, a pixel
constexpr float kSmallestPictureZoom = 0.1f;

QMatrix4x4 rotation(float tilt, float turn)
{
    QMatrix4x4 matrix;
    matrix.rotate(qRadiansToDegrees(tilt), 1, 0, 0);
    matrix.rotate(qRadiansToDegrees(turn), 0, 1, 0);
    return matrix;
}

QMatrix4x4 translation(const QVector3D &offset)
{
    QMatrix4x4 matrix;
    matrix.translate(offset);
    return matrix;
}

QVector2D windowPoint(const QMatrix4x4 &viewProjection, const QVector3D &point, int width,
                      int height)
{
    const QVector3D ndc = viewProjection.map(point);
    return { (ndc.x() * 0.5f + 0.5f) * float(width), (ndc.y() * 0.5f + 0.5f) * float(height) };
}

}

bool OrbitCamera::isFree() const { return m_name == QLatin1String("perspective"); }

void OrbitCamera::reset()
{
    m_pan = { 0, 0, -20 };
    m_tilt = 0.48f;
    m_turn = -0.785398f;
    // Deliberately about the origin, while drags turn about the pivot.
    m_view = translation(m_pan) * rotation(m_tilt, m_turn);
}

void OrbitCamera::setSize(int width, int height)
{
    m_width = std::max(width, 1);
    m_height = std::max(height, 1);
}

void OrbitCamera::setFieldOfView(float degrees)
{
    if (degrees > 0.0f && degrees < 180.0f)
        m_fieldOfView = degrees;
}

void OrbitCamera::resetPicture()
{
    m_pictureOffset = {};
    m_pictureZoom = 1.0f;
    m_pictureZoomDrag = 0;
    rebuildPicture();
}

void OrbitCamera::beginDrag(int x, int y)
{
    m_lastX = x;
    m_lastY = y;
}

void OrbitCamera::orbitDrag(int x, int y, DragKind kind)
{
    const int dx = x - m_lastX;
    const int dy = y - m_lastY;
    beginDrag(x, y);
    switch (kind) {
    case DragKind::Tumble:
        m_tilt -= float(dy) * kRadiansPerPixel;
        m_turn += float(dx) * kRadiansPerPixel;
        break;
    case DragKind::Pan: {
        const float scale = panScale();
        m_pan += QVector3D(float(dx) * scale, float(dy) * scale, 0);
        break;
    }
    case DragKind::Dolly:
        m_pan.setZ(m_pan.z() + float(std::abs(dy) < std::abs(dx) ? dx : -dy) * m_zoomSpeed);
        break;
    }
    rebuildView();
}

void OrbitCamera::pictureDrag(int x, int y, DragKind kind)
{
    const int dx = x - m_lastX;
    const int dy = y - m_lastY;
    if (kind == DragKind::Pan) {
        m_pictureOffset +=
            { 2.0f * float(dx) / float(m_width), 2.0f * float(dy) / float(m_height) };
    } else if (kind == DragKind::Dolly) {
        m_pictureZoomDrag += dy;
        m_pictureZoom =
            std::max(1.0f - float(m_pictureZoomDrag) / float(m_height), kSmallestPictureZoom);
    }
    rebuildPicture();
    beginDrag(x, y);
}

void OrbitCamera::frameBox(const QVector3D &minimum, const QVector3D &maximum)
{
    const float diagonal = (maximum - minimum).length();
    m_pivot = (minimum + maximum) * 0.5f;
    m_pan = -m_pivot - QVector3D(0, 0, diagonal);
    m_zoomSpeed = diagonal * kFramingZoomSpeed;
    rebuildView();
}

CameraMatrices OrbitCamera::matrices() const
{
    return { m_view, m_view.toGenericMatrix<3, 3>(), projection(), m_width, m_height };
}

CameraMatrices OrbitCamera::matrices(const QMatrix4x4 &sceneView) const
{
    return { sceneView, sceneView.toGenericMatrix<3, 3>(), m_picture * projection(), m_width,
             m_height };
}

float OrbitCamera::panScale() const
{
    const QMatrix4x4 viewProjection = projection() * m_view;
    // One unit along the view's own x axis, so that the two points share the pivot's depth.
    const QVector3D right = m_view.row(0).toVector3D();
    const QVector2D pivot = windowPoint(viewProjection, m_pivot, m_width, m_height);
    const QVector2D beside = windowPoint(viewProjection, m_pivot + right, m_width, m_height);
    const float scale = 1.0f / (beside - pivot).length();
    return std::isfinite(scale) ? scale : 0.0f;
}

QMatrix4x4 OrbitCamera::projection() const
{
    const double f = 1.0 / std::tan(double(m_fieldOfView) * M_PI / 180.0 * 0.5);
    const float aspect = float(m_width) / float(m_height);
    const float depth = m_far - m_near;
    return { float(f) / aspect,
             0,
             0,
             0,
             0,
             float(f),
             0,
             0,
             0,
             0,
             -(m_far + m_near) / depth,
             -(2 * m_far * m_near) / depth,
             0,
             0,
             -1,
             0 };
}

void OrbitCamera::rebuildView()
{
    m_view = translation(m_pan) * translation(m_pivot) * rotation(m_tilt, m_turn) *
        translation(-m_pivot);
}

void OrbitCamera::rebuildPicture()
{
    m_picture.setToIdentity();
    m_picture.translate(m_pictureOffset.x(), m_pictureOffset.y());
    m_picture.scale(m_pictureZoom, m_pictureZoom, 1);
}
