#pragma once

#include "layers/LayerData.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
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
    std::span<const quint32> table;
    size_t vertexCount;

    std::vector<quint32> of(size_t vertex) const
    {
        const auto lists = table.begin() + std::ptrdiff_t(vertexCount) + 1;
        return { lists + table[vertex], lists + table[vertex + 1] };
    }
};

/// The rings, and which of their neighbours a face spans.
struct Rings : Neighbours {
    using Pair = std::array<quint32, 2>;
    using Pairs = std::vector<Pair>;

    Rings(std::span<const quint32> rings, size_t count, std::span<const quint32> triangles)
        : Neighbours { rings, count }
    {
        std::vector<Pairs> around(count); // of each vertex, its triangles' far edges
        for (size_t i = 0; i < triangles.size(); ++i) { // a ring runs against its triangles
            const size_t first = i - i % 3;
            around[triangles[i]].push_back(
                { triangles[first + (i + 2) % 3], triangles[first + (i + 1) % 3] });
        }
        for (size_t vertex = 0; vertex < count; ++vertex)
            fans.push_back(fan(of(vertex), around[vertex]));
    }

    /// Whether one face holds both neighbours: whether triangles, from diagonal to diagonal, lead
    /// from one to the other.
    static bool spans(const std::vector<quint32> &ring, const Pairs &around, Pair pair)
    {
        return std::any_of(around.begin(), around.end(), [&](const Pair &step) {
            const bool diagonal = std::find(ring.begin(), ring.end(), step[1]) == ring.end();
            return step[0] == pair[0] &&
                (step[1] == pair[1] || (diagonal && spans(ring, around, { step[1], pair[1] })));
        });
    }

    /// A face turned over counts, but not where it would stand against itself.
    static Pairs fan(const std::vector<quint32> &ring, const Pairs &around)
    {
        Pairs pairs;
        for (size_t k = 0; k < ring.size(); ++k) {
            const Pair pair { ring[(k + ring.size() - 1) % ring.size()], ring[k] };
            if (spans(ring, around, pair) ||
                (ring.size() > 2 && spans(ring, around, { pair[1], pair[0] })))
                pairs.push_back(pair);
        }
        return pairs;
    }

    std::vector<Pairs> fans; ///< of each vertex, the spanned pairs that follow in its ring
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
inline Vec carried(Vec v, size_t vertex, const Rings &rings, const Pose &from, const Pose &to)
{
    Vec sum;
    for (const auto &[previous, current] : rings.fans[vertex]) {
        const Frame source(from[vertex], from[previous], from[current]);
        const Frame target(to[vertex], to[previous], to[current]);
        sum = sum + cleaned(target.toWorld(source.toLocal(v)));
    }
    return normalized(sum) * length(v);
}

} // namespace reference
