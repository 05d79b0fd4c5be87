#pragma once

#include <QtGlobal>

class GPUMesh;
class LayerData;

/// Where playback stands, for the layer kinds that depend on it.
struct PlayState {
    bool playing = false;
    bool atStartFrame = false; ///< the current frame is the timeline's minimum
    /// Another number for each frame shown: a simulation steps once a frame, however often that
    /// frame is evaluated.
    quint64 frameSerial = 0;
};

/// Runs one layer's GPU pass on "position" with the mesh bound; the weight is key envelope ×
/// intensity × global envelope. A weight of exactly 0 runs nothing and uploads nothing; every other
/// weight, however small or negative, is applied. A mask that does not have one entry per vertex
/// counts as zeros; a Sculpt or Mush layer whose points do not fit is passed over with a debug
/// line. Only a Jiggle layer's data changes.
void applyLayer(GPUMesh &mesh, LayerData &layer, float weight, const PlayState &play);

/// The mask overlay: the layer's mask, or zeros where its length does not fit or `layer` is null.
void showMask(GPUMesh &mesh, const LayerData *layer);

/// The Mush layer's basePoints for its iterations: its offsetPoints relaxed on the graphics card.
/// "position" and "normal" are as before afterwards, except that "normal" holds the positions.
void rebuildMushBase(GPUMesh &mesh, LayerData &layer);
