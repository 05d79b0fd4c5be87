#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_NORMAL
#define USES_MASK
#define USES_RING
#define USES_BASE
#define USES_OFFSET
#include "common/buffers.glsl"
#include "common/numbers.glsl"
#include "common/ring.glsl"
#include "common/tangent.glsl"

uniform float intensity;

// "normal" holds the smoothed pose while this runs.
TANGENT_TRANSFER(baseToSmooth, basePoints, normal)

// Puts the rest pose's detail (what relaxing took from it) back onto the smoothed pose.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;
    float weight = mask[vertex] * intensity;
    if (!(weight > 0.0))
        return;

    vec3 detail = (offsetPoints[vertex] - basePoints[vertex]).xyz * intensity;
    if (length(detail) > 0.0)
        detail = baseToSmooth(vertex, detail);
    vec3 goal = normal[vertex].xyz + detail;
    position[vertex] += vec4((goal - position[vertex].xyz) * weight, 0.0);
}
