#include "layers/Sculpt.h"

#include "app/Global.h"
#include "app/MainWindow.h"
#include "gpu/GPUMesh.h"
#include "layers/Layer.h"
#include "layers/StrokeBrush.h"

#include <array>
#include <cmath>
#include <utility>

namespace {

// Deliberately not the name of any buffer: a mirrored move looks its weights up under it, finds
// nothing, and goes on with those of the last press.
const QString &mirroredFalloff()
{
    static const QString name = QStringLiteral("fallof");
    return name;
}

BrushSettings brushSettings(BrushType type, float radius)
{
    BrushSettings settings;
    settings.type = type;
    settings.radius = radius;
    settings.intensity = Global::brushStrength();
    settings.pressure = Global::tabletPressure();
    settings.shift = Global::shiftHeld();
    settings.control = Global::controlHeld();
    settings.cotangent = MainWindow::cotangent();
    return settings;
}

}

Sculpt::Sculpt(const QMatrix4x4 &transform)
    : m_transform(transform)
{
}

void Sculpt::beginStroke(const QPoint &pixel, const CameraMatrices &matrices)
{
    m_layer = Global::currentLayer();
    beginEvent();
    m_touched = false;
    m_hit = false;
    if (!m_layer)
        return;
    m_sculptLayer = m_layer->data()->kind() == LayerKind::Sculpt;
    if (Global::mesh()->vertexCount() > 0)
        castPressRay(pixel, matrices);
    if (m_hit)
        placeBrushFrame();
    m_preparedBrush = effectiveBrush(Global::shiftHeld());
    Global::mesh()->fillZero(Semantic::kDeltas);
    if (!prepareBuffers(m_preparedBrush))
        m_preparedBrush = BrushType::None;
    m_lastMovePoint = m_hitPosition;
    Global::setCurrentBrush(int(m_preparedBrush));
}

void Sculpt::applyStroke(const QPoint &pixel, const CameraMatrices &matrices)
{
    const BrushType brush = effectiveBrush(false); // Shift has had its say at the press
    // A layer that is no longer the selected one may not even live any more.
    if (!m_layer || m_layer != Global::currentLayer() || brush == BrushType::None)
        return;
    if (brush != m_preparedBrush) { // a key chose another one during the stroke
        if (!prepareBuffers(brush))
            return;
        m_preparedBrush = brush;
        m_lastMovePoint.reset();
    }
    if (brush == BrushType::Move)
        move(pixel, matrices);
    else
        dab(brush, pixel, matrices);
    m_touched = true;
}

bool Sculpt::strokeTouched() const { return m_touched && isBrushing(); }

void Sculpt::endStroke()
{
    if (isBrushing())
        Global::mesh()->fillZero(Semantic::kFalloff);
    m_touched = false;
    m_layer = nullptr;
    m_surface = {};
}

bool Sculpt::isBrushing() const
{
    return m_layer && m_hit && Global::currentBrush() != int(BrushType::None);
}

ScreenRay Sculpt::ray(const QPoint &pixel, const CameraMatrices &matrices) const
{
    return transformed(screenRay(pixel, matrices), m_transform);
}

void Sculpt::castPressRay(const QPoint &pixel, const CameraMatrices &matrices)
{
    const ScreenRay mouse = ray(pixel, matrices);
    BrushData record;
    Global::mesh()->closestIntersection(mouse.nearPoint, mouse.farPoint, false, &record);
    m_hit = record.hitTriangle >= 0;
    if (!m_hit)
        return;
    m_hitPosition = record.hitPosition.toVector3D();
    m_hitNormal = record.hitNormal.toVector3D();
    m_direction = (mouse.nearPoint - mouse.farPoint).normalized();
    const QVector3D seenAt = m_transform.inverted().map(m_hitPosition);
    m_radius = worldRadius(float(Global::brushRadius()), seenAt, matrices);
}

// The area pass turns this frame's origin into the direction of the stroke: the y axis runs from it
// to the average under the brush.
void Sculpt::placeBrushFrame()
{
    const QVector3D aside =
        std::abs(m_direction.y()) < 0.9f ? QVector3D(0, 1, 0) : QVector3D(1, 0, 0);
    const QVector3D x = QVector3D::crossProduct(aside, m_direction).normalized();
    const QVector3D y = QVector3D::crossProduct(m_direction, x);
    std::array<QVector4D, 4> columns { QVector4D(x, 0), QVector4D(y, 0), QVector4D(m_direction, 0),
                                       QVector4D(m_hitPosition, 1) };
    Global::mesh()->upload(Semantic::kBrushMatrix, std::vector { columns });
}

BrushType Sculpt::effectiveBrush(bool shift) const
{
    const GPUMesh &mesh = *Global::mesh();
    StrokeConditions conditions;
    conditions.hit = m_hit;
    conditions.shift = shift;
    conditions.sculptLayer = m_sculptLayer;
    conditions.restPointsFit = int(mesh.restPoints().size()) == mesh.vertexCount();
    return strokeBrush(Global::currentBrush(), conditions);
}

bool Sculpt::prepareBuffers(BrushType brush)
{
    GPUMesh &mesh = *Global::mesh();
    switch (brush) {
    case BrushType::None:
        return true;
    case BrushType::Fix:
        return mesh.fill(Semantic::kOffsetPoints, mesh.revisedRestPoints());
    case BrushType::Erase:
        return mesh.fill(Semantic::kBackupPoints, m_layer->data()->revisedBasePoints()) &&
            mesh.fill(Semantic::kOffsetPoints, m_layer->data()->revisedOffsetPoints());
    case BrushType::Move:
        pickVertices();
        if (MainWindow::symmetry())
            m_falloff = mesh.readBack<float>(mirroredFalloff());
        return true;
    default:
        if (usesBrushArea(brush))
            mesh.computeArea(m_radius);
        return true;
    }
}

void Sculpt::pickVertices()
{
    GPUMesh &mesh = *Global::mesh();
    if (!MainWindow::bySurface())
        return mesh.pickVertices(m_radius);
    if (m_surface.empty())
        m_surface = mesh.readBack<QVector4D>(Semantic::kPosition);
    mesh.pickVerticesBySurface(m_radius, m_surface);
}

void Sculpt::move(const QPoint &pixel, const CameraMatrices &matrices)
{
    GPUMesh &mesh = *Global::mesh();
    if (MainWindow::symmetry())
        mesh.upload(mirroredFalloff(), m_falloff);
    mesh.sculpt(brushSettings(BrushType::Move, m_radius), moveVector(pixel, matrices));
}

void Sculpt::dab(BrushType brush, const QPoint &pixel, const CameraMatrices &matrices)
{
    GPUMesh &mesh = *Global::mesh();
    // The averages of these two are taken on the pose before the dab.
    if (brush == BrushType::Smooth || brush == BrushType::Fix)
        mesh.copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
    const ScreenRay mouse = ray(pixel, matrices);
    mesh.closestIntersection(mouse.nearPoint, mouse.farPoint, false);
    pickVertices();
    if (usesBrushArea(brush))
        mesh.computeArea(m_radius);
    mesh.sculpt(brushSettings(brush, m_radius), QVector3D());
}

// The hit point rides on a plane through it: perpendicular to the press ray, or with Control the
// plane of the picture. What it rode since the last call moves the vertices.
QVector3D Sculpt::moveVector(const QPoint &pixel, const CameraMatrices &matrices)
{
    const QVector3D facing =
        Global::controlHeld() ? m_transform.mapVector(viewDirection(matrices)) : m_direction;
    const std::optional<QVector3D> point = planeHit(ray(pixel, matrices), m_hitPosition, facing);
    if (!point)
        return {};
    const QVector3D displacement = *point - m_lastMovePoint.value_or(*point);
    m_lastMovePoint = point;
    return displacement;
}
