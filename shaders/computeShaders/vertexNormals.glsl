#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_NORMAL
#define USES_RING
#include "common/buffers.glsl"
#include "common/numbers.glsl"
#include "common/ring.glsl"

// Every fan triangle counts equally, whatever its area or angle. A pair of neighbours that no face
// spans is none: it would pull every border over, and take a lone triangle's normal away. One without
// a normal (collapsed) adds nothing.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;
    uint begin = ringBegin(vertex);
    uint end = ringEnd(vertex);
    vec3 p = position[vertex].xyz;
    vec3 sum = vec3(0.0);
    vec3 x = vec3(0.0); // towards the neighbour before
    if (begin < end)
        x = normalize(position[ringNeighbour(end - 1u)].xyz - p);
    for (uint entry = begin; entry < end; ++entry) {
        vec3 y = normalize(position[ringNeighbour(entry)].xyz - p);
        if (!ringGapBefore(entry))
            sum += removeNan(normalize(cross(y, x)));
        x = y;
    }
    normal[vertex] = vec4(removeNan(normalize(sum)), 0.0);
}
