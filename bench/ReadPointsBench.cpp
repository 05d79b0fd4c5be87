// One mesh of a million vertices under two transforms, deforming over four samples.
//
// Timed: AlembicFile::readPoints of one sample into a list that already has its size, as playback
// calls it. Against: the library's own read of that sample's positions from its own archive object,
// plus one copy of the output's 16 MB into memory already touched. Each round times all three in
// turn, so that a busy machine slows them alike; the medians' ratio is reported as `ratio`.
// Not timed: opening, the first read of each sample (the file is in the page cache), topology.

#include "alembic/AlembicFile.h"
#include "bench/Rows.h"
#include "support/Archives.h"

#include <QTemporaryDir>

#include <Alembic/AbcGeom/IPolyMesh.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {

constexpr int kSide = 1000;
constexpr int kSamples = 4;

void writeArchive(const QString &path)
{
    const archives::Shape shape = archives::grid(kSide);
    archives::Writer writer(path);
    auto outer = writer.xform(writer.top(), "outer",
                              { archives::translation(1, 2, 3), archives::translation(2, 3, 4) });
    auto inner = writer.xform(outer, "inner", { Imath::M44d().setScale(2.0) });
    std::vector<archives::Points> later;
    for (int i = 1; i < kSamples; ++i)
        later.push_back(archives::moved(shape.points, Imath::V3f(0, float(i), 0)));
    writer.mesh(inner, "grid", shape, later);
}

/// The same file through the library alone, opened as AlembicFile opens it.
class LibraryReader {
public:
    explicit LibraryReader(const QString &path)
        : m_archive(Alembic::AbcCoreOgawa::ReadArchive(1, false),
                    QFile::encodeName(path).toStdString())
        , m_mesh(m_archive.getTop().getChild(0).getChild(0), "grid")
    {
    }

    void read(int sample) const
    {
        const auto points = m_mesh.getSchema().getPositionsProperty().getValue(
            Alembic::Abc::ISampleSelector(Alembic::Abc::index_t(sample)));
        benchmark::DoNotOptimize(points->get());
    }

private:
    Alembic::Abc::IArchive m_archive;
    Alembic::AbcGeom::IPolyMesh m_mesh;
};

template <class Call> double timed(std::vector<double> &times, Call call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    times.push_back(elapsed.count());
    return elapsed.count();
}

double median(std::vector<double> times)
{
    std::nth_element(times.begin(), times.begin() + std::ptrdiff_t(times.size() / 2), times.end());
    return times[times.size() / 2];
}

void readPoints(benchmark::State &state)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("million.abc"));
    writeArchive(path);
    AlembicFile file;
    if (!file.open(QFile::encodeName(path)))
        return state.SkipWithError("the archive does not open");
    const LibraryReader library(path);
    PointArray points, copy;
    for (int i = 0; i < kSamples; ++i)
        file.readPoints(points, i / 24.0);
    copy = points;

    std::vector<double> ours, reads, copies;
    int sample = 0;
    for (auto _ : state) {
        sample = (sample + 1) % kSamples;
        timed(reads, [&] { library.read(sample); });
        timed(copies, [&] {
            std::memcpy(static_cast<void *>(copy.data()), points.data(),
                        points.size() * sizeof(QVector4D));
            benchmark::ClobberMemory();
        });
        state.SetIterationTime(timed(ours, [&] { file.readPoints(points, sample / 24.0); }));
    }
    state.counters["read_ms"] = 1e3 * median(reads);
    state.counters["copy_ms"] = 1e3 * median(copies);
    state.counters["readPoints_ms"] = 1e3 * median(ours);
    state.counters["ratio"] = median(ours) / (median(reads) + median(copies));
}

BENCHMARK(readPoints)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

int main(int argc, char **argv) { return runRows(argc, argv); }
