// Face lists that say anything give tables that agree with each other. The first byte is the number
// of vertices, the second of faces; then a byte a count and a byte a corner, both signed.
#include "Fuzz.h"
#include "layers/Topology.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    const auto *begin = reinterpret_cast<const std::int8_t *>(bytes) + 2;
    const auto *end = begin + (size - 2);
    const auto *split = begin + std::min<std::ptrdiff_t>(bytes[1], end - begin);
    const std::vector<qint32> counts(begin, split), indices(split, end);
    Topology topology;
    topology.build(bytes[0], indices, counts);
    fuzz::require(topology.validate());
    const PointArray points(std::size_t(topology.vertexCount()), QVector4D(1, 2, 3, 1));
    fuzz::require(topology.surfaceFalloff(int(bytes[1]), points, 2.0f).size() == points.size());
    return 0;
}
