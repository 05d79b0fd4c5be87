#pragma once

#include "layers/LayerData.h"

#include <Imath/ImathMatrix.h>

#include <optional>
#include <vector>

/// The inverse of a world matrix; nothing for a singular one.
std::optional<Imath::M44d> inverseOf(const Imath::M44d &world);

/// Displayed world-space points brought back into a mesh's own space, in double precision. `points`
/// holds the mesh's own points of the frame; those of vertices that are displayed where they were
/// imported stay to the last bit.
void toMeshSpace(const QVector4D *imported, const QVector4D *displayed, const Imath::M44d &inverse,
                 std::vector<Imath::V3f> &points);
