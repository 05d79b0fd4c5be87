// Many small meshes, as a scattered set or a broken-up object has them.
//
// Timed: AlembicFile::fillTopology of 20,000 meshes of 25 points each. Yardstick: the library's own
// reads of what it needs of each mesh (points, face indices, face counts of the first sample) from
// an archive object of its own. Not timed: opening. What is over 1 is merging, naming and the
// tables; it must not grow with the number of meshes: the row of 2,000 is there to compare.
#include "alembic/AlembicFile.h"
#include "bench/Paired.h"
#include "bench/Rows.h"
#include "layers/Topology.h"
#include "support/Archives.h"

#include <QTemporaryDir>

#include <Alembic/AbcGeom/IPolyMesh.h>

namespace {

void fillTopology(benchmark::State &state)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("scattered.abc"));
    {
        archives::Writer writer(path);
        for (int i = 0; i < state.range(0); ++i)
            writer.mesh(writer.top(), ("mesh" + std::to_string(i)).c_str(), archives::grid(5));
    }
    AlembicFile file;
    if (!file.open(QFile::encodeName(path)))
        return state.SkipWithError("the archive does not open");
    const Alembic::Abc::IArchive library(Alembic::AbcCoreOgawa::ReadArchive(1, false),
                                         QFile::encodeName(path).toStdString());
    std::vector<Alembic::AbcGeom::IPolyMesh> meshes;
    for (size_t i = 0; i < library.getTop().getNumChildren(); ++i)
        meshes.emplace_back(library.getTop().getChild(i), Alembic::Abc::kStrictMatching);
    Paired pair;
    for (auto _ : state) {
        Topology topology;
        pair.turn([&] { file.fillTopology(topology); },
                  [&] {
                      for (const Alembic::AbcGeom::IPolyMesh &mesh : meshes) {
                          Alembic::AbcGeom::IPolyMeshSchema::Sample sample;
                          mesh.getSchema().get(sample, Alembic::Abc::index_t(0));
                          benchmark::DoNotOptimize(sample.getPositions()->get());
                      }
                  });
        state.SetIterationTime(pair.lastWork());
        benchmark::DoNotOptimize(topology.rings().data());
    }
    pair.report(state);
}

} // namespace

BENCHMARK(fillTopology)
    ->ArgName("meshes")
    ->Arg(2000)
    ->Arg(20000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char **argv) { return runRows(argc, argv); }
