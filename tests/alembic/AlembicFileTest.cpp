#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/Archives.h"
#include "support/LogCapture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <cfloat>
#include <functional>
#include <limits>

using namespace archives;

Q_DECLARE_METATYPE(Imath::M44d)

namespace {

std::function<void()> beforeRead; ///< what happens to the file between two of the library's reads

bool near(const QVector4D &point, float x, float y, float z)
{
    return (point - QVector4D(x, y, z, 1.0f)).length() < 1e-5f;
}

double volume(const Topology &topology, const PointArray &points)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < topology.triangles().size(); i += 3) {
        const auto corner = [&](std::size_t k) {
            return points[topology.triangles()[i + k]].toVector3D();
        };
        const QVector3D area = QVector3D::crossProduct(corner(1), corner(2));
        sum += double(QVector3D::dotProduct(corner(0), area)) / 6.0;
    }
    return sum;
}

} // namespace

extern "C" ssize_t pread(int file, void *buffer, size_t size, off_t offset)
{
    static const auto next = reinterpret_cast<decltype(&pread)>(dlsym(RTLD_NEXT, "pread"));
    if (beforeRead)
        beforeRead();
    return next(file, buffer, size, offset);
}

class AlembicFileTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_folder.isValid()); }

    void meshesAreMerged();
    void foreignIndicesStayForeign();
    void floorSample_data();
    void floorSample();
    void rates_data();
    void rates();
    void ratesByMostPoints();
    void transformsNearestFirst();
    void deepHierarchy();
    void cameras();
    void instancesFollowThePathWalked();
    void meshesWithoutPointsOrFaces();
    void invalidArchiveLeavesOutputsAlone();
    void unreadableFileKeepsTheArchive_data();
    void unreadableFileKeepsTheArchive();
    void foreignSchemaIsRefused();
    void foreignPropertiesAreRefused_data();
    void foreignPropertiesAreRefused();
    void missingDataHarmsNothing();
    void damagedInstanceIsRefused_data();
    void damagedInstanceIsRefused();
    void fileThatShrinksWhileOpen();
    void sampleThatClaimsTooMuch_data();
    void sampleThatClaimsTooMuch();
    void rewrittenWhileRead();

private:
    QString path(const QString &name) const { return m_folder.filePath(name); }
    bool open(AlembicFile &file, const QString &name) const
    {
        return file.open(QFile::encodeName(path(name)));
    }

    QTemporaryDir m_folder;
};

void AlembicFileTest::meshesAreMerged()
{
    // The folder's name is one that only the file system's own encoding can hold.
    const QString name = QStringLiteral("рука 腕.abc");
    {
        Writer writer(path(name));
        auto group = writer.xform(writer.top(), "group", { M44d() });
        auto box = writer.mesh(group, "box", cube());
        auto card = writer.mesh(box, "card", grid(2));
    }
    AlembicFile file;
    QVERIFY(open(file, name));

    Topology topology;
    topology.addMesh(QStringLiteral("stale"), 3);
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(topology.vertexCount(), 12);
    QCOMPARE(int(topology.meshes().size()), 2);
    QCOMPARE(topology.meshes()[0].name, QStringLiteral("/group/box"));
    QCOMPARE(topology.meshes()[0].vertexCount, 8);
    QCOMPARE(topology.meshes()[1].name, QStringLiteral("/group/box/card"));
    QCOMPARE(topology.meshes()[1].vertexCount, 4);
    QCOMPARE(topology.triangleCount(), 14);
    std::vector<quint32> last(topology.triangles().end() - 6, topology.triangles().end());
    std::sort(last.begin(), last.end());
    QCOMPARE(last, (std::vector<quint32> { 8, 8, 9, 10, 11, 11 }));

    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QCOMPARE(int(points.size()), 12);
    QVERIFY(near(points[7], 1, 1, 1));
    QVERIFY(near(points[9], 1, 0, 0));

    QStringList walked;
    for (const AlembicFile::Object &object : file.objects())
        walked << object.name + u'<' + object.parentName + u':' + QString::number(int(object.type));
    QCOMPARE(walked, QString::fromLatin1("ABC<:0 group<ABC:0 box<group:1 card<box:1").split(u' '));
}

void AlembicFileTest::foreignIndicesStayForeign()
{
    Shape stray = grid(2);
    stray.faceIndices = { 0, 1, 3, -3, 0, 1, 3, std::numeric_limits<qint32>::max(), 0, 1, 3 };
    stray.faceCounts = { 4, 4, 3 };
    Shape surplus = cube(), shortage = cube();
    surplus.faceIndices.insert(surplus.faceIndices.end(), { 0, 1 });
    shortage.faceIndices.pop_back();
    shortage.faceCounts.push_back(3);
    {
        Writer writer(path(QStringLiteral("stray.abc")));
        writer.mesh(writer.top(), "surplus", surplus);
        writer.mesh(writer.top(), "shortage", shortage);
        writer.mesh(writer.top(), "card", stray);
    }
    AlembicFile file;
    QVERIFY(open(file, QStringLiteral("stray.abc")));
    Topology topology;
    const LogCapture log;
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(topology.triangleCount(), 12 + 10 + 1); // the card's third face alone is its own
    QCOMPARE(int(LogCapture::lines().size()), 3);
    QCOMPARE(LogCapture::countContaining(QStringLiteral("/surplus")), 1);
}

void AlembicFileTest::floorSample_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<int>("sample");
    QTest::newRow("before the first") << -5.0 << 0;
    QTest::newRow("on the first") << 1.0 / 24.0 << 0;
    QTest::newRow("just below a sample") << 4.0 / 24.0 - 1e-4 << 2;
    QTest::newRow("on a sample") << 4.0 / 24.0 << 3;
    QTest::newRow("a rounding below a sample") << (4 - 5e-5) / 24.0 << 3;
    QTest::newRow("more than a rounding below") << (4 - 2e-4) / 24.0 << 2;
    QTest::newRow("between two samples") << 4.5 / 24.0 << 3;
    QTest::newRow("after the last") << 90.0 << 4;
}

void AlembicFileTest::floorSample()
{
    QFETCH(double, seconds);
    QFETCH(int, sample);
    const QString name = QStringLiteral("moving.abc");
    {
        Writer writer(path(name), 1.0 / 24.0);
        std::vector<Points> later;
        std::vector<M44d> matrices { M44d() };
        for (int i = 1; i < 5; ++i) {
            later.push_back(moved(cube().points, V3f(float(i), 0, 0)));
            matrices.push_back(translation(0, 10.0 * i, 0));
        }
        auto carrier = writer.xform(writer.top(), "carrier", matrices);
        writer.mesh(carrier, "box", cube(), later);
    }
    AlembicFile file;
    QVERIFY(open(file, name));
    PointArray points(3);
    QVERIFY(file.readPoints(points, seconds));
    QCOMPARE(int(points.size()), 8);
    QVERIFY(near(points[7], 1 + float(sample), 1 + 10 * float(sample), 1));

    double start = 0.0, end = 0.0;
    QVERIFY(file.timeRange(start, end));
    QCOMPARE(start, 1.0 / 24.0);
    QCOMPARE(end, 5.0 / 24.0);
}

void AlembicFileTest::rates_data()
{
    QTest::addColumn<QByteArray>("hint");
    QTest::addColumn<double>("sampled"); // per second
    QTest::addColumn<double>("rate");
    QTest::addColumn<int>("steps"); // samples a frame; 0: not in step
    const double film = 24000 / 1001.0, video = 60000 / 1001.0;
    const auto row = [](const char *name, const char *hint, double sampled, double rate,
                        int steps) {
        QTest::newRow(name) << QByteArray(hint) << sampled << rate << steps;
    };
    row("whole", "", 25.0, 25.0, 1);
    row("film", "", film, film, 1);
    row("film, rounded", "", 23.976, 23.976, 1);
    row("a hint", "23.976000", film, 23.976, 1);
    row("a hint in a locale", "29,97", 30000 / 1001.0, 29.97, 1);
    row("a hint too high by rounding", "59.9401", video, video, 1);
    row("a hint of two digits", "23.98", film, film, 1);
    row("more digits than the samples", "23.976024", 23.976, 23.976, 1);
    row("a hint of another rate", "24", film, 24.0, 0);
    row("no number", "fast", 30.0, 30.0, 1);
    row("a hint of nothing", "0", 30.0, 30.0, 1);
    row("sub-frame samples", "", 96.0, 24.0, 4);
    row("sub-frame samples of 25", "", 100.0, 25.0, 4);
    row("fast", "", 70.0, 70.0, 1);
    row("too slow", "", 0.5, 24.0, 0);
    row("too fast", "", 1007.0, 24.0, 0);
}

void AlembicFileTest::rates()
{
    QFETCH(QByteArray, hint);
    QFETCH(double, sampled);
    QFETCH(double, rate);
    QFETCH(int, steps);
    const QString name = QStringLiteral("rate.abc");
    const std::vector<int> frames { 1, 5000 };
    {
        Alembic::Abc::MetaData metaData;
        metaData.set("_ai_DCC_FPS", hint.toStdString());
        Writer writer(path(name), 0.0, sampled, metaData);
        std::vector<Points> later;
        for (int sample = 1; sample <= steps * frames.back() + 1; ++sample)
            later.push_back({ V3f(float(sample), 0, 0) });
        writer.mesh(writer.top(), "point", { { V3f(0, 0, 0) }, {}, {} }, later);
        if (steps == 0)
            writer.xform(writer.top(), "mover", { M44d(), translation(1, 0, 0) });
    }
    AlembicFile file;
    QVERIFY(open(file, name));
    QCOMPARE(file.frameRate(), rate);
    for (const int frame : frames) {
        PointArray points;
        QVERIFY(file.readPoints(points, frame / rate));
        QVERIFY(steps == 0 || points.at(0).x() == float(steps * frame));
    }
}

void AlembicFileTest::ratesByMostPoints()
{
    using namespace Alembic::AbcCoreAbstract;
    const auto rateOf = [this](bool pointsMove) {
        const QString name = QStringLiteral("rates.abc");
        {
            Writer writer(path(name), 0.0, 48.0);
            for (int i = 0; i < 3; ++i) // the more transforms, the fewer points
                writer.xform(writer.top(), qPrintable(QString::number(i)), { M44d(), M44d() });
            const std::vector<double> times { 0.0, 0.1, 0.5 };
            const TimeSamplingPtr samplings[] = {
                std::make_shared<TimeSampling>(1 / 25.0, 0.0),
                std::make_shared<TimeSampling>(TimeSamplingType(2, 1 / 30.0),
                                               std::vector<double> { 0.0, 0.01 }),
                std::make_shared<TimeSampling>(TimeSamplingType(TimeSamplingType::kAcyclic), times),
            };
            const Points shapes[] = { cube().points, grid(4).points, grid(9).points };
            for (int i = 0; i < 3; ++i) {
                Alembic::AbcGeom::OPolyMesh mesh(writer.top(), "mesh" + std::to_string(i),
                                                 samplings[i]);
                const Alembic::Abc::Int32ArraySample none(nullptr, 0);
                for (int sample = 0; sample < (pointsMove ? 3 : 1); ++sample)
                    mesh.getSchema().set({ shapes[i], none, none });
            }
        }
        AlembicFile file;
        return open(file, name) ? file.frameRate() : 0.0;
    };
    QCOMPARE(rateOf(true), 30.0);
    QCOMPARE(rateOf(false), 48.0);
}

void AlembicFileTest::transformsNearestFirst()
{
    const QString name = QStringLiteral("nested.abc");
    {
        Writer writer(path(name));
        auto outer =
            writer.xform(writer.top(), "outer", { M44d().setScale(2.0), M44d().setScale(3.0) });
        auto inner = writer.xform(outer, "inner", { translation(1, 0, 0) });
        writer.mesh(inner, "deep", cube());
        writer.mesh(outer, "shallow", cube());
        writer.mesh(writer.top(), "free", cube());
        auto loner = writer.xform(outer, "loner", { translation(1, 0, 0) }, false);
        writer.mesh(writer.xform(loner, "mirror", { M44d().setScale(V3d(-1, 1, 1)) }), "m", cube());
    }
    AlembicFile file;
    QVERIFY(open(file, name));
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QVERIFY(near(points[7], 4, 2, 2));
    QVERIFY(near(points[15], 2, 2, 2));
    QVERIFY(near(points[23], 0, 1, 1)); // the loner, without the outer scale
    QVERIFY(near(points[31], 1, 1, 1));
    Topology topology;
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(volume(topology, points), 8.0 * (8 + 8 + 1 + 1)); // the mirrored one faces out, too
    QVERIFY(file.readPoints(points, 1.0));
    QVERIFY(near(points[7], 6, 3, 3));
}

/// Ten thousand levels, half of them transforms. Each level's full name is as long as the path.
void AlembicFileTest::deepHierarchy()
{
    const QString name = QStringLiteral("deep.abc");
    {
        Writer writer(path(name));
        std::vector<Alembic::Abc::OObject> path { writer.top() };
        for (int level = 0; level < 5000; ++level) {
            path.push_back(writer.xform(path.back(), "t", { translation(1, 0, 0) }));
            path.emplace_back(path.back(), "g");
        }
        writer.mesh(path.back(), "box", cube());
        writer.camera(path.back(), "shot", { 35.0 });
        while (!path.empty())
            path.pop_back(); // each before its parent
    }
    AlembicFile file;
    QVERIFY(open(file, name));
    PointArray points;
    CameraRecord camera;
    QVERIFY(file.readPoints(points, 0.0) && file.readCamera(camera, 0.0));
    QVERIFY(near(points[7], 5001, 1, 1));
    QVERIFY(near(camera.matrix.column(3), 5000, 0, 0));
}

void AlembicFileTest::cameras()
{
    {
        Writer writer(path(QStringLiteral("cameras.abc")));
        auto left = writer.xform(writer.top(), "left", { translation(-3, 1, 2) });
        auto turned = writer.xform(left, "turned", { M44d().setAxisAngle(V3d(0, 1, 0), M_PI / 2) });
        writer.camera(turned, "shot", { 35.0, 50.0 });
        auto right = writer.xform(writer.top(), "right", { translation(3, 0, 0) });
        writer.camera(right, "shot", { 20.0 });
        writer.camera(right, "witness", { 85.0 });
        Writer(path(QStringLiteral("blind.abc")));
    }
    AlembicFile file;
    QVERIFY(open(file, QStringLiteral("cameras.abc")));
    QCOMPARE(file.cameraCount(), 3);
    CameraRecord record;
    QVERIFY(file.readCamera(record, 0.0));
    QCOMPARE(record.focalLength, 35.0f);
    QCOMPARE(record.horizontalAperture, 2.4f);
    QCOMPARE(record.verticalAperture, 1.8f);
    // Turned by 90 degrees about y, a camera looks down the negative x axis.
    QVERIFY(near(record.matrix * QVector4D(0, 0, -1, 1), -4, 1, 2));

    QVERIFY(file.readCamera(record, 2.0, QStringLiteral("shot"))); // the first of that name
    QCOMPARE(record.focalLength, 50.0f);
    QVERIFY(file.readCamera(record, 0.0, QStringLiteral("witness")));
    QCOMPARE(record.focalLength, 85.0f);
    QVERIFY(near(record.matrix.column(3), 3, 0, 0));
    QVERIFY(file.readCamera(record, 0.0, QStringLiteral("gone")));
    QCOMPARE(record.focalLength, 35.0f);

    QVERIFY(open(file, QStringLiteral("blind.abc")));
    QVERIFY(!file.readCamera(record, 0.0));
    QCOMPARE(record.focalLength, 35.0f);
}

void AlembicFileTest::instancesFollowThePathWalked()
{
    {
        Writer writer(path(QStringLiteral("instances.abc")));
        auto source = writer.xform(writer.top(), "source", { translation(1, 0, 0) });
        auto inner = writer.xform(source, "inner", { translation(0, 1, 0) });
        auto box = writer.mesh(inner, "box", cube());
        auto copy = writer.xform(writer.top(), "copy", { translation(0, 0, 100) });
        QVERIFY(copy.addChildInstance(inner, "innerCopy")); // its transform and the mesh below
        QVERIFY(copy.addChildInstance(box, "boxCopy")); // the mesh alone
    }
    AlembicFile file;
    QVERIFY(open(file, QStringLiteral("instances.abc")));
    QCOMPARE(file.meshCount(), 3);
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QCOMPARE(int(points.size()), 24);
    QVERIFY(near(points[7], 2, 2, 1));
    QVERIFY(near(points[15], 1, 2, 101));
    QVERIFY(near(points[23], 1, 1, 101));
    Topology topology;
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(topology.meshes()[1].name, QStringLiteral("/copy/innerCopy/box"));
    QCOMPARE(topology.meshes()[2].name, QStringLiteral("/copy/boxCopy"));
    QCOMPARE(topology.triangleCount(), 36);
}

void AlembicFileTest::meshesWithoutPointsOrFaces()
{
    Shape loose = cube();
    loose.faceIndices.clear();
    loose.faceCounts.clear();
    Alembic::Abc::MetaData title;
    title.set("schema", "AbcGeom_PolyMesh_v1");
    {
        Writer writer(path(QStringLiteral("empty.abc")));
        writer.mesh(writer.top(), "nothing", Shape());
        writer.mesh(writer.top(), "loose", loose);
        Alembic::Abc::OObject bare(writer.top(), "bare", title);
        Alembic::Abc::OCompoundProperty(bare.getProperties(), ".geom", title);
        writer.mesh(writer.top(), "box", cube());
        Writer(path(QStringLiteral("void.abc")));
    }
    AlembicFile file;
    double start = -1.0, end = -1.0;
    QVERIFY(open(file, QStringLiteral("void.abc")));
    QVERIFY(file.timeRange(start, end));
    QCOMPARE(start, 0.0);
    QCOMPARE(end, 0.0);
    const LogCapture log;
    QVERIFY(open(file, QStringLiteral("empty.abc")));
    QCOMPARE(LogCapture::countContaining(QStringLiteral("/bare")), 1);
    Topology topology;
    QVERIFY(file.fillTopology(topology));
    QCOMPARE(int(topology.meshes().size()), 3);
    QCOMPARE(topology.vertexCount(), 16);
    QCOMPARE(topology.triangleCount(), 12);
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QCOMPARE(int(points.size()), 16);
}

void AlembicFileTest::invalidArchiveLeavesOutputsAlone()
{
    const AlembicFile file;
    PointArray points(2, QVector4D(1, 2, 3, 1));
    double start = 4.0, end = 5.0;
    CameraRecord camera;
    camera.focalLength = 6.0f;
    Topology topology;
    topology.addMesh(QStringLiteral("kept"), 1);
    const LogCapture log;
    QVERIFY(!file.isValid());
    QVERIFY(!file.readPoints(points, 0.0));
    QVERIFY(!file.timeRange(start, end));
    QVERIFY(!file.readCamera(camera, 0.0));
    QVERIFY(!file.fillTopology(topology));
    QCOMPARE(LogCapture::lines(),
             QStringList(QVector<QString>(4, QStringLiteral("archive is invalid")).toList()));
    QCOMPARE(int(points.size()), 2);
    QCOMPARE(start + end, 9.0);
    QCOMPARE(camera.focalLength, 6.0f);
    QCOMPARE(int(topology.meshes().size()), 1);
}

void AlembicFileTest::unreadableFileKeepsTheArchive_data()
{
    QTest::addColumn<QByteArray>("bytes");
    {
        Writer writer(path(QStringLiteral("good.abc")));
        writer.mesh(writer.top(), "grid", grid(40));
        writer.camera(writer.top(), "shot", { 35.0 });
    }
    QFile good(path(QStringLiteral("good.abc")));
    QVERIFY(good.open(QIODevice::ReadOnly));
    const QByteArray whole = good.readAll();
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("text") << QByteArray("not an archive\n").repeated(100);
    QTest::newRow("magic alone") << whole.left(5);
    QTest::newRow("header alone") << whole.left(16);
    QTest::newRow("half") << whole.left(whole.size() / 2);
    QTest::newRow("a byte short") << whole.left(whole.size() - 1);
}

void AlembicFileTest::unreadableFileKeepsTheArchive()
{
    QFETCH(QByteArray, bytes);
    const QString name = QStringLiteral("bad.abc");
    QFile::remove(path(name));
    if (!bytes.isNull()) {
        QFile bad(path(name));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write(bytes);
    }
    AlembicFile file;
    QVERIFY(open(file, QStringLiteral("good.abc")));
    {
        const LogCapture log;
        QVERIFY(!open(file, name));
        QCOMPARE(int(LogCapture::lines().size()), 1);
        QVERIFY2(LogCapture::countContaining(path(name)) == 1, "the line names the file");
    }
    QVERIFY(file.isValid());
    QCOMPARE(file.cameraCount(), 1);
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    QCOMPARE(int(points.size()), 1600);
}

void AlembicFileTest::foreignSchemaIsRefused()
{
    // Claims to be a mesh, yet has none of a mesh's properties.
    Alembic::Abc::MetaData claim;
    claim.set("schema", "AbcGeom_PolyMesh_v1");
    {
        Writer writer(path(QStringLiteral("claim.abc")));
        Alembic::Abc::OObject liar(writer.top(), "liar", claim);
    }
    AlembicFile file;
    const LogCapture log;
    QVERIFY(!open(file, QStringLiteral("claim.abc")));
    QVERIFY(!file.isValid());
    QCOMPARE(LogCapture::countContaining(QStringLiteral("claim.abc")), 1);
}

void AlembicFileTest::foreignPropertiesAreRefused_data()
{
    QTest::addColumn<QByteArray>("schema");
    QTest::addColumn<QByteArray>("operations"); // one, a transform's; empty for a camera
    QTest::addColumn<int>("valueCount");
    QTest::addColumn<bool>("inDoubles");
    const QByteArray transform("AbcGeom_Xform_v3"), camera("AbcGeom_Camera_v1");
    const QByteArray matrix("\x30", 1), unknown("\xf0", 1);
    QTest::newRow("too few values") << transform << matrix << 15 << true;
    QTest::newRow("values in floats") << transform << matrix << 16 << false;
    QTest::newRow("unknown operation") << transform << unknown << 16 << true;
    QTest::newRow("a camera of too many values") << camera << QByteArray() << 255 << true;
    QTest::newRow("a camera in floats") << camera << QByteArray() << 16 << false;
}

/// Objects that bear a transform's or a camera's name and hold something else.
void AlembicFileTest::foreignPropertiesAreRefused()
{
    using namespace Alembic::Abc;
    QFETCH(QByteArray, schema);
    QFETCH(QByteArray, operations);
    QFETCH(int, valueCount);
    QFETCH(bool, inDoubles);
    MetaData title;
    title.set("schema", schema.toStdString());
    const bool isCamera = operations.isEmpty();
    {
        Writer writer(path(QStringLiteral("foreign.abc")));
        OObject object(writer.top(), "liar", title);
        OCompoundProperty properties(object.getProperties(), isCamera ? ".camera" : ".xform",
                                     title);
        const auto write = [&properties](const char *name, Alembic::Util::PlainOldDataType type,
                                         int count, const void *data) {
            const Alembic::AbcCoreAbstract::DataType dataType(type, Alembic::Util::uint8_t(count));
            OScalarProperty(properties, name, dataType).set(data);
        };
        if (!isCamera)
            write(".ops", Alembic::Util::kUint8POD, 1, operations.constData());
        const std::vector<double> values(std::size_t(valueCount), 1.0);
        write(isCamera ? ".core" : ".vals",
              inDoubles ? Alembic::Util::kFloat64POD : Alembic::Util::kFloat32POD, valueCount,
              values.data());
        writer.mesh(object, "box", cube());
    }
    AlembicFile file;
    PointArray points;
    const LogCapture log;
    QVERIFY(!open(file, QStringLiteral("foreign.abc")) || !file.readPoints(points, 0.0));
    QCOMPARE(int(LogCapture::lines().size()), 1);
    QVERIFY(points.empty());
}

/// Takes away, one after the other, each mark that says "here lies data".
void AlembicFileTest::missingDataHarmsNothing()
{
    const QString name = QStringLiteral("holes.abc");
    {
        Writer writer(path(name));
        auto carrier = writer.xform(writer.top(), "carrier", { M44d(), translation(1, 0, 0) });
        writer.mesh(carrier, "box", cube(), { moved(cube().points, V3f(1, 0, 0)) });
        writer.camera(carrier, "shot", { 35.0, 50.0 });
    }
    QFile device(path(name));
    QVERIFY(device.open(QIODevice::ReadWrite));
    const QByteArray whole = device.readAll();
    int failures = 0;
    for (int at = 0; at < whole.size(); ++at) {
        if (whole[at] != char(0x80))
            continue;
        device.seek(at);
        device.putChar(0);
        device.flush();
        const LogCapture log;
        AlembicFile file;
        PointArray points;
        CameraRecord camera;
        Topology topology;
        if (!open(file, name) || !file.readPoints(points, 0.0) || !file.readCamera(camera, 0.0) ||
            !file.fillTopology(topology))
            ++failures;
        QVERIFY(points.empty() || points.size() == 8);
        device.seek(at);
        device.putChar(char(0x80));
    }
    QVERIFY2(failures > 10, qPrintable(QString::number(failures)));
}

void AlembicFileTest::damagedInstanceIsRefused_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::newRow("an ancestor") << QByteArray("/outer/inner");
    QTest::newRow("by way of itself") << QByteArray("/again/other");
    QTest::newRow("two strings") << QByteArray("/outer\0other", 12);
}

void AlembicFileTest::damagedInstanceIsRefused()
{
    QFETCH(QByteArray, source);
    const QString name = QStringLiteral("loop.abc");
    {
        Writer writer(path(name));
        auto outer = writer.xform(writer.top(), "outer", { M44d() });
        auto inner = writer.xform(outer, "inner", { M44d() });
        auto other = writer.xform(outer, "other", { M44d() });
        QVERIFY(inner.addChildInstance(other, "again"));
        QVERIFY(writer.top().addChildInstance(other, "again"));
    }
    // The writer refuses such instances, so the source's name is changed on disk.
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    QVERIFY(bytes.contains("/outer/other"));
    bytes.replace("/outer/other", source);
    file.seek(0);
    file.write(bytes);
    file.close();

    AlembicFile archive;
    const LogCapture log;
    QVERIFY(!open(archive, name));
    QCOMPARE(int(LogCapture::lines().size()), 1);
}

void AlembicFileTest::fileThatShrinksWhileOpen()
{
    const QString name = QStringLiteral("shrinking.abc");
    {
        Writer writer(path(name));
        writer.mesh(writer.top(), "grid", grid(64), { moved(grid(64).points, V3f(1, 0, 0)) });
    }
    AlembicFile file;
    QVERIFY(open(file, name));
    PointArray points;
    QVERIFY(file.readPoints(points, 0.0));
    const PointArray before = points;
    QVERIFY(QFile::resize(path(name), 64));
    const LogCapture log;
    QVERIFY(!file.readPoints(points, 1.0 / 24.0));
    QVERIFY(points == before);
    QCOMPARE(int(LogCapture::lines().size()), 1);
    QVERIFY2(LogCapture::countContaining(path(name)) == 1, "the line names the file");
}

void AlembicFileTest::sampleThatClaimsTooMuch_data()
{
    QTest::addColumn<quint64>("claimed"); // bytes, the sample's 16 byte digest included
    QTest::newRow("more than the file") << (quint64(1) << 40);
    QTest::newRow("everything") << ~quint64(0);
    QTest::newRow("a byte more") << quint64(16 + 96 + 1);
    QTest::newRow("less than the digest") << quint64(3);
}

void AlembicFileTest::sampleThatClaimsTooMuch()
{
    QFETCH(quint64, claimed);
    const QString name = QStringLiteral("claiming.abc");
    const Shape box = cube();
    {
        Writer writer(path(name));
        writer.mesh(writer.top(), "box", box);
    }
    QFile device(path(name));
    QVERIFY(device.open(QIODevice::ReadWrite));
    const QByteArray points(reinterpret_cast<const char *>(box.points.data()), 96);
    const int data = device.readAll().indexOf(points);
    QVERIFY(data > 24);
    device.seek(data - 24); // the block's size, then the digest, then the points
    device.write(reinterpret_cast<const char *>(&claimed), sizeof claimed);
    device.close();

    AlembicFile file;
    QVERIFY(open(file, name));
    PointArray out(1, QVector4D(7, 8, 9, 1));
    Topology topology;
    const LogCapture log;
    QVERIFY(!file.readPoints(out, 0.0));
    QVERIFY(!file.fillTopology(topology));
    QCOMPARE(int(LogCapture::lines().size()), 2);
    QCOMPARE(int(out.size()), 1);
}

/// Another program puts a longer sample in place of one that is being read, at each moment in turn.
void AlembicFileTest::rewrittenWhileRead()
{
    const QString name = QStringLiteral("rewritten.abc");
    {
        Writer writer(path(name));
        writer.mesh(writer.top(), "box", cube());
        writer.mesh(writer.top(), "grid", grid(64)); // so that longer samples have their bytes
    }
    QFile device(path(name));
    QVERIFY(device.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    const QByteArray first(reinterpret_cast<const char *>(cube().points.data()), 96);
    const int size = device.readAll().indexOf(first) - 24; // then the digest, then the points
    const auto claim = [&](quint64 items) {
        const quint64 bytes = 16 + 12 * items;
        device.seek(size);
        device.write(reinterpret_cast<const char *>(&bytes), sizeof bytes);
    };
    int moment = 0;
    for (int left = -1; left < 0; ++moment) {
        claim(8);
        AlembicFile file;
        QVERIFY(open(file, name));
        left = moment;
        beforeRead = [&] {
            if (left-- == 0)
                claim(2000);
        };
        PointArray points;
        const bool read = file.readPoints(points, 0.0);
        beforeRead = nullptr;
        const auto count = points.size();
        QVERIFY(read ? count == 4096 + 8 || count == 4096 + 2000 : count == 0);
    }
    QVERIFY(moment > 4);
}

QTEST_GUILESS_MAIN(AlembicFileTest)
#include "AlembicFileTest.moc"
