#include "viewport/Viewport.h"

#include "app/Global.h"
#include "app/MainWindow.h"
#include "gpu/GPUMesh.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "layers/MaskCommand.h"
#include "layers/PointMath.h"
#include "layers/SculptCommand.h"
#include "layers/StrokeBrush.h"
#include "viewport/Log.h"
#include "viewport/MeshScope.h"
#include "viewport/PixelLine.h"

namespace {

// What the wipe writes over.
const std::array<QLatin1String, 4> kWipeBuffers { Semantic::kBackupPoints, Semantic::kDeltas,
                                                  Semantic::kBasePoints, Semantic::kOffsetPoints };

std::unique_ptr<Command> strokeCommand(Layer *layer)
{
    GPUMesh &mesh = *Global::mesh();
    if (paintsMask(BrushType(Global::currentBrush())))
        return std::make_unique<MaskCommand>(layer, mesh.readBack<float>(Semantic::kMask));
    PointArray deltas = mesh.readBack<QVector4D>(Semantic::kDeltas);
    // Smoothing a vertex without neighbours gives no number, which no undo could take back.
    for (QVector4D &delta : deltas) {
        if (!isFinitePoint(delta))
            delta = {};
    }
    return std::make_unique<SculptCommand>(layer, deltas);
}

}

void Viewport::beginStroke(const CameraMatrices &matrices)
{
    const MeshScope scope;
    if (!scope)
        return;
    m_mainTool.beginStroke(m_previousPosition, matrices);
    if (m_mainTool.hit())
        m_strokeHit = m_mainTool.hitPosition();
    if (MainWindow::symmetry())
        m_mirrorTool.beginStroke(m_previousPosition, matrices);
}

void Viewport::dragStroke(const QPoint &position, const CameraMatrices &matrices)
{
    const MeshScope scope;
    if (!scope)
        return;
    std::vector<QPoint> stamps { position };
    if (Global::currentBrush() != int(BrushType::Move)) {
        stamps = stampsAlong(pixelLine(m_previousPosition, position), stampSpacing(m_radiusAtPress),
                             m_lastStamp);
        m_previousPosition = position;
    }
    m_mainTool.beginEvent();
    m_mirrorTool.beginEvent();
    for (const QPoint &stamp : stamps)
        applyTools(stamp, matrices);
    Global::mesh()->updateNormals();
    if (!stamps.empty())
        Global::evaluateLayers(false);
}

void Viewport::applyTools(const QPoint &position, const CameraMatrices &matrices)
{
    m_mainTool.applyStroke(position, matrices);
    if (MainWindow::symmetry())
        m_mirrorTool.applyStroke(position, matrices);
}

void Viewport::finishStroke()
{
    const MeshScope scope;
    if (!scope)
        return;
    const Layer *strokeLayer = m_mainTool.layer();
    const bool touched = m_mainTool.strokeTouched() || m_mirrorTool.strokeTouched();
    m_mainTool.endStroke();
    m_mirrorTool.endStroke();
    if (!touched)
        return;
    Layer *layer = Global::currentLayer();
    if (!layer) {
        qCDebug(lcViewport).noquote() << "error applying command, selected layer is null";
        return;
    }
    if (layer != strokeLayer) // the mask shown is another layer's by now
        return;
    std::unique_ptr<Command> command = strokeCommand(layer);
    command->execute();
    Global::commands()->push(std::move(command));
}

void Viewport::beginCompare(const QPoint &eventPosition)
{
    const MeshScope scope;
    if (scope && Global::mesh()->vertexCount() > 0)
        keepImportedPose();
    splitAt(eventPosition.x());
}

// "basePoints" and "offsetPoints" take the imported pose and its normals, from which the compare
// draw shows its right half; "deltas" only holds the corrected normals for a moment.
void Viewport::keepImportedPose()
{
    GPUMesh &mesh = *Global::mesh();
    for (size_t i = 0; i < kWipeBuffers.size(); ++i)
        m_wipeBackup[i] = mesh.readBack<QVector4D>(kWipeBuffers[i]);
    mesh.copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
    mesh.copyBuffer(Semantic::kNormal, Semantic::kDeltas);
    mesh.upload(Semantic::kPosition, mesh.framePoints());
    mesh.updateNormals();
    mesh.copyBuffer(Semantic::kPosition, Semantic::kBasePoints);
    mesh.copyBuffer(Semantic::kNormal, Semantic::kOffsetPoints);
    mesh.copyBuffer(Semantic::kBackupPoints, Semantic::kPosition);
    mesh.copyBuffer(Semantic::kDeltas, Semantic::kNormal);
}

void Viewport::finishCompare()
{
    const MeshScope scope;
    for (size_t i = 0; i < kWipeBuffers.size(); ++i) {
        const PointArray kept = std::exchange(m_wipeBackup[i], {});
        if (scope && !kept.empty())
            Global::mesh()->upload(kWipeBuffers[i], kept);
    }
}

void Viewport::splitAt(int x) { Global::setCompareSplit(float(x) / float(width()) * 2.0f - 1.0f); }
