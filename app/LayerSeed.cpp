#include "app/LayerSeed.h"

#include "app/Global.h"
#include "gpu/GPUMesh.h"
#include "gpu/LayerPasses.h"
#include "layers/Layer.h"
#include "viewport/MeshScope.h"

namespace {

void seedMush(LayerData &layer)
{
    layer.setBasePoints(Global::mesh()->revisedRestPoints());
    layer.setOffsetPoints(Global::mesh()->revisedRestPoints());
    if (layer.iterations() == 0 || layer.revisedOffsetPoints().empty())
        return;
    if (const MeshScope scope; scope)
        rebuildMushBase(*Global::mesh(), layer);
}

bool seedEmpty(bool sculpts)
{
    bool seeded = false;
    for (Layer *layer : Global::layers()) {
        LayerData &data = *layer->data();
        if ((data.kind() == LayerKind::Sculpt) != sculpts || !data.revisedBasePoints().empty() ||
            !data.revisedOffsetPoints().empty())
            continue;
        seedPoints(data);
        seeded = seeded || !data.revisedBasePoints().empty();
    }
    return seeded;
}

} // namespace

void seedPoints(LayerData &layer)
{
    switch (layer.kind()) {
    case LayerKind::Sculpt:
        if (const MeshScope scope; scope) {
            const RevisedPoints pose = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
            layer.setBasePoints(pose);
            layer.setOffsetPoints(pose);
        }
        return;
    case LayerKind::Mush:
        return seedMush(layer);
    case LayerKind::Cloth:
        return layer.setBasePoints(Global::mesh()->revisedRestPoints());
    case LayerKind::Relax:
    case LayerKind::Jiggle: // fills its points at its first evaluation
        return;
    }
}

void seedEmptyLayers()
{
    // A sculpt is made against the pose that the other layers give.
    for (const bool sculpts : { false, true })
        if (seedEmpty(sculpts))
            Global::evaluateLayers(true);
}
