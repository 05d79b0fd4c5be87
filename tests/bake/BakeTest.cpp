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

struct Outcome {
    int exitCode = -1;
    QString text; ///< both channels
};

QString bakeProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/plexmold-bake");
}

Outcome run(const QStringList &arguments, const QProcessEnvironment &environment = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (!environment.isEmpty())
        process.setProcessEnvironment(environment);
    process.start(bakeProgram(), arguments);
    process.waitForFinished(-1);
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
             QString::fromLocal8Bit(process.readAll()) };
}

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
    auto place = writer.xform(writer.top(), "place",
                              { archives::translation(3, 1, 0), archives::translation(3, 2, 0),
                                archives::translation(4, 2, 1) });
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
        mirror, "flat",
        { archives::translation(0, 0, 5), Imath::M44d().setScale(archives::V3d(1, 0, 1)) });
    writer.mesh(flat, "vanishing", grid);
    auto free = writer.xform(place, "free", { archives::translation(-4, 0, 0) }, false);
    writer.subdivision(free, "ball", cube);

    using Alembic::AbcCoreAbstract::TimeSampling;
    const auto uneven = writer.top().getArchive().addTimeSampling(
        TimeSampling(Alembic::AbcCoreAbstract::TimeSamplingType(
                         Alembic::AbcCoreAbstract::TimeSamplingType::kAcyclic),
                     std::vector<double> { 0.0, 0.06, 0.125 }));
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
    auto crowd = writer.xform(writer.top(), "crowd", { archives::translation(0, 0, -9) });
    crowd.addChildInstance(mirror, "left");
    crowd.addChildInstance(mirror, "right");
}

} // namespace

/// Whole bakes by the program itself, its results read back by the windowed program.
class BakeTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void showsWhatTheWindowShows_data();
    void showsWhatTheWindowShows();
    void joinedPartsAreTheWhole();
    void refusesForeignParts();
    void keepsEqualInstances();
    void writesNormalsThatPointOut();
    void refusesWithAMessage_data();
    void refusesWithAMessage();
    void leavesNothingHalfWritten();

private:
    QString file(const QString &name) const { return m_folder.filePath(name); }
    std::vector<LayerData> layers(const QString &archive, const QString &only = {}) const;
    QString scene(const QString &name, const QString &archive,
                  const std::vector<LayerData> &) const;
    static PointArray displayed(int frame);
    void open(const QString &scenePath, const QString &archive);

    RunningProgram m_app;
    QTemporaryDir m_folder;
    QString m_sample, m_odd;
};

void BakeTest::initTestCase()
{
    NEEDS_GL(m_app.hasGL());
    m_sample = file(QStringLiteral("sample.abc"));
    m_odd = file(QStringLiteral("odd.abc"));
    QCOMPARE(
        QProcess::execute(QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample"),
                          { m_sample }),
        0);
    writeOddArchive(m_odd);
}

/// Dents, a fading Mush and a Relax on every mesh, or on those whose name contains `only`.
std::vector<LayerData> BakeTest::layers(const QString &archive, const QString &only) const
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
        for (size_t i = first; mesh.name.contains(only) && i < first + size_t(mesh.vertexCount);
             ++i) {
            mask[i] = float((i - first) % 5) / 4.0f;
            if ((i - first) % 3 == 0)
                dented[i] += QVector4D(0.1f, -0.2f, 0.3f, 0.0f);
        }
        first += size_t(mesh.vertexCount);
    }
    std::vector<LayerData> stack(3);
    stack[0].setKind(LayerKind::Sculpt);
    stack[0].setBasePoints(rest);
    stack[0].setOffsetPoints(dented);
    stack[1].setKind(LayerKind::Mush);
    stack[1].setBasePoints(rest);
    stack[1].setOffsetPoints(rest);
    stack[1].setIterations(2);
    stack[1].keys() = { { 0.0, 0.2f, true }, { 0.2, 0.9f, true } };
    stack[2].setKind(LayerKind::Relax);
    stack[2].setIterations(1);
    for (LayerData &layer : stack) {
        layer.setMask(mask);
        layer.setName(layerKindName(layer.kind()));
    }
    return stack;
}

QString BakeTest::scene(const QString &name, const QString &archive,
                        const std::vector<LayerData> &stack) const
{
    std::vector<const LayerData *> records;
    for (const LayerData &layer : stack)
        records.push_back(&layer);
    writeScene(file(name), archive, records);
    return file(name);
}

void BakeTest::open(const QString &scenePath, const QString &archive)
{
    Global::clearScene();
    if (!scenePath.isEmpty())
        QVERIFY(Global::loadScene(scenePath));
    QVERIFY(Global::openArchive(archive));
    emit Global::mainWindow()->alembicImported();
}

PointArray BakeTest::displayed(int frame)
{
    Global::timeline()->setCurrentFrame(frame);
    const MeshScope scope;
    return Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
}

void BakeTest::showsWhatTheWindowShows_data()
{
    QTest::addColumn<QString>("archive");
    QTest::newRow("sample") << m_sample;
    QTest::newRow("odd") << m_odd;
    const QDir real(qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES", QStringLiteral("/nowhere")));
    for (const QString &name : real.entryList({ QStringLiteral("*.abc") }, QDir::Files))
        if (!name.startsWith(QLatin1String("bad_")))
            QTest::newRow(qPrintable(name)) << real.filePath(name);
}

void BakeTest::showsWhatTheWindowShows()
{
    QFETCH(QString, archive);
    const QString bare = file(QStringLiteral("bare.abc")),
                  baked = file(QStringLiteral("baked.abc"));
    Outcome outcome =
        run({ QStringLiteral("--force"), scene(QStringLiteral("bare.pxm"), archive, {}), bare });
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.text));
    QCOMPARE(ArchiveDiff::between(archive, bare), QStringList());

    const QString corrected = scene(QStringLiteral("s.pxm"), archive, layers(archive));
    outcome = run({ QStringLiteral("--force"), corrected, baked });
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.text));
    const QStringList other = ArchiveDiff::between(archive, baked)
                                  .filter(QRegularExpression(QStringLiteral(
                                      "^(?!.*(\\.geom (P|number of properties)|Bnds) ?)")));
    QVERIFY2(other.isEmpty() || archive == m_odd, qPrintable(other.join(QLatin1Char('\n'))));

    open(corrected, archive);
    std::vector<PointArray> expected;
    const int first = Global::timeline()->minFrame(), last = Global::timeline()->maxFrame();
    for (int frame = first; frame <= last; ++frame)
        expected.push_back(displayed(frame));
    open(QString(), baked);
    QCOMPARE(Global::timeline()->minFrame(), first);
    QCOMPARE(Global::timeline()->maxFrame(), last);
    for (int frame = first; frame <= last; ++frame) {
        const PointArray points = displayed(frame), &wanted = expected[size_t(frame - first)];
        QCOMPARE(points.size(), wanted.size());
        float extent = 0.0f;
        for (const QVector4D &point : wanted)
            extent = std::max(extent, point.toVector3D().length());
        const QStringList kept = QStringList()
            << QStringLiteral("growing") << QStringLiteral("vanishing");
        size_t i = 0;
        for (const Topology::MeshEntry &mesh : Global::topology()->meshes()) {
            const bool untouched =
                outcome.text.contains(mesh.name + QLatin1String(" is kept as it is")) ||
                outcome.text.contains(mesh.name + QLatin1String(" has no size"));
            for (const size_t end = i + size_t(mesh.vertexCount); i < end; ++i)
                QVERIFY2(untouched || (points[i] - wanted[i]).length() <= 1e-5f * extent,
                         qPrintable(QStringLiteral("%1 at frame %2").arg(mesh.name).arg(frame)));
        }
    }
}

/// A simulation runs through all of them, so that its frames before a part matter.
void BakeTest::joinedPartsAreTheWhole()
{
    for (const QString &archive : { m_sample, m_odd }) {
        std::vector<LayerData> stack = layers(archive, QStringLiteral("sheet"));
        stack[2].setKind(LayerKind::Jiggle);
        const QString shot = scene(QStringLiteral("jiggle.pxm"), archive, stack);
        const QString whole = file(QStringLiteral("whole.abc")),
                      joined = file(QStringLiteral("joined.abc"));
        for (const bool normals : { false, true }) {
            const QStringList options = QStringList(QStringLiteral("--force"))
                << (normals ? QStringList(QStringLiteral("--normals")) : QStringList());
            QCOMPARE(run(QStringList(options) << shot << whole).exitCode, 0);
            QStringList parts;
            for (int i = 1; i <= 3; ++i) {
                parts.prepend(file(QStringLiteral("part%1.abc").arg(i)));
                const Outcome part =
                    run(QStringList(options) << QStringLiteral("--part")
                                             << QStringLiteral("%1/3").arg(i) << shot << parts[0]);
                QVERIFY2(part.exitCode == 0, qPrintable(part.text));
            }
            const Outcome outcome =
                run(QStringList { QStringLiteral("--force"), QStringLiteral("--join"), joined }
                    << parts);
            QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.text));
            QCOMPARE(ArchiveDiff::between(whole, joined), QStringList());
        }
        if (archive == m_sample) // the arm, four fifths of it, is only in the first
            QVERIFY(10 * QFileInfo(file(QStringLiteral("part2.abc"))).size() <
                    3 * QFileInfo(file(QStringLiteral("part1.abc"))).size());
    }
}

void BakeTest::refusesForeignParts()
{
    const QString shot = scene(QStringLiteral("a.pxm"), m_odd, layers(m_odd)),
                  other =
                      scene(QStringLiteral("b.pxm"), m_odd, layers(m_odd, QStringLiteral("sheet")));
    const auto part = [this](const QString &from, const QString &frames) {
        const QString path = file(QStringLiteral("p%1.abc").arg(qHash(from + frames)));
        run({ QStringLiteral("--frames"), frames, from, path });
        return path;
    };
    const QString head = part(shot, QStringLiteral("0-1")),
                  tail = part(shot, QStringLiteral("2-3"));
    const std::pair<QString, const char *> rows[] = {
        { tail, nullptr },
        { part(shot, QStringLiteral("1-3")), "overlap" },
        { part(shot, QStringLiteral("3-3")), "gap" },
        { part(other, QStringLiteral("2-3")), "different scenes" },
        { m_odd, "no part" },
    };
    for (const auto &[second, fault] : rows) {
        const QString output = file(QStringLiteral("j%1.abc").arg(qHash(second)));
        const Outcome outcome = run({ QStringLiteral("--join"), output, head, second });
        QCOMPARE(outcome.exitCode, fault ? 1 : 0);
        QVERIFY2(!fault || outcome.text.contains(QLatin1String(fault)), qPrintable(outcome.text));
        QCOMPARE(QFileInfo::exists(output), !fault);
    }
}

/// Corrected alike, an instance stays one; corrected alone, it becomes a mesh of its own.
void BakeTest::keepsEqualInstances()
{
    const std::pair<const char *, QStringList> rows[] = {
        { "cube", { QStringLiteral("left"), QStringLiteral("right") } },
        { "left/cube", { QStringLiteral("right") } },
    };
    for (const auto &[only, instances] : rows) {
        const QString output = file(QStringLiteral("instances%1.abc").arg(instances.size()));
        std::vector<LayerData> stack = layers(m_odd, QLatin1String(only));
        stack.erase(stack.begin()); // a dent in world space is another in each instance
        const Outcome outcome = run({ scene(QStringLiteral("i.pxm"), m_odd, stack), output });
        QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.text));
        Alembic::Abc::IArchive archive(Alembic::AbcCoreOgawa::ReadArchive(),
                                       QFile::encodeName(output).toStdString());
        const Alembic::Abc::IObject crowd(archive.getTop(), "crowd");
        QStringList kept;
        for (size_t i = 0; i < crowd.getNumChildren(); ++i)
            if (crowd.isChildInstance(i))
                kept << QString::fromStdString(crowd.getChild(i).getName());
        QCOMPARE(kept, instances);
    }
}

/// Also where the mesh is mirrored in the world.
void BakeTest::writesNormalsThatPointOut()
{
    const QString output = file(QStringLiteral("normals.abc"));
    const Outcome outcome = run({ QStringLiteral("--normals"),
                                  scene(QStringLiteral("n.pxm"), m_odd, layers(m_odd)), output });
    QVERIFY2(outcome.text.contains(QLatin1String("velocities of 1 left out")),
             qPrintable(outcome.text));
    Alembic::Abc::IArchive archive(Alembic::AbcCoreOgawa::ReadArchive(),
                                   QFile::encodeName(output).toStdString());
    const Alembic::AbcGeom::IPolyMesh cube(Alembic::Abc::IObject(archive.getTop(), "mirror"),
                                           "cube");
    const auto normals = cube.getSchema().getNormalsParam().getExpandedValue(0);
    const auto points = cube.getSchema().getValue(0).getPositions();
    QCOMPARE(normals.getScope(), Alembic::AbcGeom::kVertexScope);
    QCOMPARE(normals.getVals()->size(), points->size());
    for (size_t i = 0; i < points->size(); ++i) { // around its middle
        const float out = (*normals.getVals())[i].dot((*points)[i].normalized());
        QVERIFY2(out > 0.5f, qPrintable(QString::number(double(out))));
    }
}

void BakeTest::refusesWithAMessage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("words");
    const QString shot = scene(QStringLiteral("r.pxm"), m_odd, layers(m_odd)),
                  unfit = scene(QStringLiteral("unfit.pxm"), m_odd, layers(m_sample)),
                  out = file(QStringLiteral("refused.abc")), link = file(QStringLiteral("l.abc"));
    QFile::link(m_odd, link);
    QFile::copy(shot, file(QStringLiteral("short.pxm")));
    QFile::resize(file(QStringLiteral("short.pxm")), 5000);
    const QString force = QStringLiteral("--force");
    const auto row = [](const char *name, const QStringList &arguments, int code,
                        const char *words) {
        QTest::newRow(name) << arguments << code << QString::fromLatin1(words);
    };
    row("its own cache", { force, shot, link }, 1, "is its own input");
    row("its own scene", { force, shot, shot }, 1, "is its own input");
    row("an existing output", { shot, m_sample }, 1, "--force replaces it");
    row("no folder", { shot, file(QStringLiteral("no/out.abc")) }, 1, "No such file");
    row("layers that do not fit", { unfit, out }, 1, "layer \"Mush\" does not fit");
    row("left out", { QStringLiteral("--skip-unfit"), unfit, file(QStringLiteral("ok.abc")) }, 0,
        "is left out");
    row("a scene cut short", { file(QStringLiteral("short.pxm")), out }, 1, "ends early");
    row("no scene", { file(QStringLiteral("none.pxm")), out }, 1, "can't open the scene");
    row("no cache", { QStringLiteral("--cache"), out, shot, out }, 1, "is not there");
    row("frames beyond", { QStringLiteral("--frames"), QStringLiteral("90-99"), shot, out }, 1,
        "holds frames 0 to");
    row("frames misspelt", { QStringLiteral("--frames"), QStringLiteral("9"), shot, out }, 2,
        "first-last");
    row("nothing", {}, 2, "--help");
    row("help", { QStringLiteral("--help") }, 0, "Exit codes");
    row("no display", { shot, out }, 1, "xvfb-run");
}

void BakeTest::refusesWithAMessage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, words);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (QLatin1String(QTest::currentDataTag()) == QLatin1String("no display"))
        environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":99999"));
    const Outcome outcome = run(arguments, environment);
    QVERIFY2(outcome.text.contains(words), qPrintable(outcome.text));
    QCOMPARE(outcome.exitCode, exitCode);
    QVERIFY(!QFileInfo::exists(file(QStringLiteral("refused.abc"))));
}

/// Stopped or killed at any moment, or out of space: no new file, the old output as it was.
void BakeTest::leavesNothingHalfWritten()
{
    QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("out")));
    const QDir folder(file(QStringLiteral("out")));
    const QString output = folder.filePath(QStringLiteral("old.abc"));
    QVERIFY(QFile::copy(m_odd, output));
    const QString shot = scene(QStringLiteral("k.pxm"), m_sample, layers(m_sample));
    const QStringList arguments { QStringLiteral("--force"), shot, output };
    const QString whole = file(QStringLiteral("unkilled.abc"));
    QCOMPARE(run({ shot, whole }).exitCode, 0);
    int killed = 0;
    for (int i = 0; i < 12; ++i) {
        QProcess process;
        process.start(bakeProgram(), arguments);
        QVERIFY(process.waitForStarted());
        if (!process.waitForFinished(15 + i * 30))
            ::kill(pid_t(process.processId()), i % 3 ? SIGKILL : SIGTERM);
        process.waitForFinished(-1);
        QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden), { QStringLiteral("old.abc") });
        if (ArchiveDiff::between(m_odd, output).isEmpty()) {
            ++killed;
        } else { // it was done before
            QCOMPARE(ArchiveDiff::between(whole, output), QStringList());
            QVERIFY(QFile::remove(output) && QFile::copy(m_odd, output));
        }
    }
    QVERIFY(killed > 0);
    const QString limited = QStringLiteral("ulimit -f 300; exec \"$0\" \"$@\"");
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("bash"),
                  QStringList { QStringLiteral("-c"), limited, bakeProgram() } << arguments);
    QVERIFY(process.waitForFinished(-1));
    const QByteArray text = process.readAll();
    QVERIFY2(process.exitCode() == 1 && text.contains("File too large"), text.constData());
    QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden), { QStringLiteral("old.abc") });
    QCOMPARE(ArchiveDiff::between(m_odd, output), QStringList());
}

PLEXMOLD_TEST_MAIN(BakeTest)
#include "BakeTest.moc"
