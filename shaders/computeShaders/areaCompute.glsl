#version 430 core
#define USES_POSITION
#define USES_NORMAL
#define USES_BRUSH
#define USES_AREA
#define USES_BRUSH_MATRIX
#include "common/buffers.glsl"
#include "common/numbers.glsl"

layout(local_size_x = REDUCTION_LANES) in;

uniform int pass;
uniform float brushRadiusSquared;

shared vec4 positions[REDUCTION_LANES];
shared vec4 normals[REDUCTION_LANES];
shared bool holdsPoints;

uint vertexCount() { return uint(position.length()); }
uint firstItem() { return gl_WorkGroupID.x * GROUP_SIZE; }

AreaData vertexAt(uint vertex)
{
    AreaData found = AreaData(vec4(0.0), vec4(0.0));
    if (vertex >= vertexCount())
        return found;
    vec3 p = position[vertex].xyz;
    vec3 d = brush.hitPosition.xyz - p;
    if (dot(d, d) < brushRadiusSquared)
        found = AreaData(vec4(p, 1.0), vec4(removeNan(normal[vertex].xyz), 0.0));
    return found;
}

AreaData partialAt(uint entry)
{
    AreaData partial = AreaData(vec4(0.0), vec4(0.0));
    if (entry < uint(area.length()))
        partial = area[entry];
    return partial;
}

AreaData sum(AreaData a, AreaData b) { return AreaData(a.position + b.position, a.normal + b.normal); }

// name(uint item): the sum of a lane's share of the group, every REDUCTION_LANES-th item, in the
// order in which halving the whole group again and again adds them up. A lane has several because
// waiting for each other costs more than adding.
#define LANE_SUM(name, at)                                                                     \
    AreaData name##2(uint item) { return sum(at(item), at(item + 512u)); }                     \
    AreaData name##4(uint item) { return sum(name##2(item), name##2(item + 256u)); }           \
    AreaData name##8(uint item) { return sum(name##4(item), name##4(item + 128u)); }           \
    AreaData name(uint item) { return sum(name##8(item), name##8(item + 64u)); }
LANE_SUM(vertexSum, vertexAt)
LANE_SUM(partialSum, partialAt)

// For lane 0: the sum over the lanes, halving on. Most groups hold nothing of the brush and fold
// nothing. Every invocation of the group has to come here: there are barriers inside.
AreaData groupSum(AreaData mine)
{
    uint lane = gl_LocalInvocationID.x;
    positions[lane] = mine.position;
    normals[lane] = mine.normal;
    if (lane == 0u)
        holdsPoints = false;
    memoryBarrierShared();
    barrier();
    if (mine.position.w > 0.0)
        holdsPoints = true;
    memoryBarrierShared();
    barrier();
    uint lanes = lane == 0u && holdsPoints ? REDUCTION_LANES : 0u;
    for (uint stride = lanes / 2u; stride > 0u; stride /= 2u) {
        for (uint other = 0u; other < stride; ++other) {
            positions[other] += positions[other + stride];
            normals[other] += normals[other + stride];
        }
    }
    return AreaData(positions[0], normals[0]);
}

void sumVertices()
{
    AreaData result = groupSum(vertexSum(firstItem() + gl_LocalInvocationID.x));
    if (gl_LocalInvocationID.x == 0u && gl_WorkGroupID.x < uint(area.length()))
        area[gl_WorkGroupID.x] = result;
}

// A group writes into the first of the entries that only it reads: entry [group] may belong to
// another group that has not read it yet.
void sumPartials()
{
    AreaData result = groupSum(partialSum(firstItem() + gl_LocalInvocationID.x));
    if (gl_LocalInvocationID.x == 0u && firstItem() < uint(area.length()))
        area[firstItem()] = result;
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
