// A shape cache of any bytes gives nothing, or a shape whose corners are in range.
#include "Fuzz.h"
#include "shapes/ShapeCache.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    fuzz::silence();
    const auto shape = readShapeCache(fuzz::MemoryFile(bytes, size).path());
    if (!shape)
        return 0;
    fuzz::require(shape->positions.size() == shape->normals.size());
    fuzz::require(
        std::all_of(shape->indices.begin(), shape->indices.end(), [&](std::uint32_t index) {
            return 3 * std::size_t(index) < shape->positions.size();
        }));
    return 0;
}
