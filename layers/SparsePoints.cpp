#include "layers/SparsePoints.h"

#include <algorithm>

namespace {

const auto kIsZero = [](const QVector4D &point) { return point.isNull(); };

} // namespace

SparsePoints::SparsePoints(const PointArray &points)
    : m_size(points.size())
{
    m_points.reserve(points.size() - size_t(std::count_if(points.begin(), points.end(), kIsZero)));
    for (auto end = points.begin();;) {
        const auto begin = std::find_if_not(end, points.end(), kIsZero);
        if (begin == points.end())
            break;
        end = std::find_if(begin, points.end(), kIsZero);
        m_runs.push_back({ quint32(begin - points.begin()), quint32(end - begin) });
        m_points.insert(m_points.end(), begin, end);
    }
    m_runs.shrink_to_fit();
}

size_t SparsePoints::storedBytes() const
{
    return m_runs.size() * sizeof(Run) + m_points.size() * sizeof(QVector4D);
}

void SparsePoints::addTo(PointArray &target, float factor) const
{
    Q_ASSERT(target.size() == m_size);
    const QVector4D *delta = m_points.data();
    for (const Run &run : m_runs) {
        for (quint32 i = run.begin; i < run.begin + run.count; ++i)
            target[i] += *delta++ * factor;
    }
}
