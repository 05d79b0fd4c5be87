#include "viewport/Viewport.h"

#include "app/Global.h"
#include "gpu/GPUMesh.h"
#include "layers/Layer.h"
#include "layers/LayerFit.h"
#include "viewport/CompareSplit.h"
#include "viewport/MeshScope.h"
#include "viewport/StrengthLabel.h"
#include "viewport/UIDrawManager.h"

#include <QMouseEvent>
#include <QTabletEvent>

#include <utility>

namespace {

bool losesRelease(QEvent::Type type)
{
    return type == QEvent::FocusOut || type == QEvent::WindowDeactivate || type == QEvent::Hide;
}

/// What a stroke paints must fit the mesh, or it would show while dragging and vanish at release.
bool takesStrokes(const Layer *layer)
{
    return layer && !pointsMadeFor(*layer->data(), Global::mesh()->vertexCount());
}

QString viewTip(ViewKind kind)
{
    const QString camera = kind == ViewKind::Perspective
        ? QStringLiteral("Alt: left tumbles, middle pans, right dollies; F frames")
        : QStringLiteral("Alt: middle moves the picture, right zooms it; F resets it");
    return QStringLiteral("Left paints; Shift smooths, Control inverts\n"
                          "Middle drag: radius %1; with Shift: strength %2\n"
                          "Right drag: light; Control and Shift: before and after\n")
               .arg(Global::brushRadius())
               .arg(strengthLabel(Global::brushStrength())) +
        camera;
}

bool showsOverlay(InteractionMode mode)
{
    return mode == InteractionMode::BrushRadius || mode == InteractionMode::BrushStrength ||
        mode == InteractionMode::Compare;
}

}

bool Viewport::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip)
        setToolTip(viewTip(m_kind));
    // Another window takes the keyboard in the middle of a drag: the release may never come here.
    if (m_dragButton != Qt::NoButton && losesRelease(event->type()))
        finishDrag();
    return QOpenGLWidget::event(event);
}

void Viewport::mousePressEvent(QMouseEvent *event)
{
    event->ignore();
    if (m_dragButton != Qt::NoButton) {
        if (event->buttons() != event->button())
            return; // one more button during a drag: the mode stays
        finishDrag(); // of which the release was swallowed
    }
    m_dragButton = event->button();
    m_savedBrush = Global::currentBrush();
    m_radiusAtPress = Global::brushRadius();
    m_previousPosition = m_lastStamp = fromBottom(event->pos());
    Global::setShiftHeld(event->modifiers().testFlag(Qt::ShiftModifier));
    Global::setControlHeld(event->modifiers().testFlag(Qt::ControlModifier));
    m_mode = chooseMode(event->buttons(), event->modifiers(), takesStrokes(Global::currentLayer()));
    beginMode(event->pos(), matrices());
    Global::evaluateLayers(false);
}

void Viewport::beginMode(const QPoint &eventPosition, const CameraMatrices &matrices)
{
    switch (m_mode) {
    case InteractionMode::None:
        break;
    case InteractionMode::BrushRadius:
        beginOverlay(OverlayMode::Radius, eventPosition);
        break;
    case InteractionMode::BrushStrength:
        beginOverlay(OverlayMode::Strength, eventPosition);
        break;
    case InteractionMode::Stroke:
        beginStroke(matrices);
        break;
    case InteractionMode::Navigate:
        m_camera.beginDrag(m_previousPosition.x(), m_previousPosition.y());
        break;
    case InteractionMode::Light:
        aimLight(m_previousPosition, matrices);
        break;
    case InteractionMode::Compare:
        beginOverlay(OverlayMode::Compare, eventPosition);
        beginCompare(eventPosition);
        break;
    }
}

void Viewport::mouseMoveEvent(QMouseEvent *event)
{
    event->ignore();
    if (m_dragButton != Qt::NoButton && event->buttons() == Qt::NoButton)
        finishDrag();
    const QPoint position = fromBottom(event->pos());
    switch (m_mode) {
    case InteractionMode::None:
        return;
    case InteractionMode::BrushRadius:
    case InteractionMode::BrushStrength:
        dragOverlay(event->pos());
        return;
    case InteractionMode::Stroke:
        dragStroke(position, matrices());
        return;
    case InteractionMode::Navigate:
        navigate(position, event->buttons());
        break;
    case InteractionMode::Light:
        aimLight(position, matrices());
        break;
    case InteractionMode::Compare:
        dragOverlay(event->pos());
        splitAt(event->pos().x());
        break;
    }
    Global::evaluateLayers(false);
}

void Viewport::mouseReleaseEvent(QMouseEvent *event)
{
    event->ignore();
    // Buttons that joined a drag may go before it ends; a camera drag lasts until the last one
    // goes.
    const bool joined = event->button() != m_dragButton || m_mode == InteractionMode::Navigate;
    if (m_dragButton != Qt::NoButton && joined && event->buttons() != Qt::NoButton)
        return;
    finishDrag();
}

void Viewport::tabletEvent(QTabletEvent *event)
{
    // A pen that only hovers presses with nothing, and must not leave a mouse without pressure.
    const bool hovers = event->type() == QEvent::TabletMove && event->buttons() == Qt::NoButton &&
        event->pressure() == 0.0;
    if (!hovers)
        Global::setTabletPressure(float(event->pressure()));
    event->ignore(); // so that the mouse events that carry the stroke follow
}

QPoint Viewport::fromBottom(const QPoint &position) const
{
    return { position.x(), height() - position.y() };
}

void Viewport::beginOverlay(OverlayMode mode, const QPoint &eventPosition)
{
    m_overlay->setMode(mode);
    m_overlay->setPosition(eventPosition);
}

void Viewport::dragOverlay(const QPoint &eventPosition)
{
    m_overlay->drag(eventPosition);
    m_overlay->update();
}

void Viewport::navigate(const QPoint &position, Qt::MouseButtons buttons)
{
    const DragKind kind = navigationKind(buttons);
    if (m_kind == ViewKind::Perspective)
        m_camera.orbitDrag(position.x(), position.y(), kind);
    else
        m_camera.pictureDrag(position.x(), position.y(), kind);
}

void Viewport::aimLight(const QPoint &position, const CameraMatrices &matrices)
{
    if (Global::controlHeld()) {
        m_lightDirection = { 0, 0, 1 };
        return;
    }
    const MeshScope scope;
    if (!scope || Global::mesh()->vertexCount() == 0)
        return;
    const ScreenRay mouse = screenRay(position, matrices);
    BrushData record;
    Global::mesh()->closestIntersection(mouse.nearPoint, mouse.farPoint, false, &record);
    if (record.hitTriangle >= 0) // rotated only: a point near the origin gives a weak light
        m_lightDirection = matrices.view.mapVector(record.hitPosition.toVector3D());
}

void Viewport::finishDrag()
{
    const bool pressedHere = m_dragButton != Qt::NoButton;
    // Only a stroke leaves a layer, or buffers that an evaluation fills, changed.
    const bool full = m_mode == InteractionMode::Stroke;
    endMode();
    Global::evaluateLayers(full);
    Global::setTabletPressure(1.0f);
    if (pressedHere)
        restoreBrushAndSplit();
}

void Viewport::endInteraction()
{
    if (m_mode != InteractionMode::Stroke && m_mode != InteractionMode::Compare)
        return;
    endMode();
    Global::setTabletPressure(1.0f);
    restoreBrushAndSplit();
}

void Viewport::endMode()
{
    // The mode goes first, so that whatever runs in here finds no interaction to end.
    const InteractionMode mode = std::exchange(m_mode, InteractionMode::None);
    m_dragButton = Qt::NoButton;
    if (mode == InteractionMode::Stroke)
        finishStroke();
    else if (mode == InteractionMode::Compare)
        finishCompare();
    if (showsOverlay(mode)) {
        m_overlay->conceal();
        m_overlay->update();
    }
}

void Viewport::restoreBrushAndSplit()
{
    const bool changed = Global::currentBrush() != m_savedBrush;
    Global::setCurrentBrush(m_savedBrush);
    Global::setCompareSplit(CompareSplit::kOff);
    if (changed)
        emit brushChanged(m_savedBrush);
}
