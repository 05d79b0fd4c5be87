#include "alembic/AlembicFile.h"
#include "app/SceneStream.h"
#include "layers/Topology.h"
#include "support/ArchiveDiff.h"
#include "support/Stage.h"

#include <Alembic/Abc/OTypedArrayProperty.h>
#include <Alembic/Abc/OTypedScalarProperty.h>
#include <Alembic/AbcGeom/IPolyMesh.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cmath>
#include <csignal>

namespace {

std::vector<archives::Points> swung(const archives::Shape &shape, int count)
{
    std::vector<archives::Points> samples;
    for (int i = 1; i < count; ++i)
        samples.push_back(archives::moved(
            shape.points, archives::V3f(0.0f, 0.3f * std::sin(0.7f * float(i)), 0.1f * float(i))));
    return samples;
}

/// What real caches bring and the sample does not: mirrored, singular and non-inheriting places,
/// instances, velocities, normals, boxes, a changing point count, uneven times, texts.
void writeOddArchive(const QString &path)
{
    archives::Writer writer(path);
    namespace AbcGeom = Alembic::AbcGeom;
    const archives::Shape grid = archives::grid(7), cube = archives::cube();
    using archives::translation;
    auto place = writer.xform(writer.top(), "place",
                              { translation(3, 1, 0), translation(3, 2, 0), translation(4, 2, 1) });
    Alembic::Abc::OStringArrayProperty(place.getSchema().getUserProperties(), "shot notes")
        .set(std::vector<std::string> { "", "two words" });
    place.getSchema().getChildBoundsProperty().set(
        Imath::Box3d(archives::V3d(0), archives::V3d(1)));
    auto mesh = writer.mesh(place, "sheet", grid, swung(grid, 5));
    Alembic::Abc::OInt16Property(mesh.getSchema().getUserProperties(), "id").set(7);
    auto mirror =
        writer.xform(writer.top(), "mirror", { Imath::M44d().setScale(archives::V3d(-2, 1, 1)) });
    writer.mesh(mirror, "cube", cube, swung(cube, 4));
    auto flat = writer.xform(
        mirror, "flat", { translation(0, 0, 5), Imath::M44d().setScale(archives::V3d(1, 0, 1)) });
    writer.mesh(flat, "vanishing", grid);
    auto free = writer.xform(place, "free", { translation(-4, 0, 0) }, false);
    writer.subdivision(free, "ball", cube);

    using namespace Alembic::AbcCoreAbstract;
    const auto uneven = writer.top().getArchive().addTimeSampling(
        TimeSampling(TimeSamplingType(TimeSamplingType::kAcyclic), { 0.0, 0.06, 0.125 }));
    AbcGeom::OPolyMesh moving(place, "uneven", uneven);
    for (int i = 0; i < 3; ++i) {
        const auto points = archives::moved(grid.points, { 0, float(i), 0 });
        AbcGeom::OPolyMeshSchema::Sample sample(Alembic::Abc::P3fArraySample(points),
                                                Alembic::Abc::Int32ArraySample(grid.faceIndices),
                                                Alembic::Abc::Int32ArraySample(grid.faceCounts));
        sample.setVelocities(Alembic::Abc::V3fArraySample(points));
        sample.setNormals({ Alembic::Abc::N3fArraySample(points), AbcGeom::kVertexScope });
        moving.getSchema().set(sample);
    }
    AbcGeom::OPolyMesh growing(place, "growing", uneven);
    for (const archives::Shape &shape : { grid, cube, grid })
        growing.getSchema().set({ Alembic::Abc::P3fArraySample(shape.points),
                                  Alembic::Abc::Int32ArraySample(shape.faceIndices),
                                  Alembic::Abc::Int32ArraySample(shape.faceCounts) });
    auto crowd = writer.xform(writer.top(), "crowd", { translation(0, 0, -9) });
    crowd.addChildInstance(mirror, "left");
    crowd.addChildInstance(mirror, "right");
}

} // namespace

/// Whole bakes by the program itself, its results read back by the windowed program.
class BakeTest : public QObject {
    Q_OBJECT

private:
    RunningProgram m_app;
    QTemporaryDir m_folder;
    QString m_sample, m_odd;
    QString m_text; ///< what the last run said, on both channels

    QString file(const QString &name) const { return m_folder.filePath(name); }

    /// The program, started in the folder by a shell that obeys `before` first.
    std::unique_ptr<QProcess> start(const QString &words, const char *before = "") const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::MergedChannels);
        process->setWorkingDirectory(m_folder.path());
        const QString program =
            QCoreApplication::applicationDirPath() + QStringLiteral("/plexmold-bake ");
        process->start(QStringLiteral("bash"),
                       { QStringLiteral("-c"),
                         QLatin1String(before) + QStringLiteral("exec ") + program + words });
        return process;
    }
    int run(const QString &words, const char *before = "")
    {
        const auto process = start(words, before);
        process->waitForFinished(-1);
        m_text = QString::fromLocal8Bit(process->readAll());
        return process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1;
    }

    /// Dents, a fading Mush and a Relax on every mesh, or on those whose name contains `only`.
    static std::vector<LayerData> layers(const QString &archive, const QString &only = {})
    {
        AlembicFile file;
        Topology topology;
        PointArray rest;
        file.open(QFile::encodeName(archive));
        file.fillTopology(topology);
        file.readPoints(rest, 0.0, topology);
        PointArray dented = rest;
        std::vector<float> mask(rest.size(), 0.0f);
        size_t first = 0;
        for (const Topology::MeshEntry &mesh : topology.meshes()) {
            const size_t count = mesh.name.contains(only) ? size_t(mesh.vertexCount) : 0;
            for (size_t i = 0; i < count; ++i) {
                mask[first + i] = float(i % 5) / 4.0f;
                if (i % 3 == 0)
                    dented[first + i] += QVector4D(0.1f, -0.2f, 0.3f, 0.0f);
            }
            first += size_t(mesh.vertexCount);
        }
        std::vector<LayerData> stack(3);
        stack[1].setKind(LayerKind::Mush);
        stack[1].setIterations(2);
        stack[1].keys() = { { 0.0, 0.2f, true }, { 0.2, 0.9f, true } };
        stack[2].setKind(LayerKind::Relax);
        stack[2].setIterations(1);
        for (LayerData &layer : stack) {
            const bool dents = layer.kind() == LayerKind::Sculpt;
            if (layer.kind() != LayerKind::Relax) {
                layer.setBasePoints(rest);
                layer.setOffsetPoints(dents ? dented : rest);
            }
            layer.setMask(mask);
            layer.setName(layerKindName(layer.kind()));
        }
        return stack;
    }
    Alembic::Abc::IArchive read(const char *name) const
    {
        return { Alembic::AbcCoreOgawa::ReadArchive(),
                 QFile::encodeName(file(QLatin1String(name))).toStdString() };
    }
    void scene(const char *name, const QString &archive, const std::vector<LayerData> &stack) const
    {
        std::vector<const LayerData *> records;
        for (const LayerData &layer : stack)
            records.push_back(&layer);
        writeScene(file(QLatin1String(name)), archive, records);
    }

    /// What the window shows, frame by frame.
    static std::vector<PointArray> displayed(const QString &scene, const QString &archive)
    {
        Global::clearScene();
        if (!scene.isEmpty())
            Global::loadScene(scene);
        Global::openArchive(archive);
        emit Global::mainWindow()->alembicImported();
        std::vector<PointArray> frames;
        for (int i = Global::timeline()->minFrame(); i <= Global::timeline()->maxFrame(); ++i) {
            Global::timeline()->setCurrentFrame(i);
            frames.push_back(Stage::positions());
        }
        return frames;
    }

private slots:
    void initTestCase()
    {
        NEEDS_GL(m_app.hasGL());
        m_sample = file(QStringLiteral("sample.abc"));
        m_odd = file(QStringLiteral("odd.abc"));
        const QString maker =
            QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
        QCOMPARE(QProcess::execute(maker, { m_sample }), 0);
        writeOddArchive(m_odd);
    }

    void showsWhatTheWindowShows_data()
    {
        QTest::addColumn<QString>("archive");
        QTest::newRow("sample") << m_sample;
        QTest::newRow("odd") << m_odd;
        const QDir real(qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES", QStringLiteral("/nowhere")));
        for (const QString &name : real.entryList({ QStringLiteral("*.abc") }, QDir::Files))
            if (!name.startsWith(QLatin1String("bad_")))
                QTest::newRow(qPrintable(name)) << real.filePath(name);
    }
    void showsWhatTheWindowShows()
    {
        QFETCH(QString, archive);
        const QString bare = file(QStringLiteral("bare.abc")),
                      baked = file(QStringLiteral("baked.abc"));
        scene("bare.pxm", archive, {});
        QVERIFY2(run(QStringLiteral("--force bare.pxm bare.abc")) == 0, qPrintable(m_text));
        QCOMPARE(ArchiveDiff::between(archive, bare), QStringList());

        scene("s.pxm", archive, layers(archive));
        QVERIFY2(run(QStringLiteral("--force s.pxm baked.abc")) == 0, qPrintable(m_text));
        const QStringList other = ArchiveDiff::between(archive, baked)
                                      .filter(QRegularExpression(QStringLiteral(
                                          "^(?!.*(\\.geom (P|number of properties)|Bnds) ?)")));
        QVERIFY2(other.isEmpty() || archive == m_odd, qPrintable(other.join(QLatin1Char('\n'))));

        const auto wanted = displayed(file(QStringLiteral("s.pxm")), archive);
        const int first = Global::timeline()->minFrame();
        const auto shown = displayed(QString(), baked);
        QCOMPARE(Global::timeline()->minFrame(), first);
        QCOMPARE(shown.size(), wanted.size());
        for (size_t frame = 0; frame < shown.size(); ++frame) {
            QCOMPARE(shown[frame].size(), wanted[frame].size());
            float extent = 0.0f;
            for (const QVector4D &point : wanted[frame])
                extent = std::max(extent, point.toVector3D().length());
            size_t i = 0;
            for (const Topology::MeshEntry &mesh : Global::topology()->meshes()) {
                const bool untouched =
                    m_text.contains(mesh.name + QLatin1String(" is kept as it is")) ||
                    m_text.contains(mesh.name + QLatin1String(" has no size"));
                for (const size_t end = i + size_t(mesh.vertexCount); i < end; ++i)
                    QVERIFY2(untouched ||
                                 (shown[frame][i] - wanted[frame][i]).length() <= 1e-5f * extent,
                             qPrintable(QStringLiteral("%1, %2").arg(mesh.name).arg(frame)));
            }
        }
    }

    /// A simulation runs through all of them, so that its frames before a part matter.
    void joinedPartsAreTheWhole()
    {
        for (const QString &archive : { m_sample, m_odd }) {
            std::vector<LayerData> stack = layers(archive, QStringLiteral("sheet"));
            stack[2].setKind(LayerKind::Jiggle);
            scene("jiggle.pxm", archive, stack);
            for (const char *options : { "--force", "--force --normals" }) {
                QStringList calls { QStringLiteral("jiggle.pxm whole.abc") };
                for (int i = 1; i <= 3; ++i)
                    calls << QStringLiteral("--part %1/3 jiggle.pxm part%1.abc").arg(i);
                for (const QString &call : calls)
                    QVERIFY2(run(QLatin1String(options) + QLatin1Char(' ') + call) == 0,
                             qPrintable(m_text));
                const int code =
                    run(QStringLiteral("--force --join joined.abc part3.abc part2.abc part1.abc"));
                QVERIFY2(code == 0, qPrintable(m_text));
                QCOMPARE(ArchiveDiff::between(file(QStringLiteral("whole.abc")),
                                              file(QStringLiteral("joined.abc"))),
                         QStringList());
            }
            if (archive == m_sample) // the arm, four fifths of it, is only in the first
                QVERIFY(10 * QFileInfo(file(QStringLiteral("part2.abc"))).size() <
                        3 * QFileInfo(file(QStringLiteral("part1.abc"))).size());
        }
    }

    /// Corrected alike, an instance stays one; corrected alone, it becomes a mesh of its own.
    void keepsEqualInstances()
    {
        const std::pair<const char *, QStringList> rows[] = {
            { "cube", { QStringLiteral("left"), QStringLiteral("right") } },
            { "left/cube", { QStringLiteral("right") } },
        };
        for (const auto &[only, instances] : rows) {
            std::vector<LayerData> stack = layers(m_odd, QLatin1String(only));
            stack.erase(stack.begin()); // a dent in world space is another in each instance
            scene("i.pxm", m_odd, stack);
            QVERIFY2(run(QStringLiteral("--force i.pxm i.abc")) == 0, qPrintable(m_text));
            const Alembic::Abc::IObject crowd(read("i.abc").getTop(), "crowd");
            QStringList kept;
            for (size_t i = 0; i < crowd.getNumChildren(); ++i)
                if (crowd.isChildInstance(i))
                    kept << QString::fromStdString(crowd.getChild(i).getName());
            QCOMPARE(kept, instances);
        }
    }

    /// Also where the mesh is mirrored in the world.
    void writesNormalsThatPointOut()
    {
        scene("n.pxm", m_odd, layers(m_odd));
        QVERIFY(run(QStringLiteral("--normals n.pxm n.abc")) == 0);
        QVERIFY2(m_text.contains(QLatin1String("velocities of 1 left out")), qPrintable(m_text));
        const auto archive = read("n.abc");
        const Alembic::AbcGeom::IPolyMesh cube(Alembic::Abc::IObject(archive.getTop(), "mirror"),
                                               "cube");
        const auto normals = cube.getSchema().getNormalsParam().getExpandedValue(0);
        const auto points = cube.getSchema().getValue(0).getPositions();
        QCOMPARE(normals.getScope(), Alembic::AbcGeom::kVertexScope);
        QCOMPARE(normals.getVals()->size(), points->size());
        for (size_t i = 0; i < points->size(); ++i) // around its middle
            QVERIFY((*normals.getVals())[i].dot((*points)[i].normalized()) > 0.5f);
    }

    void refusesWithAMessage()
    {
        scene("r.pxm", m_odd, layers(m_odd));
        scene("sheet.pxm", m_odd, layers(m_odd, QStringLiteral("sheet")));
        scene("unfit.pxm", m_odd, layers(m_sample));
        QVERIFY(QFile::link(m_odd, file(QStringLiteral("link.abc"))));
        QFile::copy(file(QStringLiteral("r.pxm")), file(QStringLiteral("short.pxm")));
        QFile::resize(file(QStringLiteral("short.pxm")), 5000);
        for (const char *part : { "0-1 r", "2-3 r", "1-3 r", "3-3 r", "2-3 sheet" }) {
            const QString words = QLatin1String(part);
            QCOMPARE(run(QStringLiteral("--frames %1.pxm %2.abc")
                             .arg(words, QString(words).remove(QLatin1Char(' ')))),
                     0);
        }
        struct Row {
            const char *words;
            int exitCode;
            const char *text;
            const char *before = "";
        };
        const Row rows[] = {
            { "--force r.pxm link.abc", 1, "is its own input" },
            { "--force r.pxm r.pxm", 1, "is its own input" },
            { "r.pxm sample.abc", 1, "--force replaces it" },
            { "r.pxm no/out.abc", 1, "No such file" },
            { "unfit.pxm no.abc", 1, "layer \"Mush\" does not fit" },
            { "--skip-unfit unfit.pxm ok.abc", 0, "is left out" },
            { "short.pxm no.abc", 1, "ends early" },
            { "none.pxm no.abc", 1, "can't open the scene" },
            { "--cache no.abc r.pxm no.abc", 1, "is not there" },
            { "--frames 90-99 r.pxm no.abc", 1, "holds frames 0 to" },
            { "--frames 9 r.pxm no.abc", 2, "first-last" },
            { "", 2, "--help" },
            { "--help", 0, "Exit codes" },
            { "r.pxm no.abc", 1, "xvfb-run", "export DISPLAY=:99999; " },
            { "--join j.abc 0-1r.abc 2-3r.abc", 0, "" },
            { "--join no.abc 0-1r.abc 1-3r.abc", 1, "overlap" },
            { "--join no.abc 0-1r.abc 3-3r.abc", 1, "gap" },
            { "--join no.abc 0-1r.abc 2-3sheet.abc", 1, "different scenes" },
            { "--join no.abc 0-1r.abc odd.abc", 1, "no part" },
        };
        for (const Row &row : rows) {
            const int exitCode = run(QLatin1String(row.words), row.before);
            QVERIFY2(exitCode == row.exitCode && m_text.contains(QLatin1String(row.text)) &&
                         !QFileInfo::exists(file(QStringLiteral("no.abc"))),
                     qPrintable(QLatin1String(row.words) + m_text));
        }
        QVERIFY(QFileInfo::exists(file(QStringLiteral("j.abc"))));
    }

    /// Stopped or killed at any moment, or out of space: no new file, the old output as it was.
    void leavesNothingHalfWritten()
    {
        QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("out")));
        const QString output = file(QStringLiteral("out/old.abc")),
                      whole = file(QStringLiteral("unkilled.abc")),
                      bake = QStringLiteral("--force k.pxm out/old.abc");
        const auto alone = [&] {
            return QDir(file(QStringLiteral("out"))).entryList(QDir::Files | QDir::Hidden) ==
                QStringList(QStringLiteral("old.abc"));
        };
        QVERIFY(QFile::copy(m_odd, output));
        scene("k.pxm", m_sample, layers(m_sample));
        QCOMPARE(run(QStringLiteral("k.pxm unkilled.abc")), 0);
        int killed = 0;
        for (int i = 0; i < 12; ++i) {
            const auto process = start(bake);
            QVERIFY(process->waitForStarted());
            if (!process->waitForFinished(15 + i * 30))
                ::kill(pid_t(process->processId()), i % 3 ? SIGKILL : SIGTERM);
            process->waitForFinished(-1);
            QVERIFY(alone());
            if (ArchiveDiff::between(m_odd, output).isEmpty()) {
                ++killed;
            } else { // it was done before
                QCOMPARE(ArchiveDiff::between(whole, output), QStringList());
                QVERIFY(QFile::remove(output) && QFile::copy(m_odd, output));
            }
        }
        QVERIFY(killed > 0);
        const int exitCode = run(bake, "ulimit -f 300; ");
        QVERIFY2(exitCode == 1 && m_text.contains(QLatin1String("File too large")),
                 qPrintable(m_text));
        QVERIFY(alone() && ArchiveDiff::between(m_odd, output).isEmpty());
    }
};

PLEXMOLD_TEST_MAIN(BakeTest)
#include "BakeTest.moc"
