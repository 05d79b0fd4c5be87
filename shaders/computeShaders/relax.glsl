#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_MASK
#define USES_RING
#define USES_BACKUP
#include "common/buffers.glsl"
#include "common/ring.glsl"

uniform float Intensity;
uniform int Cotangent;
uniform int UseMask;

RING_CENTROID(backupCentroid, backupPoints)

// Not cleaned, deliberately: without neighbours the centroid and so the position become NaN.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;
    float weight = UseMask == 1 ? mask[vertex] : 1.0;
    if (weight < 0.00001)
        return;

    vec3 p = position[vertex].xyz;
    vec3 delta = backupCentroid(vertex, Cotangent == 1) - p;
    position[vertex].xyz = p + delta * weight * Intensity;
}
