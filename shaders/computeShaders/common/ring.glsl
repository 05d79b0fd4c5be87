// The one-ring walk. Needs USES_POSITION (its length is the vertex count) and USES_RING.
// GLSL cannot pass a buffer to a function, so the pose is a macro argument.
#define RING_CAP 10u

uint vertexCount() { return uint(position.length()); }
uint ringBegin(uint vertex) { return vertexCount() + 1u + ringVertices[vertex]; }
uint ringEnd(uint vertex) { return vertexCount() + 1u + ringVertices[vertex + 1u]; }

// Set in a neighbour that no face spans together with its predecessor: there the border opens, or one
// fan ends and the next begins. Topology::markedRings() sets the same bit.
#define RING_GAP 0x80000000u

uint ringNeighbour(uint entry) { return ringVertices[entry] & ~RING_GAP; }
bool ringGapBefore(uint entry) { return (ringVertices[entry] & RING_GAP) != 0u; }

// Neighbours are cyclic: the first one's predecessor is the last, the last one's successor the first.
uint ringPrevious(uint begin, uint end, uint entry)
{
    return ringNeighbour(entry == begin ? end - 1u : entry - 1u);
}
uint ringNext(uint begin, uint end, uint entry)
{
    return ringNeighbour(entry + 1u == end ? begin : entry + 1u);
}

float cotangent(float cosine) { return cosine / sqrt(1.0 - cosine * cosine); }

// Mean of the two angles' cotangents opposite the edge from p to its neighbour. Deliberate: length()
// of a vector is its component count, not the edge's length, so every weight is 1/sqrt(3) and the
// weighted centroid is the plain mean. Layers in saved scenes were sculpted against that.
float cotangentWeight(vec3 p, vec3 neighbour, vec3 previous, vec3 next)
{
    const float limit = cos(1e-6) / sin(1e-6);
    float e1 = float((neighbour - p).length());
    float e2 = float((previous - p).length());
    float e3 = float((previous - neighbour).length());
    float e4 = float((next - p).length());
    float e5 = float((next - neighbour).length());
    float alpha = cotangent(abs((e3 * e3 + e2 * e2 - e1 * e1) / (2.0 * e3 * e2)));
    float beta = cotangent(abs((e4 * e4 + e5 * e5 - e1 * e1) / (2.0 * e4 * e5)));
    float weight = (alpha + beta) / 2.0;
    return isnan(weight) ? 0.0 : min(weight, limit);
}

// Defines vec3 name(uint vertex, bool weighted): the centroid of the first RING_CAP neighbours; NaN
// with an empty ring.
#define RING_CENTROID(name, pose)                                                              \
    vec3 name(uint vertex, bool weighted)                                                      \
    {                                                                                          \
        uint begin = ringBegin(vertex);                                                        \
        uint end = min(ringEnd(vertex), begin + RING_CAP);                                     \
        vec3 sum = vec3(0.0);                                                                  \
        float weights = 0.0;                                                                   \
        for (uint entry = begin; entry < end; ++entry) {                                       \
            vec3 neighbour = pose[ringNeighbour(entry)].xyz;                                       \
            float weight = 1.0;                                                                \
            if (weighted)                                                                      \
                weight = cotangentWeight(pose[vertex].xyz, neighbour,                          \
                                         pose[ringPrevious(begin, end, entry)].xyz,            \
                                         pose[ringNext(begin, end, entry)].xyz);               \
            sum += weight * neighbour;                                                         \
            weights += weight;                                                                 \
        }                                                                                      \
        return sum / weights;                                                                  \
    }
