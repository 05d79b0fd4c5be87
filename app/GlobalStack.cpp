#include "app/Global.h"

// What the panels call of the stack; apart from Global.cpp, so that they link without the windows.
#include "alembic/AlembicFile.h"
#include "app/SceneChange.h"
#include "gpu/GPUMesh.h"
#include "gpu/LayerStack.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"
#include "viewport/Viewport.h"

#include <algorithm>

namespace {

void evaluateShownFrame()
{
    const Timeline &timeline = *Global::timeline();
    const int frame = timeline.currentFrame();
    std::vector<LayerData *> layers;
    for (Layer *layer : Global::layers())
        layers.push_back(layer->data());
    const PlayState play { timeline.playing(), frame == timeline.minFrame(),
                           timeline.frameSerial() };
    GPUMesh &mesh = *Global::mesh();
    evaluateStack(mesh, *Global::alembic(), layers,
                  { frame, timeline.framesPerSecond(), play, Global::globalEnvelope() });
    const Layer *selected = Global::currentLayer();
    showMask(mesh, selected ? selected->data() : nullptr);
}

} // namespace

Layer *Global::currentLayer()
{
    const auto selected = std::find_if(s_layers.begin(), s_layers.end(),
                                       [](Layer *layer) { return layer->data()->selected(); });
    return selected == s_layers.end() ? nullptr : *selected;
}

void Global::endInteractions()
{
    for (Viewport *view : { s_viewport, s_auxViewport })
        if (view)
            view->endInteraction();
}

void Global::evaluateLayers(bool full)
{
    if (full) {
        if (!s_alembic || !s_alembic->isValid())
            return;
        const SceneChange change(SceneChange::Shows::Nothing);
        for (Layer *layer : s_layers)
            layer->showFit();
    }
    if (full && s_mesh->vertexCount() > 0) {
        const MeshScope scope;
        if (scope)
            evaluateShownFrame();
    }
    for (Viewport *view : { s_viewport, s_auxViewport })
        if (view)
            view->update();
}

void Global::deleteLayer(Layer *layer)
{
    const auto found = std::find(s_layers.begin(), s_layers.end(), layer);
    if (found == s_layers.end())
        return;
    const SceneChange change; // a stroke on this layer becomes a command, which goes with it
    s_layers.erase(found);
    s_commands->dropCommandsOn(layer);
    layer->hide();
    layer->deleteLater(); // the layer's own key handler may be what asks
    if (!s_layers.empty())
        s_layers.back()->select();
    s_timeline->update();
}
