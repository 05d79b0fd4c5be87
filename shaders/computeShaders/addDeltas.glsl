#version 430 core
layout(local_size_x = 1024) in;
// The host builds this file once more WITHOUT_TANGENT, for tangent 0: some drivers run through a branch
// that nobody takes.
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
#ifndef WITHOUT_TANGENT
uniform int tangent;

TANGENT_TRANSFER(baseToBackup, basePoints, backupPoints)
#endif

// Cleans nothing, deliberately: an infinity, or the NaN of a vertex without any frame, reaches the
// position.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;

    vec3 delta = (offsetPoints[vertex].xyz - basePoints[vertex].xyz) * intensity;
    if (!(length(delta) > 0.0))
        return;
#ifndef WITHOUT_TANGENT
    if (tangent == 1)
        delta = baseToBackup(vertex, delta);
#endif
    position[vertex].xyz += delta;
}
