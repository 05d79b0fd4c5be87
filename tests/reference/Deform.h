#pragma once

#include "reference/Ring.h"

/// The deformer passes as plain loops in double over whole poses, each step written from its
/// formula. The names of the poses are those of the buffers.
namespace reference {

using Weights = std::vector<double>;

/// A fan triangle without a normal adds nothing.
inline Pose vertexNormals(const Neighbours &rings, const Pose &position)
{
    Pose normals(position.size());
    for (size_t i = 0; i < position.size(); ++i) {
        const std::vector<quint32> ring = rings.of(i);
        Vec sum;
        for (size_t k = 0; k < ring.size(); ++k) {
            const quint32 previous = ring[(k + ring.size() - 1) % ring.size()];
            const Vec x = normalized(position[previous] - position[i]);
            const Vec y = normalized(position[ring[k]] - position[i]);
            sum = sum + cleaned(normalized(cross(y, x)));
        }
        normals[i] = cleaned(normalized(sum));
    }
    return normals;
}

struct Deltas {
    const Pose &basePoints, &offsetPoints;
    double intensity;
    bool tangent;
};

/// Lets a NaN of the tangent transfer into the result, deliberately.
inline Pose addDeltas(const Neighbours &rings, const Pose &position, const Deltas &deltas)
{
    Pose result = position;
    for (size_t i = 0; i < position.size(); ++i) {
        Vec d = (deltas.offsetPoints[i] - deltas.basePoints[i]) * deltas.intensity;
        if (!(length(d) > 0.0))
            continue;
        if (deltas.tangent)
            d = carried(d, i, rings.of(i), deltas.basePoints, position);
        result[i] = position[i] + d;
    }
    return result;
}

inline Pose clone(const Neighbours &rings, Pose position, const Pose &offsetPoints,
                  const Weights &mask, double intensity, bool tangent, int iterations)
{
    for (int pass = 0; pass < iterations; ++pass) {
        const Pose backup = position;
        for (size_t i = 0; i < position.size(); ++i) {
            if (!(mask[i] > 0.0001))
                continue;
            const std::vector<quint32> ring = rings.of(i);
            Vec v = offsetPoints[i] - ringMean(ring, offsetPoints);
            if (tangent)
                v = carried(v, i, ring, offsetPoints, backup);
            const Vec d = cleaned(ringMean(ring, backup) + v - backup[i]);
            position[i] = backup[i] + d * (intensity * mask[i]);
        }
    }
    return position;
}

/// An empty ring's NaN mean is not cleaned.
inline Pose relax(const Neighbours &rings, Pose position, const Weights &mask, double intensity,
                  int iterations)
{
    for (int pass = 0; pass < iterations; ++pass) {
        const Pose backup = position;
        for (size_t i = 0; i < position.size(); ++i) {
            if (mask[i] < 0.00001)
                continue;
            const Vec toMean = ringMean(rings.of(i), backup) - backup[i];
            position[i] = backup[i] + toMean * (mask[i] * intensity);
        }
    }
    return position;
}

/// The mush kernel alone: the rest detail (offset − base) ridden on the smoothed pose.
inline Pose mushStep(const Neighbours &rings, const Pose &position, const Pose &smooth,
                     const Weights &mask, const Pose &basePoints, const Pose &offsetPoints)
{
    Pose result = position;
    for (size_t i = 0; i < position.size(); ++i) {
        if (!(mask[i] > 0.0))
            continue;
        Vec v = offsetPoints[i] - basePoints[i];
        if (length(v) > 0.0)
            v = carried(v, i, rings.of(i), basePoints, smooth);
        result[i] = position[i] + (smooth[i] + v - position[i]) * mask[i];
    }
    return result;
}

struct Mush {
    int iterations, cloneIterations;
    double envelope;
    const Pose &basePoints, &offsetPoints;
};

inline Pose mush(const Neighbours &rings, const Pose &position, const Weights &mask,
                 const Mush &mush)
{
    if (mush.iterations <= 0)
        return position;
    const Weights everywhere(position.size(), 1.0);
    const Pose smooth = relax(rings, position, everywhere, 1.0, mush.iterations);
    Pose result = mushStep(rings, position, smooth, mask, mush.basePoints, mush.offsetPoints);
    result = clone(rings, result, mush.offsetPoints, mask, 1.0, true, mush.cloneIterations);
    if (mush.envelope < 1.0)
        result = addDeltas(rings, position, { position, result, mush.envelope, false });
    return result;
}

/// The state that goes from frame to frame.
struct Simulation {
    Pose current, previous;
};

struct Jiggle {
    double intensity, damping, stiffness, asMuscle;
};

inline Pose jiggle(const Pose &position, const Pose &normal, const Weights &mask,
                   const Jiggle &jiggle, Simulation &state)
{
    Pose result = position;
    for (size_t i = 0; i < position.size(); ++i) {
        const double m = mask[i] * jiggle.intensity;
        if (!(m > 0.0))
            continue;
        const Vec goal = position[i];
        const Vec velocity = (state.current[i] - state.previous[i]) * (1.0 - jiggle.damping);
        Vec q = state.current[i] + velocity;
        q = q + (goal - q) * jiggle.stiffness;
        const Vec e = q - goal;
        // s = 1 − asMuscle is what is left of the swing along the normal.
        if (jiggle.asMuscle > 0.0)
            q = q - normal[i] * (dot(e, normal[i]) * jiggle.asMuscle);
        result[i] = goal + (q - goal) * m;
        state.previous[i] = state.current[i];
        state.current[i] = result[i];
    }
    return result;
}

/// Two position and two velocity buffers that take turns; a step adds to what its own target
/// held before, deliberately.
struct Cloth {
    Pose positions[2];
    Pose velocities[2];

    explicit Cloth(const Pose &start)
        : positions { start, start }
        , velocities { Pose(start.size()), Pose(start.size()) }
    {
    }

    void step(const Neighbours &springs, const Weights &mask, const Pose &rest, int pass)
    {
        const double mass = 0.05, spring = 400.0, dt = 0.005, damping = 1.0;
        const Pose &x = positions[pass], &u = velocities[pass];
        for (size_t i = 0; i < x.size(); ++i) {
            if (mask[i] < 0.0001)
                continue;
            Vec force;
            for (const quint32 j : springs.of(i)) {
                const Vec r = x[j] - x[i];
                const double stretch = length(r) - length(rest[j] - rest[i]);
                force = force + normalized(r) * (spring * stretch * mask[i]);
            }
            const Vec a = (force - u[i] * damping) * (1.0 / mass);
            const Vec d = cleaned(u[i] * dt + a * (0.5 * dt * dt));
            positions[1 - pass][i] = positions[1 - pass][i] + d;
            velocities[1 - pass][i] = u[i] + a * dt;
        }
    }
};

/// The simulated pose before the layer's intensity comes in.
inline Pose clothSimulation(const Neighbours &springs, const Pose &position, const Weights &mask,
                            const Pose &rest, int steps)
{
    Cloth cloth(position);
    for (int step = 0; step < steps; ++step)
        cloth.step(springs, mask, rest, step % 2);
    return cloth.positions[0];
}

} // namespace reference
