#include "bake/VertexNormals.h"

#include <algorithm>
#include <cstddef>

namespace {

using Imath::V3d;
using Imath::V3f;

void addCorners(const std::vector<V3f> &points, const std::int32_t *face, std::int32_t count,
                std::vector<V3d> &sums)
{
    for (std::int32_t i = 0; i < count; ++i) {
        const V3d here(points[std::size_t(face[i])]);
        const V3d before(points[std::size_t(face[(i + count - 1) % count])]);
        const V3d after(points[std::size_t(face[(i + 1) % count])]);
        const V3d normal =
            (before - here).normalized().cross((after - here).normalized()).normalized();
        sums[std::size_t(face[i])] += normal;
    }
}

} // namespace

std::vector<V3f> vertexNormals(const std::vector<V3f> &points,
                               const std::vector<std::int32_t> &faceIndices,
                               const std::vector<std::int32_t> &faceCounts)
{
    std::vector<V3d> sums(points.size(), V3d(0.0));
    const auto inRange = [&points](std::int32_t index) {
        return index >= 0 && std::size_t(index) < points.size();
    };
    std::size_t first = 0;
    for (const std::int32_t count : faceCounts) {
        if (count < 0 || std::size_t(count) > faceIndices.size() - first)
            break;
        const std::int32_t *face = faceIndices.data() + first;
        if (count >= 3 && std::all_of(face, face + count, inRange))
            addCorners(points, face, count, sums);
        first += std::size_t(count);
    }
    std::vector<V3f> normals(points.size());
    std::transform(sums.begin(), sums.end(), normals.begin(),
                   [](const V3d &sum) { return V3f(sum.normalized()); });
    return normals;
}
