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

using Write = std::function<void(Writer &)>;
using Damage = std::function<void(QByteArray &)>;

std::function<void()> beforeRead; ///< what happens to the file between two of the library's reads

bool near(const QVector4D &point, float x, float y, float z)
{
    return (point - QVector4D(x, y, z, 1.0f)).length() < 1e-5f;
}

double volume(const Topology &topology, const PointArray &points)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < topology.triangles().size(); i += 3) {
        const auto at = [&](std::size_t k) {
            return points[topology.triangles()[i + k]].toVector3D();
        };
        sum += double(QVector3D::dotProduct(at(0), QVector3D::crossProduct(at(1), at(2)))) / 6.0;
    }
    return sum;
}

std::vector<Points> drifting(const Points &points, int count)
{
    std::vector<Points> later;
    for (int i = 1; i < count; ++i)
        later.push_back(moved(points, V3f(float(i), 0, 0)));
    return later;
}

QByteArray bytesOf(const Points &points)
{
    return { reinterpret_cast<const char *>(points.data()), int(points.size() * sizeof(V3f)) };
}

/// An object that bears the schema's name and holds something else; without a holder nothing.
Write liar(const char *schema, const char *holder = nullptr, char operation = 0, int count = 0,
           bool inDoubles = true)
{
    return [=](Writer &writer) {
        using namespace Alembic::Abc;
        using namespace Alembic::Util;
        MetaData title;
        title.set("schema", schema);
        OObject object(writer.top(), "liar", title);
        if (holder) {
            OCompoundProperty held(object.getProperties(), holder, title);
            const auto write = [&](const char *name, PlainOldDataType type, int size,
                                   const void *data) {
                const Alembic::AbcCoreAbstract::DataType of(type, uint8_t(size));
                OScalarProperty(held, name, of).set(data);
            };
            if (operation)
                write(".ops", kUint8POD, 1, &operation);
            const std::vector<double> values(std::size_t(count), 1.0);
            if (count > 0)
                write(operation ? ".vals" : ".core", inDoubles ? kFloat64POD : kFloat32POD, count,
                      values.data());
        }
        writer.mesh(object, "box", cube());
    };
}

/// A small file: each level holds the one before twice.
Write doubling(int levels, const Shape &shape)
{
    return [=](Writer &writer) {
        auto below = writer.xform(writer.top(), "level0", { M44d() });
        writer.mesh(below, "mesh", shape);
        for (int i = 1; i <= levels; ++i) {
            const QByteArray name = "level" + QByteArray::number(i);
            auto level = writer.xform(writer.top(), name.constData(), { M44d() });
            level.addChildInstance(below, "a");
            level.addChildInstance(below, "b");
            below = level;
        }
    };
}

Damage cut(int length)
{
    return [length](QByteArray &bytes) { bytes.truncate(length < 0 ? bytes.size() - 1 : length); };
}

Damage becomes(const QByteArray &other)
{
    return [other](QByteArray &bytes) { bytes = other; };
}

/// The writer refuses such instances, so the source's name is changed on disk.
Damage renamed(const QByteArray &source)
{
    return [source](QByteArray &bytes) { bytes.replace("/outer/other", source); };
}

/// The cube's points as so many bytes; their digest of 16 is counted with them.
Damage claims(quint64 size)
{
    return [size](QByteArray &bytes) {
        bytes.replace(bytes.indexOf(bytesOf(cube().points)) - 24, 8,
                      reinterpret_cast<const char *>(&size), 8);
    };
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
    // A name that only the file system's own encoding can hold.
    const QString m_path = m_folder.filePath(QString::fromUtf8("рука 腕.abc"));

    void write(const Write &fill) const
    {
        Writer writer(m_path);
        fill(writer);
    }
    bool open(AlembicFile &file) const { return file.open(QFile::encodeName(m_path)); }
    QByteArray content() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void overwrite(const QByteArray &bytes) const
    {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

private slots:
    void meshesAreMerged()
    {
        const Write strays = [](Writer &writer) {
            Shape surplus = cube(), shortage = cube(), stray = grid(2);
            surplus.faceIndices.insert(surplus.faceIndices.end(), { 0, 1 });
            shortage.faceIndices.pop_back();
            shortage.faceCounts.push_back(3);
            const qint32 beyond = std::numeric_limits<qint32>::max();
            stray.faceIndices = { 0, 1, 3, -3, 0, 1, 3, 5, 0, 1, beyond, 0, 1, 3 };
            stray.faceCounts = { 4, 4, 3, 3 }; // the last face alone is its own
            writer.mesh(writer.top(), "surplus", surplus);
            writer.mesh(writer.top(), "card", stray);
            writer.mesh(writer.top(), "shortage", shortage);
        };
        const Write deep = [](Writer &writer) { // half of the ten thousand levels are transforms
            std::vector<Alembic::Abc::OObject> levels { writer.top() };
            for (int level = 0; level < 5000; ++level) {
                levels.push_back(writer.xform(levels.back(), "t", { translation(1, 0, 0) }));
                levels.emplace_back(levels.back(), "g");
            }
            writer.mesh(levels.back(), "box", cube());
            while (!levels.empty())
                levels.pop_back(); // each before its parent
        };
        const Write instances = [](Writer &writer) { // they follow the path walked
            auto source = writer.xform(writer.top(), "source", { translation(1, 0, 0) });
            auto inner = writer.xform(source, "inner", { translation(0, 1, 0) });
            auto box = writer.mesh(inner, "box", cube());
            auto copy = writer.xform(writer.top(), "copy", { translation(0, 0, 100) });
            QVERIFY(copy.addChildInstance(inner, "innerCopy")); // its transform and the mesh below
            QVERIFY(copy.addChildInstance(box, "boxCopy")); // the mesh alone
        };
        const Write hollow = [](Writer &writer) {
            writer.mesh(writer.top(), "nothing", Shape());
            writer.mesh(writer.top(), "loose", { cube().points, {}, {} });
            liar("AbcGeom_PolyMesh_v1", ".geom")(writer); // below it a box
        };
        struct Row {
            Write write;
            QByteArray meshes; ///< each one's name and number of points
            int triangles, lines;
            std::vector<std::pair<std::size_t, V3f>> places; ///< of some points
        };
        const Row rows[] = {
            { strays, "/surplus 8 /card 4 /shortage 8 ", 12 + 10 + 1, 3, {} },
            { deep,
              QByteArray("/t/g").repeated(5000) + "/box 8 ",
              12,
              0,
              { { 7, { 5001, 1, 1 } } } },
            { instances,
              "/source/inner/box 8 /copy/innerCopy/box 8 /copy/boxCopy 8 ",
              36,
              0,
              { { 7, { 2, 2, 1 } }, { 15, { 1, 2, 101 } }, { 23, { 1, 1, 101 } } } },
            { hollow, "/nothing 0 /loose 8 /liar/box 8 ", 12, 1, {} },
        };
        for (const Row &row : rows) {
            write(row.write);
            AlembicFile file;
            PointArray points;
            Topology topology;
            topology.addMesh(QStringLiteral("stale"), 3);
            const LogCapture log;
            QVERIFY(open(file) && file.fillTopology(topology) && file.readPoints(points, 0.0));
            QString meshes;
            for (const auto &mesh : topology.meshes())
                meshes += QStringLiteral("%1 %2 ").arg(mesh.name).arg(mesh.vertexCount);
            QCOMPARE(meshes.toUtf8(), row.meshes);
            QCOMPARE(topology.triangleCount(), row.triangles);
            QCOMPARE(int(points.size()), topology.vertexCount());
            QCOMPARE(int(LogCapture::lines().size()), row.lines);
            for (const auto &[index, place] : row.places)
                QVERIFY(near(points[index], place.x, place.y, place.z));
        }
    }

    void samplesAndTransforms()
    {
        {
            Writer writer(m_path, 1.0 / 24.0);
            std::vector<M44d> matrices;
            for (int i = 0; i < 5; ++i)
                matrices.push_back(translation(0, 10.0 * i, 0));
            auto carrier = writer.xform(writer.top(), "carrier", matrices);
            writer.mesh(carrier, "box", cube(), drifting(cube().points, 5));
            auto outer =
                writer.xform(writer.top(), "outer", { M44d().setScale(2.0), M44d().setScale(3.0) });
            auto inner = writer.xform(outer, "inner", { translation(1, 0, 0) });
            writer.mesh(inner, "deep", cube()); // the nearest transform comes first
            auto loner = writer.xform(outer, "loner", { translation(1, 0, 0) }, false);
            auto mirror = writer.xform(loner, "mirror", { M44d().setScale(V3d(-1, 1, 1)) });
            writer.mesh(mirror, "turned", cube());
        }
        AlembicFile file;
        QVERIFY(open(file));
        const std::pair<double, int> rows[] = {
            { -5.0, 0 },     { 1 / 24.0, 0 },        { 4 / 24.0 - 1e-4, 2 }, { 4 / 24.0, 3 },
            { 4.5 / 24, 3 }, { (4 - 5e-5) / 24, 3 }, { (4 - 2e-4) / 24, 2 }, { 90.0, 4 },
        };
        for (const auto &[seconds, sample] : rows) {
            PointArray points(3);
            Topology topology;
            QVERIFY(file.readPoints(points, seconds) && points.size() == 24);
            QVERIFY(near(points[7], 1 + float(sample), 1 + 10 * float(sample), 1));
            const float scale = sample > 0 ? 3 : 2;
            QVERIFY(near(points[15], 2 * scale, scale, scale) && near(points[23], 0, 1, 1));
            QVERIFY(file.fillTopology(topology)); // the mirrored one faces out, too
            QVERIFY(std::abs(volume(topology, points) - 8 * (2 + std::pow(scale, 3))) < 1e-2);
        }
        double start = 0.0, end = 0.0;
        QVERIFY(file.timeRange(start, end));
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
                Writer writer(m_path, 0.0, row.sampled, metaData);
                writer.mesh(writer.top(), "point", { { V3f(0, 0, 0) }, {}, {} },
                            drifting({ V3f(0, 0, 0) }, row.steps * 5000 + 2));
                if (row.steps == 0)
                    writer.xform(writer.top(), "mover", { M44d(), translation(1, 0, 0) });
            }
            AlembicFile file;
            QVERIFY(open(file));
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
                Writer writer(m_path, 0.0, 48.0);
                for (const char *name : { "a", "b", "c" }) // the more transforms, the fewer points
                    writer.xform(writer.top(), name, { M44d(), M44d() });
                const std::pair<Points, TimeSampling> meshes[] = {
                    { cube().points, TimeSampling(1 / 25.0, 0.0) },
                    { grid(4).points, TimeSampling({ 2, 1 / 30.0 }, { 0.0, 0.01 }) },
                    { grid(9).points,
                      TimeSampling(TimeSamplingType(TimeSamplingType::kAcyclic),
                                   { 0.0, 0.1, 0.5 }) },
                };
                for (const auto &[points, sampling] : meshes) {
                    Alembic::AbcGeom::OPolyMesh mesh(writer.top(), std::to_string(points.size()),
                                                     std::make_shared<TimeSampling>(sampling));
                    const Alembic::Abc::Int32ArraySample none(nullptr, 0);
                    for (int sample = 0; sample < (pointsMove ? 3 : 1); ++sample)
                        mesh.getSchema().set({ points, none, none });
                }
            }
            AlembicFile file;
            QVERIFY(open(file));
            QCOMPARE(file.frameRate(), pointsMove ? 30.0 : 48.0);
        }
    }

    void cameras()
    {
        write([](Writer &writer) {
            auto left = writer.xform(writer.top(), "left", { translation(-3, 1, 2) });
            auto turned =
                writer.xform(left, "turned", { M44d().setAxisAngle(V3d(0, 1, 0), M_PI / 2) });
            writer.camera(turned, "shot", { 35.0, 50.0 });
            auto right = writer.xform(writer.top(), "right", { translation(3, 0, 0) });
            writer.camera(right, "shot", { 20.0 });
            writer.camera(right, "witness", { 85.0 });
            writer.mesh(right, "box", cube());
        });
        AlembicFile file;
        CameraRecord record;
        QVERIFY(open(file) && file.cameraCount() == 3);
        const std::tuple<double, const char *, float> rows[] = {
            { 0, "shot", 35 }, { 2, "shot", 50 }, { 0, "witness", 85 }, { 0, "gone", 35 }
        };
        for (const auto &[seconds, name, focalLength] : rows) {
            QVERIFY(file.readCamera(record, seconds, QLatin1String(name)));
            QCOMPARE(record.focalLength, focalLength); // of one name, the first
            QVERIFY(record.horizontalAperture == 2.4f && record.verticalAperture == 1.8f);
            // Turned by 90 degrees about y, the first looks down the negative x axis.
            const QVector4D ahead = record.matrix * QVector4D(0, 0, -1, 1);
            QVERIFY(focalLength == 85 ? near(ahead, 3, 0, -1) : near(ahead, -4, 1, 2));
        }
        QString walked;
        for (const AlembicFile::Object &object : file.objects())
            walked +=
                QStringLiteral("%1/%2%3").arg(object.parentName, object.name).arg(int(object.type));
        QCOMPARE(walked,
                 QStringLiteral("/ABC0ABC/left0left/turned0turned/shot2"
                                "ABC/right0right/shot2right/witness2right/box1"));
        write([](Writer &) {});
        double start = -1.0, end = -1.0;
        QVERIFY(open(file) && !file.readCamera(record, 0.0));
        QVERIFY(file.timeRange(start, end) && start == 0.0 && end == 0.0);
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
        QVERIFY(LogCapture::lines().size() == 4 &&
                LogCapture::countContaining(QStringLiteral("archive is invalid")) == 4);
        QVERIFY(points.size() == 2 && start + end == 9.0 && camera.focalLength == 6.0f);
        QCOMPARE(int(topology.meshes().size()), 1);
    }

    /// One line is written, and what was read before stays; an archive that does not open leaves
    /// the one that is open.
    void damageIsRefused()
    {
        const Write whole = [](Writer &writer) { writer.mesh(writer.top(), "grid", grid(40)); };
        const Write box = [](Writer &writer) { writer.mesh(writer.top(), "box", cube()); };
        const Write nested = [](Writer &writer) {
            auto outer = writer.xform(writer.top(), "outer", { M44d() });
            auto inner = writer.xform(outer, "inner", { M44d() });
            auto other = writer.xform(outer, "other", { M44d() });
            QVERIFY(inner.addChildInstance(other, "again"));
            QVERIFY(writer.top().addChildInstance(other, "again"));
        };
        const char *const mesh = "AbcGeom_PolyMesh_v1", *const camera = "AbcGeom_Camera_v1",
                          *const transform = "AbcGeom_Xform_v3";
        struct Row {
            Write write;
            Damage damage;
            bool mayOpen = false; ///< its points are then refused
        };
        const Row rows[] = {
            { whole, becomes(QByteArray()) }, // not there at all
            { whole, becomes("") },
            { whole, becomes(QByteArray("not an archive").repeated(100)) },
            { whole, cut(5) },
            { whole, cut(16) },
            { whole, cut(10000) },
            { whole, cut(-1) },
            { doubling(18, cube()), nullptr }, // too many objects
            { doubling(12, grid(300)), nullptr }, // too many points
            { liar(mesh), nullptr },
            { liar(transform, ".xform", '\x30', 15), nullptr, true }, // too few for a matrix
            { liar(transform, ".xform", '\x30', 16, false), nullptr },
            { liar(transform, ".xform", '\xf0', 16), nullptr }, // unknown
            { liar(camera, ".camera", 0, 255), nullptr },
            { liar(camera, ".camera", 0, 16, false), nullptr },
            { nested, renamed("/outer/inner") }, // an ancestor
            { nested, renamed("/again/other") }, // itself, by a roundabout way
            { nested, renamed(QByteArray("/outer\0other", 12)) }, // two strings
            { box, claims(quint64(1) << 40), true },
            { box, claims(~quint64(0)), true },
            { box, claims(16 + 96 + 1), true },
            { box, claims(3), true },
        };
        for (const Row &row : rows) {
            write(whole);
            AlembicFile file;
            PointArray points(1);
            QVERIFY(open(file));
            QVERIFY(QFile::rename(m_path, m_path + QLatin1Char('o'))); // open still
            write(row.write);
            QByteArray bytes = content();
            if (row.damage)
                row.damage(bytes);
            QVERIFY(QFile::remove(m_path));
            if (!bytes.isNull())
                overwrite(bytes);
            const LogCapture log;
            const bool opened = open(file), read = file.readPoints(points, 0.0);
            // Past a second it also says what it is at.
            const int slow = LogCapture::countContaining(QStringLiteral("opening "));
            QVERIFY2(opened <= row.mayOpen && read != opened &&
                         points.size() == (opened ? 1 : 1600) &&
                         LogCapture::countContaining(m_path) - slow == 1 &&
                         LogCapture::lines().size() - slow == 1,
                     std::to_string(&row - rows).c_str());
            QVERIFY(QFile::remove(m_path + QLatin1Char('o')));
        }
    }

    /// Takes away, one after the other, each mark that says "here lies data".
    void missingDataHarmsNothing()
    {
        write([](Writer &writer) {
            auto carrier = writer.xform(writer.top(), "carrier", { M44d(), translation(1, 0, 0) });
            writer.mesh(carrier, "box", cube(), drifting(cube().points, 2));
            writer.camera(carrier, "shot", { 35.0, 50.0 });
        });
        const QByteArray whole = content();
        int failures = 0;
        for (int at = 0; at < whole.size(); ++at) {
            if (whole[at] != char(0x80))
                continue;
            overwrite(QByteArray(whole).replace(at, 1, QByteArray(1, '\0')));
            const LogCapture log;
            AlembicFile file;
            PointArray points;
            CameraRecord camera;
            Topology topology;
            failures += !open(file) || !file.readPoints(points, 0.0) ||
                !file.readCamera(camera, 0.0) || !file.fillTopology(topology);
            QVERIFY(points.empty() || points.size() == 8);
        }
        QVERIFY2(failures > 10, qPrintable(QString::number(failures)));
    }

    void fileThatShrinksWhileOpen()
    {
        write([](Writer &writer) {
            writer.mesh(writer.top(), "grid", grid(64), drifting(grid(64).points, 2));
        });
        AlembicFile file;
        PointArray points;
        QVERIFY(open(file) && file.readPoints(points, 0.0));
        const PointArray before = points;
        Topology topology;
        QVERIFY(file.fillTopology(topology));
        QVERIFY(QFile::resize(m_path, 64));
        const LogCapture log;
        QVERIFY(!file.readPoints(points, 1.0 / 24.0) && points == before);
        QVERIFY(LogCapture::lines().size() == 1 && LogCapture::countContaining(m_path) == 1);
        for (int evaluation = 0; evaluation < 2; ++evaluation)
            QVERIFY(!file.readPoints(points, 1.0 / 24.0, topology));
        QCOMPARE(LogCapture::countContaining(QStringLiteral("changed on disk")), 1);
    }

    /// Another program puts a longer sample in place of one that is being read, at each moment in
    /// turn.
    void rewrittenWhileRead()
    {
        write([](Writer &writer) {
            writer.mesh(writer.top(), "box", cube());
            writer.mesh(writer.top(), "grid", grid(64)); // so that longer samples have their bytes
        });
        int moment = 0;
        for (int left = -1; left < 0; ++moment) {
            const QByteArray whole = content();
            AlembicFile file;
            QVERIFY(open(file));
            left = moment;
            beforeRead = [&] {
                if (left-- != 0)
                    return;
                QByteArray bytes = whole;
                claims(16 + 12 * 2000)(bytes);
                QFile device(m_path);
                device.open(QIODevice::ReadWrite);
                device.write(bytes);
            };
            PointArray points;
            const bool read = file.readPoints(points, 0.0);
            beforeRead = nullptr;
            const auto count = points.size();
            QVERIFY(read ? count == 4096 + 8 || count == 4096 + 2000 : count == 0);
            overwrite(whole);
        }
        QVERIFY(moment > 4);
    }
};

QTEST_GUILESS_MAIN(AlembicFileTest)
#include "AlembicFileTest.moc"
