#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_MASK
#define USES_RING
#define USES_BACKUP
#define USES_OFFSET
#include "common/buffers.glsl"
#include "common/numbers.glsl"
#include "common/ring.glsl"
#include "common/tangent.glsl"

uniform float intensity;
uniform int tangent;

RING_CENTROID(backupMean, backupPoints)
RING_CENTROID(offsetMean, offsetPoints)
TANGENT_TRANSFER(offsetToBackup, offsetPoints, backupPoints)

// Grows the detail of "offsetPoints" (a vertex against its ring) onto the current pose.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;
    float weight = mask[vertex];
    if (!(weight > 0.0001))
        return;

    vec3 detail = offsetPoints[vertex].xyz - offsetMean(vertex, false);
    if (tangent == 1)
        detail = offsetToBackup(vertex, detail);
    vec3 goal = backupMean(vertex, false) + detail;
    vec3 delta = removeNan(goal - position[vertex].xyz) * intensity * weight;
    position[vertex] += vec4(delta, 0.0);
}
