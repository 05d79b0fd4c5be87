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

// One step of a mass-spring sheet, from one pair of buffers to the other: forwards it reads "position"
// and "basePoints" (velocities) and writes "normal" and "offsetPoints"; the host builds this file
// once more with BACKWARDS, for the way back. The step is added to what the written buffer itself
// held, deliberately, so the two poses leapfrog. "backupPoints" is the rest pose.
#ifndef BACKWARDS
#define FROM_POSITION position
#define FROM_VELOCITY basePoints
#define TO_POSITION normal
#define TO_VELOCITY offsetPoints
#else
#define FROM_POSITION normal
#define FROM_VELOCITY offsetPoints
#define TO_POSITION position
#define TO_VELOCITY basePoints
#endif

void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= position.length())
        return;
    float weight = mask[vertex];
    if (weight < 0.0001) // pinned
        return;

    uint lists = uint(position.length()) + 1u;
    uint end = constraints[vertex + 1u];
    vec3 p = FROM_POSITION[vertex].xyz;
    vec3 rest = backupPoints[vertex].xyz;
    vec3 force = vec3(0.0);
    for (uint k = constraints[vertex]; k < end; ++k) {
        uint neighbour = constraints[lists + k];
        // One at no distance gives NaN; the step is then cleaned away.
        vec3 reach = FROM_POSITION[neighbour].xyz - p;
        float restLength = length(backupPoints[neighbour].xyz - rest);
        force += normalize(reach) * springK * (length(reach) - restLength) * intensity * weight;
    }

    vec3 velocity = FROM_VELOCITY[vertex].xyz;
    force += -dampingConst * velocity;
    vec3 acceleration = force / particleMass;
    vec3 delta = removeNan(velocity * deltaT + 0.5 * acceleration * deltaT * deltaT) * intensity;
    TO_POSITION[vertex].xyz += delta;
    TO_VELOCITY[vertex] = vec4(velocity + acceleration * deltaT, 0.0);
}
