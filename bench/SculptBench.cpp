// What one stamp of a brush costs on 10 thousand, 100 thousand and 1 million vertices, step by
// step, and whole with the read-backs it makes. Timed: each call until the card has finished. Not
// timed: the upload of the mesh, compiling, the viewport's repaint. The ray misses no sheet, the
// radius covers about an eighth of it; a pick over the surface also walks on the processor.
// Medians; a software rasteriser gives shares, not what an artist's card does.

#include "bench/Sheet.h"
#include "gpu/GpuCounters.h"

#include <algorithm>
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

void runRow(benchmark::State &state, Sheet &sheet, const Row &row)
{
    GPUMesh &mesh = sheet.mesh();
    const auto seconds = [&] {
        // A dab consumes its weights: each step gets fresh ones, outside the measured time.
        hit(mesh);
        mesh.pickVertices(kRadius);
        mesh.computeArea(kRadius);
        return sheet.seconds([&] { row.run(mesh); });
    };
    mesh.copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
    seconds(); // warm up
    const quint64 before = gpuCounters().readBacks;
    std::vector<double> taken;
    for (auto _ : state) {
        taken.push_back(seconds());
        state.SetIterationTime(taken.back());
    }
    std::nth_element(taken.begin(), taken.begin() + taken.size() / 2, taken.end());
    state.counters["median_ms"] = 1e3 * taken[taken.size() / 2];
    state.counters["read-backs"] =
        double(gpuCounters().readBacks - before) / double(state.iterations());
}

} // namespace

int main(int argc, char **argv) { return runOnSheets(argc, argv, rows(), runRow); }
