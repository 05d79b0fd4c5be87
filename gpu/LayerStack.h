#pragma once

#include "gpu/LayerPasses.h"

#include <vector>

class AlembicFile;

/// Where in the shot, and how strongly, the stack is applied.
struct StackFrame {
    int frame = 0;
    double framesPerSecond = 24.0;
    PlayState play;
    float envelope = 1.0f; ///< multiplies every layer's weight
};

/// One frame of the shot with the mesh bound: the archive's points go into "position", every layer
/// is applied in list order (bottom first), "normal" follows. The window and whatever bakes without
/// one display the same points because both come from here. Only Jiggle layers' data change.
void evaluateStack(GPUMesh &mesh, const AlembicFile &archive,
                   const std::vector<LayerData *> &layers, const StackFrame &at);
