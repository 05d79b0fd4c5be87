// A shape cache of any bytes gives nothing, or a shape whose corners are in range.
#include "Fuzz.h"
#include "shapes/ShapeCache.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (const auto shape = readShapeCache(fuzz::MemoryFile(bytes, size).path()))
        fuzz::requireWhole(*shape);
    return 0;
}
