#include "viewport/Viewport.h"

#include "app/Global.h"
#include "gpu/GPUMesh.h"
#include "layers/PointMath.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"

#include <QKeyEvent>

namespace {

struct BrushKey {
    Qt::Key key;
    BrushType brush;
};

constexpr BrushKey kBrushKeys[] = {
    { Qt::Key_Q, BrushType::Clay },   { Qt::Key_W, BrushType::Move },
    { Qt::Key_E, BrushType::Crease }, { Qt::Key_R, BrushType::Inflate },
    { Qt::Key_T, BrushType::Fix },    { Qt::Key_Y, BrushType::Flatten },
    { Qt::Key_U, BrushType::Mask },
};

}

void Viewport::keyPressEvent(QKeyEvent *event)
{
    event->accept();
    if (event->isAutoRepeat())
        return;
    // Each test stands alone, deliberately: Ctrl+Y redoes and selects the flatten brush.
    handleCommandKey(event->key(), event->modifiers());
    handleBrushKey(event->key());
}

void Viewport::handleCommandKey(int key, Qt::KeyboardModifiers modifiers)
{
    const bool control = modifiers.testFlag(Qt::ControlModifier);
    if (control && key == Qt::Key_Z)
        emit undoRequested();
    if (control && key == Qt::Key_Y)
        emit redoRequested();
    if (key == Qt::Key_F && modifiers.testFlag(Qt::ShiftModifier)) {
        m_wireframe = !m_wireframe;
        Global::evaluateLayers(false);
    } else if (key == Qt::Key_F) {
        if (m_kind == ViewKind::Camera)
            m_camera.resetPicture();
        else
            frameMesh();
        Global::evaluateLayers(false);
    }
    if (key == Qt::Key_Left)
        Global::timeline()->previousFrame();
    if (key == Qt::Key_Right)
        Global::timeline()->nextFrame();
}

void Viewport::handleBrushKey(int key)
{
    for (const BrushKey &row : kBrushKeys) {
        if (row.key == key && Global::currentBrush() != int(row.brush)) {
            Global::setCurrentBrush(int(row.brush));
            emit brushChanged(int(row.brush));
        }
    }
}

void Viewport::frameMesh()
{
    const MeshScope scope;
    if (!scope)
        return;
    const PointArray points = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    if (const std::optional<PointBounds> bounds = boundsOf(points))
        m_camera.frameBox(bounds->low, bounds->high);
}
