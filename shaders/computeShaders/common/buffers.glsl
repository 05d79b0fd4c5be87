// The storage blocks. A shader defines USES_… for those it touches before including this: a block
// that is merely declared counts against the driver's limit of blocks per stage. BUFFER_ACCESS is
// readonly in draw shaders, where not every driver can write.
#include "common/bindings.glsl"
#include "common/records.glsl"

#ifndef BUFFER_ACCESS
#define BUFFER_ACCESS
#endif

#ifdef USES_POSITION
layout(std430, binding = POSITION_BINDING) BUFFER_ACCESS buffer PositionIn { vec4 position[]; };
#endif
#ifdef USES_NORMAL
layout(std430, binding = NORMAL_BINDING) BUFFER_ACCESS buffer NormalIn { vec4 normal[]; };
#endif
#ifdef USES_UV
layout(std430, binding = UV_BINDING) BUFFER_ACCESS buffer UvIn { vec2 uv[]; };
#endif
#ifdef USES_MASK
layout(std430, binding = MASK_BINDING) BUFFER_ACCESS buffer MaskIn { float mask[]; };
#endif
#ifdef USES_TRIANGLES
layout(std430, binding = TRIANGLE_VERTICES_BINDING) BUFFER_ACCESS buffer TrianglesIn {
    uint triangleVertices[];
};
#endif
#ifdef USES_RING
layout(std430, binding = RING_VERTICES_BINDING) BUFFER_ACCESS buffer RingVertsIn {
    uint ringVertices[];
};
#endif
#ifdef USES_DELTAS
layout(std430, binding = DELTAS_BINDING) BUFFER_ACCESS buffer DeltasIn { vec4 deltas[]; };
#endif
#ifdef USES_FALLOFF
layout(std430, binding = FALLOFF_BINDING) BUFFER_ACCESS buffer FalloffIn { float falloff[]; };
#endif
#ifdef USES_BACKUP
layout(std430, binding = BACKUP_POINTS_BINDING) BUFFER_ACCESS buffer BackupPointsIn {
    vec4 backupPoints[];
};
#endif
#ifdef USES_BRUSH
layout(std430, binding = BRUSH_BINDING) BUFFER_ACCESS buffer BrushDataIn {
    BRUSH_DATA_MEMBERS
} brush;
#endif
#ifdef USES_AREA
layout(std430, binding = AREA_BINDING) BUFFER_ACCESS buffer AreaDataIn { AreaData area[]; };
#endif
#ifdef USES_BRUSH_MATRIX
layout(std430, binding = BRUSH_MATRIX_BINDING) BUFFER_ACCESS buffer BrushMatrixIn {
    mat4 brushMatrix;
};
#endif
#ifdef USES_TRIANGLE_HIT
layout(std430, binding = TRIANGLE_HIT_BINDING) BUFFER_ACCESS buffer TriangleHitIn {
    HIT triangleHit[];
};
#endif
#ifdef USES_BASE
layout(std430, binding = BASE_POINTS_BINDING) BUFFER_ACCESS buffer BasePointsIn {
    vec4 basePoints[];
};
#endif
#ifdef USES_OFFSET
layout(std430, binding = OFFSET_POINTS_BINDING) BUFFER_ACCESS buffer OffsetPointsIn {
    vec4 offsetPoints[];
};
#endif
#ifdef USES_CONSTRAINTS
layout(std430, binding = CONSTRAINTS_BINDING) BUFFER_ACCESS buffer ConstraintsIn {
    uint constraints[];
};
#endif
