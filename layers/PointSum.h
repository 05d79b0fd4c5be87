#pragma once

#include "layers/LayerData.h"

/// points += deltas × factor, all four components. False, and nothing changed, when the counts
/// differ.
bool addScaled(PointArray &points, const PointArray &deltas, float factor);
