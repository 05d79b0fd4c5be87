// Timed, in processor time: reading an OBJ file of one million faces (quads with normals and
// texture coordinates) into the triangles that the preview draws, and, where it is installed,
// tinyobjloader reading the same file with triangulation. Both from a warm file cache, in one
// process, turn and turn about. "peak_MiB" is what one load adds to the memory of a process of its
// own. Not timed: writing the file, uploading the triangles.

#include "bench/Paired.h"
#include "bench/Rows.h"
#include "shapes/ObjReader.h"

#include <benchmark/benchmark.h>

#ifdef HAS_TINYOBJLOADER
#include <tiny_obj_loader.h>
#endif

#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kSide = 1000; // faces along each edge of a wavy sheet

class SheetFile {
public:
    SheetFile()
    {
        std::FILE *file = std::fopen(path().c_str(), "w");
        for (int row = 0; row <= kSide; ++row)
            for (int column = 0; column <= kSide; ++column)
                writeVertex(file, column * 0.01, row * 0.01);
        for (int row = 0; row < kSide; ++row)
            for (int column = 0; column < kSide; ++column)
                writeFace(file, row * (kSide + 1) + column + 1);
        std::fclose(file);
    }
    std::string path() const { return m_folder.path().toStdString() + "/sheet.obj"; }

private:
    static void writeVertex(std::FILE *file, double x, double z)
    {
        std::fprintf(file, "v %.6f %.6f %.6f\n", x, std::sin(3 * x) * std::cos(2 * z), z);
        std::fprintf(file, "vn %.4f %.4f %.4f\n", -std::cos(3 * x), 1.0, std::sin(2 * z));
        std::fprintf(file, "vt %.4f %.4f\n", x / 10, z / 10);
    }
    static void writeFace(std::FILE *file, int corner)
    {
        const int corners[] = { corner, corner + kSide + 1, corner + kSide + 2, corner + 1 };
        std::fputc('f', file);
        for (const int c : corners)
            std::fprintf(file, " %d/%d/%d", c, c, c);
        std::fputc('\n', file);
    }

    QTemporaryDir m_folder;
};

std::string sheetPath()
{
    static const SheetFile file;
    return file.path();
}

size_t loadOurs()
{
    return buildShape(readObj(QString::fromStdString(sheetPath()))).indices.size();
}

#ifdef HAS_TINYOBJLOADER
size_t loadTheirs()
{
    tinyobj::attrib_t attributes;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
    std::string warning;
    std::string error;
    tinyobj::LoadObj(&attributes, &shapes, &materials, &warning, &error, sheetPath().c_str());
    return shapes.empty() ? 0 : shapes.front().mesh.indices.size();
}
#endif

double ownPeakKiB()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss);
}

// In a child, as the peak of a process never sinks again.
double peakMiB(size_t (*load)())
{
    malloc_trim(0); // or the child loads into what earlier loads have left
    int ends[2];
    if (pipe(ends) != 0)
        return 0;
    double added = 0;
    const pid_t child = fork();
    if (child == 0) {
        const double before = ownPeakKiB();
        load();
        added = (ownPeakKiB() - before) / 1024;
        _exit(write(ends[1], &added, sizeof added) == sizeof added ? 0 : 1);
    }
    if (read(ends[0], &added, sizeof added) != sizeof added)
        added = 0;
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return added;
}

void readSheet(benchmark::State &state)
{
    sheetPath(); // written before the clock runs
    state.counters["peak_MiB"] = peakMiB(loadOurs);
#ifdef HAS_TINYOBJLOADER
    state.counters["yardstick_peak_MiB"] = peakMiB(loadTheirs);
    const auto yardstick = loadTheirs;
#else
    const auto yardstick = loadOurs;
#endif
    Paired pair(Paired::Clock::Processor);
    size_t corners = 0;
    for (auto _ : state) {
        pair.turn([&] { benchmark::DoNotOptimize(corners = loadOurs()); },
                  [&] { benchmark::DoNotOptimize(yardstick()); });
        state.SetIterationTime(pair.lastWork());
    }
    if (corners != size_t(kSide) * kSide * 6)
        state.SkipWithError("not all triangles were read");
    pair.report(state);
}

} // namespace

BENCHMARK(readSheet)->Iterations(7)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv) { return runRows(argc, argv); }
