#include "gpu/BufferTable.h"
#include "gpu/BrushType.h"
#include "shaders/computeShaders/common/bindings.glsl"

#include <QtTest>

namespace brushes {
// The defines would swallow the enumerators' names, so they are taken over as constants first.
#include "shaders/computeShaders/common/brushes.glsl"
constexpr int kNumbers[] = { CLAY,    MOVE,  STANDARD, CREASE,      INFLATE, FIX,
                             FLATTEN, ERASE, MASK,     MASK_SMOOTH, SMOOTH };
}

/// The numbers that C++ and GLSL share.
class BufferTableTest : public QObject {
    Q_OBJECT

private slots:
    void bindingsAreTheRows();
    void brushNumbersAgree();
    void groupCounts();
};

void BufferTableTest::bindingsAreTheRows()
{
    const std::pair<QLatin1String, int> bindings[] = {
        { Semantic::kPosition, POSITION_BINDING },
        { Semantic::kNormal, NORMAL_BINDING },
        { Semantic::kUv, UV_BINDING },
        { Semantic::kMask, MASK_BINDING },
        { Semantic::kTriangleVertices, TRIANGLE_VERTICES_BINDING },
        { Semantic::kRingVertices, RING_VERTICES_BINDING },
        { Semantic::kDeltas, DELTAS_BINDING },
        { Semantic::kFalloff, FALLOFF_BINDING },
        { Semantic::kBackupPoints, BACKUP_POINTS_BINDING },
        { Semantic::kBrush, BRUSH_BINDING },
        { Semantic::kArea, AREA_BINDING },
        { Semantic::kBrushMatrix, BRUSH_MATRIX_BINDING },
        { Semantic::kTriangleHit, TRIANGLE_HIT_BINDING },
        { Semantic::kBasePoints, BASE_POINTS_BINDING },
        { Semantic::kOffsetPoints, OFFSET_POINTS_BINDING },
        { Semantic::kConstraints, CONSTRAINTS_BINDING },
    };
    QCOMPARE(std::size(bindings), kBufferTable.size());
    for (const auto &[semantic, binding] : bindings)
        QCOMPARE(kBufferTable[size_t(binding)].semantic, semantic);
    QCOMPARE(GROUP_SIZE, kGroupSize);
}

void BufferTableTest::brushNumbersAgree()
{
    const BrushType types[] = { BrushType::Clay,       BrushType::Move,    BrushType::Standard,
                                BrushType::Crease,     BrushType::Inflate, BrushType::Fix,
                                BrushType::Flatten,    BrushType::Erase,   BrushType::Mask,
                                BrushType::MaskSmooth, BrushType::Smooth };
    QCOMPARE(std::size(types), std::size(brushes::kNumbers));
    for (size_t i = 0; i < std::size(types); ++i)
        QCOMPARE(int(types[i]), brushes::kNumbers[i]);
}

void BufferTableTest::groupCounts()
{
    QCOMPARE(groupCount(0), 1);
    QCOMPARE(groupCount(1023), 1);
    QCOMPARE(groupCount(1024), 2);
    QCOMPARE(secondPassGroupCount(0), 0);
    QCOMPARE(secondPassGroupCount(1), 1);
    QCOMPARE(secondPassGroupCount(1 << 20), 1);
    QCOMPARE(secondPassGroupCount((1 << 20) + 1), 2);
    // Past 2^24 a float would lose the last item.
    QCOMPARE(secondPassGroupCount((1 << 24) + 1), 17);
    QCOMPARE(secondPassGroupCount(INT_MAX), 2048);
}

QTEST_GUILESS_MAIN(BufferTableTest)
#include "BufferTableTest.moc"
