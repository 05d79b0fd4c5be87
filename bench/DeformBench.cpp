// What one deformer pass costs on 10 thousand, 100 thousand and 1 million vertices. Timed: the call
// until the card has finished, with the copies and uploads that belong to the pass. Not timed: the
// first upload of the mesh, compiling. Each row names how many kernels ran; a software rasteriser
// gives ratios between rows, not what an artist's card does.

#include "gpu/DeformStage.h"
#include "gpu/GpuCounters.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <functional>

namespace {
struct Row {
    const char *name;
    std::function<void(GPUMesh &, const DeformScene &)> run;
};

const std::vector<Row> &rows()
{
    using Mesh = GPUMesh;
    using Scene = DeformScene;
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

/// One size's mesh stays on the card until another size is asked for.
class Sheet {
public:
    void show(int side)
    {
        if (side == m_side)
            return;
        m_side = side;
        m_scene = deformScene(testGrid(side));
        m_stage.load(m_scene);
    }
    bool valid() { return m_stage.valid(); }
    const DeformScene &scene() const { return m_scene; }
    GPUMesh &mesh() { return m_stage.mesh(); }
    void finish() { m_stage.finish(); }

private:
    int m_side = 0;
    DeformScene m_scene;
    DeformStage m_stage;
};

double timed(Sheet &sheet, const Row &row)
{
    sheet.finish();
    QElapsedTimer timer;
    timer.start();
    row.run(sheet.mesh(), sheet.scene());
    sheet.finish();
    return double(timer.nsecsElapsed()) * 1e-9;
}

void runRow(benchmark::State &state, Sheet &sheet, const Row &row, int side)
{
    sheet.show(side);
    timed(sheet, row); // warm up
    const quint64 before = gpuCounters().dispatches;
    for (auto _ : state)
        state.SetIterationTime(timed(sheet, row));
    const auto dispatches = double(gpuCounters().dispatches - before);
    state.counters["kernels"] = dispatches / double(state.iterations());
    state.counters["vertices"] = double(sheet.mesh().vertexCount());
    state.SetItemsProcessed(int64_t(dispatches) * sheet.mesh().vertexCount());
}
} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    Sheet sheet;
    if (!sheet.valid())
        return 0; // nothing to measure without OpenGL 4.3
    for (const int side : { 100, 316, 1000 }) {
        for (const Row &row : rows()) {
            const std::string name = row.name + (", " + std::to_string(side * side) + " vertices");
            benchmark::RegisterBenchmark(name.c_str(), runRow, std::ref(sheet), std::cref(row),
                                         side)
                ->UseManualTime()
                ->Iterations(side < 1000 ? 10 : 2)
                ->Repetitions(5)
                ->ReportAggregatesOnly()
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
