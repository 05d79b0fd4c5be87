#pragma once

class LayerData;

/// What a layer of its kind starts from on the shown mesh: Sculpt from the displayed pose, Mush and
/// Cloth from the rest pose, the others from nothing. Without a mesh the arrays stay empty.
void seedPoints(LayerData &layer);

/// Gives the layers that were made before there was a mesh what they would be made with now, and
/// evaluates where there were any. Call when the mesh shows.
void seedEmptyLayers();
