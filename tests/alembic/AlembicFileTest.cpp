#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/Archives.h"
#include "support/LogCapture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <functional>
#include <limits>

using namespace archives;

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

Alembic::Abc::MetaData titled(const char *schema)
{
    Alembic::Abc::MetaData title;
    title.set("schema", schema);
    return title;
}

} // namespace

extern "C" ssize_t pread(int file, void *buffer, size_t size, off_t offset)
{
    static const auto next = reinterpret_cast<decltype(&pread)>(dlsym(RTLD_NEXT, "pread"));
    if (beforeRead)
        beforeRead();
    return next(file, buffer, size, offset);
}

/// Archives written on the fly: what comes out of them, and what damage does.
class AlembicFileTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString path(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }
    bool open(AlembicFile &file, const char *name) const
    {
        return file.open(QFile::encodeName(path(name)));
    }
    QByteArray bytesOf(const char *name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// A small file: each level holds the one before twice.
    QByteArray doubling(int levels, const Shape &shape) const
    {
        {
            Writer writer(path("doubling.abc"));
            auto below = writer.xform(writer.top(), "level0", { M44d() });
            writer.mesh(below, "mesh", shape);
            for (int i = 1; i <= levels; ++i) {
                const QByteArray name = "level" + QByteArray::number(i);
                auto level = writer.xform(writer.top(), name.constData(), { M44d() });
                level.addChildInstance(below, "a");
                level.addChildInstance(below, "b");
                below = level;
            }
        }
        return bytesOf("doubling.abc");
    }
    void overwrite(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

private slots:
    void meshesAreMerged()
    {
        // The folder's name is one that only the file system's own encoding can hold.
        const char *const name = "рука 腕.abc";
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
        QString meshes;
        for (const auto &mesh : topology.meshes())
            meshes += QStringLiteral("%1 %2 ").arg(mesh.name).arg(mesh.vertexCount);
        QCOMPARE(meshes, QStringLiteral("/group/box 8 /group/box/card 4 "));
        QCOMPARE(topology.triangleCount(), 14);
        std::vector<quint32> last(topology.triangles().end() - 6, topology.triangles().end());
        std::sort(last.begin(), last.end());
        QCOMPARE(last, (std::vector<quint32> { 8, 8, 9, 10, 11, 11 }));
        PointArray points;
        QVERIFY(file.readPoints(points, 0.0) && points.size() == 12);
        QVERIFY(near(points[7], 1, 1, 1) && near(points[9], 1, 0, 0));
        QString walked;
        for (const AlembicFile::Object &object : file.objects())
            walked += QStringLiteral("%1<%2:%3 ")
                          .arg(object.name, object.parentName)
                          .arg(int(object.type));
        QCOMPARE(walked, QStringLiteral("ABC<:0 group<ABC:0 box<group:1 card<box:1 "));
    }

    void foreignIndicesStayForeign()
    {
        Shape stray = grid(2);
        stray.faceIndices = { 0, 1, 3, -3, 0, 1, 3, std::numeric_limits<qint32>::max(), 0, 1, 3 };
        stray.faceCounts = { 4, 4, 3 };
        Shape surplus = cube(), shortage = cube();
        surplus.faceIndices.insert(surplus.faceIndices.end(), { 0, 1 });
        shortage.faceIndices.pop_back();
        shortage.faceCounts.push_back(3);
        {
            Writer writer(path("stray.abc"));
            writer.mesh(writer.top(), "surplus", surplus);
            writer.mesh(writer.top(), "shortage", shortage);
            writer.mesh(writer.top(), "card", stray);
        }
        AlembicFile file;
        Topology topology;
        const LogCapture log;
        QVERIFY(open(file, "stray.abc") && file.fillTopology(topology));
        QCOMPARE(topology.triangleCount(), 12 + 10 + 1); // of the card's faces the third is its own
        QCOMPARE(int(LogCapture::lines().size()), 3);
        QCOMPARE(LogCapture::countContaining(QStringLiteral("/surplus")), 1);
    }

    void samplesAndTransforms()
    {
        {
            Writer writer(path("moving.abc"), 1.0 / 24.0);
            std::vector<Points> later;
            std::vector<M44d> matrices { M44d() };
            for (int i = 1; i < 5; ++i) {
                later.push_back(moved(cube().points, V3f(float(i), 0, 0)));
                matrices.push_back(translation(0, 10.0 * i, 0));
            }
            auto carrier = writer.xform(writer.top(), "carrier", matrices);
            writer.mesh(carrier, "box", cube(), later);
            auto outer =
                writer.xform(writer.top(), "outer", { M44d().setScale(2.0), M44d().setScale(3.0) });
            auto inner = writer.xform(outer, "inner", { translation(1, 0, 0) });
            writer.mesh(inner, "deep", cube()); // the nearest transform comes first
            writer.mesh(outer, "shallow", cube());
            writer.mesh(writer.top(), "free", cube());
            auto loner = writer.xform(outer, "loner", { translation(1, 0, 0) }, false);
            auto mirror = writer.xform(loner, "mirror", { M44d().setScale(V3d(-1, 1, 1)) });
            writer.mesh(mirror, "turned", cube());
        }
        AlembicFile file;
        QVERIFY(open(file, "moving.abc"));
        const std::pair<double, int> rows[] = {
            { -5.0, 0 },     { 1.0 / 24, 0 },        { 4.0 / 24 - 1e-4, 2 }, { 4.0 / 24, 3 },
            { 4.5 / 24, 3 }, { (4 - 5e-5) / 24, 3 }, { (4 - 2e-4) / 24, 2 }, // a rounding below
                                                                             // { 90.0, 4 }
        };
        for (const auto &[seconds, sample] : rows) {
            PointArray points(3);
            QVERIFY(file.readPoints(points, seconds) && points.size() == 40);
            QVERIFY(near(points[7], 1 + float(sample), 1 + 10 * float(sample), 1));
            const float scale = sample > 0 ? 3 : 2;
            QVERIFY(near(points[15], 2 * scale, scale, scale));
            QVERIFY(near(points[23], scale, scale, scale) && near(points[31], 0, 1, 1)); // alone
            QVERIFY(near(points[39], 1, 1, 1));
            Topology topology; // the mirrored one faces out, too
            QVERIFY(file.fillTopology(topology));
            const double scaled = std::pow(double(scale), 3);
            QVERIFY(std::abs(volume(topology, points) - 8 * (3 + 2 * scaled)) < 1e-2);
        }
        {
            Writer writer(path("range.abc"), 1.0 / 24.0);
            std::vector<Points> later;
            for (int i = 1; i < 5; ++i)
                later.push_back(moved(cube().points, V3f(float(i), 0, 0)));
            writer.mesh(writer.top(), "box", cube(), later);
        }
        double start = 0.0, end = 0.0;
        QVERIFY(open(file, "range.abc") && file.timeRange(start, end));
        QCOMPARE(start, 1.0 / 24.0);
        QCOMPARE(end, 5.0 / 24.0);
    }

    void rates()
    {
        struct Row {
            const char *hint;
            double sampled, rate; ///< per second
            int steps; ///< samples a frame; 0: not in step
        };
        const double film = 24000 / 1001.0, video = 60000 / 1001.0;
        const Row rows[] = {
            { "", 25, 25, 1 },
            { "", film, film, 1 },
            { "", 23.976, 23.976, 1 },
            { "23.976000", film, 23.976, 1 },
            { "29,97", 30000 / 1001.0, 29.97, 1 }, // in a locale
            { "59.9401", video, video, 1 }, // too high by rounding
            { "23.98", film, film, 1 },
            { "23.976024", 23.976, 23.976, 1 },
            { "24", film, 24, 0 }, // another rate than the samples'
            { "fast", 30, 30, 1 },
            { "0", 30, 30, 1 },
            { "", 96, 24, 4 }, // sub-frame samples
            { "", 100, 25, 4 },
            { "", 70, 70, 1 },
            { "", 0.5, 24, 0 },
            { "", 1007, 24, 0 },
        };
        for (const Row &row : rows) {
            {
                Alembic::Abc::MetaData metaData;
                metaData.set("_ai_DCC_FPS", row.hint);
                Writer writer(path("rate.abc"), 0.0, row.sampled, metaData);
                std::vector<Points> later;
                for (int sample = 1; sample <= row.steps * 5000 + 1; ++sample)
                    later.push_back({ V3f(float(sample), 0, 0) });
                writer.mesh(writer.top(), "point", { { V3f(0, 0, 0) }, {}, {} }, later);
                if (row.steps == 0)
                    writer.xform(writer.top(), "mover", { M44d(), translation(1, 0, 0) });
            }
            AlembicFile file;
            QVERIFY(open(file, "rate.abc"));
            QCOMPARE(file.frameRate(), row.rate);
            for (const int frame : { 1, 5000 }) {
                PointArray points;
                QVERIFY(file.readPoints(points, frame / row.rate));
                QVERIFY(row.steps == 0 || points.at(0).x() == float(row.steps * frame));
            }
        }
        using namespace Alembic::AbcCoreAbstract;
        for (const bool pointsMove : { true, false }) { // what most points use; else transforms
            {
                Writer writer(path("rates.abc"), 0.0, 48.0);
                for (int i = 0; i < 3; ++i) // the more transforms, the fewer points
                    writer.xform(writer.top(), qPrintable(QString::number(i)), { M44d(), M44d() });
                const TimeSamplingPtr samplings[] = {
                    std::make_shared<TimeSampling>(1 / 25.0, 0.0),
                    std::make_shared<TimeSampling>(TimeSamplingType(2, 1 / 30.0),
                                                   std::vector<double> { 0.0, 0.01 }),
                    std::make_shared<TimeSampling>(TimeSamplingType(TimeSamplingType::kAcyclic),
                                                   std::vector<double> { 0.0, 0.1, 0.5 }),
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
            QVERIFY(open(file, "rates.abc"));
            QCOMPARE(file.frameRate(), pointsMove ? 30.0 : 48.0);
        }
    }

    /// Half of the ten thousand levels are transforms.
    void deepHierarchy()
    {
        {
            Writer writer(path("deep.abc"));
            std::vector<Alembic::Abc::OObject> levels { writer.top() };
            for (int level = 0; level < 5000; ++level) {
                levels.push_back(writer.xform(levels.back(), "t", { translation(1, 0, 0) }));
                levels.emplace_back(levels.back(), "g");
            }
            writer.mesh(levels.back(), "box", cube());
            writer.camera(levels.back(), "shot", { 35.0 });
            while (!levels.empty())
                levels.pop_back(); // each before its parent
        }
        AlembicFile file;
        PointArray points;
        CameraRecord camera;
        QVERIFY(open(file, "deep.abc"));
        QVERIFY(file.readPoints(points, 0.0) && file.readCamera(camera, 0.0));
        QVERIFY(near(points[7], 5001, 1, 1) && near(camera.matrix.column(3), 5000, 0, 0));
    }

    void cameras()
    {
        {
            Writer writer(path("cameras.abc"));
            auto left = writer.xform(writer.top(), "left", { translation(-3, 1, 2) });
            auto turned =
                writer.xform(left, "turned", { M44d().setAxisAngle(V3d(0, 1, 0), M_PI / 2) });
            writer.camera(turned, "shot", { 35.0, 50.0 });
            auto right = writer.xform(writer.top(), "right", { translation(3, 0, 0) });
            writer.camera(right, "shot", { 20.0 });
            writer.camera(right, "witness", { 85.0 });
            Writer(path("blind.abc"));
        }
        AlembicFile file;
        QVERIFY(open(file, "cameras.abc") && file.cameraCount() == 3);
        CameraRecord record;
        const std::tuple<double, const char *, float> rows[] = {
            { 0, "shot", 35 }, { 2, "shot", 50 }, { 0, "gone", 35 }, { 0, "witness", 85 }
        };
        for (const auto &[seconds, name, focalLength] : rows) {
            QVERIFY(file.readCamera(record, seconds, QLatin1String(name)));
            QCOMPARE(record.focalLength, focalLength); // of one name, the first
            QVERIFY(record.horizontalAperture == 2.4f && record.verticalAperture == 1.8f);
        }
        QVERIFY(near(record.matrix.column(3), 3, 0, 0));
        QVERIFY(file.readCamera(record, 0.0));
        // Turned by 90 degrees about y, a camera looks down the negative x axis.
        QVERIFY(near(record.matrix * QVector4D(0, 0, -1, 1), -4, 1, 2));
        QVERIFY(open(file, "blind.abc") && !file.readCamera(record, 0.0));
        double start = -1.0, end = -1.0;
        QVERIFY(file.timeRange(start, end) && start == 0.0 && end == 0.0);
    }

    void instancesFollowThePathWalked()
    {
        {
            Writer writer(path("instances.abc"));
            auto source = writer.xform(writer.top(), "source", { translation(1, 0, 0) });
            auto inner = writer.xform(source, "inner", { translation(0, 1, 0) });
            auto box = writer.mesh(inner, "box", cube());
            auto copy = writer.xform(writer.top(), "copy", { translation(0, 0, 100) });
            QVERIFY(copy.addChildInstance(inner, "innerCopy")); // its transform and the mesh below
            QVERIFY(copy.addChildInstance(box, "boxCopy")); // the mesh alone
        }
        AlembicFile file;
        PointArray points;
        Topology topology;
        QVERIFY(open(file, "instances.abc") && file.readPoints(points, 0.0));
        QVERIFY(file.fillTopology(topology) && points.size() == 24);
        QVERIFY(near(points[7], 2, 2, 1) && near(points[15], 1, 2, 101));
        QVERIFY(near(points[23], 1, 1, 101));
        QCOMPARE(topology.meshes()[1].name, QStringLiteral("/copy/innerCopy/box"));
        QCOMPARE(topology.meshes()[2].name, QStringLiteral("/copy/boxCopy"));
        QCOMPARE(topology.triangleCount(), 36);
    }

    void meshesWithoutPointsOrFaces()
    {
        const auto title = titled("AbcGeom_PolyMesh_v1");
        {
            Writer writer(path("empty.abc"));
            writer.mesh(writer.top(), "nothing", Shape());
            writer.mesh(writer.top(), "loose", { cube().points, {}, {} });
            Alembic::Abc::OObject bare(writer.top(), "bare", title);
            Alembic::Abc::OCompoundProperty(bare.getProperties(), ".geom", title);
            writer.mesh(writer.top(), "box", cube());
        }
        AlembicFile file;
        PointArray points;
        Topology topology;
        const LogCapture log;
        QVERIFY(open(file, "empty.abc") && file.fillTopology(topology));
        QCOMPARE(LogCapture::countContaining(QStringLiteral("/bare")), 1);
        QVERIFY(topology.meshes().size() == 3 && topology.vertexCount() == 16);
        QCOMPARE(topology.triangleCount(), 12);
        QVERIFY(file.readPoints(points, 0.0) && points.size() == 16);
    }

    void invalidArchiveLeavesOutputsAlone()
    {
        const AlembicFile file;
        PointArray points(2, QVector4D(1, 2, 3, 1));
        double start = 4.0, end = 5.0;
        CameraRecord camera;
        camera.focalLength = 6.0f;
        Topology topology;
        topology.addMesh(QStringLiteral("kept"), 1);
        const LogCapture log;
        QVERIFY(!file.isValid() && !file.readPoints(points, 0.0) && !file.timeRange(start, end));
        QVERIFY(!file.readCamera(camera, 0.0) && !file.fillTopology(topology));
        QVERIFY(LogCapture::lines() ==
                QStringList { QVector<QString>(4, QStringLiteral("archive is invalid")).toList() });
        QVERIFY(points.size() == 2 && start + end == 9.0 && camera.focalLength == 6.0f);
        QCOMPARE(int(topology.meshes().size()), 1);
    }

    void unreadableFileKeepsTheArchive()
    {
        {
            Writer writer(path("good.abc"));
            writer.mesh(writer.top(), "grid", grid(40));
            writer.camera(writer.top(), "shot", { 35.0 });
        }
        const QByteArray whole = bytesOf("good.abc");
        for (const QByteArray &bytes :
             { QByteArray(), QByteArray(""), QByteArray("not an archive\n").repeated(100),
               whole.left(5), whole.left(16), whole.left(whole.size() / 2), whole.chopped(1),
               doubling(18, cube()), doubling(12, grid(300)) }) { // objects, points
            QFile::remove(path("bad.abc"));
            if (!bytes.isNull())
                overwrite("bad.abc", bytes);
            AlembicFile file;
            QVERIFY(open(file, "good.abc"));
            {
                const LogCapture log;
                QVERIFY(!open(file, "bad.abc"));
                // Past a second it also says what it is at.
                const int slow = LogCapture::countContaining(QStringLiteral("opening "));
                QCOMPARE(int(LogCapture::lines().size()) - slow, 1);
                QCOMPARE(LogCapture::countContaining(path("bad.abc")) - slow, 1);
            }
            PointArray points;
            QVERIFY(file.isValid() && file.cameraCount() == 1);
            QVERIFY(file.readPoints(points, 0.0) && points.size() == 1600);
        }
    }

    /// Objects that bear a mesh's, a transform's or a camera's name and hold something else.
    void foreignPropertiesAreRefused()
    {
        using namespace Alembic::Abc;
        using namespace Alembic::Util;
        struct Row {
            const char *schema;
            const char *holder; ///< null: no property at all
            char operation; ///< a transform's
            int valueCount;
            bool inDoubles;
        };
        const Row rows[] = {
            { "AbcGeom_PolyMesh_v1", nullptr, 0, 0, true },
            { "AbcGeom_Xform_v3", ".xform", '\x30', 15, true }, // too few for a matrix
            { "AbcGeom_Xform_v3", ".xform", '\x30', 16, false },
            { "AbcGeom_Xform_v3", ".xform", '\xf0', 16, true }, // unknown
            { "AbcGeom_Camera_v1", ".camera", 0, 255, true },
            { "AbcGeom_Camera_v1", ".camera", 0, 16, false },
        };
        for (const Row &row : rows) {
            {
                Writer writer(path("foreign.abc"));
                OObject object(writer.top(), "liar", titled(row.schema));
                if (row.holder) {
                    OCompoundProperty held(object.getProperties(), row.holder, titled(row.schema));
                    const auto write = [&held](const char *name, PlainOldDataType type, int count,
                                               const void *data) {
                        const Alembic::AbcCoreAbstract::DataType of(type, uint8_t(count));
                        OScalarProperty(held, name, of).set(data);
                    };
                    if (row.operation)
                        write(".ops", kUint8POD, 1, &row.operation);
                    const std::vector<double> values(std::size_t(row.valueCount), 1.0);
                    write(row.operation ? ".vals" : ".core",
                          row.inDoubles ? kFloat64POD : kFloat32POD, row.valueCount, values.data());
                }
                writer.mesh(object, "box", cube());
            }
            AlembicFile file;
            PointArray points;
            const LogCapture log;
            QVERIFY(!open(file, "foreign.abc") || !file.readPoints(points, 0.0));
            QVERIFY(LogCapture::lines().size() == 1 && points.empty());
        }
    }

    /// Takes away, one after the other, each mark that says "here lies data".
    void missingDataHarmsNothing()
    {
        {
            Writer writer(path("holes.abc"));
            auto carrier = writer.xform(writer.top(), "carrier", { M44d(), translation(1, 0, 0) });
            writer.mesh(carrier, "box", cube(), { moved(cube().points, V3f(1, 0, 0)) });
            writer.camera(carrier, "shot", { 35.0, 50.0 });
        }
        const QByteArray whole = bytesOf("holes.abc");
        int failures = 0;
        for (int at = 0; at < whole.size(); ++at) {
            if (whole[at] != char(0x80))
                continue;
            overwrite("holes.abc", QByteArray(whole).replace(at, 1, QByteArray(1, '\0')));
            const LogCapture log;
            AlembicFile file;
            PointArray points;
            CameraRecord camera;
            Topology topology;
            failures += !open(file, "holes.abc") || !file.readPoints(points, 0.0) ||
                !file.readCamera(camera, 0.0) || !file.fillTopology(topology);
            QVERIFY(points.empty() || points.size() == 8);
        }
        QVERIFY2(failures > 10, qPrintable(QString::number(failures)));
    }

    /// An ancestor, itself by a roundabout way, and two strings. The writer refuses such instances,
    /// so the source's name is changed on disk.
    void damagedInstanceIsRefused()
    {
        for (const QByteArray &source : { QByteArray("/outer/inner"), QByteArray("/again/other"),
                                          QByteArray("/outer\0other", 12) }) {
            {
                Writer writer(path("loop.abc"));
                auto outer = writer.xform(writer.top(), "outer", { M44d() });
                auto inner = writer.xform(outer, "inner", { M44d() });
                auto other = writer.xform(outer, "other", { M44d() });
                QVERIFY(inner.addChildInstance(other, "again"));
                QVERIFY(writer.top().addChildInstance(other, "again"));
            }
            QByteArray bytes = bytesOf("loop.abc");
            QVERIFY(bytes.contains("/outer/other"));
            overwrite("loop.abc", bytes.replace("/outer/other", source));
            AlembicFile archive;
            const LogCapture log;
            QVERIFY(!open(archive, "loop.abc"));
            QCOMPARE(int(LogCapture::lines().size()), 1);
        }
    }

    void fileThatShrinksWhileOpen()
    {
        {
            Writer writer(path("shrinking.abc"));
            writer.mesh(writer.top(), "grid", grid(64), { moved(grid(64).points, V3f(1, 0, 0)) });
        }
        AlembicFile file;
        PointArray points;
        QVERIFY(open(file, "shrinking.abc") && file.readPoints(points, 0.0));
        const PointArray before = points;
        Topology topology;
        QVERIFY(file.fillTopology(topology));
        QVERIFY(QFile::resize(path("shrinking.abc"), 64));
        const LogCapture log;
        QVERIFY(!file.readPoints(points, 1.0 / 24.0) && points == before);
        QCOMPARE(int(LogCapture::lines().size()), 1);
        QCOMPARE(LogCapture::countContaining(path("shrinking.abc")), 1);
        for (int evaluation = 0; evaluation < 2; ++evaluation)
            QVERIFY(!file.readPoints(points, 1.0 / 24.0, topology));
        QCOMPARE(LogCapture::countContaining(QStringLiteral("changed on disk")), 1);
    }

    /// In bytes, with the digest of 16: more than the file, everything, a byte more, too little.
    void sampleThatClaimsTooMuch()
    {
        {
            Writer writer(path("claiming.abc"));
            writer.mesh(writer.top(), "box", cube());
        }
        const QByteArray whole = bytesOf("claiming.abc");
        const int data =
            whole.indexOf(QByteArray(reinterpret_cast<const char *>(cube().points.data()), 96));
        QVERIFY(data > 24);
        for (const quint64 claimed :
             { quint64(1) << 40, ~quint64(0), quint64(16 + 96 + 1), quint64(3) }) {
            const QByteArray size(reinterpret_cast<const char *>(&claimed), 8);
            overwrite("claiming.abc", QByteArray(whole).replace(data - 24, 8, size));
            AlembicFile file;
            PointArray out(1, QVector4D(7, 8, 9, 1));
            Topology topology;
            const LogCapture log;
            const bool opens = open(file, "claiming.abc"); // the sizes may show it already
            QVERIFY(!opens || (!file.readPoints(out, 0.0) && !file.fillTopology(topology)));
            QVERIFY(int(LogCapture::lines().size()) == 1 + opens && out.size() == 1);
        }
    }

    /// Another program puts a longer sample in place of one that is being read, at each moment in
    /// turn.
    void rewrittenWhileRead()
    {
        {
            Writer writer(path("rewritten.abc"));
            writer.mesh(writer.top(), "box", cube());
            writer.mesh(writer.top(), "grid", grid(64)); // so that longer samples have their bytes
        }
        QFile device(path("rewritten.abc"));
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
            QVERIFY(open(file, "rewritten.abc"));
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
};

QTEST_GUILESS_MAIN(AlembicFileTest)
#include "AlembicFileTest.moc"
