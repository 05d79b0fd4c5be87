#include "layers/Topology.h"

#include "layers/Log.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <utility>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace {

constexpr quint32 kNone = 0xFFFFFFFF;

/// Half of the time of building a large mesh's tables would go into the system's handing out of
/// small pages, one by one, so that large ones are asked for.
void preferLargePages([[maybe_unused]] void *memory, [[maybe_unused]] size_t bytes)
{
#ifdef MADV_HUGEPAGE
    constexpr size_t pageSize = 4096, worthwhile = 4 << 20;
    const size_t toPageStart = -quintptr(memory) & (pageSize - 1);
    if (bytes >= worthwhile)
        madvise(static_cast<char *>(memory) + toPageStart, bytes - toPageStart, MADV_HUGEPAGE);
#endif
}

template <class Item> void reserveLarge(std::vector<Item> &items, size_t count)
{
    items.reserve(count);
    preferLargePages(items.data(), items.capacity() * sizeof(Item));
}

/// One face, wound as in the archive.
struct Face {
    const qint32 *corners;
    qint32 count;

    quint32 corner(qint32 i) const { return quint32(corners[i]); }
};

bool hasRepeatedCorner(const Face &face)
{
    constexpr qint32 few = 8; // comparing all with all is quicker than sorting
    if (face.count <= few) {
        for (qint32 i = 1; i < face.count; ++i) {
            for (qint32 j = 0; j < i; ++j) {
                if (face.corners[i] == face.corners[j])
                    return true;
            }
        }
        return false;
    }
    std::vector<qint32> sorted(face.corners, face.corners + face.count);
    std::sort(sorted.begin(), sorted.end());
    return std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
}

/// The faces of the archive's lists that can be used, and what they add up to.
class FaceList {
public:
    FaceList(int vertexCount, const std::vector<qint32> &indices, const std::vector<qint32> &counts)
        : m_indices(indices)
        , m_counts(counts)
    {
        reserveLarge(m_cornerCounts, size_t(vertexCount));
        m_cornerCounts.resize(size_t(vertexCount), 0);
        size_t number = 0, begin = 0;
        for (const qint32 count : counts) {
            const size_t corners = size_t(std::max(count, 0));
            const bool fits = corners <= indices.size() - begin;
            const Face face { indices.data() + begin, count };
            if (fits && isUsable(face))
                add(face);
            else
                m_dropped.push_back(number);
            begin = fits ? begin + corners : indices.size();
            ++number;
        }
    }

    size_t droppedCount() const { return m_dropped.size(); }
    size_t cornerCount() const { return m_cornerCount; }
    size_t triangleCount() const { return m_triangleCount; }
    std::vector<quint32> takeCornerCounts() { return std::move(m_cornerCounts); } ///< by vertex

    template <class Use> void forEach(Use use) const
    {
        auto nextDropped = m_dropped.begin();
        size_t begin = 0;
        for (size_t number = 0; number < m_counts.size(); ++number) {
            const qint32 count = m_counts[number];
            if (nextDropped != m_dropped.end() && *nextDropped == number)
                ++nextDropped;
            else
                use(Face { m_indices.data() + begin, count });
            begin += size_t(std::max(count, 0));
        }
    }

private:
    bool isUsable(const Face &face) const
    {
        if (face.count < 3)
            return false;
        for (qint32 i = 0; i < face.count; ++i) {
            if (face.corner(i) >= m_cornerCounts.size()) // one below zero is huge here
                return false;
        }
        return !hasRepeatedCorner(face);
    }

    void add(const Face &face)
    {
        for (qint32 i = 0; i < face.count; ++i)
            ++m_cornerCounts[face.corner(i)];
        m_cornerCount += size_t(face.count);
        m_triangleCount += size_t(face.count - 2);
    }

    const std::vector<qint32> &m_indices;
    const std::vector<qint32> &m_counts;
    std::vector<quint32> m_cornerCounts;
    std::vector<size_t> m_dropped; ///< numbers of faces, ascending
    size_t m_cornerCount = 0;
    size_t m_triangleCount = 0;
};

std::vector<quint32> fanTriangles(const FaceList &faces)
{
    std::vector<quint32> triangles;
    reserveLarge(triangles, 3 * faces.triangleCount());
    triangles.resize(3 * faces.triangleCount());
    quint32 *to = triangles.data();
    faces.forEach([&](const Face &face) {
        for (qint32 i = 1; i + 1 < face.count; ++i) {
            *to++ = face.corner(0);
            *to++ = face.corner(i + 1);
            *to++ = face.corner(i);
        }
    });
    return triangles;
}

/// What one face says about one of its corners.
struct Corner {
    quint32 next; ///< in the archive's winding, so the ring runs from next to previous
    quint32 previous;
    quint32 opposite; ///< of a face with four corners, else kNone
};

/// Every face corner, grouped by vertex, in face order.
class CornerTable {
public:
    explicit CornerTable(FaceList &faces)
        : m_ends(faces.takeCornerCounts())
        , m_corners(std::make_unique_for_overwrite<Corner[]>(faces.cornerCount()))
    {
        preferLargePages(m_corners.get(), faces.cornerCount() * sizeof(Corner));
        // Filling moves each vertex's start up to its end, which is the next vertex's start.
        std::exclusive_scan(m_ends.begin(), m_ends.end(), m_ends.begin(), 0u);
        faces.forEach([this](const Face &face) { addCorners(face); });
    }

    const Corner *begin(size_t vertex) const
    {
        return m_corners.get() + (vertex ? m_ends[vertex - 1] : 0);
    }
    const Corner *end(size_t vertex) const { return m_corners.get() + m_ends[vertex]; }

private:
    void addCorners(const Face &face)
    {
        const bool quad = face.count == 4;
        quint32 previous = face.corner(face.count - 1);
        for (qint32 i = 0; i < face.count; ++i) {
            const quint32 vertex = face.corner(i);
            const quint32 next = face.corner(i + 1 < face.count ? i + 1 : 0);
            m_corners[m_ends[vertex]++] = { next, previous, quad ? face.corner(i ^ 2) : kNone };
            previous = vertex;
        }
    }

    std::vector<quint32> m_ends;
    std::unique_ptr<Corner[]> m_corners;
};

/// Chains the corners of one vertex after the other into rings. Its tables are as long as the mesh
/// and cleared by stamp, so a vertex of any valence costs only its own corners.
class RingWalk {
public:
    explicit RingWalk(int vertexCount)
        : m_vertexCount(vertexCount)
    {
    }

    /// Appends the neighbours of the vertex whose corners these are. True where it saw that they
    /// form a single fan.
    bool append(const Corner *begin, const Corner *end, std::vector<quint32> &ring)
    {
        constexpr std::ptrdiff_t few = 8; // searching all corners is quicker than linking them
        const size_t before = ring.size();
        if (begin == end || (end - begin <= few && appendOneFan(begin, end, ring)))
            return true;
        ring.resize(before);
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
        return false;
    }

private:
    /// Whether the corners form a single fan, which then is in the ring.
    static bool appendOneFan(const Corner *begin, const Corner *end, std::vector<quint32> &ring)
    {
        const size_t before = ring.size();
        if (appendFan(begin, begin, end, ring))
            return true;
        const Corner *start = std::find_if(begin, end, [=](const Corner &corner) {
            return std::none_of(begin, end,
                                [&](const Corner &c) { return c.previous == corner.next; });
        });
        ring.resize(before);
        return start != end && appendFan(start, begin, end, ring);
    }

    /// Whether the fan from this corner on takes up all corners.
    static bool appendFan(const Corner *start, const Corner *begin, const Corner *end,
                          std::vector<quint32> &ring)
    {
        const Corner *at = start;
        for (std::ptrdiff_t left = end - begin; left > 0; --left) {
            ring.push_back(at->next);
            const quint32 border = at->previous;
            at = std::find_if(begin, end, [=](const Corner &c) { return c.next == border; });
            if (at == end)
                ring.push_back(border);
            if (at == end || at == start)
                return left == 1;
        }
        return false;
    }

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
        m_neighbours.resize(size_t(m_vertexCount)); // most meshes never come here
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

    int m_vertexCount;
    std::vector<Neighbour> m_neighbours; ///< by vertex
    std::vector<quint32> m_nextCorner; ///< of those that start at the same neighbour
    const Corner *m_corners = nullptr;
    quint32 m_stamp = 0;
};

/// Finds the neighbours in a vertex's ring that no face spans together with their cyclic
/// predecessor.
class GapSearch {
public:
    /// Appends their places in the table, of which the ring is the end from `ringBegin` on.
    void append(const std::vector<quint32> &table, size_t ringBegin, const Corner *begin,
                const Corner *end, std::vector<quint32> &gaps)
    {
        m_spanned.clear();
        for (const Corner *corner = begin; corner != end; ++corner)
            m_spanned.push_back(pair(corner->next, corner->previous));
        std::sort(m_spanned.begin(), m_spanned.end());
        // A face turned over spans its pair as well. Of two neighbours alone that would be both
        // pairs, and a lone triangle would stand against itself.
        const bool eitherWay = table.size() - ringBegin > 2;
        quint32 previous = table.back();
        for (size_t place = ringBegin; place < table.size(); ++place) {
            const quint32 current = table[place];
            if (!spans(previous, current) && !(eitherWay && spans(current, previous)))
                gaps.push_back(quint32(place));
            previous = current;
        }
    }

private:
    static quint64 pair(quint32 from, quint32 to) { return quint64(from) << 32 | to; }
    bool spans(quint32 from, quint32 to) const
    {
        return std::binary_search(m_spanned.begin(), m_spanned.end(), pair(from, to));
    }

    std::vector<quint64> m_spanned;
};

/// An offsets-and-neighbours table in the kernels' layout, while it grows vertex by vertex.
class NeighbourTable {
public:
    NeighbourTable(int vertexCount, size_t expectedNeighbours)
        : m_offsetCount(size_t(vertexCount) + 1)
    {
        reserveLarge(m_entries, m_offsetCount + expectedNeighbours);
        m_entries.resize(m_offsetCount, 0);
    }

    std::vector<quint32> &entries() { return m_entries; }
    void close(size_t vertex) { m_entries[vertex + 1] = quint32(m_entries.size() - m_offsetCount); }

private:
    size_t m_offsetCount;
    std::vector<quint32> m_entries;
};

/// Few values in ascending order, each once. For the usual eight springs this is quicker than
/// sorting them afterwards.
class SmallSet {
public:
    static constexpr size_t kCapacity = 16;

    void insert(quint32 value)
    {
        size_t place = m_size;
        while (place > 0 && m_values[place - 1] > value)
            --place;
        if (place > 0 && m_values[place - 1] == value)
            return;
        for (size_t i = m_size++; i > place; --i)
            m_values[i] = m_values[i - 1];
        m_values[place] = value;
    }
    const quint32 *begin() const { return m_values; }
    const quint32 *end() const { return m_values + m_size; }

private:
    quint32 m_values[kCapacity];
    size_t m_size = 0;
};

/// Appends the springs of one vertex: its ring and the opposites of its corners.
void appendSprings(const quint32 *ring, size_t ringSize, const Corner *begin, const Corner *end,
                   std::vector<quint32> &springs)
{
    if (ringSize + size_t(end - begin) <= SmallSet::kCapacity) {
        SmallSet set;
        for (size_t i = 0; i < ringSize; ++i)
            set.insert(ring[i]);
        for (const Corner *corner = begin; corner != end; ++corner) {
            if (corner->opposite != kNone)
                set.insert(corner->opposite);
        }
        for (const quint32 spring : set)
            springs.push_back(spring);
        return;
    }
    const auto first = std::ptrdiff_t(springs.size());
    springs.insert(springs.end(), ring, ring + ringSize);
    for (const Corner *corner = begin; corner != end; ++corner) {
        if (corner->opposite != kNone)
            springs.push_back(corner->opposite);
    }
    std::sort(springs.begin() + first, springs.end());
    springs.erase(std::unique(springs.begin() + first, springs.end()), springs.end());
}

struct NeighbourTables {
    std::vector<quint32> rings;
    std::vector<quint32> ringGaps;
    std::vector<quint32> constraints;
};

NeighbourTables neighbourTables(int vertexCount, FaceList &faces)
{
    const CornerTable corners(faces);
    // A closed mesh has one neighbour per corner; a border adds a few.
    const size_t expected = faces.cornerCount() + faces.cornerCount() / 16;
    NeighbourTable rings(vertexCount, expected);
    NeighbourTable constraints(vertexCount, 2 * expected);
    std::vector<quint32> ringGaps;
    RingWalk walk(vertexCount);
    GapSearch gapSearch;
    for (size_t v = 0; v < size_t(vertexCount); ++v) {
        std::vector<quint32> &ring = rings.entries();
        const size_t ringBegin = ring.size();
        const bool oneFan = walk.append(corners.begin(v), corners.end(v), ring);
        const auto cornerCount = size_t(corners.end(v) - corners.begin(v));
        if (!oneFan)
            gapSearch.append(ring, ringBegin, corners.begin(v), corners.end(v), ringGaps);
        else if (ring.size() - ringBegin > cornerCount) // open
            ringGaps.push_back(quint32(ringBegin));
        appendSprings(ring.data() + ringBegin, ring.size() - ringBegin, corners.begin(v),
                      corners.end(v), constraints.entries());
        rings.close(v);
        constraints.close(v);
    }
    return { std::move(rings.entries()), std::move(ringGaps), std::move(constraints.entries()) };
}

/// Each edge from its lower vertex.
std::vector<quint32> edgesOf(size_t vertexCount, const std::vector<quint32> &rings)
{
    std::vector<quint32> edges;
    reserveLarge(edges, rings.size() - vertexCount - 1); // two of each edge's two neighbours
    const quint32 *neighbours = rings.data() + vertexCount + 1;
    for (size_t v = 0; v < vertexCount; ++v) {
        for (quint32 k = rings[v]; k < rings[v + 1]; ++k) {
            if (neighbours[k] > v) {
                edges.push_back(quint32(v));
                edges.push_back(neighbours[k]);
            }
        }
    }
    return edges;
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
    FaceList faces(m_vertexCount, faceIndices, faceCounts);
    if (faces.droppedCount() > 0) {
        qCDebug(lcLayers).noquote()
            << "faces dropped for too few, repeated or missing corners:" << faces.droppedCount();
    }
    // The corners take half of the memory that all this needs, so what does without them is built
    // when they are gone.
    NeighbourTables tables = neighbourTables(m_vertexCount, faces);
    m_rings = std::move(tables.rings);
    m_ringGaps = std::move(tables.ringGaps);
    m_constraints = std::move(tables.constraints);
    m_triangles = fanTriangles(faces);
    m_edges = edgesOf(size_t(m_vertexCount), m_rings);
}

std::vector<quint32> Topology::markedRings() const
{
    std::vector<quint32> marked = m_rings;
    for (const quint32 place : m_ringGaps)
        marked[place] |= kRingGap;
    return marked;
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
        const QVector3D offset = (positions[vertex] - positions[size_t(hitVertex)]).toVector3D();
        if (offset.lengthSquared() < squaredRadius) { // false for a NaN, too
            falloff[vertex] = brushFalloff(offset.lengthSquared(), squaredRadius);
            reached.push_back(vertex);
        }
    };
    visit(quint32(hitVertex));
    for (size_t i = 0; i < reached.size(); ++i) {
        const quint32 *offsets = m_rings.data() + reached[i];
        for (quint32 k = offsets[0]; k < offsets[1]; ++k)
            visit(m_rings[falloff.size() + 1 + k]);
    }
    return falloff;
}

float brushFalloff(float squaredDistance, float squaredRadius)
{
    if (!(squaredDistance < squaredRadius))
        return 0.0f;
    const float t = std::sqrt(squaredDistance) / std::sqrt(squaredRadius);
    const float rest = 1.0f - t;
    return rest * rest * rest + 3.0f * t * rest * rest;
}
