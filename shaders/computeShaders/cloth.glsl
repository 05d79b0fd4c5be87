#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_NORMAL
#define USES_MASK
#define USES_BACKUP
#define USES_BASE
#define USES_OFFSET
#define USES_CONSTRAINTS
#include "common/buffers.glsl"
#include "common/numbers.glsl"

uniform float particleMass;
uniform float springK;
uniform float deltaT;
uniform float dampingConst;
uniform float intensity;
uniform int pass;

// One step of a mass-spring sheet, from one pair of buffers to the other: pass 0 reads "position" and
// "basePoints" (velocities) and writes "normal" and "offsetPoints"; pass 1 goes back. The step is
// added to what the written buffer itself held, deliberately, so the two poses leapfrog.
// "backupPoints" is the rest pose. A neighbour at no distance gives NaN; the step is then cleaned
// away.
#define CLOTH_STEP(name, fromPosition, fromVelocity, toPosition, toVelocity)                   \
    void name(uint vertex, float weight)                                                       \
    {                                                                                          \
        uint lists = uint(position.length()) + 1u;                                             \
        uint end = constraints[vertex + 1u];                                                   \
        vec3 p = fromPosition[vertex].xyz;                                                     \
        vec3 rest = backupPoints[vertex].xyz;                                                  \
        vec3 force = vec3(0.0);                                                                \
        for (uint k = constraints[vertex]; k < end; ++k) {                                     \
            uint neighbour = constraints[lists + k];                                           \
            vec3 reach = fromPosition[neighbour].xyz - p;                                      \
            float stretch = length(reach) - length(backupPoints[neighbour].xyz - rest);        \
            force += normalize(reach) * springK * stretch * intensity * weight;                \
        }                                                                                      \
        vec3 velocity = fromVelocity[vertex].xyz;                                              \
        force += -dampingConst * velocity;                                                     \
        vec3 acceleration = force / particleMass;                                              \
        vec3 delta = removeNan(velocity * deltaT + 0.5 * acceleration * deltaT * deltaT);      \
        toPosition[vertex].xyz += delta * intensity;                                           \
        toVelocity[vertex] = vec4(velocity + acceleration * deltaT, 0.0);                      \
    }
CLOTH_STEP(stepThere, position, basePoints, normal, offsetPoints)
CLOTH_STEP(stepBack, normal, offsetPoints, position, basePoints)

void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= position.length())
        return;
    float weight = mask[vertex];
    if (weight < 0.0001) // pinned
        return;
    if (pass == 0)
        stepThere(vertex, weight);
    else
        stepBack(vertex, weight);
}
