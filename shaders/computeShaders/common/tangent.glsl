// Carries a vector from one pose's local frames around a vertex into another's. Needs ring.glsl and
// numbers.glsl.

// The frame of one fan triangle. Not a number where the two neighbours lie on one line with p.
mat3 tangentFrame(vec3 p, vec3 previous, vec3 current)
{
    vec3 a = normalize(previous - p);
    vec3 b = normalize(current - p);
    vec3 c = normalize(cross(b, a));
    return mat3(a, normalize(cross(a, c)), c);
}

// Defines vec3 name(uint vertex, vec3 v). Every neighbour counts here, there is no cap. A pair that no
// face spans is no triangle, and one without a frame (collapsed) adds nothing; where no triangle has
// one, the result is NaN.
#define TANGENT_TRANSFER(name, fromPose, toPose)                                               \
    vec3 name(uint vertex, vec3 v)                                                             \
    {                                                                                          \
        uint begin = ringBegin(vertex);                                                        \
        uint end = ringEnd(vertex);                                                            \
        vec3 sum = vec3(0.0);                                                                  \
        for (uint entry = begin; entry < end; ++entry) {                                       \
            if (ringGapBefore(entry))                                                          \
                continue;                                                                      \
            uint previous = ringPrevious(begin, end, entry);                                   \
            uint current = ringNeighbour(entry);                                               \
            mat3 from = tangentFrame(fromPose[vertex].xyz, fromPose[previous].xyz,             \
                                     fromPose[current].xyz);                                   \
            mat3 to = tangentFrame(toPose[vertex].xyz, toPose[previous].xyz,                   \
                                   toPose[current].xyz);                                       \
            sum += removeNan(to * (inverse(from) * v));                                        \
        }                                                                                      \
        return normalize(sum) * length(v);                                                     \
    }
