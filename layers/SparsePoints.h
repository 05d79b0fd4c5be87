#pragma once

#include "layers/LayerData.h"

/// Points that are mostly zero, as the runs that are not: the vertices that a stroke moves lie
/// close together in a mesh's numbering, so it takes little more than what it touched.
class SparsePoints {
public:
    explicit SparsePoints(const PointArray &points);

    size_t size() const { return m_size; } ///< of the array that this stands for
    size_t storedBytes() const;
    /// target += these × factor, all four components. The target must have size() points.
    void addTo(PointArray &target, float factor) const;

private:
    struct Run {
        quint32 begin;
        quint32 count;
    };

    size_t m_size;
    std::vector<Run> m_runs;
    PointArray m_points; ///< of all runs, one after the other
};
