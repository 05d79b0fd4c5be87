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

// One step of a mass-spring sheet, from one pair of buffers to the other: pass 0 reads "position"
// and "basePoints" (velocities) and writes "normal" and "offsetPoints"; pass 1 goes back. The step is
// added to what the written buffer itself held, deliberately, so the two poses leapfrog.
// "backupPoints" is the rest pose.
vec3 clothPosition(uint vertex) { return pass == 0 ? position[vertex].xyz : normal[vertex].xyz; }
vec3 clothVelocity(uint vertex)
{
    return pass == 0 ? basePoints[vertex].xyz : offsetPoints[vertex].xyz;
}

// A neighbour at no distance gives NaN; the step is then cleaned away.
vec3 springForce(uint vertex, uint neighbour, float weight)
{
    vec3 reach = clothPosition(neighbour) - clothPosition(vertex);
    float restLength = length(backupPoints[neighbour].xyz - backupPoints[vertex].xyz);
    return normalize(reach) * springK * (length(reach) - restLength) * intensity * weight;
}

void write(uint vertex, vec3 delta, vec3 velocity)
{
    if (pass == 0) {
        normal[vertex] += vec4(delta, 0.0);
        offsetPoints[vertex] = vec4(velocity, 0.0);
    } else {
        position[vertex] += vec4(delta, 0.0);
        basePoints[vertex] = vec4(velocity, 0.0);
    }
}

void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= position.length())
        return;
    float weight = mask[vertex];
    if (weight < 0.0001) // pinned
        return;

    uint lists = uint(position.length()) + 1u;
    vec3 force = vec3(0.0);
    for (uint k = constraints[vertex]; k < constraints[vertex + 1u]; ++k)
        force += springForce(vertex, constraints[lists + k], weight);

    vec3 velocity = clothVelocity(vertex);
    force += -dampingConst * velocity;
    vec3 acceleration = force / particleMass;
    vec3 delta = removeNan(velocity * deltaT + 0.5 * acceleration * deltaT * deltaT) * intensity;
    write(vertex, delta, velocity + acceleration * deltaT);
}
