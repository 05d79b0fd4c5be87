// One full evaluation of a stack of five layers, one of each kind, while playing: what a frame
// costs and where the time goes. Timed each until the card has finished: reading the frame from an
// archive, uploading it, the layers' kernels with their copies, the normals. Beside the bytes
// uploaded and the dispatches issued stand the least that the passes need; what layers hold is on
// the card after the first evaluation. Medians; a software rasteriser gives shares, not what an
// artist's card does.

#include "alembic/AlembicFile.h"
#include "bench/Rows.h"
#include "gpu/GpuCounters.h"
#include "gpu/LayerPasses.h"
#include "gpu/MeshStage.h"
#include "support/Archives.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <functional>
#include <map>

namespace {
constexpr double kFramesPerSecond = 24.0;
constexpr int kSmoothing = 10, kRelaxing = 5, kClothSteps = 10, kClones = 1;

/// A sheet of side × side vertices that waves over two frames.
QByteArray writeSheet(const QTemporaryDir &folder, int side)
{
    const QString path = folder.filePath(QStringLiteral("sheet%1.abc").arg(side));
    archives::Writer writer(path);
    const archives::Shape sheet = archives::grid(side);
    archives::Points waved = sheet.points;
    for (archives::V3f &point : waved)
        point.y = 0.1f * std::sin(9.0f * point.x);
    writer.mesh(writer.top(), "sheet", sheet, { waved });
    return QFile::encodeName(path);
}

LayerData layerOf(LayerKind kind, const PointArray &rest)
{
    LayerData layer;
    layer.setKind(kind);
    layer.setMask(std::vector<float>(rest.size(), 1.0f));
    layer.setBasePoints(rest);
    layer.setOffsetPoints(jittered(rest, 1e-3, 1));
    layer.setTangent(true);
    layer.setIterations(kind == LayerKind::Mush        ? kSmoothing
                            : kind == LayerKind::Relax ? kRelaxing
                                                       : kClothSteps);
    layer.setCloneIterations(kClones);
    return layer;
}

/// The archive, the mesh and the five layers of one size.
class Frame {
public:
    Frame(MeshStage &stage, const QByteArray &archive)
        : m_mesh(stage.mesh())
    {
        m_alembic.open(archive);
        m_alembic.fillTopology(m_topology);
        m_mesh.setTopology(&m_topology);
        m_mesh.allocateBuffers();
        m_alembic.readPoints(m_points, 0.0);
        m_mesh.setRestPoints(m_points);
        for (int kind = 0; kind < 5; ++kind)
            m_layers.push_back(layerOf(LayerKind(kind), m_points));
    }
    ~Frame() { m_mesh.setTopology(nullptr); }

    int vertexCount() const { return m_mesh.vertexCount(); }
    void read() { m_alembic.readPoints(m_points, 1.0 / kFramesPerSecond); }
    void load()
    {
        ++m_play.frameSerial; // a simulation steps once a frame
        m_mesh.loadFrame(1, kFramesPerSecond, m_alembic);
    }
    void layers()
    {
        for (LayerData &layer : m_layers)
            applyLayer(m_mesh, layer, 0.9f, m_play);
    }
    void normals() { m_mesh.updateNormals(); }
    void mask() { showMask(m_mesh, &m_layers[1]); }

    void upload() { m_mesh.upload(Semantic::kPosition, m_points); }

private:
    GPUMesh &m_mesh;
    AlembicFile m_alembic;
    Topology m_topology;
    PointArray m_points;
    std::vector<LayerData> m_layers;
    PlayState m_play { true, false, 0 };
};

/// The imported frame.
double leastBytes(int vertexCount) { return vertexCount * 16.0; }

constexpr int leastDispatches()
{
    const int sculpt = 1 + kClones;
    const int mush = kSmoothing + 1 + kClones + 1; // the last one blends: the weight is below 1
    const int jiggle = 1 + kClones;
    const int cloth = kClothSteps + 5;
    return sculpt + mush + kRelaxing + jiggle + cloth + 1; // and the normals
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

class Stopwatch {
public:
    explicit Stopwatch(MeshStage &stage)
        : m_stage(stage)
    {
    }
    void time(const std::string &part, const std::function<void()> &work)
    {
        m_stage.finish();
        QElapsedTimer timer;
        timer.start();
        work();
        m_stage.finish();
        m_milliseconds[part].push_back(double(timer.nsecsElapsed()) * 1e-6);
    }
    double operator[](const std::string &part) const { return median(m_milliseconds.at(part)); }

private:
    MeshStage &m_stage;
    std::map<std::string, std::vector<double>> m_milliseconds;
};

void report(benchmark::State &state, const Stopwatch &watch, const GpuCounters &spent, int vertices)
{
    state.counters["read_ms"] = watch["read"];
    state.counters["upload_ms"] = watch["upload"];
    state.counters["kernels_ms"] = watch["layers"];
    state.counters["normals_ms"] = watch["normals"];
    state.counters["MB_up"] = double(spent.uploadedBytes) * 1e-6;
    state.counters["MB_least"] = leastBytes(vertices) * 1e-6;
    state.counters["read_backs"] = double(spent.readBacks);
    state.counters["dispatches"] = double(spent.dispatches);
    state.counters["dispatches_least"] = leastDispatches();
}

void evaluate(benchmark::State &state, MeshStage &stage, const QTemporaryDir &folder, int side)
{
    Frame frame(stage, writeSheet(folder, side));
    Stopwatch watch(stage), warmUp(stage);
    GpuCounters spent;
    const auto whole = [&](Stopwatch &parts) {
        const GpuCounters before = gpuCounters();
        frame.load();
        parts.time("layers", [&] { frame.layers(); });
        parts.time("normals", [&] { frame.normals(); });
        frame.mask();
        spent.uploadedBytes = gpuCounters().uploadedBytes - before.uploadedBytes;
        spent.dispatches = gpuCounters().dispatches - before.dispatches;
        spent.readBacks = gpuCounters().readBacks - before.readBacks;
    };
    whole(warmUp);
    for (auto _ : state) {
        watch.time("whole", [&] { whole(watch); });
        state.PauseTiming();
        watch.time("read", [&] { frame.read(); });
        watch.time("upload", [&] { frame.upload(); });
        state.ResumeTiming();
    }
    state.counters["whole_ms"] = watch["whole"];
    report(state, watch, spent, frame.vertexCount());
}
} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    MeshStage stage;
    if (!stage.valid())
        return 0; // nothing to measure without OpenGL 4.3
    const QTemporaryDir folder;
    for (const int side : { 100, 316, 1000 }) {
        const std::string name = "five layers, " + std::to_string(side * side) + " vertices";
        benchmark::RegisterBenchmark(name.c_str(), evaluate, std::ref(stage), std::cref(folder),
                                     side)
            ->Iterations(side < 1000 ? 11 : 3)
            ->Unit(benchmark::kMillisecond);
    }
    return runRows(argc, argv);
}
