#pragma once

#include <Imath/ImathVec.h>

#include <cstdint>
#include <vector>

/// Unit normals of a mesh's points, as the program shades them: the sum of the unit normals of the
/// face corners around each, every corner counting the same. Faces wind clockwise seen from
/// outside, as archives have it; those with corners out of range are passed over. Zero where no
/// corner has a normal.
std::vector<Imath::V3f> vertexNormals(const std::vector<Imath::V3f> &points,
                                      const std::vector<std::int32_t> &faceIndices,
                                      const std::vector<std::int32_t> &faceCounts);
