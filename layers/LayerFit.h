#pragma once

#include <QString>

#include <optional>

class LayerData;

/// How many points a layer was made for, where that is not the mesh's count and so keeps it from
/// taking effect; nothing for a layer that fits. Every layer fits while there is no mesh. A Jiggle
/// layer's points never count, as it takes them anew, nor does a mask that was never painted.
std::optional<int> pointsMadeFor(const LayerData &layer, int vertexCount);

/// "made for 12,053 points, this mesh has 24".
QString misfitText(int madeFor, int vertexCount);
