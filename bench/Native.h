#pragma once

#include "layers/LayerData.h"
#include "layers/Topology.h"

#include <QVector3D>

#include <algorithm>
#include <thread>

/// The kernels' work as plain loops on all cores: what a card, or a driver that plays one, is held
/// against. No cleaning and no special cases, so a fast loop is not slowed by what the kernels owe
/// to broken data.
namespace native {

constexpr size_t kRingCap = 10; ///< neighbours of a mean

template <class Work> void forEachVertex(size_t count, Work work)
{
    const size_t threads = std::max(1u, std::thread::hardware_concurrency());
    const auto part = [&](size_t thread) {
        for (size_t v = count * thread / threads; v < count * (thread + 1) / threads; ++v)
            work(v);
    };
    std::vector<std::thread> others;
    for (size_t thread = 1; thread < threads; ++thread)
        others.emplace_back(part, thread);
    part(0);
    for (std::thread &other : others)
        other.join();
}

class Ring {
public:
    Ring(const std::vector<quint32> &table, size_t vertexCount, size_t vertex)
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

inline void normals(const std::vector<quint32> &rings, const PointArray &points, PointArray &out)
{
    forEachVertex(points.size(), [&](size_t v) {
        const Ring ring(rings, points.size(), v);
        const QVector3D p = points[v].toVector3D();
        QVector3D sum, x = (points[ring.end()[-1]].toVector3D() - p).normalized();
        for (const quint32 n : ring) {
            const QVector3D y = (points[n].toVector3D() - p).normalized();
            sum += QVector3D::crossProduct(y, x).normalized();
            x = y;
        }
        out[v] = QVector4D(sum.normalized(), 0.0f);
    });
}

inline void relax(const std::vector<quint32> &rings, const PointArray &from,
                  const std::vector<float> &mask, float intensity, PointArray &out)
{
    forEachVertex(from.size(), [&](size_t v) {
        const QVector4D mean = Ring(rings, from.size(), v).mean(from);
        out[v] = from[v] + (mean - from[v]) * (mask[v] * intensity);
    });
}

inline void clone(const std::vector<quint32> &rings, const PointArray &pose,
                  const PointArray &shape, const std::vector<float> &mask, float intensity,
                  PointArray &out)
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

} // namespace native
