#pragma once

#include "reference/Ring.h"

/// The deformer passes as plain loops in double over whole poses, each step written from its
/// formula. The names of the poses are those of the buffers.
namespace reference {

using Weights = std::vector<double>;

/// What lies in the buffers.
struct Scene {
    Rings rings;
    Neighbours springs;
    Pose position {}, normal {}, deltas {}, basePoints {}, offsetPoints {}, rest {};
    Weights mask {};
};

/// Replaces the pose `count` times by what `rule` makes of every vertex of the one before.
template <class Rule> Pose passes(Pose pose, int count, Rule rule)
{
    for (; count > 0; --count) {
        const Pose before = pose;
        for (size_t i = 0; i < pose.size(); ++i)
            pose[i] = rule(before, i);
    }
    return pose;
}

/// A fan triangle without a normal adds nothing.
inline Pose vertexNormals(const Scene &s, const Pose &position)
{
    return passes(position, 1, [&](const Pose &p, size_t i) {
        Vec sum;
        for (const auto &[previous, current] : s.rings.fans[i]) {
            const Vec x = normalized(p[previous] - p[i]), y = normalized(p[current] - p[i]);
            sum = sum + cleaned(normalized(cross(y, x)));
        }
        return cleaned(normalized(sum));
    });
}

/// Lets a NaN of the tangent transfer into the result, deliberately.
inline Pose addDeltas(const Scene &s, const Pose &position, const Pose &base, const Pose &offset,
                      double intensity, bool tangent)
{
    return passes(position, 1, [&](const Pose &p, size_t i) {
        const Vec d = (offset[i] - base[i]) * intensity;
        if (!(length(d) > 0.0))
            return p[i];
        return p[i] + (tangent ? carried(d, i, s.rings, base, p) : d);
    });
}

inline Pose clone(const Scene &s, const Pose &position, const Pose &shape, double intensity,
                  bool tangent, int iterations)
{
    return passes(position, iterations, [&](const Pose &p, size_t i) {
        if (!(s.mask[i] > 0.0001))
            return p[i];
        const std::vector<quint32> ring = s.rings.of(i);
        Vec v = shape[i] - ringMean(ring, shape);
        if (tangent)
            v = carried(v, i, s.rings, shape, p);
        return p[i] + cleaned(ringMean(ring, p) + v - p[i]) * (intensity * s.mask[i]);
    });
}

/// An empty ring's NaN mean is not cleaned.
inline Pose relax(const Scene &s, const Pose &position, double intensity, bool useMask,
                  int iterations)
{
    return passes(position, iterations, [&](const Pose &p, size_t i) {
        const double m = useMask ? s.mask[i] : 1.0;
        const Vec toMean = ringMean(s.rings.of(i), p) - p[i];
        return m < 0.00001 ? p[i] : p[i] + toMean * (m * intensity);
    });
}

/// The rest detail (offset - base) ridden on the smoothed pose.
inline Pose mush(const Scene &s, int iterations, int cloneIterations, double envelope)
{
    const Pose smooth = relax(s, s.position, 1.0, false, iterations);
    Pose result = passes(s.position, 1, [&](const Pose &p, size_t i) {
        Vec v = s.offsetPoints[i] - s.basePoints[i];
        if (length(v) > 0.0)
            v = carried(v, i, s.rings, s.basePoints, smooth);
        return s.mask[i] > 0.0 ? p[i] + (smooth[i] + v - p[i]) * s.mask[i] : p[i];
    });
    result = clone(s, result, s.offsetPoints, 1.0, true, cloneIterations);
    return envelope < 1.0 ? addDeltas(s, s.position, s.position, result, envelope, false) : result;
}

struct Jiggle {
    double intensity, damping, stiffness, asMuscle;
};

/// Works on the scene: "deltas" are the current points and "basePoints" the previous ones.
inline void jiggle(Scene &s, const Jiggle &jiggle)
{
    for (size_t i = 0; i < s.position.size(); ++i) {
        const double m = s.mask[i] * jiggle.intensity;
        if (!(m > 0.0))
            continue;
        const Vec goal = s.position[i], n = s.normal[i];
        Vec q = s.deltas[i] + (s.deltas[i] - s.basePoints[i]) * (1.0 - jiggle.damping);
        q = q + (goal - q) * jiggle.stiffness;
        if (jiggle.asMuscle > 0.0) // s = 1 - asMuscle is left of the swing along the normal
            q = q - n * (dot(q - goal, n) * jiggle.asMuscle);
        s.position[i] = goal + (q - goal) * m;
        s.basePoints[i] = s.deltas[i];
        s.deltas[i] = s.position[i];
    }
}

/// The simulated pose before the layer's intensity comes in. Two position and two velocity buffers
/// take turns; a step adds to what its own target held before, deliberately.
inline Pose clothSimulation(const Scene &s, int steps)
{
    const double mass = 0.05, spring = 400.0, dt = 0.005, damping = 1.0;
    Pose x[] = { s.position, s.position };
    Pose u[] = { Pose(x[0].size()), Pose(x[0].size()) };
    for (int step = 0; step < steps; ++step) {
        const int from = step % 2, to = 1 - from;
        for (size_t i = 0; i < s.mask.size(); ++i) {
            if (s.mask[i] < 0.0001)
                continue;
            Vec force = u[from][i] * -damping;
            for (const quint32 j : s.springs.of(i)) {
                const Vec r = x[from][j] - x[from][i];
                const double stretch = length(r) - length(s.rest[j] - s.rest[i]);
                force = force + normalized(r) * (spring * stretch * s.mask[i]);
            }
            const Vec a = force * (1.0 / mass);
            x[to][i] = x[to][i] + cleaned(u[from][i] * dt + a * (0.5 * dt * dt));
            u[to][i] = u[from][i] + a * dt;
        }
    }
    return x[0];
}

/// One layer's pass over the scene's position. Of a jiggle layer it is the step of one frame, from
/// "deltas" and "basePoints".
inline void apply(Scene &s, const LayerData &layer, double weight)
{
    const Pose before = s.position;
    const int clones = layer.cloneIterations();
    switch (layer.kind()) {
    case LayerKind::Sculpt:
        s.position = addDeltas(s, before, s.basePoints, s.offsetPoints, weight, layer.tangent());
        s.position = clone(s, s.position, s.offsetPoints, std::max(weight, 0.0), true, clones);
        break;
    case LayerKind::Mush:
        s.position = layer.iterations() > 0 ? mush(s, layer.iterations(), clones, weight) : before;
        break;
    case LayerKind::Relax:
        s.position = relax(s, before, weight, true, layer.iterations());
        break;
    case LayerKind::Jiggle:
        s.normal = vertexNormals(s, before);
        jiggle(s, { weight, layer.damping(), layer.stiffness(), layer.asMuscle() });
        s.position = clone(s, s.position, before, 1.0, false, clones); // keeps the incoming shape
        break;
    case LayerKind::Cloth:
        s.position = clone(s, before, clothSimulation(s, layer.iterations()), weight, false, 5);
    }
}

} // namespace reference
