#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_RING
#define USES_BACKUP
#define USES_BASE
#define USES_OFFSET
#include "common/buffers.glsl"
#include "common/numbers.glsl"
#include "common/ring.glsl"
#include "common/tangent.glsl"

uniform float intensity;
uniform int tangent;

TANGENT_TRANSFER(baseToBackup, basePoints, backupPoints)

// Cleans nothing, deliberately: an infinity, or the NaN of a vertex without any frame, reaches the
// position.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;

    vec3 delta = (offsetPoints[vertex] - basePoints[vertex]).xyz * intensity;
    if (!(length(delta) > 0.0))
        return;
    if (tangent == 1)
        delta = baseToBackup(vertex, delta);
    position[vertex] += vec4(delta, 0.0);
}
