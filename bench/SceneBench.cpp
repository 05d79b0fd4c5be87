// Timed: saving and loading a scene of five layers with every array at a million vertices.
// Yardstick: the same bytes, ready in memory, written by one call and synced to a file that then
// replaces the old one; and read by one call into fresh memory. Files lie in the system's folder
// for temporary files, and are read from the system's cache. Not timed: making the layers and
// freeing what was loaded. The aim is a ratio of at most 1.5.
// gather: the same bytes made for the recovery file in slices. longest_slice_ms is how long the
// window waits at most; the aim is below 10.
// memory_ratio: the process's growth at its peak over the layers' own arrays; the aim is below 1.2.
#include "app/RecoveryPieces.h"
#include "app/SceneStream.h"
#include "bench/Paired.h"
#include "bench/Rows.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

using Layers = std::vector<std::unique_ptr<LayerData>>;

Layers fiveLayers(size_t vertexCount)
{
    Layers layers;
    for (int kind = 0; kind < 5; ++kind) {
        auto layer = std::make_unique<LayerData>();
        layer->setKind(LayerKind(kind));
        PointArray points(vertexCount);
        for (size_t i = 0; i < vertexCount; ++i)
            points[i] = QVector4D(float(i) * 0.37f, 1.0f / float(i + 1), float(kind), 1.0f);
        layer->setOffsetPoints(points);
        layer->setBasePoints(std::move(points));
        layer->setMask(std::vector<float>(vertexCount, 0.25f));
        layers.push_back(std::move(layer));
    }
    return layers;
}

double ownBytes(const Layers &layers)
{
    size_t bytes = 0;
    for (const auto &layer : layers)
        bytes += 16 * (layer->basePoints().size() + layer->offsetPoints().size()) +
            4 * layer->mask().size();
    return double(bytes);
}

std::vector<const LayerData *> pointers(const Layers &layers)
{
    std::vector<const LayerData *> result;
    for (const auto &layer : layers)
        result.push_back(layer.get());
    return result;
}

/// A line of /proc/self/status that ends in kB, in bytes.
double statusBytes(const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0.0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name))
            return 1024.0 * line.mid(name.size() + 1).trimmed().split(' ').front().toDouble();
    }
    return 0.0;
}

double residentBytes() { return statusBytes("VmRSS"); }
double peakBytes() { return statusBytes("VmHWM"); }

void resetPeak()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

bool writeRaw(const QByteArray &path, const char *bytes, size_t size)
{
    const QByteArray temporary = path + ".raw";
    const int file = open(temporary.constData(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    const bool whole = write(file, bytes, size) == ssize_t(size) && fsync(file) == 0;
    close(file);
    return whole && rename(temporary.constData(), path.constData()) == 0;
}

using RawMemory = std::unique_ptr<char, decltype(&std::free)>;

RawMemory readRaw(const QByteArray &path, size_t size)
{
    RawMemory memory(static_cast<char *>(std::malloc(size)), &std::free);
    const int file = open(path.constData(), O_RDONLY);
    const bool whole = read(file, memory.get(), size) == ssize_t(size);
    close(file);
    return whole ? std::move(memory) : RawMemory(nullptr, &std::free);
}

/// A saved scene in a folder of its own.
class SavedScene {
public:
    explicit SavedScene(const Layers &layers)
    {
        writeScene(path(), QStringLiteral("/caches/arm.abc"), pointers(layers));
        m_size = size_t(QFile(path()).size());
    }
    QString path() const { return m_folder.filePath(QStringLiteral("scene.pxm")); }
    QByteArray rawPath() const
    {
        return QFile::encodeName(m_folder.filePath(QStringLiteral("raw")));
    }
    size_t size() const { return m_size; }

private:
    QTemporaryDir m_folder;
    size_t m_size = 0;
};

void save(benchmark::State &state)
{
    const double before = residentBytes();
    const Layers layers = fiveLayers(size_t(state.range(0)));
    resetPeak();
    const SavedScene scene(layers);
    state.counters["memory_ratio"] = (peakBytes() - before) / ownBytes(layers);

    const RawMemory bytes = readRaw(QFile::encodeName(scene.path()), scene.size());
    Paired pair;
    for (auto _ : state) {
        bool whole = false;
        pair.turn(
            [&] { writeScene(scene.path(), QStringLiteral("/caches/arm.abc"), pointers(layers)); },
            [&] { whole = writeRaw(scene.rawPath(), bytes.get(), scene.size()); });
        if (!whole)
            state.SkipWithError("the raw file could not be written");
        state.SetIterationTime(pair.lastWork());
    }
    pair.report(state);
}

void load(benchmark::State &state)
{
    const SavedScene scene(fiveLayers(size_t(state.range(0))));
    const double before = residentBytes();
    resetPeak();
    SceneContent content = readScene(scene.path());
    state.counters["memory_ratio"] = (peakBytes() - before) / ownBytes(content.layers);
    content.layers.clear();

    Paired pair;
    for (auto _ : state) {
        RawMemory bytes(nullptr, &std::free);
        pair.turn([&] { content = readScene(scene.path()); },
                  [&] { bytes = readRaw(QFile::encodeName(scene.path()), scene.size()); });
        if (!bytes || content.layers.size() != 5)
            state.SkipWithError("the scene could not be read");
        content.layers.clear();
        state.SetIterationTime(pair.lastWork());
    }
    pair.report(state);
}

/// Of the processor: what else runs on the machine is not the window's wait.
double threadMilliseconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e3 * double(time.tv_sec) + double(time.tv_nsec) / 1e6;
}

void gather(benchmark::State &state)
{
    const Layers layers = fiveLayers(size_t(state.range(0)));
    const RecoveryPieces::Layers all = pointers(layers);
    double longest = 0.0;
    for (auto _ : state) {
        RecoveryPieces pieces { {} };
        const auto slice = [&](const auto &call) {
            const double before = threadMilliseconds();
            const bool done = call();
            longest = std::max(longest, threadMilliseconds() - before);
            return done;
        };
        while (!slice([&] { return pieces.gather(all, kRecoverySlice); })) { }
        std::vector<RecoveryFile::Piece> taken;
        slice([&] {
            taken = pieces.take(QString(), all);
            return true;
        });
        benchmark::DoNotOptimize(taken.data());
    }
    state.counters["longest_slice_ms"] = longest;
}

} // namespace

BENCHMARK(gather)->Arg(1000000)->Iterations(9)->Unit(benchmark::kMillisecond);
BENCHMARK(save)->Arg(1000000)->Iterations(9)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(load)->Arg(1000000)->Iterations(9)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.app.debug=false"));
    return runRows(argc, argv);
}
