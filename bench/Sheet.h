#pragma once

#include "bench/Rows.h"
#include "gpu/MeshStage.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <string>

/// A square mesh on the card; one size stays there until another is asked for.
class Sheet {
public:
    bool valid() { return m_stage.valid(); }
    GPUMesh &mesh() { return m_stage.mesh(); }
    const MeshScene &scene() const { return m_scene; }
    void show(int side)
    {
        if (int(m_scene.topology.vertexCount()) == side * side)
            return;
        m_scene = meshScene(testGrid(side));
        m_stage.load(m_scene);
    }

    void finish() { m_stage.finish(); } ///< waits for the card

private:
    MeshStage m_stage;
    MeshScene m_scene;
};

/// Runs every row, which has a name, on sheets of 10 thousand, 100 thousand, 1 and 4 million
/// vertices.
template <class Row>
int runOnSheets(int argc, char **argv, const std::vector<Row> &rows,
                void (*run)(benchmark::State &, Sheet &, const Row &))
{
    const QGuiApplication application(argc, argv);
    Sheet sheet;
    if (!sheet.valid())
        return 0; // nothing to measure without OpenGL 4.3
    for (const int side : { 100, 316, 1000, 2000 }) {
        for (const Row &row : rows) {
            const std::string name = row.name + (", " + std::to_string(side * side) + " vertices");
            benchmark::RegisterBenchmark(name.c_str(),
                                         [&sheet, &row, side, run](benchmark::State &state) {
                                             sheet.show(side);
                                             run(state, sheet, row);
                                         })
                ->UseManualTime()
                ->Iterations(side < 1000 ? 21 : 5) // one line a row: rows report medians themselves
                ->Unit(benchmark::kMillisecond);
        }
    }
    return runRows(argc, argv);
}
