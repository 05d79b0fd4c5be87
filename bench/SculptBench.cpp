// What one stamp of a brush costs on 10 thousand, 100 thousand, 1 and 4 million vertices, step
// by step, and whole with the read-backs it makes. Timed: each call until the card has finished,
// turn by turn with the same work as plain loops on all cores (ratio). to_floor: the ratio to a
// bare kernel that only loads and stores as many vec4 of every vertex, or for a ray hit and the
// area to a bare reduction of as many, in groups of 1,024 with three barriers. Not timed: the
// upload of the mesh, compiling, the viewport's repaint. The ray misses no sheet, the radius covers
// about an eighth of it; a pick over the surface also walks on the processor. Medians; a software
// rasteriser gives shares, not what an artist's card does.

#include "bench/BareKernel.h"
#include "bench/Native.h"
#include "bench/Paired.h"
#include "bench/Sheet.h"
#include "gpu/GpuCounters.h"

#include <algorithm>
#include <functional>

namespace {

constexpr QVector3D kNear(0.1f, 0.1f, 5), kWay(0, 0, -10);
constexpr float kRadius = 0.4f; // of a sheet from -1 to 1

/// The stamp as plain loops.
class PlainStamp {
public:
    explicit PlainStamp(const MeshScene &scene)
        : m_scene(scene)
        , m_points(scene.position)
        , m_deltas(scene.deltas)
        , m_normals(scene.normal)
        , m_falloff(scene.mask.size())
        , m_alpha(native::alphaOf(QStringLiteral(":/alphas2d/Alphas/alphas2d/square.png")))
    {
    }
    void hit()
    {
        m_centre = kNear + kWay * native::hit(m_scene.topology.triangles(), m_points, kNear, kWay);
    }
    void pick() { native::pick(m_points, m_centre, kRadius, m_falloff); }
    void pickBySurface()
    {
        native::pickBySurface(m_scene.topology.rings(), m_points, m_centre, kRadius, m_falloff);
    }
    void clay()
    {
        native::sculptClay(m_centre, m_push, kRadius, m_alpha, m_scene.mask, m_falloff, m_deltas,
                           m_points);
    }
    void area() { m_push = native::area(m_points, m_normals, m_centre, kRadius) * 1e-4f; }
    void standard() { native::sculptStandard(m_push, m_scene.mask, m_falloff, m_deltas, m_points); }
    void fix()
    {
        native::sculptFix(m_scene.topology.rings(), m_scene.position, m_scene.offsetPoints,
                          m_falloff, m_deltas, m_points);
    }
    void normals() { native::normals(m_scene.topology.rings(), m_points, m_normals); }
    void whole()
    {
        hit();
        pick();
        area();
        standard();
        normals();
    }

private:
    const MeshScene &m_scene;
    PointArray m_points, m_deltas, m_normals;
    std::vector<float> m_falloff;
    const std::vector<float> m_alpha;
    QVector3D m_centre, m_push;
};

struct Row {
    const char *name;
    std::function<void(GPUMesh &)> run;
    std::function<void(PlainStamp &)> plain;
    std::function<void(GPUMesh &, BareKernels &)> bare {}; ///< may be missing
};

void hit(GPUMesh &mesh) { mesh.closestIntersection(kNear, kNear + kWay, false); }

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
    const auto bare = [](const Moves &moves) {
        return [moves](GPUMesh &mesh, BareKernels &kernels) { kernels.run(mesh, moves); };
    };
    const auto bareHit = [](GPUMesh &mesh, BareKernels &kernels) {
        kernels.runReduction(mesh, mesh.triangleCount(), true);
    };
    const auto bareArea = [](GPUMesh &mesh, BareKernels &kernels) {
        kernels.runReduction(mesh, mesh.vertexCount(), false);
    };
    constexpr auto ring = Moves::Around::Ring;
    static const std::vector<Row> table {
        { "hit", hit, &PlainStamp::hit, bareHit },
        { "pick", [](GPUMesh &mesh) { mesh.pickVertices(kRadius); }, &PlainStamp::pick,
          bare({ 1, 0, 1 }) },
        { "pick by surface", [](GPUMesh &mesh) { mesh.pickVerticesBySurface(kRadius); },
          &PlainStamp::pickBySurface },
        { "area", [](GPUMesh &mesh) { mesh.computeArea(kRadius); }, &PlainStamp::area, bareArea },
        { "sculpt standard", sculptRow(BrushType::Standard), &PlainStamp::standard,
          bare({ 2, 0, 2 }) },
        { "sculpt clay", sculptRow(BrushType::Clay), &PlainStamp::clay, bare({ 2, 0, 2 }) },
        { "sculpt fix", sculptRow(BrushType::Fix), &PlainStamp::fix, bare({ 2, 2, 2, ring }) },
        { "normals", [](GPUMesh &mesh) { mesh.updateNormals(); }, &PlainStamp::normals,
          bare({ 1, 1, 1, ring }) },
        { "whole standard stamp", standardStamp, &PlainStamp::whole },
    };
    return table;
}

void runRow(benchmark::State &state, Sheet &sheet, const Row &row)
{
    GPUMesh &mesh = sheet.mesh();
    PlainStamp plain(sheet.scene());
    const auto run = [&] {
        row.run(mesh);
        sheet.finish();
    };
    static BareKernels s_bare;
    Paired paired, floor;
    const auto turn = [&](Paired &pair, Paired &least) {
        // A dab consumes its weights: each step gets fresh ones, outside the measured time.
        hit(mesh);
        mesh.pickVertices(kRadius);
        mesh.computeArea(kRadius);
        sheet.finish();
        plain.hit();
        plain.pick();
        plain.area();
        pair.turn(run, [&] { row.plain(plain); });
        least.turn(
            [&] {
                if (row.bare)
                    row.bare(mesh, s_bare);
                sheet.finish();
            },
            [] {});
    };
    mesh.copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
    Paired warmUp;
    turn(warmUp, warmUp);
    const quint64 before = gpuCounters().readBacks;
    for (auto _ : state) {
        turn(paired, floor);
        state.SetIterationTime(paired.lastWork());
    }
    paired.report(state);
    if (row.bare) {
        state.counters["floor_ms"] = 1e3 * floor.medianWork();
        state.counters["to_floor"] = paired.medianWork() / floor.medianWork();
    }
    state.counters["read-backs"] =
        double(gpuCounters().readBacks - before) / double(state.iterations());
}

} // namespace

int main(int argc, char **argv) { return runOnSheets(argc, argv, rows(), runRow); }
