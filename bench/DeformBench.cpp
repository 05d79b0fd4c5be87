// What one deformer pass costs on 10 thousand, 100 thousand and 1 million vertices. Timed: the call
// until the card has finished, with the copies and uploads that belong to the pass. Not timed: the
// first upload of the mesh, compiling. Each row names how many kernels ran; a software rasteriser
// gives ratios between rows, not what an artist's card does.

#include "bench/Sheet.h"
#include "gpu/GpuCounters.h"

#include <functional>

namespace {
struct Row {
    const char *name;
    std::function<void(GPUMesh &, const MeshScene &)> run;
};

const std::vector<Row> &rows()
{
    using Mesh = GPUMesh;
    using Scene = MeshScene;
    static const std::vector<Row> table {
        { "vertexNormals", [](Mesh &mesh, const Scene &) { mesh.updateNormals(); } },
        { "addDeltas", [](Mesh &mesh, const Scene &) { mesh.addDeltas(false, 1, 0, 0); } },
        { "addDeltas tangent", [](Mesh &mesh, const Scene &) { mesh.addDeltas(true, 1, 0, 0); } },
        { "clone", [](Mesh &mesh, const Scene &) { mesh.clone(1, 0.1f, false); } },
        { "clone tangent", [](Mesh &mesh, const Scene &) { mesh.clone(1, 0.1f, true); } },
        { "relax", [](Mesh &mesh, const Scene &) { mesh.relax(1, 0.1f, true, false); } },
        { "mush of one smoothing",
          [](Mesh &mesh, const Scene &s) { mesh.mush(1, 0, 1, s.basePoints, s.offsetPoints); } },
        { "jiggle", [](Mesh &mesh, const Scene &) { mesh.jiggle(1, 0.3f, 0.3f, 0.5f, 0); } },
        { "cloth of one step", [](Mesh &mesh, const Scene &) { mesh.cloth(1, 0.1f); } },
    };
    return table;
}

void runRow(benchmark::State &state, Sheet &sheet, const Row &row)
{
    const auto run = [&] { row.run(sheet.mesh(), sheet.scene()); };
    run(); // warm up
    const quint64 before = gpuCounters().dispatches;
    for (auto _ : state)
        state.SetIterationTime(sheet.seconds(run));
    const auto dispatches = double(gpuCounters().dispatches - before);
    state.counters["kernels"] = dispatches / double(state.iterations());
    state.counters["vertices"] = double(sheet.mesh().vertexCount());
    state.SetItemsProcessed(int64_t(dispatches) * sheet.mesh().vertexCount());
}
} // namespace

int main(int argc, char **argv) { return runOnSheets(argc, argv, rows(), runRow); }
