#pragma once

#include <QtGlobal>

/// What this process has asked of the graphics card's storage buffers so far; tests and benchmarks
/// take differences. The index lists that a draw uploads are not counted.
struct GpuCounters {
    quint64 uploads = 0;
    quint64 uploadedBytes = 0;
    quint64 readBacks = 0;
    quint64 copies = 0;
    quint64 dispatches = 0;
    quint64 evaluations = 0; ///< full runs of the layer stack
};
GpuCounters &gpuCounters();
