// Carries a vector from one pose's local frames around a vertex into another's. Needs ring.glsl and
// numbers.glsl.

// The frame of one fan triangle, from the directions to its two neighbours. Not a number where these
// lie on one line.
mat3 tangentFrame(vec3 previous, vec3 current)
{
    vec3 c = normalize(cross(current, previous));
    return mat3(previous, normalize(cross(previous, c)), c);
}

// Defines vec3 name(uint vertex, vec3 v). Every neighbour counts here, there is no cap. A pair that no
// face spans is no triangle, and one without a frame (collapsed) adds nothing; where no triangle has
// one, the result is NaN. Each direction serves the triangle before and the one after it.
#define TANGENT_TRANSFER(name, fromPose, toPose)                                               \
    vec3 name(uint vertex, vec3 v)                                                             \
    {                                                                                          \
        uint begin = ringBegin(vertex);                                                        \
        uint end = ringEnd(vertex);                                                            \
        vec3 fromCentre = fromPose[vertex].xyz;                                                \
        vec3 toCentre = toPose[vertex].xyz;                                                    \
        vec3 sum = vec3(0.0);                                                                  \
        vec3 fromPrevious = vec3(0.0);                                                         \
        vec3 toPrevious = vec3(0.0);                                                           \
        if (begin < end) {                                                                     \
            uint last = ringNeighbour(end - 1u);                                               \
            fromPrevious = normalize(fromPose[last].xyz - fromCentre);                         \
            toPrevious = normalize(toPose[last].xyz - toCentre);                               \
        }                                                                                      \
        for (uint entry = begin; entry < end; ++entry) {                                       \
            uint current = ringNeighbour(entry);                                               \
            vec3 fromCurrent = normalize(fromPose[current].xyz - fromCentre);                  \
            vec3 toCurrent = normalize(toPose[current].xyz - toCentre);                        \
            mat3 from = tangentFrame(fromPrevious, fromCurrent);                               \
            mat3 to = tangentFrame(toPrevious, toCurrent);                                     \
            if (!ringGapBefore(entry))                                                         \
                sum += removeNan(to * (inverse(from) * v));                                    \
            fromPrevious = fromCurrent;                                                        \
            toPrevious = toCurrent;                                                            \
        }                                                                                      \
        return normalize(sum) * length(v);                                                     \
    }
