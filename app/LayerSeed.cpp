#include "app/LayerSeed.h"

#include "app/Global.h"
#include "gpu/GPUMesh.h"
#include "gpu/LayerPasses.h"
#include "layers/Layer.h"
#include "viewport/MeshScope.h"

namespace {

void seedMush(LayerData &layer)
{
    layer.setBasePoints(Global::mesh()->restPoints());
    layer.setOffsetPoints(Global::mesh()->restPoints());
    if (layer.iterations() == 0 || layer.offsetPoints().empty())
        return;
    if (const MeshScope scope; scope)
        rebuildMushBase(*Global::mesh(), layer);
}

bool seedEmpty(bool sculpts)
{
    bool seeded = false;
    for (Layer *layer : Global::layers()) {
        LayerData &data = *layer->data();
        if ((data.kind() == LayerKind::Sculpt) != sculpts || !data.basePoints().empty() ||
            !data.offsetPoints().empty())
            continue;
        seedPoints(data);
        seeded = seeded || !data.basePoints().empty();
    }
    return seeded;
}

} // namespace

void seedPoints(LayerData &layer)
{
    switch (layer.kind()) {
    case LayerKind::Sculpt:
        if (const MeshScope scope; scope) {
            layer.setBasePoints(Global::mesh()->readBack<QVector4D>(Semantic::kPosition));
            layer.setOffsetPoints(layer.basePoints());
        }
        return;
    case LayerKind::Mush:
        return seedMush(layer);
    case LayerKind::Cloth:
        return layer.setBasePoints(Global::mesh()->restPoints());
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
