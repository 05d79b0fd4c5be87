#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_TRIANGLES
#define USES_FALLOFF
#define USES_BRUSH
#define USES_TRIANGLE_HIT
#include "common/buffers.glsl"
#include "common/numbers.glsl"

uniform int pass;
uniform vec3 nearP;
uniform vec3 farP;
uniform int ignoreBackface;

// The nearest hit of the group, and the lowest triangle at that distance.
shared uint nearestBits;
shared uint lowestId;

const uint NO_ID = 0xffffffffu; // as an int: -1

uint triangleCount() { return uint(triangleVertices.length()) / 3u; }

vec3 corner(uint triangle, uint which)
{
    return position[triangleVertices[3u * triangle + which]].xyz;
}

// A corner as seen along the ray, which runs through the origin.
vec2 seenAlongRay(vec3 corner)
{
    vec3 p = corner - nearP;
    vec3 d = farP - nearP;
    vec3 size = abs(d);
    if (size.x >= size.y && size.x >= size.z) { // the largest component becomes z
        p = p.yzx;
        d = d.yzx;
    } else if (size.y >= size.z) {
        p = p.zxy;
        d = d.zxy;
    }
    precise vec2 seen = p.xy - d.xy / d.z * p.z;
    return seen;
}

// Which side of an edge the ray passes. The rounding of two products never turns the sign of their
// difference, so all triangles at an edge or a corner agree. Testing the hit point against each
// triangle's own plane instead leaves cracks, in which a stroke skips.
float sideOf(vec2 from, vec2 to)
{
    precise float side = from.x * to.y - from.y * to.x;
    return side;
}

bool isInside(vec3 a, vec3 b, vec3 c)
{
    vec2 p = seenAlongRay(a);
    vec2 q = seenAlongRay(b);
    vec2 r = seenAlongRay(c);
    vec3 sides = vec3(sideOf(p, q), sideOf(q, r), sideOf(r, p));
    bool oneSided =
        all(greaterThanEqual(sides, vec3(0.0))) || all(lessThanEqual(sides, vec3(0.0)));
    return oneSided && any(notEqual(sides, vec3(0.0)));
}

// Distance from the near point to the hit, MAX_FLOAT without one. The comparisons are written so
// that a NaN (a collapsed triangle, a broken point) is never a hit.
float rayDistance(uint triangle)
{
    vec3 a = corner(triangle, 0u);
    vec3 b = corner(triangle, 1u);
    vec3 c = corner(triangle, 2u);
    vec3 n = normalize(cross(b - a, c - a));
    if (ignoreBackface == 1 && dot(-n, normalize(farP - nearP)) < 0.0)
        return MAX_FLOAT;
    float d1 = dot(nearP - a, n);
    float d2 = dot(farP - a, n);
    if (!(d1 * d2 < 0.0))
        return MAX_FLOAT;
    vec3 hit = nearP + (farP - nearP) * (-d1 / (d2 - d1));
    return isInside(a, b, c) ? length(hit - nearP) : MAX_FLOAT;
}

// The nearest of the group's hits; ties keep the lower triangle. Distances are never negative, and so
// sort as their bits do. Atomics, because a tree of halvings would wait at eleven barriers in place
// of three, and waiting is what costs. Every invocation of the group has to come here.
HIT nearestOfGroup(HIT mine)
{
    uint bits = floatBitsToUint(mine.distance);
    if (gl_LocalInvocationID.x == 0u) {
        nearestBits = floatBitsToUint(MAX_FLOAT);
        lowestId = NO_ID;
    }
    memoryBarrierShared();
    barrier();
    if (mine.id != -1)
        atomicMin(nearestBits, bits);
    memoryBarrierShared();
    barrier();
    if (mine.id != -1 && bits == nearestBits)
        atomicMin(lowestId, uint(mine.id));
    memoryBarrierShared();
    barrier();
    return HIT(int(lowestId), uintBitsToFloat(nearestBits));
}

void reduceTriangles()
{
    uint triangle = gl_GlobalInvocationID.x;
    HIT mine = HIT(-1, MAX_FLOAT);
    if (triangle < triangleCount()) {
        float found = rayDistance(triangle);
        if (found < MAX_FLOAT)
            mine = HIT(int(triangle), found);
    }
    HIT nearest = nearestOfGroup(mine);
    if (gl_LocalInvocationID.x != 0u)
        return;
    brush.hitTriangle = -1;
    brush.hitVertex = -1;
    if (gl_WorkGroupID.x < uint(triangleHit.length()))
        triangleHit[gl_WorkGroupID.x] = nearest;
}

// A group writes into the first of the entries that only it reads: entry [group] may belong to
// another group that has not read it yet.
void reducePartials()
{
    uint entry = gl_GlobalInvocationID.x;
    bool present = entry < uint(triangleHit.length());
    HIT mine = HIT(-1, MAX_FLOAT);
    if (present)
        mine = triangleHit[entry];
    HIT nearest = nearestOfGroup(mine);
    if (gl_LocalInvocationID.x == 0u && present)
        triangleHit[entry] = nearest;
}

void writeHit(HIT closest)
{
    uint triangle = uint(closest.id);
    vec3 a = corner(triangle, 0u);
    vec3 b = corner(triangle, 1u);
    vec3 c = corner(triangle, 2u);
    vec3 hit = nearP + normalize(farP - nearP) * closest.distance;
    brush.hitNormal = vec4(removeNan(normalize(cross(b - a, c - a))), 0.0);
    brush.hitPosition = vec4(removeNan(hit), 1.0);
    brush.hitTriangle = closest.id;

    uint nearest = 0u;
    float best = distance(a, hit);
    if (distance(b, hit) < best) {
        nearest = 1u;
        best = distance(b, hit);
    }
    if (distance(c, hit) < best)
        nearest = 2u;
    uint vertex = triangleVertices[3u * triangle + nearest];
    brush.hitVertex = int(vertex);
    falloff[vertex] = 1.0;
}

void finish()
{
    const uint perResult = GROUP_SIZE * GROUP_SIZE;
    uint results = (triangleCount() + perResult - 1u) / perResult;
    HIT closest = HIT(-1, MAX_FLOAT);
    for (uint result = 0u; result < results; ++result) {
        HIT candidate = triangleHit[result * GROUP_SIZE];
        if (candidate.distance < closest.distance)
            closest = candidate;
    }
    triangleHit[0] = closest;
    if (closest.id != -1)
        writeHit(closest);
}

void main()
{
    if (pass == 0)
        reduceTriangles();
    else if (pass == 1)
        reducePartials();
    else if (gl_GlobalInvocationID.x == 0u)
        finish();
}
