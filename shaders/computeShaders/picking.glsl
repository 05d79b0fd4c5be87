#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_FALLOFF
#define USES_BRUSH
#include "common/buffers.glsl"

uniform float brushRadiusSquared;

void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= uint(position.length()))
        return;
    vec3 d = brush.hitPosition.xyz - position[vertex].xyz;
    float squared = dot(d, d);
    float weight = 0.0;
    if (squared < brushRadiusSquared) {
        float t = sqrt(squared) / sqrt(brushRadiusSquared);
        float u = 1.0 - t;
        weight = u * u * u + 3.0 * t * u * u;
    }
    falloff[vertex] = weight;
}
