#include "gpu/BufferTable.h"

#include "gpu/GpuRecords.h"

using Use = BufferUsage;
using Type = ElementType;
using Count = ItemCount;

const std::array<BufferRow, 16> kBufferTable = { {
    { Semantic::kPosition, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kNormal, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kUv, Type::Float, 2, Use::Static, Count::Vertices },
    { Semantic::kMask, Type::Float, 1, Use::Dynamic, Count::Vertices },
    { Semantic::kTriangleVertices, Type::UInt, 1, Use::Static, Count::TriangleIndices },
    { Semantic::kRingVertices, Type::UInt, 1, Use::Static, Count::RingEntries },
    { Semantic::kDeltas, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kFalloff, Type::Float, 1, Use::Dynamic, Count::Vertices },
    { Semantic::kBackupPoints, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kBrush, Type::Brush, 1, Use::Dynamic, Count::One },
    { Semantic::kArea, Type::Area, 1, Use::Dynamic, Count::VertexGroups },
    { Semantic::kBrushMatrix, Type::Float, 16, Use::Dynamic, Count::One },
    { Semantic::kTriangleHit, Type::Hit, 1, Use::Dynamic, Count::TriangleGroups },
    { Semantic::kBasePoints, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kOffsetPoints, Type::Float, 4, Use::Dynamic, Count::Vertices },
    { Semantic::kConstraints, Type::UInt, 1, Use::Static, Count::ConstraintEntries },
} };

int elementSize(ElementType element)
{
    switch (element) {
    case ElementType::Brush:
        return sizeof(BrushData);
    case ElementType::Area:
        return sizeof(AreaData);
    case ElementType::Hit:
        return sizeof(HIT);
    case ElementType::Float:
    case ElementType::Scalar:
    case ElementType::UInt:
        break;
    }
    return 4;
}

int secondPassGroupCount(int items)
{
    // In integers: a float no longer holds every count above 2^24, and one item lost there is a
    // triangle that cannot be picked.
    constexpr long long kPerGroup = 1LL * kGroupSize * kGroupSize;
    return int((items + kPerGroup - 1) / kPerGroup);
}
