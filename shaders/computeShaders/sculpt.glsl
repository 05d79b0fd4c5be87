#version 430 core
layout(local_size_x = 1024) in;
// The families of brushes. The host builds this file once for each of them: some drivers run through
// the branches that no vertex takes, and every dab would pay for all brushes.
#define PLAIN_BRUSHES 1
#define ALPHA_BRUSHES 2 // shaped by an alpha
#define RING_BRUSHES 4 // that look at a vertex's neighbours
#ifndef BRUSHES
#define BRUSHES (PLAIN_BRUSHES | ALPHA_BRUSHES | RING_BRUSHES)
#endif

#define USES_POSITION
#define USES_NORMAL
#define USES_MASK
#define USES_DELTAS
#define USES_FALLOFF
#define USES_BRUSH
#if (BRUSHES & ALPHA_BRUSHES) != 0
#define USES_BRUSH_MATRIX
#endif
#if (BRUSHES & RING_BRUSHES) != 0
#define USES_RING
#endif
#if (BRUSHES & (PLAIN_BRUSHES | RING_BRUSHES)) != 0
#define USES_BACKUP
#define USES_OFFSET
#endif
#include "common/buffers.glsl"
#include "common/brushes.glsl"
#include "common/numbers.glsl"
#if (BRUSHES & RING_BRUSHES) != 0
#include "common/ring.glsl"
#include "common/tangent.glsl"
#endif

uniform float Radius;
uniform vec3 MoveVector;
uniform float Intensity;
uniform float Pressure;
uniform int BrushType;
uniform int Control;
uniform int useContangent;
uniform sampler2D Alpha;

#if (BRUSHES & ALPHA_BRUSHES) != 0
// Filtered by hand, as for a texture of 256 x 256 texels: one sample in each texel's middle, so that
// no rounding at a texel's edge picks the wrong one.
float alphaTexel(vec2 texel) { return textureLod(Alpha, (texel + 0.5) / 256.0, 0.0).r; }

// The square of side 2 * Radius around the brush centre maps to 0..1.
float alphaAt(vec3 p)
{
    vec4 q = inverse(brushMatrix) * vec4(p, 1.0);
    vec2 uv = (q.xy / 2.0 + Radius / 2.0) / Radius;
    if (!(all(greaterThanEqual(uv, vec2(0.0))) && all(lessThanEqual(uv, vec2(1.0)))))
        return 0.0;
    vec2 texel = floor(uv * 256.0);
    vec2 part = fract(uv * 256.0);
    float low = mix(alphaTexel(texel), alphaTexel(texel + vec2(1.0, 0.0)), part.x);
    float high = mix(alphaTexel(texel + vec2(0.0, 1.0)), alphaTexel(texel + vec2(1.0)), part.x);
    return mix(low, high, part.y);
}

vec3 clay(vec3 p, float f, float free, float strength, float direction)
{
    vec3 n = brush.areaNormal.xyz * direction;
    vec3 centre = brush.areaPosition.xyz + n * Radius * 0.1;
    float height = dot(p - centre, n);
    return removeNan(-n * height * strength * alphaAt(p) * f * free) * 2.0;
}

// The pinch is not scaled by the intensity.
vec3 crease(vec3 p, float f, float free, float strength, float direction)
{
    float alpha = alphaAt(p);
    vec3 pinch = (brush.areaPosition.xyz - p) * f * alpha * 0.1;
    vec3 push = brush.areaNormal.xyz * direction * Radius * 0.2 * f * strength * alpha;
    return removeNan((push + pinch) * free) * 2.0;
}
#endif

#if (BRUSHES & PLAIN_BRUSHES) != 0
vec3 flatten(vec3 p, float f, float strength)
{
    vec3 n = brush.areaNormal.xyz;
    vec3 onPlane = p + n * (-dot(n, p - brush.areaPosition.xyz) / dot(n, n));
    return removeNan((onPlane - p) * f * strength);
}

// Moves the layer's sculpted pose along, so that what was erased stays erased.
void erase(uint vertex, float f)
{
    vec4 d = removeNan((backupPoints[vertex] - offsetPoints[vertex]) * f * Intensity * Pressure);
    offsetPoints[vertex] += d;
    position[vertex] += d;
    deltas[vertex] += d;
}

// The intensity is the ceiling of what is painted, and the rate of what Control takes away.
void paintMask(uint vertex, float f)
{
    float old = mask[vertex];
    float value = Control == 1 ? max(old - f * Intensity, 0.0) : min(old + f, Intensity);
    mask[vertex] = old + (value - old) * f;
}
#endif

#if (BRUSHES & RING_BRUSHES) != 0
RING_CENTROID(backupCentroid, backupPoints)
RING_CENTROID(offsetCentroid, offsetPoints)
TANGENT_TRANSFER(offsetToBackup, offsetPoints, backupPoints)

// The layer's own local shape, rebuilt on the pose before this dab.
vec3 fix(uint vertex, vec3 p, float f, float strength)
{
    bool weighted = useContangent == 1;
    vec3 detail = offsetPoints[vertex].xyz - offsetCentroid(vertex, weighted);
    detail = offsetToBackup(vertex, detail);
    return removeNan(backupCentroid(vertex, weighted) + detail - p) * f * strength;
}

// The whole ring: unlike the centroid's, this mean has no cap.
void smoothMask(uint vertex, float f)
{
    uint begin = ringBegin(vertex);
    uint end = ringEnd(vertex);
    float mean = 0.0;
    for (uint entry = begin; entry < end; ++entry)
        mean += mask[ringNeighbour(entry)];
    if (end > begin)
        mean /= float(end - begin);
    float old = mask[vertex];
    mask[vertex] = clamp(old + (mean - old) * f * Intensity, 0.0, 1.0);
}
#endif

vec3 displacement(uint vertex, float f)
{
    vec3 p = position[vertex].xyz;
    float free = 1.0 - mask[vertex];
    float direction = Control == 1 ? -1.0 : 1.0;
    float strength = Intensity * Pressure;
    switch (BrushType) {
#if (BRUSHES & PLAIN_BRUSHES) != 0
    case MOVE:
        return removeNan(MoveVector * f * Intensity * free);
    case STANDARD:
        return removeNan(brush.areaNormal.xyz * direction * strength * Radius * 0.1 * f * free);
    case INFLATE:
        return removeNan(normal[vertex].xyz * free * strength * f * direction * Radius * 0.2);
    case FLATTEN:
        return flatten(p, f, strength);
#endif
#if (BRUSHES & ALPHA_BRUSHES) != 0
    case CLAY:
        return clay(p, f, free, strength, direction);
    case CREASE:
        return crease(p, f, free, strength, direction);
#endif
#if (BRUSHES & RING_BRUSHES) != 0
    case FIX:
        return fix(vertex, p, f, strength);
    case SMOOTH:
        // Deliberately neither pressure nor mask nor cleaning: a vertex without neighbours breaks.
        return (backupCentroid(vertex, false) - p) * f * Intensity;
#endif
    }
    return vec3(0.0);
}

void displace(uint vertex, float f)
{
    vec3 d = displacement(vertex, f);
    position[vertex].xyz += d;
    deltas[vertex].xyz += d;
}

void main()
{
    uint vertex = gl_GlobalInvocationID.x;
    if (vertex >= uint(position.length()) || brush.hitTriangle == -1)
        return;
    float f = falloff[vertex];
    if (f < 0.0001)
        return;
#if (BRUSHES & PLAIN_BRUSHES) != 0
    if (BrushType == MASK)
        paintMask(vertex, f);
    else if (BrushType == ERASE)
        erase(vertex, f);
    else
#endif
#if (BRUSHES & RING_BRUSHES) != 0
    if (BrushType == MASK_SMOOTH)
        smoothMask(vertex, f);
    else
#endif
        displace(vertex, f);
    // A drag of the move brush keeps the weights of its press.
    if (BrushType != MOVE)
        falloff[vertex] = 0.0;
}
