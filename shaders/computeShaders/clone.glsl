#version 430 core
layout(local_size_x = 1024) in;
// The host builds this file once more WITHOUT_TANGENT, as addDeltas.glsl.
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
#ifndef WITHOUT_TANGENT
uniform int tangent;

TANGENT_TRANSFER(offsetToBackup, offsetPoints, backupPoints)
#endif

// Grows the detail of "offsetPoints" (a vertex against its ring) onto the current pose. One walk
// around the ring takes both means: what such a walk costs is reading the ring.
void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= vertexCount())
        return;
    float weight = mask[vertex];
    if (!(weight > 0.0001))
        return;

    uint begin = ringBegin(vertex);
    uint end = min(ringEnd(vertex), begin + RING_CAP);
    vec3 offsetSum = vec3(0.0);
    vec3 backupSum = vec3(0.0);
    for (uint entry = begin; entry < end; ++entry) {
        uint neighbour = ringNeighbour(entry);
        offsetSum += offsetPoints[neighbour].xyz;
        backupSum += backupPoints[neighbour].xyz;
    }
    float count = float(end - begin); // none: the means are NaN, and the delta is cleaned away
    vec3 detail = offsetPoints[vertex].xyz - offsetSum / count;
#ifndef WITHOUT_TANGENT
    if (tangent == 1)
        detail = offsetToBackup(vertex, detail);
#endif
    vec3 p = position[vertex].xyz;
    vec3 goal = backupSum / count + detail;
    position[vertex].xyz = p + removeNan(goal - p) * intensity * weight;
}
