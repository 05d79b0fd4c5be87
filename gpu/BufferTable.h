#pragma once

#include <QLatin1String>

#include <array>

/// The sixteen storage buffers. A row's index is its binding point in every kernel
/// (shaders/computeShaders/common/bindings.glsl; the compiler compares).
namespace Semantic {
/// The constructor from a plain text is a constant expression for one of our compilers only.
template <int Size> constexpr QLatin1String literal(const char (&text)[Size])
{
    return QLatin1String(text, Size - 1);
}
inline constexpr QLatin1String kPosition = literal("position");
inline constexpr QLatin1String kNormal = literal("normal");
inline constexpr QLatin1String kUv = literal("uv");
inline constexpr QLatin1String kMask = literal("mask");
inline constexpr QLatin1String kTriangleVertices = literal("triangleVertices");
inline constexpr QLatin1String kRingVertices = literal("ringVertices");
inline constexpr QLatin1String kDeltas = literal("deltas");
inline constexpr QLatin1String kFalloff = literal("falloff");
inline constexpr QLatin1String kBackupPoints = literal("backupPoints");
inline constexpr QLatin1String kBrush = literal("brush");
inline constexpr QLatin1String kArea = literal("area");
inline constexpr QLatin1String kBrushMatrix = literal("brushMatrix");
inline constexpr QLatin1String kTriangleHit = literal("triangleHit");
inline constexpr QLatin1String kBasePoints = literal("basePoints");
inline constexpr QLatin1String kOffsetPoints = literal("offsetPoints");
inline constexpr QLatin1String kConstraints = literal("constraints");
}

enum class ElementType : int { Float = 0, Scalar = 1, UInt = 2, Brush = 3, Area = 4, Hit = 5 };

/// What a buffer has one item for.
enum class ItemCount {
    Vertices,
    TriangleIndices,
    RingEntries,
    ConstraintEntries,
    One,
    VertexGroups,
    TriangleGroups
};

enum class BufferUsage { Static, Dynamic };

struct BufferRow {
    QLatin1String semantic;
    ElementType element;
    int components; ///< elements per item
    BufferUsage usage;
    ItemCount count;
};

extern const std::array<BufferRow, 16> kBufferTable;

constexpr int kGroupSize = 1024; ///< invocations of one work group, in every kernel

/// Bytes of one element: 4 for scalars, 76, 32 and 8 for the records.
int elementSize(ElementType element);

/// Always one group more than the items fill: kernels return early past the end, and an empty mesh
/// still dispatches once, so no pass needs a special case for it.
constexpr int groupCount(int items) { return items / kGroupSize + 1; }

/// Groups of a reduction's second pass: ceil(n / 2^20). In integers: a float no longer holds every
/// count above 2^24, and one item lost there is a triangle that cannot be picked.
constexpr int secondPassGroupCount(int items)
{
    constexpr long long kPerGroup = 1LL * kGroupSize * kGroupSize;
    return int((items + kPerGroup - 1) / kPerGroup);
}
