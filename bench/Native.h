#pragma once

#include "layers/LayerData.h"
#include "layers/Topology.h"

#include <QImage>
#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <span>
#include <thread>

/// The kernels' work as plain loops on all cores: what a card, or a driver that plays one, is held
/// against. No cleaning and no special cases, so a fast loop is not slowed by what the kernels owe
/// to broken data.
namespace native {

constexpr size_t kRingCap = 10; ///< neighbours of a mean

inline size_t threadCount() { return std::max(1u, std::thread::hardware_concurrency()); }

/// Calls work(thread, begin, end) on all cores.
template <class Work> void forEachPart(size_t count, Work work)
{
    const size_t threads = threadCount();
    const auto part = [&](size_t thread) {
        work(thread, count * thread / threads, count * (thread + 1) / threads);
    };
    std::vector<std::thread> others;
    for (size_t thread = 1; thread < threads; ++thread)
        others.emplace_back(part, thread);
    part(0);
    for (std::thread &other : others)
        other.join();
}

template <class Work> void forEachVertex(size_t count, Work work)
{
    forEachPart(count, [&](size_t, size_t begin, size_t end) {
        for (size_t v = begin; v < end; ++v)
            work(v);
    });
}

// Qt's own of these are calls into its library, and divide in double precision.
inline QVector3D xyz(const QVector4D &v) { return { v.x(), v.y(), v.z() }; }
inline QVector4D flat(const QVector3D &v) { return { v.x(), v.y(), v.z(), 0.0f }; }
inline float dot(const QVector3D &a, const QVector3D &b)
{
    return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}
inline QVector3D cross(const QVector3D &a, const QVector3D &b)
{
    return { a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(),
             a.x() * b.y() - a.y() * b.x() };
}
inline float length(const QVector3D &v) { return std::sqrt(dot(v, v)); }
inline QVector3D unit(const QVector3D &v) { return v * (1.0f / length(v)); }

class Ring {
public:
    Ring(std::span<const quint32> table, size_t vertexCount, size_t vertex)
        : m_begin(table.data() + vertexCount + 1 + table[vertex])
        , m_end(table.data() + vertexCount + 1 + table[vertex + 1])
    {
    }
    const quint32 *begin() const { return m_begin; }
    const quint32 *end() const { return m_end; }

    QVector4D mean(const PointArray &points) const
    {
        const quint32 *last = m_begin + std::min(size_t(m_end - m_begin), kRingCap);
        QVector4D sum;
        for (const quint32 *n = m_begin; n != last; ++n)
            sum += points[*n];
        return sum / float(last - m_begin);
    }

private:
    const quint32 *m_begin;
    const quint32 *m_end;
};

inline void normals(std::span<const quint32> rings, const PointArray &points, PointArray &out)
{
    forEachVertex(points.size(), [&](size_t v) {
        const Ring ring(rings, points.size(), v);
        const QVector3D p = xyz(points[v]);
        QVector3D sum, x = unit(xyz(points[ring.end()[-1]]) - p);
        for (const quint32 n : ring) {
            const QVector3D y = unit(xyz(points[n]) - p);
            sum += unit(cross(y, x));
            x = y;
        }
        out[v] = flat(unit(sum));
    });
}

inline void relax(std::span<const quint32> rings, const PointArray &from,
                  const std::vector<float> &mask, float intensity, PointArray &out)
{
    forEachVertex(from.size(), [&](size_t v) {
        const QVector4D mean = Ring(rings, from.size(), v).mean(from);
        out[v] = from[v] + (mean - from[v]) * (mask[v] * intensity);
    });
}

inline void clone(std::span<const quint32> rings, const PointArray &pose, const PointArray &shape,
                  const std::vector<float> &mask, float intensity, PointArray &out)
{
    forEachVertex(pose.size(), [&](size_t v) {
        const Ring ring(rings, pose.size(), v);
        const QVector4D goal = ring.mean(pose) + shape[v] - ring.mean(shape);
        out[v] = pose[v] + (goal - pose[v]) * (mask[v] * intensity);
    });
}

inline void addDeltas(const PointArray &base, const PointArray &offset, float intensity,
                      PointArray &out)
{
    forEachVertex(base.size(), [&](size_t v) { out[v] += (offset[v] - base[v]) * intensity; });
}

inline void jiggle(const PointArray &normals, const std::vector<float> &mask, PointArray &current,
                   PointArray &previous, PointArray &out)
{
    forEachVertex(out.size(), [&](size_t v) {
        const QVector4D goal = out[v];
        QVector4D swung = current[v] + (current[v] - previous[v]) * 0.7f;
        swung += (goal - swung) * 0.3f;
        swung -= normals[v] * (QVector4D::dotProduct(swung - goal, normals[v]) * 0.5f);
        out[v] += (swung - goal) * mask[v];
        previous[v] = current[v];
        current[v] = out[v];
    });
}

/// A vector carried from one pose's frames around a vertex into another's.
inline QVector3D carried(const Ring &ring, size_t v, const PointArray &from, const PointArray &to,
                         const QVector3D &vector)
{
    const auto direction = [v](const PointArray &pose, quint32 n) {
        return unit(xyz(pose[n] - pose[v]));
    };
    QVector3D sum;
    QVector3D a = direction(from, ring.end()[-1]), b = direction(to, ring.end()[-1]);
    for (const quint32 n : ring) {
        const QVector3D nextA = direction(from, n), nextB = direction(to, n);
        const QVector3D acrossA = unit(cross(nextA, a));
        const QVector3D acrossB = unit(cross(nextB, b));
        sum += b * dot(a, vector) + cross(b, acrossB) * dot(cross(a, acrossA), vector) +
            acrossB * dot(acrossA, vector);
        a = nextA;
        b = nextB;
    }
    return unit(sum) * length(vector);
}

inline void addDeltasTangent(std::span<const quint32> rings, const PointArray &base,
                             const PointArray &offset, const PointArray &pose, PointArray &out)
{
    forEachVertex(base.size(), [&](size_t v) {
        const QVector3D delta = xyz(offset[v] - base[v]);
        out[v] += flat(carried(Ring(rings, base.size(), v), v, base, pose, delta));
    });
}

inline void cloneTangent(std::span<const quint32> rings, const PointArray &pose,
                         const PointArray &shape, const std::vector<float> &mask, float intensity,
                         PointArray &out)
{
    forEachVertex(pose.size(), [&](size_t v) {
        const Ring ring(rings, pose.size(), v);
        const QVector3D detail = xyz(shape[v] - ring.mean(shape));
        const QVector4D goal = ring.mean(pose) + flat(carried(ring, v, shape, pose, detail));
        out[v] = pose[v] + (goal - pose[v]) * (mask[v] * intensity);
    });
}

/// One smoothing, then the detail between `base` and `offset` on top.
inline void mush(std::span<const quint32> rings, const PointArray &pose, const PointArray &base,
                 const PointArray &offset, const std::vector<float> &mask, PointArray &smooth,
                 PointArray &out)
{
    forEachVertex(pose.size(),
                  [&](size_t v) { smooth[v] = Ring(rings, pose.size(), v).mean(pose); });
    forEachVertex(pose.size(), [&](size_t v) {
        const QVector3D detail = xyz(offset[v] - base[v]);
        const QVector4D goal =
            smooth[v] + flat(carried(Ring(rings, pose.size(), v), v, base, smooth, detail));
        out[v] = pose[v] + (goal - pose[v]) * mask[v];
    });
}

/// A step of the springs from rest.
inline void cloth(std::span<const quint32> springs, const PointArray &pose, const PointArray &rest,
                  const std::vector<float> &mask, PointArray &velocity, PointArray &out)
{
    constexpr float kSpring = 400.0f, kMass = 0.05f, kStep = 0.005f;
    forEachVertex(pose.size(), [&](size_t v) {
        QVector3D force;
        for (const quint32 n : Ring(springs, pose.size(), v)) {
            const QVector3D reach = xyz(pose[n] - pose[v]);
            const float taut = length(reach);
            const float slack = length(xyz(rest[n] - rest[v]));
            force += reach * (kSpring * (taut - slack) / taut * mask[v]);
        }
        const QVector3D acceleration = force / kMass;
        out[v] = pose[v] + flat(acceleration * (0.5f * kStep * kStep));
        velocity[v] = flat(acceleration * kStep);
    });
}

/// Where the ray from `near` along `way` first meets a triangle, as a share of `way`; 1 without
/// one.
inline float hit(std::span<const quint32> triangles, const PointArray &points,
                 const QVector3D &near, const QVector3D &way)
{
    std::vector<float> nearest(threadCount(), 1.0f);
    forEachPart(triangles.size() / 3, [&](size_t thread, size_t begin, size_t end) {
        float best = 1.0f;
        for (size_t t = begin; t < end; ++t) {
            const QVector3D a = xyz(points[triangles[3 * t]]);
            const QVector3D ab = xyz(points[triangles[3 * t + 1]]) - a;
            const QVector3D ac = xyz(points[triangles[3 * t + 2]]) - a;
            const QVector3D p = cross(way, ac);
            const QVector3D q = cross(near - a, ab);
            const float scale = 1.0f / dot(ab, p);
            const float u = dot(near - a, p) * scale;
            const float v = dot(way, q) * scale;
            const float at = dot(ac, q) * scale;
            if (u >= 0.0f && v >= 0.0f && u + v <= 1.0f && at > 0.0f && at < best)
                best = at;
        }
        nearest[thread] = best;
    });
    return *std::min_element(nearest.begin(), nearest.end());
}

inline void pick(const PointArray &points, const QVector3D &centre, float radius,
                 std::vector<float> &falloff)
{
    forEachVertex(points.size(), [&](size_t v) {
        const float t = length(xyz(points[v]) - centre) / radius, u = 1.0f - t;
        falloff[v] = t < 1.0f ? u * u * u + 3.0f * t * u * u : 0.0f;
    });
}

/// The weights of those that a walk along the ring from the vertex at the centre reaches within the
/// radius; one thread, as a walk has one front.
inline void pickBySurface(std::span<const quint32> rings, const PointArray &points,
                          const QVector3D &centre, float radius, std::vector<float> &falloff)
{
    const auto distance = [&](size_t v) { return length(xyz(points[v]) - centre); };
    size_t nearest = 0;
    for (size_t v = 1; v < points.size(); ++v) {
        if (distance(v) < distance(nearest))
            nearest = v;
    }
    std::fill(falloff.begin(), falloff.end(), 0.0f);
    std::vector<quint32> reached { quint32(nearest) };
    falloff[nearest] = 1.0f;
    for (size_t i = 0; i < reached.size(); ++i) {
        for (const quint32 n : Ring(rings, points.size(), reached[i])) {
            const float t = distance(n) / radius, u = 1.0f - t;
            if (falloff[n] == 0.0f && t < 1.0f) {
                falloff[n] = u * u * u + 3.0f * t * u * u;
                reached.push_back(n);
            }
        }
    }
}

/// The mean normal of the points within the radius.
inline QVector3D area(const PointArray &points, const PointArray &normals, const QVector3D &centre,
                      float radius)
{
    struct Sums {
        QVector4D position, normal;
    };
    std::vector<Sums> sums(threadCount());
    forEachPart(points.size(), [&](size_t thread, size_t begin, size_t end) {
        Sums mine;
        for (size_t v = begin; v < end; ++v) {
            const QVector3D d = xyz(points[v]) - centre;
            if (dot(d, d) < radius * radius) {
                mine.position += points[v];
                mine.normal += normals[v];
            }
        }
        sums[thread] = mine;
    });
    QVector4D normal;
    for (const Sums &part : sums)
        normal += part.normal;
    return unit(xyz(normal));
}

inline void sculptStandard(const QVector3D &push, const std::vector<float> &mask,
                           std::vector<float> &falloff, PointArray &deltas, PointArray &points)
{
    forEachVertex(points.size(), [&](size_t v) {
        if (falloff[v] < 0.0001f)
            return;
        const QVector4D d = flat(push * (falloff[v] * (1.0f - mask[v])));
        points[v] += d;
        deltas[v] += d;
        falloff[v] = 0.0f;
    });
}

constexpr int kAlphaSide = 256;

inline std::vector<float> alphaOf(const QString &path)
{
    const QImage image = QImage(path).scaled(kAlphaSide, kAlphaSide);
    std::vector<float> alpha;
    for (int y = 0; y < kAlphaSide; ++y)
        for (int x = 0; x < kAlphaSide; ++x)
            alpha.push_back(float(qRed(image.pixel(x, y))) / 255.0f);
    return alpha;
}

/// Towards a plane above the centre, shaped by the alpha, which lies along the x and y axes.
inline void sculptClay(const QVector3D &centre, const QVector3D &push, float radius,
                       const std::vector<float> &alpha, const std::vector<float> &mask,
                       std::vector<float> &falloff, PointArray &deltas, PointArray &points)
{
    const QVector3D n = unit(push), plane = centre + n * (radius * 0.1f);
    const float strength = 2.0f * length(push);
    forEachVertex(points.size(), [&](size_t v) {
        if (falloff[v] < 0.0001f)
            return;
        const QVector3D p = xyz(points[v]), q = p - centre;
        const float u = (q.x() / radius + 1.0f) * 0.5f * (kAlphaSide - 1);
        const float w = (q.y() / radius + 1.0f) * 0.5f * (kAlphaSide - 1);
        const int x = std::clamp(int(u), 0, kAlphaSide - 2),
                  y = std::clamp(int(w), 0, kAlphaSide - 2);
        const float *texel = alpha.data() + y * kAlphaSide + x, a = u - float(x), b = w - float(y);
        const float low = texel[0] + (texel[1] - texel[0]) * a;
        const float high = texel[kAlphaSide] + (texel[kAlphaSide + 1] - texel[kAlphaSide]) * a;
        const float shaped = (low + (high - low) * b) * falloff[v] * (1.0f - mask[v]);
        const QVector4D d = flat(n * (-dot(p - plane, n) * strength * shaped));
        points[v] += d;
        deltas[v] += d;
        falloff[v] = 0.0f;
    });
}

inline void sculptFix(std::span<const quint32> rings, const PointArray &pose,
                      const PointArray &shape, std::vector<float> &falloff, PointArray &deltas,
                      PointArray &points)
{
    forEachVertex(points.size(), [&](size_t v) {
        if (falloff[v] < 0.0001f)
            return;
        const Ring ring(rings, pose.size(), v);
        const QVector3D detail = carried(ring, v, shape, pose, xyz(shape[v] - ring.mean(shape)));
        const QVector4D d = (ring.mean(pose) + flat(detail) - points[v]) * falloff[v];
        points[v] += d;
        deltas[v] += d;
        falloff[v] = 0.0f;
    });
}

} // namespace native
