#include "layers/Topology.h"

#include "layers/Log.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <utility>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace {

constexpr quint32 kNone = 0xFFFFFFFF;

/// Memory for that many entries, not filled. Half of the time of building tables would go into the
/// system's handing out of small pages, one by one, so that large ones are asked for; what nobody
/// writes to costs nothing.
std::shared_ptr<quint32[]> tableMemory(size_t entries)
{
#ifdef MADV_HUGEPAGE
    constexpr size_t pageSize = 2 << 20;
    if (entries * sizeof(quint32) > pageSize / 4) {
        // One more, to begin at a page's start.
        const size_t bytes = (entries * sizeof(quint32) / pageSize + 2) * pageSize;
        void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        madvise(memory, bytes, MADV_HUGEPAGE);
        const size_t toPageStart = -quintptr(memory) & (pageSize - 1);
        return { reinterpret_cast<quint32 *>(static_cast<char *>(memory) + toPageStart),
                 [=](quint32 *) { munmap(memory, bytes); } };
    }
#endif
    return std::make_shared_for_overwrite<quint32[]>(entries);
}

/// One face, wound as in the archive.
struct Face {
    const qint32 *corners;
    qint32 count;

    quint32 corner(qint32 i) const { return quint32(corners[i]); }
};

bool hasRepeatedCorner(const Face &face)
{
    if (face.count == 4) { // the usual one, without a branch to guess
        const quint32 a = face.corner(0), b = face.corner(1), c = face.corner(2),
                      d = face.corner(3);
        return (a == b) | (b == c) | (c == d) | (d == a) | (a == c) | (b == d);
    }
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
    /// Counts the corners of each vertex into `cornerCounts`.
    FaceList(size_t vertexCount, const std::vector<qint32> &indices,
             const std::vector<qint32> &counts, quint32 *cornerCounts)
        : m_vertexCount(vertexCount)
        , m_indices(indices)
        , m_counts(counts)
    {
        std::fill_n(cornerCounts, vertexCount, 0u);
        size_t number = 0, begin = 0;
        for (const qint32 count : counts) {
            const size_t corners = size_t(std::max(count, 0));
            const bool fits = corners <= indices.size() - begin;
            const Face face { indices.data() + begin, count };
            if (fits && isUsable(face)) {
                for (qint32 i = 0; i < count; ++i)
                    ++cornerCounts[face.corner(i)];
            } else {
                m_dropped.push_back(number);
            }
            begin = fits ? begin + corners : indices.size();
            ++number;
        }
    }

    size_t droppedCount() const { return m_dropped.size(); }

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
            if (face.corner(i) >= m_vertexCount) // one below zero is huge here
                return false;
        }
        return !hasRepeatedCorner(face);
    }

    const size_t m_vertexCount;
    const std::vector<qint32> &m_indices;
    const std::vector<qint32> &m_counts;
    std::vector<size_t> m_dropped; ///< numbers of faces, ascending
};

/// The end of what was written.
quint32 *fanTriangles(const FaceList &faces, quint32 *to)
{
    faces.forEach([&to](const Face &face) {
        const quint32 first = face.corner(0);
        quint32 previous = face.corner(1);
        for (qint32 i = 2; i < face.count; ++i) {
            const quint32 current = face.corner(i);
            to[0] = first;
            to[1] = current;
            to[2] = previous;
            to += 3;
            previous = current;
        }
    });
    return to;
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
    /// How many entries of memory it takes.
    static size_t entries(size_t vertexCount, size_t cornerCount)
    {
        return vertexCount + cornerCount * (sizeof(Corner) / sizeof(quint32));
    }
    /// The memory begins with the number of corners of each vertex.
    CornerTable(const FaceList &faces, size_t vertexCount, quint32 *memory)
        : m_ends(memory)
        , m_corners(reinterpret_cast<Corner *>(memory + vertexCount))
    {
        // Filling moves each vertex's start up to its end, which is the next vertex's start.
        std::exclusive_scan(m_ends, m_ends + vertexCount, m_ends, 0u);
        faces.forEach([this](const Face &face) { addCorners(face); });
    }

    std::span<const Corner> of(size_t vertex) const
    {
        return { m_corners + (vertex ? m_ends[vertex - 1] : 0), m_corners + m_ends[vertex] };
    }

private:
    void addCorners(const Face &face)
    {
        if (face.count == 4) {
            const quint32 a = face.corner(0), b = face.corner(1), c = face.corner(2),
                          d = face.corner(3);
            add(a, { b, d, c });
            add(b, { c, a, d });
            add(c, { d, b, a });
            add(d, { a, c, b });
            return;
        }
        quint32 previous = face.corner(face.count - 1);
        for (qint32 i = 0; i < face.count; ++i) {
            const quint32 vertex = face.corner(i);
            add(vertex, { face.corner(i + 1 < face.count ? i + 1 : 0), previous, kNone });
            previous = vertex;
        }
    }
    void add(quint32 vertex, const Corner &corner) { m_corners[m_ends[vertex]++] = corner; }

    quint32 *m_ends;
    Corner *m_corners;
};

/// Chains the corners of one vertex after the other into rings. Its tables are as long as the mesh
/// and cleared by stamp, so a vertex of any valence costs only its own corners.
class RingWalk {
public:
    explicit RingWalk(size_t vertexCount)
        : m_vertexCount(vertexCount)
    {
    }

    /// Writes the neighbours of the vertex whose corners these are, at most two a corner, and moves
    /// `to` behind them. True where it saw that they form a single fan.
    bool append(std::span<const Corner> corners, quint32 *&to)
    {
        constexpr size_t few = 8; // searching all corners is quicker than linking them
        if (corners.empty() || (corners.size() <= few && appendOneFan(corners, to)))
            return true;
        m_corners = corners.data();
        link(quint32(corners.size()));
        // Open fans first, from the border neighbour that no corner leads to.
        for (const Corner &corner : corners) {
            if (!m_neighbours[corner.next].reached)
                walk(corner.next, to);
        }
        for (const Corner &corner : corners) {
            while (m_neighbours[corner.next].firstCorner != kNone)
                walk(corner.next, to);
        }
        return false;
    }

private:
    /// Whether the corners form a single fan, which then is in the ring.
    static bool appendOneFan(std::span<const Corner> corners, quint32 *&to)
    {
        if (appendFan(0, corners, to))
            return true;
        for (size_t start = 0; start < corners.size(); ++start) {
            if (cornerTo(corners[start].next, corners) == corners.size())
                return appendFan(start, corners, to);
        }
        return false;
    }

    /// The first that starts, or ends, at this neighbour, or one past the last.
    static size_t cornerFrom(quint32 neighbour, std::span<const Corner> corners)
    {
        size_t i = 0;
        while (i < corners.size() && corners[i].next != neighbour)
            ++i;
        return i;
    }
    static size_t cornerTo(quint32 neighbour, std::span<const Corner> corners)
    {
        size_t i = 0;
        while (i < corners.size() && corners[i].previous != neighbour)
            ++i;
        return i;
    }

    /// Whether the fan from this corner on takes up all corners; else `to` stays.
    static bool appendFan(size_t start, std::span<const Corner> corners, quint32 *&to)
    {
        quint32 *out = to;
        size_t at = start;
        for (size_t left = corners.size(); left > 0; --left) {
            *out++ = corners[at].next;
            const quint32 border = corners[at].previous;
            at = cornerFrom(border, corners);
            if (at == corners.size())
                *out++ = border;
            if (at == corners.size() || at == start) {
                to = left == 1 ? out : to;
                return left == 1;
            }
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
        m_neighbours.resize(m_vertexCount); // most meshes never come here
        m_nextCorner.resize(std::max(m_nextCorner.size(), size_t(cornerCount)));
        for (quint32 i = cornerCount; i-- > 0;) {
            Neighbour &start = fresh(m_corners[i].next);
            m_nextCorner[i] = std::exchange(start.firstCorner, i);
            fresh(m_corners[i].previous).reached = true;
        }
    }

    /// From one neighbour to the next until the border, the start or an earlier fan. Every step
    /// uses up a corner, which also ends the walk where faces overlap.
    void walk(quint32 vertex, quint32 *&to)
    {
        for (Neighbour *at = &m_neighbours[vertex];; at = &m_neighbours[vertex]) {
            if (!std::exchange(at->listed, true))
                *to++ = vertex;
            const quint32 corner = at->firstCorner;
            if (corner == kNone)
                return;
            at->firstCorner = m_nextCorner[corner];
            vertex = m_corners[corner].previous;
            if (m_neighbours[vertex].listed)
                return;
        }
    }

    size_t m_vertexCount;
    std::vector<Neighbour> m_neighbours; ///< by vertex
    std::vector<quint32> m_nextCorner; ///< of those that start at the same neighbour
    const Corner *m_corners = nullptr;
    quint32 m_stamp = 0;
};

/// Finds the neighbours in a vertex's ring that no face spans together with their cyclic
/// predecessor.
class GapSearch {
public:
    /// Appends their places, of which the ring's first is `place`.
    void append(std::span<const quint32> ring, quint32 place, std::span<const Corner> corners,
                std::vector<quint32> &gaps)
    {
        m_spanned.clear();
        for (const Corner &corner : corners)
            m_spanned.push_back(pair(corner.next, corner.previous));
        std::sort(m_spanned.begin(), m_spanned.end());
        // A face turned over spans its pair as well. Of two neighbours alone that would be both
        // pairs, and a lone triangle would stand against itself.
        const bool eitherWay = ring.size() > 2;
        quint32 previous = ring.back();
        for (const quint32 current : ring) {
            if (!spans(previous, current) && !(eitherWay && spans(current, previous)))
                gaps.push_back(place);
            previous = current;
            ++place;
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

/// Sorts eight ascending by a fixed network, as what their order is, is no branch to guess. False,
/// and nothing sorted, where one that is not kNone is there twice.
bool sortEight(quint32 *v)
{
    quint32 a = v[0], b = v[1], c = v[2], d = v[3], e = v[4], f = v[5], g = v[6], h = v[7];
    const auto order = [](quint32 &low, quint32 &high) {
        const quint32 x = low, y = high;
        low = x < y ? x : y;
        high = x < y ? y : x;
    };
    order(a, c), order(b, d), order(e, g), order(f, h);
    order(a, e), order(b, f), order(c, g), order(d, h);
    order(a, b), order(c, d), order(e, f), order(g, h);
    order(c, e), order(d, f);
    order(b, e), order(d, g);
    order(b, c), order(d, e), order(f, g);
    const auto repeat = [](quint32 x, quint32 y) { return (x == y) & (x != kNone); };
    if (repeat(a, b) | repeat(b, c) | repeat(c, d) | repeat(d, e) | repeat(e, f) | repeat(f, g) |
        repeat(g, h))
        return false;
    v[0] = a, v[1] = b, v[2] = c, v[3] = d, v[4] = e, v[5] = f, v[6] = g, v[7] = h;
    return true;
}

/// Writes the springs of one vertex, its neighbours and the opposites of its corners, ascending,
/// each once. Returns their end; kSpringSlack entries from there may be written to. They are taken
/// from the corners, as reading the ring would wait for what has only just been written.
constexpr size_t kSpringSlack = 8;
quint32 *appendSprings(std::span<const Corner> corners, bool closedFan, quint32 *to)
{
    std::fill_n(to, kSpringSlack, kNone);
    quint32 *end = to;
    for (const Corner &corner : corners) {
        *end++ = corner.next;
        if (corner.opposite != kNone)
            *end++ = corner.opposite;
    }
    for (const Corner &corner : corners) {
        if (!closedFan) // else it is the next of another
            *end++ = corner.previous;
    }
    if (size_t(end - to) <= kSpringSlack && sortEight(to))
        return end;
    std::sort(to, end);
    return std::unique(to, end);
}

/// Each edge from its lower vertex. Writes up to two entries behind the last edge, whose end it
/// returns.
quint32 *appendEdges(size_t vertexCount, const quint32 *rings, quint32 *to)
{
    const quint32 *neighbour = rings + vertexCount + 1;
    for (size_t v = 0; v < vertexCount; ++v) {
        for (quint32 k = rings[v]; k < rings[v + 1]; ++k, ++neighbour) {
            to[0] = quint32(v);
            to[1] = *neighbour;
            to += *neighbour > v ? 2 : 0;
        }
    }
    return to;
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
    m_ringGaps.clear();
    // One piece of memory for all tables, each with room for the most it can hold. What the rings
    // are made from lies where triangles and edges will, which are made after them.
    const size_t count = size_t(m_vertexCount), corners = faceIndices.size();
    const size_t ringRoom = count + 1 + 2 * corners,
                 springRoom = count + 1 + 3 * corners + kSpringSlack;
    const size_t otherRoom =
        std::max(CornerTable::entries(count, corners), 3 * corners + 2 * corners + 2);
    m_rings = m_constraints = m_triangles = m_edges = {};
    m_memory.reset(); // before there is new, so that it is never there twice
    m_memory = tableMemory(ringRoom + springRoom + otherRoom);
    quint32 *const rings = m_memory.get();
    quint32 *const springs = rings + ringRoom;
    quint32 *const others = springs + springRoom;

    const FaceList faces(count, faceIndices, faceCounts, others);
    if (faces.droppedCount() > 0) {
        qCDebug(lcLayers).noquote()
            << "faces dropped for too few, repeated or missing corners:" << faces.droppedCount();
    }
    const CornerTable cornerTable(faces, count, others);
    RingWalk walk(count);
    GapSearch gapSearch;
    quint32 *ringEnd = rings + count + 1, *springEnd = springs + count + 1;
    rings[0] = springs[0] = 0;
    for (size_t v = 0; v < count; ++v) {
        const std::span<const Corner> found = cornerTable.of(v);
        quint32 *const begin = ringEnd;
        const bool oneFan = walk.append(found, ringEnd);
        const std::span<const quint32> ring(begin, ringEnd);
        if (!oneFan)
            gapSearch.append(ring, quint32(begin - rings), found, m_ringGaps);
        else if (ring.size() > found.size()) // open
            m_ringGaps.push_back(quint32(begin - rings));
        springEnd = appendSprings(found, oneFan && ring.size() == found.size(), springEnd);
        rings[v + 1] = quint32(ringEnd - rings - count - 1);
        springs[v + 1] = quint32(springEnd - springs - count - 1);
    }
    Q_ASSERT(ringEnd <= springs && springEnd <= others);
    m_rings = { rings, ringEnd };
    m_constraints = { springs, springEnd };
    m_triangles = { others, fanTriangles(faces, others) };
    quint32 *const edges = others + m_triangles.size();
    m_edges = { edges, appendEdges(count, rings, edges) };
}

std::vector<quint32> Topology::markedRings() const
{
    std::vector<quint32> marked(m_rings.begin(), m_rings.end());
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
