#include "gpu/BufferTable.h"

#include "gpu/BrushType.h"
#include "gpu/GpuRecords.h"
#include "shaders/computeShaders/common/bindings.glsl"
#include "shaders/computeShaders/common/brushes.glsl"

using Use = BufferUsage;
using Type = ElementType;
using Count = ItemCount;

constexpr std::array<BufferRow, 16> kBufferTable = { {
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

// The numbers that the kernels share with us.
namespace {

constexpr bool isRow(size_t binding, QLatin1String semantic)
{
    return kBufferTable[binding].semantic.data() == semantic.data();
}

static_assert(isRow(POSITION_BINDING, Semantic::kPosition));
static_assert(isRow(NORMAL_BINDING, Semantic::kNormal));
static_assert(isRow(UV_BINDING, Semantic::kUv));
static_assert(isRow(MASK_BINDING, Semantic::kMask));
static_assert(isRow(TRIANGLE_VERTICES_BINDING, Semantic::kTriangleVertices));
static_assert(isRow(RING_VERTICES_BINDING, Semantic::kRingVertices));
static_assert(isRow(DELTAS_BINDING, Semantic::kDeltas));
static_assert(isRow(FALLOFF_BINDING, Semantic::kFalloff));
static_assert(isRow(BACKUP_POINTS_BINDING, Semantic::kBackupPoints));
static_assert(isRow(BRUSH_BINDING, Semantic::kBrush));
static_assert(isRow(AREA_BINDING, Semantic::kArea));
static_assert(isRow(BRUSH_MATRIX_BINDING, Semantic::kBrushMatrix));
static_assert(isRow(TRIANGLE_HIT_BINDING, Semantic::kTriangleHit));
static_assert(isRow(BASE_POINTS_BINDING, Semantic::kBasePoints));
static_assert(isRow(OFFSET_POINTS_BINDING, Semantic::kOffsetPoints));
static_assert(isRow(CONSTRAINTS_BINDING, Semantic::kConstraints));
static_assert(GROUP_SIZE == kGroupSize);

static_assert(int(BrushType::Clay) == CLAY && int(BrushType::Move) == MOVE &&
              int(BrushType::Standard) == STANDARD && int(BrushType::Crease) == CREASE &&
              int(BrushType::Inflate) == INFLATE && int(BrushType::Fix) == FIX &&
              int(BrushType::Flatten) == FLATTEN && int(BrushType::Erase) == ERASE &&
              int(BrushType::Mask) == MASK && int(BrushType::MaskSmooth) == MASK_SMOOTH &&
              int(BrushType::Smooth) == SMOOTH);

static_assert(groupCount(0) == 1 && groupCount(1024) == 2);
static_assert(secondPassGroupCount(0) == 0 && secondPassGroupCount(1 << 20) == 1 &&
              secondPassGroupCount((1 << 20) + 1) == 2 &&
              secondPassGroupCount((1 << 24) + 1) == 17);

} // namespace

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
