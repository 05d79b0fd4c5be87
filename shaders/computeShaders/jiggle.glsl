#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_NORMAL
#define USES_MASK
#define USES_DELTAS
#define USES_BASE
#include "common/buffers.glsl"

uniform float damping;
uniform float stiffness;
uniform float asMuscle;
uniform float intensity;
uniform float maxDisplacement; // these two are deliberately without effect
uniform vec3 direction;

// A spring from where a point was to where the animation has it now. "deltas" holds the simulation's
// current points and "basePoints" the previous ones; both go on to the next frame.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= position.length())
        return;
    float weight = mask[vertex] * intensity;
    if (!(weight > 0.0))
        return;

    vec4 shown = position[vertex];
    vec4 held = deltas[vertex];
    vec3 goal = shown.xyz;
    vec3 current = held.xyz;
    vec3 velocity = (current - basePoints[vertex].xyz) * (1.0 - damping);
    vec3 swung = current + velocity;
    swung += (goal - swung) * stiffness;

    float alongNormal = 1.0 - asMuscle;
    if (alongNormal < 1.0) {
        vec3 n = normal[vertex].xyz;
        swung -= n * dot(swung - goal, n) * (1.0 - alongNormal);
    }
    shown += vec4((swung - goal) * weight, 0.0);
    position[vertex] = shown;
    basePoints[vertex] = held;
    deltas[vertex] = shown;
}
