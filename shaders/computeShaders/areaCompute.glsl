#version 430 core
layout(local_size_x = 1024) in;
#define USES_POSITION
#define USES_NORMAL
#define USES_BRUSH
#define USES_AREA
#define USES_BRUSH_MATRIX
#include "common/buffers.glsl"
#include "common/numbers.glsl"

#define FOLD_LANES 32u

uniform int pass;
uniform float brushRadiusSquared;

shared vec4 positions[GROUP_SIZE];
shared vec4 normals[GROUP_SIZE]; // the first one's w: whether the group holds any point

uint vertexCount() { return uint(position.length()); }

// Sums the first `count` entries into the first `lanes`, as a tree of halvings rounds it. A lane adds
// only what it wrote itself, so no step waits for another lane.
void fold(uint count, uint lanes)
{
    uint lane = gl_LocalInvocationID.x;
    for (uint stride = lane < lanes ? count / 2u : 0u; stride >= lanes; stride /= 2u) {
        for (uint entry = lane; entry < stride; entry += lanes) {
            positions[entry] += positions[entry + stride];
            normals[entry] += normals[entry + stride];
        }
    }
}

// Two folds, because waiting costs more than adding. Most groups hold nothing of the brush and fold
// nothing; that has to be the loops' own condition, as some drivers run through a branch that no
// lane takes. Every invocation of the group has to come here: there are barriers inside.
void sumGroup(AreaData mine)
{
    uint slot = gl_LocalInvocationID.x;
    positions[slot] = mine.position;
    normals[slot] = mine.normal;
    memoryBarrierShared();
    barrier();
    if (mine.position.w > 0.0)
        normals[0].w = 1.0; // the two arrays are all the shared memory that every card has
    memoryBarrierShared();
    barrier();
    bool holdsPoints = normals[0].w > 0.0;
    fold(holdsPoints ? GROUP_SIZE : 0u, FOLD_LANES);
    memoryBarrierShared();
    barrier();
    fold(holdsPoints ? FOLD_LANES : 0u, 1u);
}

// For slot 0, which has summed it.
AreaData groupSum() { return AreaData(positions[0], vec4(normals[0].xyz, 0.0)); }

AreaData contribution(uint vertex)
{
    AreaData none = AreaData(vec4(0.0), vec4(0.0));
    if (vertex >= vertexCount())
        return none;
    vec3 p = position[vertex].xyz;
    vec3 d = brush.hitPosition.xyz - p;
    if (!(dot(d, d) < brushRadiusSquared))
        return none;
    return AreaData(vec4(p, 1.0), vec4(removeNan(normal[vertex].xyz), 0.0));
}

void sumVertices()
{
    sumGroup(contribution(gl_GlobalInvocationID.x));
    if (gl_LocalInvocationID.x == 0u && gl_WorkGroupID.x < uint(area.length()))
        area[gl_WorkGroupID.x] = groupSum();
}

// A group writes into the first of the entries that only it reads: entry [group] may belong to
// another group that has not read it yet.
void sumPartials()
{
    uint entry = gl_GlobalInvocationID.x;
    bool present = entry < uint(area.length());
    AreaData mine = AreaData(vec4(0.0), vec4(0.0));
    if (present)
        mine = area[entry];
    sumGroup(mine);
    if (gl_LocalInvocationID.x == 0u && present)
        area[entry] = groupSum();
}

// Y follows the stroke from the last dab to this one, so the alpha lies along the stroke.
void updateBrushFrame(vec3 average, vec3 z)
{
    vec3 along = average - brushMatrix[3].xyz;
    vec3 x = normalize(cross(along, z));
    vec3 y = normalize(cross(z, x));
    if (isBroken(x) || isBroken(y))
        brushMatrix = mat4(1.0);
    else
        brushMatrix = mat4(vec4(x, 0.0), vec4(y, 0.0), vec4(z, 0.0), vec4(average, 1.0));
}

void finish()
{
    const uint perResult = GROUP_SIZE * GROUP_SIZE;
    uint results = (vertexCount() + perResult - 1u) / perResult;
    vec4 positionSum = vec4(0.0);
    vec4 normalSum = vec4(0.0);
    for (uint result = 0u; result < results; ++result) {
        positionSum += area[result * GROUP_SIZE].position;
        normalSum += area[result * GROUP_SIZE].normal;
    }
    if (positionSum.w > 0.0)
        positionSum /= positionSum.w;
    vec3 average = removeNan(positionSum.xyz);
    vec3 direction = removeNan(normalize(normalSum.xyz));
    area[0] = AreaData(vec4(average, 1.0), vec4(direction, 0.0));
    brush.areaPosition = vec4(average, positionSum.w); // all zero when no vertex was inside
    brush.areaNormal = vec4(direction, 0.0);
    updateBrushFrame(average, direction);
}

void main()
{
    if (pass == 0)
        sumVertices();
    else if (pass == 1)
        sumPartials();
    else if (gl_GlobalInvocationID.x == 0u)
        finish();
}
