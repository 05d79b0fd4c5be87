// Timed: Topology::build of a quad sheet, every table, with the fresh memory that it asks the
// system for. Yardstick: one std::sort of the sheet's directed edges as 64-bit keys, in face order,
// in memory that is there. ratio_copied has the sort make its copy of the keys first, so that both
// sides take their memory inside. Not timed: making the face lists and the keys, freeing. The aim
// is a ratio of at most 1 at every size. `shuffled` numbers the vertices at random, as a mesh that
// went through other programs may come.
#include "bench/Paired.h"
#include "bench/Rows.h"
#include "layers/Topology.h"

#include <numeric>
#include <random>

namespace {

struct QuadSheet {
    explicit QuadSheet(int side, bool shuffled)
        : vertexCount(side * side)
        , counts(size_t(side - 1) * size_t(side - 1), 4)
    {
        std::vector<qint32> number(size_t(side) * size_t(side));
        std::iota(number.begin(), number.end(), 0);
        if (shuffled)
            std::shuffle(number.begin(), number.end(), std::mt19937(1));
        indices.reserve(4 * counts.size());
        for (int y = 0; y + 1 < side; ++y) {
            for (int x = 0; x + 1 < side; ++x) {
                const size_t a = size_t(y) * size_t(side) + size_t(x);
                for (const size_t corner : { a, a + size_t(side), a + size_t(side) + 1, a + 1 })
                    indices.push_back(number[corner]);
            }
        }
    }

    std::vector<quint64> directedEdges() const
    {
        std::vector<quint64> edges;
        edges.reserve(indices.size());
        for (size_t i = 0; i < indices.size(); ++i) {
            const qint32 next = indices[i % 4 == 3 ? i - 3 : i + 1];
            edges.push_back(quint64(indices[i]) << 32 | quint64(next));
        }
        return edges;
    }

    int vertexCount;
    std::vector<qint32> indices;
    std::vector<qint32> counts;
};

void build(benchmark::State &state, int side, bool shuffled)
{
    const QuadSheet sheet(side, shuffled);
    const std::vector<quint64> edges = sheet.directedEdges();
    Paired pair(Paired::Clock::Processor), copying(Paired::Clock::Processor); // neither waits
    for (auto _ : state) {
        Topology topology;
        std::vector<quint64> sorted;
        copying.turn([&] { sorted = edges; }, [] {});
        pair.turn([&] { topology.build(sheet.vertexCount, sheet.indices, sheet.counts); },
                  [&] { std::sort(sorted.begin(), sorted.end()); });
        state.SetIterationTime(pair.lastWork());
        benchmark::DoNotOptimize(topology.rings().data());
        benchmark::DoNotOptimize(sorted.data());
    }
    pair.report(state);
    state.counters["ratio_copied"] =
        pair.medianWork() / (pair.medianYardstick() + copying.medianWork());
}

} // namespace

int main(int argc, char **argv)
{
    for (const bool shuffled : { false, true }) {
        for (const int side : { 100, 316, 1000, 2000 }) {
            const std::string name = std::string(shuffled ? "shuffled" : "in order") + ", " +
                std::to_string(side * side) + " vertices";
            benchmark::RegisterBenchmark(name.c_str(), build, side, shuffled)
                ->Iterations(21)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    return runRows(argc, argv);
}
