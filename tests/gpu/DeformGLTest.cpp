#include "alembic/AlembicFile.h"
#include "gpu/DeformStage.h"
#include "gpu/GpuCounters.h"

#include <QDir>

#include <functional>

namespace {
using reference::Pose;

struct Subject {
    TestMesh mesh; ///< without faces when it comes from an archive
    Topology topology;
};

/// Meshes that other programs wrote (poles of 24 neighbours, nests of transforms), where the
/// environment variable PLEXMOLD_REAL_ARCHIVES names their folder.
std::vector<Subject> realSubjects()
{
    std::vector<Subject> subjects;
    const QDir folder(qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES"));
    for (const char *name : { "animatedCube.abc", "hasColorSet.abc", "testUsdAbcIsConstant.abc",
                              "testUsdAbcP_OldEncoding.abc" }) {
        const QString path = folder.filePath(QLatin1String(name));
        AlembicFile archive;
        Subject subject { { QLatin1String(name), {}, {}, {} }, {} };
        double start = 0.0, end = 0.0;
        if (QFileInfo(path).exists() && archive.open(QFile::encodeName(path)) &&
            archive.timeRange(start, end) && archive.fillTopology(subject.topology) &&
            archive.readPoints(subject.mesh.points, start))
            subjects.push_back(subject);
    }
    return subjects;
}

const std::vector<Subject> &subjects()
{
    static const std::vector<Subject> all = [] {
        std::vector<Subject> list = realSubjects();
        for (const TestMesh &mesh : testMeshes())
            list.push_back({ mesh, mesh.topology() });
        return list;
    }();
    return all;
}

const Subject &subjectNamed(const QString &name)
{
    return *std::find_if(subjects().begin(), subjects().end(),
                         [&](const Subject &subject) { return subject.mesh.name == name; });
}

/// One pass: how the mesh runs it on a loaded scene, what the formulas give, and where it ends up.
struct Pass {
    const char *name;
    std::function<void(GPUMesh &, const DeformScene &)> run;
    std::function<Pose(const ReferenceScene &)> reference;
    QLatin1String result = Semantic::kPosition;
};

Pass normalsPass()
{
    return { "normals", [](GPUMesh &mesh, const DeformScene &) { mesh.updateNormals(); },
             [](const ReferenceScene &s) { return vertexNormals(s.rings, s.position); },
             Semantic::kNormal };
}

Pass addDeltasPass(const char *name, bool tangent, float intensity, int clones)
{
    const float force = std::max(intensity, 0.0f);
    return { name,
             [=](GPUMesh &mesh, const DeformScene &) {
                 mesh.addDeltas(tangent, intensity, clones, force);
             },
             [=](const ReferenceScene &s) {
                 const Pose added = addDeltas(s.rings, s.position,
                                              { s.basePoints, s.offsetPoints, intensity, tangent });
                 return clone(s.rings, added, s.offsetPoints, s.mask, force, true, clones);
             } };
}

Pass clonePass(const char *name, bool tangent)
{
    return { name, [=](GPUMesh &mesh, const DeformScene &) { mesh.clone(3, 0.7f, tangent); },
             [=](const ReferenceScene &s) {
                 return clone(s.rings, s.position, s.offsetPoints, s.mask, 0.7f, tangent, 3);
             } };
}

Pass relaxPass(const char *name, bool useMask, bool cotangent)
{
    return { name,
             [=](GPUMesh &mesh, const DeformScene &) { mesh.relax(3, 0.6f, useMask, cotangent); },
             [=](const ReferenceScene &s) {
                 const reference::Weights all(s.mask.size(), 1.0);
                 return relax(s.rings, s.position, useMask ? s.mask : all, 0.6f, 3);
             } };
}

Pass mushPass(const char *name, int clones, float envelope)
{
    return { name,
             [=](GPUMesh &mesh, const DeformScene &s) {
                 mesh.mush(4, clones, envelope, s.basePoints, s.offsetPoints);
             },
             [=](const ReferenceScene &s) {
                 return mush(s.rings, s.position, s.mask,
                             { 4, clones, envelope, s.basePoints, s.offsetPoints });
             } };
}

/// Three frames; the goal moves on by itself, as each result is the next frame's goal.
Pass jigglePass(const char *name, float asMuscle, QLatin1String result)
{
    constexpr float intensity = 0.8f, damping = 0.3f, stiffness = 0.25f;
    return { name,
             [=](GPUMesh &mesh, const DeformScene &) {
                 for (int frame = 0; frame < 3; ++frame)
                     mesh.jiggle(intensity, damping, stiffness, asMuscle, 0);
             },
             [=](const ReferenceScene &s) {
                 reference::Simulation state { s.deltas, s.basePoints };
                 Pose position = s.position;
                 for (int frame = 0; frame < 3; ++frame)
                     position = jiggle(position, s.normal, s.mask,
                                       { intensity, damping, stiffness, asMuscle }, state);
                 return result == Semantic::kPosition ? position
                     : result == Semantic::kDeltas    ? state.current
                                                      : state.previous;
             },
             result };
}

Pass clothPass(const char *name, int steps, float intensity)
{
    return { name, [=](GPUMesh &mesh, const DeformScene &) { mesh.cloth(steps, intensity); },
             [=](const ReferenceScene &s) {
                 const Pose shape = clothSimulation(s.springs, s.position, s.mask, s.rest, steps);
                 return clone(s.rings, s.position, shape, s.mask, intensity, false, 5);
             } };
}

std::vector<Pass> passes()
{
    return { normalsPass(),
             addDeltasPass("offsets", false, 0.75f, 0),
             addDeltasPass("offsets in the tangent frame", true, 0.75f, 0),
             addDeltasPass("offsets with their shape forced", true, 0.75f, 2),
             addDeltasPass("offsets turned over", false, -1.0f, 2),
             clonePass("clone", false),
             clonePass("clone in the tangent frame", true),
             relaxPass("relax everywhere", false, false),
             relaxPass("relax under the mask", true, false),
             relaxPass("relax by cotangents, which are all the same", true, true),
             mushPass("mush", 0, 1.0f),
             mushPass("mush cloned and blended", 2, 0.4f),
             jigglePass("jiggle", 0.0f, Semantic::kPosition),
             jigglePass("jiggle as muscle", 0.7f, Semantic::kPosition),
             jigglePass("jiggle's current points", 0.0f, Semantic::kDeltas),
             jigglePass("jiggle's previous points", 0.0f, Semantic::kBasePoints),
             clothPass("cloth", 8, 0.9f) };
}

quint64 dispatchesOf(const std::function<void()> &pass)
{
    const quint64 before = gpuCounters().dispatches;
    pass();
    return gpuCounters().dispatches - before;
}

/// A pose that only a long way of stretching and shearing from its rest could reach.
PointArray stretched(const TestMesh &mesh)
{
    PointArray points = bent(mesh.points, 0.8f / float(mesh.extent()));
    for (QVector4D &p : points)
        p = QVector4D(1.2f * p.x(), 0.9f * p.y() + 0.1f * p.x(), p.z(), 1.0f);
    return points;
}

/// The energy in the springs, each counted from both its ends.
double springEnergy(const DeformScene &scene, const Pose &pose)
{
    const ReferenceScene exact = toReference(scene);
    double energy = 0.0;
    for (size_t i = 0; i < pose.size(); ++i) {
        for (const quint32 j : exact.springs.of(i)) {
            const double stretch =
                length(pose[j] - pose[i]) - length(exact.rest[j] - exact.rest[i]);
            energy += 0.25 * 400.0 * stretch * stretch;
        }
    }
    return energy;
}
} // namespace

Q_DECLARE_METATYPE(TestMesh)
Q_DECLARE_METATYPE(Topology)

class DeformGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<DeformStage>();
        SKIP_WITHOUT_GL(*m_stage);
    }
    void cleanupTestCase() { m_stage.reset(); }

    void realMeshesAreRead();
    void passMatchesReference_data();
    void passMatchesReference();
    void straightBordersKeepTheirFrames();
    void emptyRingsLetNaNThrough();
    void mushSkipsWhatHasNoEffect();
    void lastOddClothStepIsUnused();
    void clothSurvivesPointsInOnePlace();
    void clothNeedsAFittingRestPose();
    void countsOutsideAllReasonAreHeld();
    void clothSettles_data();
    void clothSettles();

private:
    GPUMesh &mesh() { return m_stage->mesh(); }

    std::unique_ptr<DeformStage> m_stage;
};

/// Else the rows below would go missing without a word.
void DeformGLTest::realMeshesAreRead()
{
    if (!qEnvironmentVariableIsSet("PLEXMOLD_REAL_ARCHIVES"))
        QSKIP("PLEXMOLD_REAL_ARCHIVES names no folder");
    QCOMPARE(realSubjects().size(), size_t(4));
}

void DeformGLTest::passMatchesReference_data()
{
    QTest::addColumn<int>("pass");
    QTest::addColumn<QString>("mesh");
    const std::vector<Pass> allPasses = passes();
    for (int pass = 0; pass < int(allPasses.size()); ++pass) {
        for (const Subject &subject : subjects())
            QTest::addRow("%s, %s", allPasses[size_t(pass)].name, qPrintable(subject.mesh.name))
                << pass << subject.mesh.name;
    }
}

void DeformGLTest::passMatchesReference()
{
    QFETCH(int, pass);
    QFETCH(QString, mesh);
    const Subject &subject = subjectNamed(mesh);
    const DeformScene scene = deformScene(subject.mesh, subject.topology);
    const Pass what = passes()[size_t(pass)];
    m_stage->load(scene);
    what.run(m_stage->mesh(), scene);
    const QString fault = expectation(scene, what.reference).mismatch(m_stage->points(what.result));
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
}

/// On a flat sheet the last and the first neighbour of a border vertex lie on one line with it.
void DeformGLTest::straightBordersKeepTheirFrames()
{
    const TestMesh flat = testGrid(5, 5);
    DeformScene scene = deformScene(flat);
    scene.position = scene.basePoints = scene.offsetPoints = flat.points;
    for (QVector4D &p : scene.offsetPoints)
        p += QVector4D(0, 0, 0.5f, 0);
    m_stage->load(scene);
    mesh().updateNormals();
    const PointArray normals = m_stage->points(Semantic::kNormal);
    mesh().addDeltas(true, 1.0f, 0, 0.0f);
    const PointArray raised = m_stage->points();
    for (size_t i = 0; i < raised.size(); ++i) {
        QVERIFY((raised[i] - scene.offsetPoints[i]).length() < 1e-6f);
        const bool corner = toReference(scene).rings.of(i).size() == 2; // both sides cancel out
        QCOMPARE(normals[i], corner ? QVector4D() : QVector4D(0, 0, 1, 0));
    }
}

void DeformGLTest::emptyRingsLetNaNThrough()
{
    DeformScene scene = deformScene(testLoosePoints(3));
    scene.offsetPoints[1] = scene.basePoints[1];
    scene.offsetPoints[2].setX(std::numeric_limits<float>::infinity());
    m_stage->load(scene);
    mesh().addDeltas(true, 1.0f, 0, 0.0f);
    PointArray points = m_stage->points();
    QVERIFY(std::isnan(points[0].x()));
    QCOMPARE(points[1], scene.position[1]); // no offset: nothing is transferred

    m_stage->load(scene);
    mesh().addDeltas(false, 1.0f, 0, 0.0f);
    points = m_stage->points();
    QVERIFY(isFinitePoint(points[0]));
    QVERIFY(std::isinf(points[2].x()));
}

void DeformGLTest::mushSkipsWhatHasNoEffect()
{
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    const auto dispatches = [&](int iterations, float envelope) {
        return dispatchesOf(
            [&] { mesh().mush(iterations, 3, envelope, scene.basePoints, scene.offsetPoints); });
    };
    QCOMPARE(dispatches(0, 0.5f), quint64(0)); // nothing to put back
    QCOMPARE(dispatches(-3, 0.5f), quint64(0));
    QVERIFY(sameBits(m_stage->points(), scene.position));
    QCOMPARE(dispatches(2, 1.0f), quint64(2 + 1 + 3)); // nothing to blend with
    QCOMPARE(dispatches(2, 0.999f), quint64(2 + 1 + 3 + 1));
}

void DeformGLTest::lastOddClothStepIsUnused()
{
    const DeformScene scene = deformScene(testGrid(6));
    const auto result = [&](int steps) {
        m_stage->load(scene);
        mesh().cloth(steps, 1.0f);
        return m_stage->points(Semantic::kOffsetPoints);
    };
    const PointArray six = result(6);
    QVERIFY(sameBits(result(7), six));
    QVERIFY(!sameBits(result(8), six));
    QVERIFY(sameBits(result(1), scene.position));
}

void DeformGLTest::clothSurvivesPointsInOnePlace()
{
    DeformScene scene = deformScene(testGrid(6));
    scene.mask.assign(36, 1.0f);
    scene.position[14] = scene.position[15]; // neighbours, pushed apart in no direction
    m_stage->load(scene);
    mesh().cloth(20, 0.0f);
    const PointArray settled = m_stage->points(Semantic::kOffsetPoints);
    QVERIFY(std::all_of(settled.begin(), settled.end(), isFinitePoint));
    QCOMPARE(settled[14], scene.position[14]);
    QVERIFY(settled[0] != scene.position[0]);
}

void DeformGLTest::clothNeedsAFittingRestPose()
{
    const DeformScene scene = deformScene(testGrid(6));
    m_stage->load(scene);
    mesh().setRestPoints(PointArray(35));
    QTest::ignoreMessage(QtDebugMsg, "the rest pose does not fit the mesh, cloth is not run");
    QCOMPARE(dispatchesOf([&] { mesh().cloth(4, 1.0f); }), quint64(0));
    QVERIFY(sameBits(m_stage->points(), scene.position));
}

void DeformGLTest::countsOutsideAllReasonAreHeld()
{
    const DeformScene scene = deformScene(testTriangle());
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    m_stage->load(scene);
    QCOMPARE(dispatchesOf([&] { mesh().clone(lowest, 1.0f, false); }), quint64(0));
    QCOMPARE(dispatchesOf([&] { mesh().relax(-1, 1.0f, false, false); }), quint64(0));
    QCOMPARE(dispatchesOf([&] { mesh().cloth(lowest, 1.0f); }), quint64(0));
    QVERIFY(sameBits(m_stage->points(), scene.position));
    QTest::ignoreMessage(QtDebugMsg, "too many iterations: 2147483647 running 2048");
    QCOMPARE(dispatchesOf([&] { mesh().relax(highest, 1.0f, false, false); }), quint64(2048));
    QTest::ignoreMessage(QtDebugMsg, "too many iterations: 2147483647 running 2048");
    QCOMPARE(dispatchesOf([&] { mesh().cloth(highest, 1.0f); }), quint64(2048 + 5));
}

void DeformGLTest::clothSettles_data()
{
    QTest::addColumn<TestMesh>("sheet");
    QTest::addColumn<Topology>("topology");
    for (const bool triangles : { false, true }) {
        const TestMesh grid = testGrid(16, 16, 0.1, triangles);
        QTest::newRow(triangles ? "triangles" : "quads") << grid << grid.topology();
    }
    for (const Subject &subject : realSubjects())
        QTest::newRow(qPrintable(subject.mesh.name)) << subject.mesh << subject.topology;
}

void DeformGLTest::clothSettles()
{
    QFETCH(TestMesh, sheet);
    QFETCH(Topology, topology);
    DeformScene scene = deformScene(sheet, topology);
    scene.rest = sheet.points;
    scene.position = stretched(sheet);
    const auto pinned = std::ptrdiff_t(sheet.points.size() / 16 + 1); // it hangs by its first row
    scene.mask.assign(sheet.points.size(), 1.0f);
    std::fill_n(scene.mask.begin(), pinned, 0.0f);
    const double start = springEnergy(scene, reference::toPose(scene.position));
    double end = start;
    for (const int steps : { 2, 10, 50, 100, 250, 500 }) {
        m_stage->load(scene);
        mesh().cloth(steps, 1.0f);
        const PointArray hung = m_stage->points(Semantic::kOffsetPoints);
        QVERIFY(std::all_of(hung.begin(), hung.end(), isFinitePoint));
        end = springEnergy(scene, reference::toPose(hung));
        QVERIFY2(end <= start, qPrintable(QStringLiteral("%1 steps: %2").arg(steps).arg(end)));
        const PointArray shown = m_stage->points();
        for (const PointArray &points : { hung, shown })
            QVERIFY(sameBits({ points.begin(), points.begin() + pinned },
                             { scene.position.begin(), scene.position.begin() + pinned }));
    }
    // Some stays in the hung row, which cannot let go. Damped springs forget rounding errors, so
    // even after 500 steps the formulas end where the kernel does.
    const ReferenceScene s = toReference(scene);
    const Pose settled = clothSimulation(s.springs, s.position, s.mask, s.rest, 500);
    const double expected = springEnergy(scene, settled);
    QVERIFY2(expected < 0.5 * start, qPrintable(QString::number(expected / start)));
    QVERIFY2(std::abs(end - expected) < 0.001 * start,
             qPrintable(QStringLiteral("%1, not %2").arg(end).arg(expected)));
}

QTEST_MAIN(DeformGLTest)
#include "DeformGLTest.moc"
