#pragma once

#include <cstdint>
#include <vector>

/// Triangles ready to draw: three floats a corner in `positions` and `normals`, which are of one
/// length, and three corner numbers a triangle, all in range.
struct ShapeMesh {
    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<std::uint32_t> indices;
};
