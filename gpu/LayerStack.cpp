#include "gpu/LayerStack.h"

#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "layers/Envelope.h"
#include "layers/LayerData.h"

void evaluateStack(GPUMesh &mesh, const AlembicFile &archive,
                   const std::vector<LayerData *> &layers, const StackFrame &at)
{
    ++gpuCounters().evaluations;
    mesh.loadFrame(at.frame, at.framesPerSecond, archive);
    for (LayerData *layer : layers) {
        if (!at.play.playing)
            layer->bringHome(); // a stopped simulation's state is the layer's own again
        const float weight = layerWeight(layer->keys(), at.frame, at.framesPerSecond) *
            layer->intensity() * at.envelope;
        applyLayer(mesh, *layer, weight, at.play);
    }
    mesh.updateNormals();
}
