#pragma once

#include "gpu/BrushType.h"

/// What decides which brush a stroke is done with.
struct StrokeConditions {
    bool hit = false; ///< the press met the mesh
    bool shift = false;
    bool sculptLayer = false; ///< the layer's kind is Sculpt
    bool restPointsFit = false; ///< one reference point per vertex is stored
};

/// Shift smooths (the mask with the mask brush, the surface with any other); without a hit, where
/// the layer's kind forbids it, or where the clone brush has no reference, the brush is None.
/// Numbers outside the table count as None.
BrushType strokeBrush(int currentBrush, const StrokeConditions &conditions);

/// The brushes that paint a layer's mask, and so work on layers of every kind.
bool paintsMask(BrushType brush);

/// Whether a dab of this brush averages the area under it for the brush frame.
bool usesBrushArea(BrushType brush);
