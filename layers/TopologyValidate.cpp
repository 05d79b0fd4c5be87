#include "layers/Topology.h"

#include <algorithm>
#include <utility>

namespace {

using Pairs = std::vector<std::pair<quint32, quint32>>;

bool offsetsFit(std::span<const quint32> table, size_t vertexCount)
{
    const size_t offsetCount = vertexCount + 1;
    if (table.size() < offsetCount)
        return false;
    const auto offsetsEnd = table.begin() + std::ptrdiff_t(offsetCount);
    return table.front() == 0 && std::is_sorted(table.begin(), offsetsEnd) &&
        *(offsetsEnd - 1) == table.size() - offsetCount;
}

/// Every (vertex, neighbour) of a table whose offsets fit.
Pairs neighbourPairs(std::span<const quint32> table, size_t vertexCount)
{
    Pairs pairs;
    pairs.reserve(table.size() - vertexCount - 1);
    for (size_t v = 0; v < vertexCount; ++v) {
        for (size_t k = table[v]; k < table[v + 1]; ++k)
            pairs.emplace_back(quint32(v), table[vertexCount + 1 + k]);
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

QString triangleFault(std::span<const quint32> triangles, size_t vertexCount)
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
bool edgesMatch(std::span<const quint32> edges, const Pairs &ringPairs)
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
        if (QString fault = relationFault(*pairs, vertexCount); !fault.isEmpty())
            return fault;
    }
    if (!std::includes(springs.begin(), springs.end(), rings.begin(), rings.end()))
        return QStringLiteral("a ring neighbour has no constraint");
    if (!edgesMatch(topology.edges(), rings))
        return QStringLiteral("edges and rings differ");
    return triangleFault(topology.triangles(), vertexCount);
}

} // namespace

bool Topology::validate(QString *fault) const
{
    const bool untouched = m_vertexCount == 0 && m_rings.empty() && m_triangles.empty();
    const QString found = untouched ? QString() : firstFault(*this);
    if (fault)
        *fault = found;
    return found.isEmpty();
}
