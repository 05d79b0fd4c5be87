#version 430 core
layout(local_size_x = 1024) in;
// The host builds this file once with TANGENT and once without: some drivers run through a branch that
// nobody takes.
#define USES_POSITION
#define USES_BASE
#define USES_OFFSET
#ifdef TANGENT
#define USES_RING
#define USES_BACKUP
#endif
#include "common/buffers.glsl"
#ifdef TANGENT
#include "common/numbers.glsl"
#include "common/ring.glsl"
#include "common/tangent.glsl"
#endif

uniform float intensity;

#ifdef TANGENT
TANGENT_TRANSFER(baseToBackup, basePoints, backupPoints)
#endif

// Cleans nothing, deliberately: an infinity, or the NaN of a vertex without any frame, reaches the
// position.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= uint(position.length()))
        return;

    vec3 delta = (offsetPoints[vertex].xyz - basePoints[vertex].xyz) * intensity;
    if (!(length(delta) > 0.0))
        return;
#ifdef TANGENT
    delta = baseToBackup(vertex, delta);
#endif
    position[vertex].xyz += delta;
}
