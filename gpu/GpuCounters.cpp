#include "gpu/GpuCounters.h"

GpuCounters &gpuCounters()
{
    static GpuCounters counters;
    return counters;
}
