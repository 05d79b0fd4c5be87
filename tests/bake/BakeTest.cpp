#include "alembic/AlembicFile.h"
#include "app/SceneStream.h"
#include "layers/Topology.h"
#include "support/ArchiveText.h"
#include "support/Compare.h"
#include "support/Stage.h"

#include <Alembic/Abc/OTypedArrayProperty.h>
#include <Alembic/Abc/OTypedScalarProperty.h>
#include <Alembic/AbcGeom/IPolyMesh.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cmath>

namespace {

std::vector<archives::Points> swung(const archives::Points &points, int count)
{
    std::vector<archives::Points> samples;
    for (int i = 1; i < count; ++i)
        samples.push_back(
            archives::moved(points, { 0.0f, 0.3f * std::sin(0.7f * float(i)), 0.1f * float(i) }));
    return samples;
}

/// What real caches bring and the sample does not: mirrored, singular and non-inheriting places,
/// instances, velocities, normals, boxes, a changing point count, uneven times, texts.
void writeOddArchive(const QString &path)
{
    namespace Abc = Alembic::Abc;
    using namespace archives;
    using namespace Alembic::AbcCoreAbstract;
    Writer writer(path);
    const Shape sheet = grid(7), box = cube();
    auto place = writer.xform(writer.top(), "place",
                              { translation(3, 1, 0), translation(3, 2, 0), translation(4, 2, 1) });
    Abc::OStringArrayProperty(place.getSchema().getUserProperties(), "shot notes")
        .set(std::vector<std::string> { "", "two words" });
    place.getSchema().getChildBoundsProperty().set(Imath::Box3d(V3d(0), V3d(1)));
    auto mesh = writer.mesh(place, "sheet", sheet, swung(sheet.points, 5));
    Abc::OInt16Property(mesh.getSchema().getUserProperties(), "id").set(7);
    auto mirror = writer.xform(writer.top(), "mirror", { M44d().setScale(V3d(-2, 1, 1)) });
    writer.mesh(mirror, "cube", box, swung(box.points, 4));
    auto flat =
        writer.xform(mirror, "flat", { translation(0, 0, 5), M44d().setScale(V3d(1, 0, 1)) });
    writer.mesh(flat, "vanishing", sheet);
    auto free = writer.xform(place, "free", { translation(-4, 0, 0) }, false);
    writer.subdivision(free, "ball", box);

    const TimeSampling uneven(TimeSamplingType(TimeSamplingType::kAcyclic), { 0.0, 0.06, 0.125 });
    std::vector<Shape> rising(3, sheet);
    for (int i = 0; i < 3; ++i)
        rising[size_t(i)].points = moved(sheet.points, { 0, float(i), 0 });
    auto moving = writer.mesh(place, "uneven", rising, uneven).getSchema();
    Abc::OV3fArrayProperty(moving, ".velocities").set(sheet.points);
    Alembic::AbcGeom::ON3fGeomParam(moving, "N", false, Alembic::AbcGeom::kVertexScope, 1)
        .set({ Abc::N3fArraySample(sheet.points), Alembic::AbcGeom::kVertexScope });
    writer.mesh(place, "growing", { sheet, box, sheet }, uneven);
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

    QString file(const char *name) const { return m_folder.filePath(QLatin1String(name)); }
    QStringList text(const char *name) const { return ArchiveText::of(file(name)); }

    /// Has a shell run the program in the folder: its exit code.
    int run(const QString &words, const QString &before = {})
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setWorkingDirectory(m_folder.path());
        const QString tools = QCoreApplication::applicationDirPath();
        process.start(QStringLiteral("bash"),
                      { QStringLiteral("-c"),
                        before + QStringLiteral("%1/plexmold-bake ").arg(tools) + words });
        process.waitForFinished(-1);
        m_text = QString::fromLocal8Bit(process.readAll());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    void bake(const QString &words) { QVERIFY2(run(words) == 0, qPrintable(words + m_text)); }

    /// Growing dents, Mush and Relax on every mesh, or on those whose name contains `only`.
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
        size_t at = 0;
        for (const Topology::MeshEntry &mesh : topology.meshes()) {
            for (int i = 0; i < mesh.vertexCount; ++i, ++at) {
                if (!mesh.name.contains(only))
                    continue;
                mask[at] = float(i % 5) / 4.0f;
                if (i % 3 == 0)
                    dented[at] += QVector4D(0.1f, -0.2f, 0.3f, 0.0f);
            }
        }
        std::vector<LayerData> stack(3);
        const LayerKind kinds[] = { LayerKind::Sculpt, LayerKind::Mush, LayerKind::Relax };
        for (size_t i = 0; i < 3; ++i) {
            LayerData &layer = stack[i];
            layer.setKind(kinds[i]);
            layer.setIterations(i == 1 ? 2 : 1);
            layer.keys() = { { 0.0, 0.0f }, { 0.05, 0.2f }, { 0.2, 0.9f } }; // not at once
            layer.setBasePoints(rest);
            layer.setOffsetPoints(i == 0 ? dented : rest);
            layer.setMask(mask);
            layer.setName(layerKindName(kinds[i]));
        }
        return stack;
    }
    void scene(const char *name, const QString &archive, const std::vector<LayerData> &stack) const
    {
        std::vector<const LayerData *> records;
        for (const LayerData &layer : stack)
            records.push_back(&layer);
        writeScene(file(name), archive, records);
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
        m_sample = file("sample.abc");
        m_odd = file("odd.abc");
        const QString maker =
            QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
        QCOMPARE(QProcess::execute(maker, { m_sample }), 0);
        writeOddArchive(m_odd);
    }

    void showsWhatTheWindowShows()
    {
        QStringList archives { m_sample, m_odd };
        const QDir real(realArchives());
        for (const QString &name : real.entryList({ QStringLiteral("*.abc") }, QDir::Files))
            if (!realArchives().isEmpty() && !name.startsWith(QLatin1String("bad_")))
                archives << real.filePath(name);
        for (const QString &archive : qAsConst(archives)) {
            scene("bare.pxm", archive, {});
            bake(QStringLiteral("--force bare.pxm bare.abc"));
            QCOMPARE(text("bare.abc"), ArchiveText::of(archive));

            scene("s.pxm", archive, layers(archive));
            bake(QStringLiteral("--force s.pxm baked.abc"));
            const QRegularExpression kept(
                QStringLiteral("^(?!.* (\\.geom (P|N|\\.velocities)|\\S+Bnds) )"));
            QCOMPARE(text("baked.abc").filter(kept), ArchiveText::of(archive).filter(kept));

            const auto wanted = displayed(file("s.pxm"), archive);
            const int first = Global::timeline()->minFrame();
            const auto shown = displayed(QString(), file("baked.abc"));
            QCOMPARE(Global::timeline()->minFrame(), first);
            QCOMPARE(shown.size(), wanted.size());
            for (size_t frame = 0; frame < shown.size(); ++frame) {
                float extent = 0.0f;
                for (const QVector4D &point : wanted[frame])
                    extent = std::max(extent, point.toVector3D().length());
                std::vector<double> tolerance;
                for (const Topology::MeshEntry &mesh : Global::topology()->meshes()) {
                    const bool untouched = m_text.contains(QRegularExpression(
                        mesh.name + QStringLiteral(" (is kept as it is|has no size)")));
                    tolerance.insert(tolerance.end(), size_t(mesh.vertexCount),
                                     untouched ? HUGE_VAL : double(1e-5f * extent));
                }
                QVERIFY(pointsMatch(shown[frame], reference::toPose(wanted[frame]), tolerance));
            }
        }
    }

    /// A simulation runs through all of them, so that its frames before a part matter.
    void joinedPartsAreTheWhole()
    {
        for (const QString &archive : { m_sample, m_odd }) {
            std::vector<LayerData> stack =
                layers(archive, archive == m_sample ? QStringLiteral("sheet") : QString());
            stack[2].setKind(LayerKind::Jiggle);
            for (size_t i = 0; archive == m_odd && i < 3; ++i) // nothing moves in the last part
                stack[i].keys() = { { 2 / 24.0, 0.5f }, { 3 / 24.0, 0.0f } };
            scene("jiggle.pxm", archive, stack);
            for (const char *options : { "--force", "--force --normals" }) {
                const QString call =
                    QLatin1String(options) + QStringLiteral(" %1jiggle.pxm %2.abc");
                bake(call.arg(QString(), QStringLiteral("whole")));
                for (int i = 1; i <= 3; ++i)
                    bake(call.arg(QStringLiteral("--part %1/3 ").arg(i)).arg(i));
                bake(QStringLiteral("--force --join joined.abc 3.abc 2.abc 1.abc"));
                QCOMPARE(text("joined.abc"), text("whole.abc"));
            }
            if (archive == m_sample) // the arm, four fifths of it, is only in the first
                QVERIFY(10 * QFileInfo(file("2.abc")).size() < 3 * QFileInfo(file("1.abc")).size());
        }
    }

    /// Corrected alike, an instance stays one; corrected alone, it becomes a mesh of its own. Its
    /// normals point out, also where it is mirrored in the world.
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
            bake(QStringLiteral("--force --normals i.pxm i.abc"));
            const Alembic::Abc::IArchive archive(Alembic::AbcCoreOgawa::ReadArchive(),
                                                 QFile::encodeName(file("i.abc")).toStdString());
            const Alembic::Abc::IObject crowd(archive.getTop(), "crowd");
            QStringList kept;
            for (size_t i = 0; i < crowd.getNumChildren(); ++i)
                if (crowd.isChildInstance(i))
                    kept << QString::fromStdString(crowd.getChild(i).getName());
            QCOMPARE(kept, instances);
            const auto cube = Alembic::AbcGeom::IPolyMesh(crowd.getChild(0), "cube").getSchema();
            const auto normals = cube.getNormalsParam().getExpandedValue(0);
            const auto points = cube.getValue(0).getPositions();
            QCOMPARE(normals.getScope(), Alembic::AbcGeom::kVertexScope);
            QCOMPARE(normals.getVals()->size(), points->size());
            Imath::Box3d box;
            for (size_t i = 0; i < points->size(); ++i) { // around its middle
                QVERIFY((*normals.getVals())[i].dot((*points)[i].normalized()) > 0.5f);
                box.extendBy(Imath::V3d((*points)[i]));
            }
            QVERIFY(cube.getSelfBoundsProperty().getValue(0) == box);
        }
    }

    void refusesWithAMessage()
    {
        scene("r.pxm", m_odd, layers(m_odd));
        scene("sheet.pxm", m_odd, layers(m_odd, QStringLiteral("sheet")));
        scene("unfit.pxm", m_odd, layers(m_sample));
        QVERIFY(QFile::link(m_odd, file("link.abc")));
        QFile::copy(file("r.pxm"), file("short.pxm"));
        QFile::resize(file("short.pxm"), 5000);
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
            { "--frames 0-1 r.pxm 0-1r.abc", 0,
              "velocities of 1 left out, they no longer fit; normals of 1" },
            { "--frames 2-3 r.pxm 2-3r.abc", 0, "2 frames" },
            { "--frames 1-3 r.pxm 1-3r.abc", 0, "3 frames" },
            { "--frames 3-3 r.pxm 3-3r.abc", 0, "1 frames" },
            { "--frames 2-3 sheet.pxm 2-3sheet.abc", 0, "1 of " },
            { "--part 1/3 r.pxm first.abc", 0, "" },
            { "--part 2/3 r.pxm second.abc", 0, "" },
            { "--join no.abc second.abc", 1, "first part is missing" },
            { "--join no.abc first.abc second.abc", 1, "parts after frame 2 are missing" },
            { "--join j.abc 0-1r.abc 2-3r.abc", 0, "" },
            { "--join no.abc 0-1r.abc 1-3r.abc", 1, "overlap" },
            { "--join no.abc 0-1r.abc 3-3r.abc", 1, "gap" },
            { "--join no.abc 0-1r.abc 2-3sheet.abc", 1, "different scenes" },
            { "--join no.abc 0-1r.abc odd.abc", 1, "no part" },
        };
        for (const Row &row : rows) {
            const int exitCode = run(QLatin1String(row.words), QLatin1String(row.before));
            QVERIFY2(exitCode == row.exitCode && m_text.contains(QLatin1String(row.text)) &&
                         !QFileInfo::exists(file("no.abc")),
                     qPrintable(QLatin1String(row.words) + m_text));
        }
        QVERIFY(QFileInfo::exists(file("j.abc")));
    }

    /// Stopped or killed at any moment, or out of space: no new file, the old output as it was.
    void leavesNothingHalfWritten()
    {
        QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("out")));
        const QString output = file("out/old.abc"),
                      bakeAgain = QStringLiteral("--force k.pxm out/old.abc");
        const auto alone = [&] {
            return QDir(file("out")).entryList(QDir::Files | QDir::Hidden) ==
                QStringList(QStringLiteral("old.abc"));
        };
        QVERIFY(QFile::copy(m_odd, output));
        scene("k.pxm", m_sample, layers(m_sample));
        bake(QStringLiteral("k.pxm unkilled.abc"));
        int killed = 0;
        for (int i = 0; i < 12; ++i) {
            run(bakeAgain,
                QStringLiteral("timeout --foreground -s %1 %2 ")
                    .arg(i % 3 ? QStringLiteral("KILL") : QStringLiteral("TERM"))
                    .arg(0.015 + 0.03 * i));
            QVERIFY(alone());
            if (text("out/old.abc") == text("odd.abc")) {
                ++killed;
            } else { // it was done before
                QCOMPARE(text("out/old.abc"), text("unkilled.abc"));
                QVERIFY(QFile::remove(output) && QFile::copy(m_odd, output));
            }
        }
        QVERIFY(killed > 0);
        const int exitCode = run(bakeAgain, QStringLiteral("ulimit -f 300; "));
        QVERIFY2(exitCode == 1 && m_text.contains(QLatin1String("File too large")),
                 qPrintable(m_text));
        QVERIFY(alone() && text("out/old.abc") == text("odd.abc"));
    }
};

PLEXMOLD_TEST_MAIN(BakeTest)
#include "BakeTest.moc"
