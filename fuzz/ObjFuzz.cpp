// An OBJ text and, after a zero byte, a material library: whatever they say, a shape's corners are
// in range.
#include "Fuzz.h"
#include "shapes/ObjReader.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(bytes), size);
    const std::size_t split = std::min(text.find('\0'), size);
    parseMtl(text.substr(split));
    const ObjContent content = parseObj(text.substr(0, split));
    for (const ObjCorner &corner : content.corners)
        content.textureOf(corner);
    const ShapeMesh shape = buildShape(content);
    fuzz::requireWhole(shape);
    fuzz::require(shape.indices.size() % 3 == 0);
    return 0;
}
