#pragma once

#include "layers/LayerData.h"

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <vector>

/// What the kernels' shared ring functions should compute, as plain loops in double, written from
/// the formulas. Nothing here calls code of the program.
namespace reference {

struct Vec {
    double x = 0.0, y = 0.0, z = 0.0;
};
using Pose = std::vector<Vec>;

inline Vec operator+(Vec a, Vec b) { return { a.x + b.x, a.y + b.y, a.z + b.z }; }
inline Vec operator-(Vec a, Vec b) { return { a.x - b.x, a.y - b.y, a.z - b.z }; }
inline Vec operator*(Vec a, double s) { return { a.x * s, a.y * s, a.z * s }; }
inline double dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec cross(Vec a, Vec b)
{
    return { a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x };
}
inline double length(Vec a) { return std::sqrt(dot(a, a)); }
/// NaN for the zero vector, as on the graphics card.
inline Vec normalized(Vec a) { return a * (1.0 / length(a)); }
inline bool finite(Vec a) { return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z); }
inline Vec cleaned(Vec a) { return finite(a) ? a : Vec(); }

inline Pose toPose(const PointArray &points)
{
    Pose pose;
    for (const QVector4D &p : points)
        pose.push_back({ p.x(), p.y(), p.z() });
    return pose;
}

/// A neighbour table as the topology lays it out: V + 1 offsets, then the lists.
struct Neighbours {
    const std::vector<quint32> &table;
    size_t vertexCount;

    std::vector<quint32> of(size_t vertex) const
    {
        const auto lists = table.begin() + std::ptrdiff_t(vertexCount) + 1;
        return { lists + table[vertex], lists + table[vertex + 1] };
    }
};

/// The mean of the first ten neighbours, NaN without any. It serves both ring weightings: the
/// cotangent weights come out equal for all neighbours, deliberately.
inline Vec ringMean(const std::vector<quint32> &ring, const Pose &pose)
{
    const size_t count = std::min<size_t>(ring.size(), 10);
    Vec sum;
    for (size_t k = 0; k < count; ++k)
        sum = sum + pose[ring[k]];
    return sum * (1.0 / double(count));
}

/// Three orthogonal unit axes at a vertex, from two neighbours that follow each other in its ring.
struct Frame {
    Vec a, b, c;

    Frame(Vec origin, Vec previous, Vec current)
        : a(normalized(previous - origin))
        , c(normalized(cross(normalized(current - origin), a)))
    {
        b = normalized(cross(a, c));
    }
    Vec toLocal(Vec v) const { return { dot(a, v), dot(b, v), dot(c, v) }; }
    Vec toWorld(Vec v) const { return a * v.x + b * v.y + c * v.z; }
};

/// `v` at `vertex` of pose `from`, turned as the surface around the vertex turns to pose `to`; as
/// long as before. A fan triangle without a frame adds nothing; NaN where none has one.
inline Vec carried(Vec v, size_t vertex, const std::vector<quint32> &ring, const Pose &from,
                   const Pose &to)
{
    Vec sum;
    for (size_t k = 0; k < ring.size(); ++k) {
        const quint32 previous = ring[(k + ring.size() - 1) % ring.size()];
        const Frame source(from[vertex], from[previous], from[ring[k]]);
        const Frame target(to[vertex], to[previous], to[ring[k]]);
        sum = sum + cleaned(target.toWorld(source.toLocal(v)));
    }
    return normalized(sum) * length(v);
}

} // namespace reference
