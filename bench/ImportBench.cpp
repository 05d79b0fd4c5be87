// What an import costs.
//
// `first picture`: one mesh of 100 frames, in the running program, until the picture stands; beside
// it the steps one by one, each with its yardstick, turn by turn: opening with the walk (the
// library's own opening), topology (the library's read of the first sample and one std::sort of the
// directed edges), uploads (as many bytes raw into one buffer), the first evaluation (the library's
// read and the kernel of the normals), the picture (the next picture). The row's ratio is the whole
// to the sum of the yardsticks. Not timed: the dialog, the display's own start.
//
// Many small meshes, as a scattered set or a broken-up object has them.
//
// Timed: AlembicFile::fillTopology of 20,000 meshes of 25 points each. Yardstick: the library's own
// reads of what it needs of each mesh (points, face indices, face counts of the first sample) from
// an archive object of its own. Not timed: opening. What is over 1 is merging, naming and the
// tables; it must not grow with the number of meshes: the row of 2,000 is there to compare.
#include "alembic/AlembicFile.h"
#include "bench/Paired.h"
#include "bench/Rows.h"
#include "gpu/GPUMesh.h"
#include "layers/Topology.h"
#include "support/Archives.h"
#include "tools/RunningProgram.h"
#include "viewport/MeshScope.h"

#include <QEventLoop>
#include <QLoggingCategory>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
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

constexpr int kFrames = 100;

void finish()
{
    const MeshScope scope;
    QOpenGLContext::currentContext()->functions()->glFinish();
}

void showPicture()
{
    QEventLoop loop;
    QObject::connect(Global::viewport(), &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
    Global::viewport()->update();
    loop.exec();
    finish();
}

/// One mesh on disk, and what the yardsticks work on.
class OneMesh {
public:
    explicit OneMesh(int side)
        : m_path(m_folder.filePath(QStringLiteral("sheet.abc")))
    {
        const archives::Shape sheet = archives::grid(side);
        std::vector<archives::Points> later; // equal samples are stored once
        for (int frame = 1; frame < kFrames; ++frame)
            later.push_back(frame % 2 ? archives::moved(sheet.points, { 0.0f, 0.1f, 0.0f })
                                      : sheet.points);
        archives::Writer writer(m_path);
        writer.mesh(writer.top(), "sheet", sheet, later);
        for (size_t i = 0; i < sheet.faceIndices.size(); ++i)
            m_edges.push_back(quint64(sheet.faceIndices[i]) << 32 |
                              quint64(sheet.faceIndices[i % 4 == 3 ? i - 3 : i + 1]));
    }
    const QString &path() const { return m_path; }

    void openByLibrary()
    {
        m_library = Alembic::Abc::IArchive(Alembic::AbcCoreOgawa::ReadArchive(1, false),
                                           QFile::encodeName(m_path).toStdString());
        m_mesh = Alembic::AbcGeom::IPolyMesh(m_library.getTop().getChild(0),
                                             Alembic::Abc::kStrictMatching);
    }
    void readByLibrary()
    {
        Alembic::AbcGeom::IPolyMeshSchema::Sample sample;
        m_mesh.getSchema().get(sample, Alembic::Abc::index_t(0));
        benchmark::DoNotOptimize(sample.getPositions()->get());
    }
    void sortEdges()
    {
        std::vector<quint64> sorted = m_edges;
        std::sort(sorted.begin(), sorted.end());
        benchmark::DoNotOptimize(sorted.data());
    }

private:
    const QTemporaryDir m_folder;
    const QString m_path;
    std::vector<quint64> m_edges;
    Alembic::Abc::IArchive m_library;
    Alembic::AbcGeom::IPolyMesh m_mesh;
};

void import(const QString &path)
{
    Global::openArchive(path);
    Global::setAlembicPath(path);
    emit Global::mainWindow()->alembicImported();
}

void uploadTables()
{
    const MeshScope scope;
    Global::mesh()->setTopology(Global::topology());
    Global::mesh()->allocateBuffers();
    finish();
}

void uploadRaw()
{
    const MeshScope scope;
    QOpenGLFunctions &gl = *QOpenGLContext::currentContext()->functions();
    static std::vector<char> s_bytes;
    size_t size = 0;
    for (const BufferRow &row : kBufferTable)
        size += size_t(Global::mesh()->bufferBySemantic(row.semantic)->byteSize());
    s_bytes.resize(size);
    GLuint buffer = 0;
    gl.glGenBuffers(1, &buffer);
    gl.glBindBuffer(GL_ARRAY_BUFFER, buffer);
    gl.glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(size), s_bytes.data(), GL_STATIC_DRAW);
    gl.glFinish();
    gl.glDeleteBuffers(1, &buffer);
}

void firstPicture(benchmark::State &state, int side)
{
    OneMesh sheet(side);
    const auto evaluateBare = [&] {
        sheet.readByLibrary();
        const MeshScope scope;
        Global::mesh()->updateNormals();
        finish();
    };
    Paired open, topology, uploads, evaluation, picture;
    Paired whole;
    import(sheet.path()); // warm up
    showPicture();
    for (auto _ : state) {
        AlembicFile file;
        Topology tables;
        whole.turn(
            [&] {
                import(sheet.path());
                showPicture();
            },
            [] {});
        open.turn([&] { file.open(QFile::encodeName(sheet.path())); },
                  [&] { sheet.openByLibrary(); });
        topology.turn([&] { file.fillTopology(tables); },
                      [&] {
                          sheet.readByLibrary();
                          sheet.sortEdges();
                      });
        uploads.turn(uploadTables, uploadRaw);
        evaluation.turn(
            [] {
                emit Global::mainWindow()->alembicImported();
                finish();
            },
            evaluateBare);
        picture.turn(showPicture, showPicture);
        state.SetIterationTime(whole.lastWork());
    }
    double bare = 0.0;
    const auto tell = [&](const std::string &step, const Paired &pair) {
        state.counters[step + "_ms"] = 1e3 * pair.medianWork();
        state.counters[step + "_yardstick_ms"] = 1e3 * pair.medianYardstick();
        state.counters[step + "_ratio"] = pair.medianWork() / pair.medianYardstick();
        bare += pair.medianYardstick();
    };
    tell("1_open_walk", open);
    tell("2_topology", topology);
    tell("3_uploads", uploads);
    tell("4_evaluation", evaluation);
    tell("5_picture", picture);
    state.counters["whole_ms"] = 1e3 * whole.medianWork();
    state.counters["ratio"] = whole.medianWork() / bare;
}

} // namespace

BENCHMARK(fillTopology)
    ->ArgName("meshes")
    ->Arg(2000)
    ->Arg(20000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    Startup::prepare();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    QApplication application(argc, argv);
    RunningProgram program;
    for (const int side : { 100, 316, 1000, 2000 }) {
        if (!program.hasGL())
            break; // there is no picture to wait for
        const std::string name = "first picture, " + std::to_string(side * side) + " vertices";
        benchmark::RegisterBenchmark(name.c_str(), firstPicture, side)
            ->Iterations(side < 1000 ? 9 : 3)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    return runRows(argc, argv);
}
