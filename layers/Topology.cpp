#include "layers/Topology.h"

#include "layers/Log.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr quint32 kNone = 0xFFFFFFFF;

/// A face that passed the checks, wound as in the archive.
struct Face {
    const qint32 *corners;
    qint32 count;

    quint32 corner(qint32 i) const { return quint32(corners[i]); }
};

/// What one face says about one of its corners.
struct Corner {
    quint32 next; ///< in the archive's winding, so the ring runs from next to previous
    quint32 previous;
    quint32 opposite; ///< of a face with four corners, else kNone
};

/// Tells faces that can be used from broken ones.
class FaceCheck {
public:
    explicit FaceCheck(int vertexCount)
        : m_lastFace(size_t(vertexCount), 0)
    {
    }

    bool accepts(const Face &face)
    {
        ++m_face;
        return std::all_of(face.corners, face.corners + face.count, [this](qint32 vertex) {
            if (vertex < 0 || size_t(vertex) >= m_lastFace.size())
                return false;
            return std::exchange(m_lastFace[size_t(vertex)], m_face) != m_face;
        });
    }

private:
    std::vector<quint32> m_lastFace; ///< the face that named this vertex last
    quint32 m_face = 0;
};

std::vector<Face> usableFaces(int vertexCount, const std::vector<qint32> &indices,
                              const std::vector<qint32> &counts)
{
    std::vector<Face> faces;
    faces.reserve(counts.size());
    FaceCheck check(vertexCount);
    size_t begin = 0;
    for (const qint32 count : counts) {
        const size_t corners = size_t(std::max(count, 0));
        const bool fits = corners <= indices.size() - begin;
        const Face face { indices.data() + begin, count };
        if (fits && count >= 3 && check.accepts(face))
            faces.push_back(face);
        begin = fits ? begin + corners : indices.size();
    }
    if (faces.size() < counts.size()) {
        qCDebug(lcLayers).noquote() << "faces dropped for too few, repeated or missing corners:"
                                    << counts.size() - faces.size();
    }
    return faces;
}

std::vector<quint32> fanTriangles(const std::vector<Face> &faces)
{
    size_t triangleCount = 0;
    for (const Face &face : faces)
        triangleCount += size_t(face.count - 2);

    std::vector<quint32> triangles;
    triangles.reserve(3 * triangleCount);
    for (const Face &face : faces) {
        for (qint32 i = 1; i + 1 < face.count; ++i)
            triangles.insert(triangles.end(),
                             { face.corner(0), face.corner(i + 1), face.corner(i) });
    }
    return triangles;
}

/// Every face corner, grouped by vertex, in face order.
class CornerTable {
public:
    CornerTable(int vertexCount, const std::vector<Face> &faces)
        : m_ends(size_t(vertexCount) + 1, 0)
    {
        for (const Face &face : faces) {
            for (qint32 i = 0; i < face.count; ++i)
                ++m_ends[face.corner(i) + 1];
        }
        for (size_t v = 0; v < size_t(vertexCount); ++v)
            m_ends[v + 1] += m_ends[v];
        // Filling moves each vertex's start up to its end, which is the next vertex's start.
        m_corners.resize(m_ends.back());
        m_ends.pop_back();
        for (const Face &face : faces)
            addCorners(face);
    }

    const Corner *begin(size_t vertex) const
    {
        return m_corners.data() + (vertex ? m_ends[vertex - 1] : 0);
    }
    const Corner *end(size_t vertex) const { return m_corners.data() + m_ends[vertex]; }
    size_t size() const { return m_corners.size(); }

private:
    void addCorners(const Face &face)
    {
        const qint32 last = face.count - 1;
        for (qint32 i = 0; i <= last; ++i) {
            Corner &corner = m_corners[m_ends[face.corner(i)]++];
            corner.next = face.corner(i == last ? 0 : i + 1);
            corner.previous = face.corner(i == 0 ? last : i - 1);
            corner.opposite = last == 3 ? face.corner((i + 2) % 4) : kNone;
        }
    }

    std::vector<size_t> m_ends;
    std::vector<Corner> m_corners;
};

/// Chains the corners of one vertex after the other into rings. Its tables are as long as the mesh
/// and cleared by stamp, so a vertex of any valence costs only its own corners.
class RingWalk {
public:
    explicit RingWalk(int vertexCount)
        : m_neighbours(size_t(vertexCount))
    {
    }

    /// Appends the neighbours of the vertex whose corners these are.
    void append(const Corner *begin, const Corner *end, std::vector<quint32> &ring)
    {
        m_corners = begin;
        link(quint32(end - begin));
        // Open fans first, from the border neighbour that no corner leads to.
        for (const Corner *corner = begin; corner != end; ++corner) {
            if (!m_neighbours[corner->next].reached)
                walk(corner->next, ring);
        }
        for (const Corner *corner = begin; corner != end; ++corner) {
            while (m_neighbours[corner->next].firstCorner != kNone)
                walk(corner->next, ring);
        }
    }

private:
    struct Neighbour {
        quint32 stamp = 0;
        quint32 firstCorner = kNone; ///< of those not yet walked that start at this neighbour
        bool reached = false; ///< some corner ends here
        bool listed = false;
    };

    Neighbour &fresh(quint32 vertex)
    {
        Neighbour &neighbour = m_neighbours[vertex];
        if (neighbour.stamp != m_stamp)
            neighbour = Neighbour { m_stamp, kNone, false, false };
        return neighbour;
    }

    void link(quint32 cornerCount)
    {
        ++m_stamp;
        m_nextCorner.resize(std::max(m_nextCorner.size(), size_t(cornerCount)));
        for (quint32 i = cornerCount; i-- > 0;) {
            Neighbour &start = fresh(m_corners[i].next);
            m_nextCorner[i] = std::exchange(start.firstCorner, i);
            fresh(m_corners[i].previous).reached = true;
        }
    }

    /// From one neighbour to the next until the border, the start or an earlier fan. Every step
    /// uses up a corner, which also ends the walk where faces overlap.
    void walk(quint32 vertex, std::vector<quint32> &ring)
    {
        for (Neighbour *at = &m_neighbours[vertex];; at = &m_neighbours[vertex]) {
            if (!std::exchange(at->listed, true))
                ring.push_back(vertex);
            const quint32 corner = at->firstCorner;
            if (corner == kNone)
                return;
            at->firstCorner = m_nextCorner[corner];
            vertex = m_corners[corner].previous;
            if (m_neighbours[vertex].listed)
                return;
        }
    }

    std::vector<Neighbour> m_neighbours;
    std::vector<quint32> m_nextCorner; ///< of those that start at the same neighbour
    const Corner *m_corners = nullptr;
    quint32 m_stamp = 0;
};

/// An offsets-and-neighbours table in the kernels' layout, while it grows vertex by vertex.
class NeighbourTable {
public:
    NeighbourTable(int vertexCount, size_t expectedNeighbours)
        : m_offsetCount(size_t(vertexCount) + 1)
    {
        m_entries.reserve(m_offsetCount + expectedNeighbours);
        m_entries.resize(m_offsetCount, 0);
    }

    std::vector<quint32> &entries() { return m_entries; }
    void close(size_t vertex) { m_entries[vertex + 1] = quint32(m_entries.size() - m_offsetCount); }

private:
    size_t m_offsetCount;
    std::vector<quint32> m_entries;
};

void sortUnique(std::vector<quint32> &values, size_t begin)
{
    const auto first = values.begin() + std::ptrdiff_t(begin);
    std::sort(first, values.end());
    values.erase(std::unique(first, values.end()), values.end());
}

/// The neighbours of one vertex in a finished table.
class NeighbourRange {
public:
    NeighbourRange(const std::vector<quint32> &table, size_t vertexCount, size_t vertex)
        : m_begin(table.data() + vertexCount + 1 + table[vertex])
        , m_end(table.data() + vertexCount + 1 + table[vertex + 1])
    {
    }
    const quint32 *begin() const { return m_begin; }
    const quint32 *end() const { return m_end; }

private:
    const quint32 *m_begin;
    const quint32 *m_end;
};

using Pairs = std::vector<std::pair<quint32, quint32>>;

bool offsetsFit(const std::vector<quint32> &table, size_t vertexCount)
{
    const size_t offsetCount = vertexCount + 1;
    if (table.size() < offsetCount)
        return false;
    const auto offsetsEnd = table.begin() + std::ptrdiff_t(offsetCount);
    return table.front() == 0 && std::is_sorted(table.begin(), offsetsEnd) &&
        *(offsetsEnd - 1) == table.size() - offsetCount;
}

/// Every (vertex, neighbour) of a table whose offsets fit.
Pairs neighbourPairs(const std::vector<quint32> &table, size_t vertexCount)
{
    Pairs pairs;
    pairs.reserve(table.size() - vertexCount - 1);
    for (size_t v = 0; v < vertexCount; ++v) {
        for (const quint32 neighbour : NeighbourRange(table, vertexCount, v))
            pairs.emplace_back(quint32(v), neighbour);
    }
    return pairs;
}

Pairs reversed(Pairs pairs)
{
    for (auto &[from, to] : pairs)
        std::swap(from, to);
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

bool hasRepeats(const Pairs &sorted)
{
    return std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
}

/// Sorted pairs that name each other, never a vertex itself, never twice, never past the mesh.
QString relationFault(const Pairs &sorted, size_t vertexCount)
{
    for (const auto &[vertex, neighbour] : sorted) {
        if (neighbour >= vertexCount)
            return QStringLiteral("vertex %1 has a neighbour past the mesh").arg(vertex);
        if (neighbour == vertex)
            return QStringLiteral("vertex %1 is its own neighbour").arg(vertex);
    }
    if (hasRepeats(sorted))
        return QStringLiteral("a neighbour is listed twice");
    return reversed(sorted) == sorted ? QString()
                                      : QStringLiteral("a neighbour does not list its vertex");
}

QString triangleFault(const std::vector<quint32> &triangles, size_t vertexCount)
{
    if (triangles.size() % 3 != 0)
        return QStringLiteral("a triangle lacks a corner");
    for (size_t i = 0; i < triangles.size(); i += 3) {
        const quint32 a = triangles[i], b = triangles[i + 1], c = triangles[i + 2];
        if (a == b || b == c || c == a)
            return QStringLiteral("triangle %1 repeats a corner").arg(i / 3);
        if (std::max({ a, b, c }) >= vertexCount)
            return QStringLiteral("triangle %1 has a corner past the mesh").arg(i / 3);
    }
    return QString();
}

/// Whether the edges are exactly the neighbour pairs, each in one of its directions.
bool edgesMatch(const std::vector<quint32> &edges, const Pairs &ringPairs)
{
    Pairs both;
    both.reserve(edges.size());
    for (size_t i = 0; i + 1 < edges.size(); i += 2) {
        both.emplace_back(edges[i], edges[i + 1]);
        both.emplace_back(edges[i + 1], edges[i]);
    }
    std::sort(both.begin(), both.end());
    return edges.size() % 2 == 0 && both == ringPairs;
}

QString firstFault(const Topology &topology)
{
    const auto vertexCount = size_t(topology.vertexCount());
    if (!offsetsFit(topology.rings(), vertexCount) ||
        !offsetsFit(topology.constraints(), vertexCount))
        return QStringLiteral("a table's offsets do not fit its entries");

    const Pairs rings = reversed(reversed(neighbourPairs(topology.rings(), vertexCount)));
    const Pairs springs = neighbourPairs(topology.constraints(), vertexCount);
    if (!std::is_sorted(springs.begin(), springs.end()))
        return QStringLiteral("constraints are not in ascending order");
    for (const Pairs *pairs : { &rings, &springs }) {
        if (const QString fault = relationFault(*pairs, vertexCount); !fault.isEmpty())
            return fault;
    }
    if (!std::includes(springs.begin(), springs.end(), rings.begin(), rings.end()))
        return QStringLiteral("a ring neighbour has no constraint");
    if (!edgesMatch(topology.edges(), rings))
        return QStringLiteral("edges and rings differ");
    return triangleFault(topology.triangles(), vertexCount);
}

} // namespace

void Topology::clear() { *this = Topology(); }

void Topology::addMesh(const QString &name, int vertexCount)
{
    m_meshes.push_back({ name, vertexCount });
}

void Topology::build(int vertexCount, const std::vector<qint32> &faceIndices,
                     const std::vector<qint32> &faceCounts)
{
    m_vertexCount = std::max(vertexCount, 0);
    const std::vector<Face> faces = usableFaces(m_vertexCount, faceIndices, faceCounts);
    m_triangles = fanTriangles(faces);
    const CornerTable corners(m_vertexCount, faces);

    // A closed mesh has one neighbour per corner; a border adds a few.
    const size_t expected = corners.size() + corners.size() / 16;
    NeighbourTable rings(m_vertexCount, expected);
    NeighbourTable constraints(m_vertexCount, 2 * expected);
    m_edges.clear();
    m_edges.reserve(expected);
    RingWalk walk(m_vertexCount);
    for (size_t v = 0; v < size_t(m_vertexCount); ++v) {
        std::vector<quint32> &ring = rings.entries();
        std::vector<quint32> &springs = constraints.entries();
        const auto ringBegin = std::ptrdiff_t(ring.size());
        const size_t springsBegin = springs.size();
        walk.append(corners.begin(v), corners.end(v), ring);
        springs.insert(springs.end(), ring.begin() + ringBegin, ring.end());
        for (const Corner *corner = corners.begin(v); corner != corners.end(v); ++corner) {
            if (corner->opposite != kNone)
                springs.push_back(corner->opposite);
        }
        sortUnique(springs, springsBegin);
        for (auto neighbour = ring.begin() + ringBegin; neighbour != ring.end(); ++neighbour) {
            if (*neighbour > v)
                m_edges.insert(m_edges.end(), { quint32(v), *neighbour });
        }
        rings.close(v);
        constraints.close(v);
    }
    m_rings = std::move(rings.entries());
    m_constraints = std::move(constraints.entries());
}

std::vector<float> Topology::surfaceFalloff(int hitVertex, const PointArray &positions,
                                            float radius) const
{
    std::vector<float> falloff(size_t(m_vertexCount), 0.0f);
    if (hitVertex < 0 || hitVertex >= m_vertexCount || positions.size() != falloff.size())
        return falloff;

    const float squaredRadius = radius * radius;
    std::vector<bool> seen(falloff.size(), false);
    std::vector<quint32> reached;
    const auto visit = [&](quint32 vertex) {
        if (seen[vertex])
            return;
        seen[vertex] = true;
        const QVector3D way = (positions[vertex] - positions[size_t(hitVertex)]).toVector3D();
        if (way.lengthSquared() < squaredRadius) { // false for a NaN, too
            falloff[vertex] = brushFalloff(way.lengthSquared(), squaredRadius);
            reached.push_back(vertex);
        }
    };
    visit(quint32(hitVertex));
    for (size_t i = 0; i < reached.size(); ++i) {
        for (const quint32 neighbour : NeighbourRange(m_rings, falloff.size(), reached[i]))
            visit(neighbour);
    }
    return falloff;
}

bool Topology::validate(QString *fault) const
{
    const bool untouched = m_vertexCount == 0 && m_rings.empty() && m_triangles.empty();
    const QString found = untouched ? QString() : firstFault(*this);
    if (fault)
        *fault = found;
    return found.isEmpty();
}

float brushFalloff(float squaredDistance, float squaredRadius)
{
    if (!(squaredDistance < squaredRadius))
        return 0.0f;
    const float t = std::sqrt(squaredDistance) / std::sqrt(squaredRadius);
    const float rest = 1.0f - t;
    return rest * rest * rest + 3.0f * t * rest * rest;
}
