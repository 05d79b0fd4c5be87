// What one stamp of a brush costs on 10 thousand, 100 thousand and 1 million vertices, step by
// step, and whole with the read-backs it makes. Timed: each call until the card has finished. Not
// timed: the upload of the mesh, compiling, the viewport's repaint. The ray misses no sheet, the
// radius covers about an eighth of it; a pick over the surface also walks on the processor. Medians
// of five; a software rasteriser gives shares, not what an artist's card does.

#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "support/GLFixture.h"
#include "support/TestMeshes.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <functional>

namespace {

constexpr float kRadius = 0.4f; // of a sheet from -1 to 1

struct Row {
    const char *name;
    std::function<void(GPUMesh &)> run;
};

void hit(GPUMesh &mesh) { mesh.closestIntersection({ 0.1f, 0.1f, 5 }, { 0.1f, 0.1f, -5 }, false); }

std::function<void(GPUMesh &)> sculptRow(BrushType type)
{
    return [type](GPUMesh &mesh) { mesh.sculpt({ type, kRadius, 0.01f, 1.0f }, {}); };
}

void standardStamp(GPUMesh &mesh)
{
    hit(mesh);
    mesh.pickVertices(kRadius);
    mesh.computeArea(kRadius);
    mesh.sculpt({ BrushType::Standard, kRadius, 0.01f, 1.0f }, {});
    mesh.updateNormals();
}

const std::vector<Row> &rows()
{
    static const std::vector<Row> table {
        { "hit", hit },
        { "pick", [](GPUMesh &mesh) { mesh.pickVertices(kRadius); } },
        { "pick by surface", [](GPUMesh &mesh) { mesh.pickVerticesBySurface(kRadius); } },
        { "area", [](GPUMesh &mesh) { mesh.computeArea(kRadius); } },
        { "sculpt standard", sculptRow(BrushType::Standard) },
        { "sculpt clay", sculptRow(BrushType::Clay) },
        { "sculpt fix", sculptRow(BrushType::Fix) },
        { "normals", [](GPUMesh &mesh) { mesh.updateNormals(); } },
        { "whole standard stamp", standardStamp },
    };
    return table;
}

/// One size's sheet stays on the card until another size is asked for.
class Sheet {
public:
    bool valid() const { return m_gl.valid(); }
    GPUMesh &mesh() { return m_mesh; }

    void show(int side)
    {
        if (side == m_side)
            return;
        m_side = side;
        const TestMesh sheet = testGrid(side);
        m_topology = sheet.topology();
        m_mesh.setTopology(&m_topology);
        m_mesh.allocateBuffers();
        m_mesh.upload(Semantic::kPosition, sheet.points);
        m_mesh.copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
        m_mesh.copyBuffer(Semantic::kPosition, Semantic::kOffsetPoints);
        m_mesh.updateNormals();
    }

    double timed(const Row &row)
    {
        // A dab consumes its weights: each step gets fresh ones, outside the measured time.
        hit(m_mesh);
        m_mesh.pickVertices(kRadius);
        m_mesh.computeArea(kRadius);
        m_gl.gl().glFinish();
        QElapsedTimer timer;
        timer.start();
        row.run(m_mesh);
        m_gl.gl().glFinish();
        return double(timer.nsecsElapsed()) * 1e-9;
    }

private:
    GLFixture m_gl;
    Topology m_topology;
    GPUMesh m_mesh;
    int m_side = 0;
};

void runRow(benchmark::State &state, Sheet &sheet, const Row &row, int side)
{
    sheet.show(side);
    sheet.timed(row); // warm up
    const quint64 before = gpuCounters().readBacks;
    for (auto _ : state)
        state.SetIterationTime(sheet.timed(row));
    state.counters["read-backs"] =
        double(gpuCounters().readBacks - before) / double(state.iterations());
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
