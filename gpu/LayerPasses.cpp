#include "gpu/LayerPasses.h"

#include "gpu/GPUMesh.h"
#include "gpu/Log.h"
#include "layers/LayerData.h"

#include <algorithm>
#include <cmath>

namespace {
bool hasPointsFor(const LayerData &layer, const GPUMesh &mesh)
{
    const auto count = size_t(mesh.vertexCount());
    return layer.revisedBasePoints().size() == count && layer.revisedOffsetPoints().size() == count;
}

QString passedOver(const LayerData &layer, const QString &reason)
{
    return QStringLiteral("layer %1 is passed over, %2").arg(layer.name(), reason);
}

/// False for a layer that cannot be applied to this mesh; a debug line says so when that begins and
/// when the reason changes, not at each frame.
bool canApply(LayerData &layer, float weight, const GPUMesh &mesh)
{
    const bool needsPoints = layer.kind() == LayerKind::Sculpt || layer.kind() == LayerKind::Mush;
    if (needsPoints && layer.revisedBasePoints().empty() && layer.revisedOffsetPoints().empty())
        return false; // made before there was a mesh, and about to be filled from this one
    QString reason;
    if (!std::isfinite(weight)) // out of a damaged scene file; it would take the whole mesh away
        reason = QStringLiteral("its weight is not a number");
    else if (layerKindName(layer.kind()).isEmpty())
        reason = QStringLiteral("unknown kind %1").arg(int(layer.kind()));
    else if (needsPoints && !hasPointsFor(layer, mesh))
        reason = QStringLiteral("its points do not fit the mesh");
    if (!reason.isEmpty() && reason != layer.passedOverReason())
        qCDebug(lcGpu).noquote() << passedOver(layer, reason);
    layer.passedOverReason() = reason;
    return reason.isEmpty();
}

void fillMask(GPUMesh &mesh, const LayerData &layer)
{
    if (!mesh.fill(Semantic::kMask, layer.revisedMask()))
        mesh.fillZero(Semantic::kMask);
}

void applySculpt(GPUMesh &mesh, const LayerData &layer, float weight)
{
    mesh.fill(Semantic::kBasePoints, layer.revisedBasePoints());
    mesh.fill(Semantic::kOffsetPoints, layer.revisedOffsetPoints());
    // A layer turned inside out has no shape to force, so cloning never gets a negative intensity.
    mesh.addDeltas(layer.tangent(), weight, layer.cloneIterations(), std::max(weight, 0.0f));
}

/// The state that the step of this frame begins from: the last frame's, or the same as before where
/// the frame is evaluated again.
JiggleStep &beginJiggleStep(GPUMesh &mesh, LayerData &layer, const PlayState &play)
{
    JiggleStep &step = layer.jiggleStep();
    const auto count = size_t(mesh.vertexCount());
    if (step.frameSerial != play.frameSerial) {
        step.previousPoints = layer.revisedBasePoints();
        step.currentPoints = layer.revisedOffsetPoints();
        step.frameSerial = play.frameSerial;
    }
    const bool fits = step.previousPoints.size() == count && step.currentPoints.size() == count;
    if (play.atStartFrame || !fits)
        step.previousPoints = step.currentPoints = mesh.keep(Semantic::kPosition);
    return step;
}

void applyJiggle(GPUMesh &mesh, LayerData &layer, float weight, const PlayState &play)
{
    const JiggleStep &step = beginJiggleStep(mesh, layer, play);
    mesh.fill(Semantic::kBasePoints, step.previousPoints);
    mesh.fill(Semantic::kDeltas, step.currentPoints);
    if (layer.asMuscle() > 0.0f)
        mesh.updateNormals();
    // The shape whose integrity is kept is the one that comes in; without this the clone would take
    // whatever an earlier layer left there, and playing twice could give two results.
    if (layer.cloneIterations() > 0)
        mesh.copyBuffer(Semantic::kPosition, Semantic::kOffsetPoints);
    mesh.jiggle(weight, layer.damping(), layer.stiffness(), layer.asMuscle(),
                layer.cloneIterations());
    layer.setBasePoints(mesh.keep(Semantic::kBasePoints));
    layer.setOffsetPoints(mesh.keep(Semantic::kDeltas));
}
} // namespace

void applyLayer(GPUMesh &mesh, LayerData &layer, float weight, const PlayState &play)
{
    // Exactly zero, deliberately: a tolerance would make a slowly fading layer jump.
    if (weight == 0.0f || !canApply(layer, weight, mesh))
        return;
    if (layer.kind() == LayerKind::Jiggle && !play.playing)
        return;

    fillMask(mesh, layer);
    switch (layer.kind()) {
    case LayerKind::Sculpt:
        return applySculpt(mesh, layer, weight);
    case LayerKind::Mush:
        return mesh.mush(layer.iterations(), layer.cloneIterations(), weight,
                         layer.revisedBasePoints(), layer.revisedOffsetPoints());
    case LayerKind::Relax:
        return mesh.relax(layer.iterations(), weight, true, layer.tangent());
    case LayerKind::Jiggle:
        return applyJiggle(mesh, layer, weight, play);
    case LayerKind::Cloth:
        return mesh.cloth(layer.iterations(), weight);
    }
}

void showMask(GPUMesh &mesh, const LayerData *layer)
{
    if (layer)
        fillMask(mesh, *layer);
    else
        mesh.fillZero(Semantic::kMask);
}

void rebuildMushBase(GPUMesh &mesh, LayerData &layer)
{
    if (int(layer.revisedOffsetPoints().size()) != mesh.vertexCount()) {
        qCDebug(lcGpu).noquote() << passedOver(layer,
                                               QStringLiteral("its points do not fit the mesh"));
        return;
    }
    mesh.copyBuffer(Semantic::kPosition, Semantic::kNormal);
    mesh.fill(Semantic::kPosition, layer.revisedOffsetPoints());
    mesh.relax(layer.iterations(), 1.0f, false, false);
    PointArray relaxed = mesh.readBack<QVector4D>(Semantic::kPosition);
    mesh.copyBuffer(Semantic::kNormal, Semantic::kPosition);
    if (relaxed.size() == layer.revisedOffsetPoints().size()) // not so without OpenGL 4.3
        layer.setBasePoints(std::move(relaxed));
}
