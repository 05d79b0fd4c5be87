// What one deformer pass costs on 10 thousand, 100 thousand, 1 and 4 million vertices. Timed: the
// call until the card has finished, with the copies and uploads that belong to the pass, turn by
// turn with the same work as plain loops on all cores (ratio). Not timed: the first upload of the
// mesh, compiling. to_floor: the ratio to bare kernels that only load, gather and store as many
// vec4 and copy as many poses, which is the least on this driver. Each row names how many kernels
// ran; a software rasteriser gives ratios, not what an artist's card does.

#include "bench/BareKernel.h"
#include "bench/Native.h"
#include "bench/Paired.h"
#include "bench/Sheet.h"
#include "gpu/GpuCounters.h"

#include <functional>

namespace {
/// What the plain loops work on.
struct Plain {
    PointArray position, normal, current, previous, pose;
};
struct Row {
    const char *name;
    std::function<void(GPUMesh &, const MeshScene &)> run;
    std::vector<Moves> moves;
    std::function<void(const MeshScene &, Plain &)> plain;
};

const std::vector<Row> &rows()
{
    using Mesh = GPUMesh;
    using Scene = MeshScene;
    constexpr auto ring = Moves::Around::Ring;
    constexpr Moves addDeltas { 3, 0, 1 }, relax { 1, 1, 1, ring, 1, 1 };
    constexpr Moves addDeltasTangent { 4, 2, 1, ring, 1, 1 }, clone { 2, 2, 1, ring, 1, 1 };
    static const std::vector<Row> table {
        { "vertexNormals",
          [](Mesh &mesh, const Scene &) { mesh.updateNormals(); },
          { { 1, 1, 1, ring } },
          [](const Scene &s, Plain &p) {
              native::normals(s.topology.rings(), s.position, p.normal);
          } },
        { "addDeltas",
          [](Mesh &mesh, const Scene &) { mesh.addDeltas(false, 1, 0, 0); },
          { addDeltas },
          [](const Scene &s, Plain &p) {
              native::addDeltas(s.basePoints, s.offsetPoints, 1, p.position);
          } },
        { "addDeltas tangent",
          [](Mesh &mesh, const Scene &) { mesh.addDeltas(true, 1, 0, 0); },
          { addDeltasTangent },
          [](const Scene &s, Plain &p) {
              native::addDeltasTangent(s.topology.rings(), s.basePoints, s.offsetPoints, s.position,
                                       p.position);
          } },
        { "clone",
          [](Mesh &mesh, const Scene &) { mesh.clone(1, 0.1f, false); },
          { clone },
          [](const Scene &s, Plain &p) {
              native::clone(s.topology.rings(), s.position, s.offsetPoints, s.mask, 0.1f,
                            p.position);
          } },
        { "clone tangent",
          [](Mesh &mesh, const Scene &) { mesh.clone(1, 0.1f, true); },
          { clone },
          [](const Scene &s, Plain &p) {
              native::cloneTangent(s.topology.rings(), s.position, s.offsetPoints, s.mask, 0.1f,
                                   p.position);
          } },
        { "relax",
          [](Mesh &mesh, const Scene &) { mesh.relax(1, 0.1f, true, false); },
          { relax },
          [](const Scene &s, Plain &p) {
              native::relax(s.topology.rings(), s.position, s.mask, 0.1f, p.position);
          } },
        { "mush of one smoothing",
          [](Mesh &mesh, const Scene &s) { mesh.mush(1, 0, 1, s.basePoints, s.offsetPoints); },
          { relax, { 3, 2, 1, ring, 1, 3 } },
          [](const Scene &s, Plain &p) {
              native::mush(s.topology.rings(), s.position, s.basePoints, s.offsetPoints, s.mask,
                           p.normal, p.position);
          } },
        { "jiggle",
          [](Mesh &mesh, const Scene &) { mesh.jiggle(1, 0.3f, 0.3f, 0.5f, 0); },
          { { 4, 0, 3 } },
          [](const Scene &s, Plain &p) {
              native::jiggle(s.normal, s.mask, p.current, p.previous, p.position);
          } },
        { "cloth of one step",
          [](Mesh &mesh, const Scene &) { mesh.cloth(1, 0.1f); },
          { { 4, 2, 2, Moves::Around::Springs, 1, 4 }, clone, clone, clone, clone, clone },
          [](const Scene &s, Plain &p) {
              native::cloth(s.topology.constraints(), s.position, s.rest, s.mask, p.current,
                            p.normal);
              for (int pass = 0; pass < 5; ++pass) {
                  std::swap(p.pose, p.position);
                  native::clone(s.topology.rings(), p.pose, s.offsetPoints, s.mask, 0.1f,
                                p.position);
              }
          } },
    };
    return table;
}

void runRow(benchmark::State &state, Sheet &sheet, const Row &row)
{
    const MeshScene &scene = sheet.scene();
    Plain plain { scene.position, scene.normal, scene.deltas, scene.basePoints, scene.position };
    const auto run = [&] {
        row.run(sheet.mesh(), scene);
        sheet.finish();
    };
    static BareKernels s_bare;
    const auto bare = [&] {
        for (const Moves &moves : row.moves)
            s_bare.run(sheet.mesh(), moves);
        sheet.finish();
    };
    run(); // warm up
    bare();
    const quint64 before = gpuCounters().dispatches;
    Paired paired, floor;
    for (auto _ : state) {
        paired.turn(run, [&] { row.plain(scene, plain); });
        floor.turn(bare, [] {});
        state.SetIterationTime(paired.lastWork());
    }
    state.counters["kernels"] =
        double(gpuCounters().dispatches - before) / double(state.iterations());
    paired.report(state);
    state.counters["floor_ms"] = 1e3 * floor.medianWork();
    state.counters["to_floor"] = paired.medianWork() / floor.medianWork();
}
} // namespace

int main(int argc, char **argv) { return runOnSheets(argc, argv, rows(), runRow); }
