#include "alembic/AlembicFile.h"
#include "alembic/FrameRate.h"
#include "layers/Topology.h"
#include "support/Archives.h"
#include "support/LogCapture.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <array>
#include <cmath>
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

std::vector<Points> drifting(const Points &points, int count)
{
    std::vector<Points> later;
    for (int i = 1; i < count; ++i)
        later.push_back(moved(points, V3f(float(i), 0, 0)));
    return later;
}

/// An object that bears the schema's name and holds something else.
Write liar(const char *schema, const char *holder, char operation = 0, int count = 1,
           bool inDoubles = true)
{
    return [=](Writer &writer) {
        using namespace Alembic::Abc;
        using namespace Alembic::Util;
        MetaData title;
        title.set("schema", schema);
        OObject object(writer.top(), "liar", title);
        OCompoundProperty held(object.getProperties(), holder, title);
        const auto write = [&](const char *name, PlainOldDataType type, int size,
                               const void *data) {
            const Alembic::AbcCoreAbstract::DataType of(type, uint8_t(size));
            OScalarProperty(held, name, of).set(data);
        };
        const std::vector<double> values(std::size_t(count), 1.0);
        write(".ops", kUint8POD, 1, &operation);
        for (const char *name : { ".vals", ".core" })
            write(name, inDoubles ? kFloat64POD : kFloat32POD, count, values.data());
        writer.mesh(object, "box", cube());
    };
}

/// A small file: each level holds the one before twice.
Write doubling(int levels, const Shape &shape)
{
    return [=](Writer &writer) {
        auto below = writer.xform(writer.top(), "0", { M44d() });
        writer.mesh(below, "mesh", shape);
        for (int i = 1; i <= levels; ++i) {
            auto level = writer.xform(writer.top(), std::to_string(i).c_str(), { M44d() });
            level.addChildInstance(below, "a");
            level.addChildInstance(below, "b");
            below = level;
        }
    };
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
        const Points points = cube().points;
        const int at = bytes.indexOf({ reinterpret_cast<const char *>(points.data()), 96 });
        bytes.replace(at - 24, 8, reinterpret_cast<const char *>(&size), 8);
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

    void write(const Write &fill, double fps = 24.0,
               const Alembic::Abc::MetaData &metaData = {}) const
    {
        Writer writer(m_path, 1.0 / fps, fps, metaData);
        fill(writer);
    }
    bool open(AlembicFile &file) const { return file.open(QFile::encodeName(m_path)); }
    QByteArray content() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// What was logged beside what takes long: past a second, that is told, too.
    static QStringList complaints()
    {
        return LogCapture::lines().filter(QRegularExpression(QStringLiteral("^(?!.*ing /)")));
    }
    void overwrite(const QByteArray &bytes) const
    {
        QFile file(m_path); // in place: an open archive sees it
        QVERIFY(file.open(QIODevice::ReadWrite) && file.write(bytes) == bytes.size() &&
                file.resize(bytes.size()));
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
            stray.faceIndices = { 0, 1, 3, -3, 0, 1, 3, 4, 0, 1, beyond, 0, 1, 3 };
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
            QVERIFY(copy.addChildInstance(box, "boxAgain"));
        };
        const Write hollow = [](Writer &writer) {
            writer.mesh(writer.top(), "nothing", Shape());
            writer.mesh(writer.top(), "loose", { cube().points, {}, {} });
            liar("AbcGeom_PolyMesh_v1", ".geom")(writer); // below it a box
        };
        struct Row {
            Write write;
            QByteArray meshes; ///< each one's name, number of points, and the last of them
            int triangles, lines;
        };
        const Row rows[] = {
            { strays, "/surplus 8 (1 1 1) /card 4 (1 1 0) /shortage 8 (1 1 1) ", 12 + 10 + 1, 3 },
            { deep, QByteArray("/t/g").repeated(5000) + "/box 8 (5001 1 1) ", 12, 0 },
            { instances,
              "/source/inner/box 8 (2 2 1) /copy/innerCopy/box 8 (1 2 101) "
              "/copy/boxCopy 8 (1 1 101) /copy/boxAgain 8 (1 1 101) ",
              48, 0 },
            { hollow, "/nothing 0 (0 0 0) /loose 8 (1 1 1) /liar/box 8 (1 1 1) ", 12, 1 },
        };
        for (const Row &row : rows) {
            write(row.write);
            AlembicFile file;
            PointArray points;
            Topology topology;
            topology.addMesh(QStringLiteral("stale"), 3);
            const LogCapture log;
            QVERIFY(open(file) && file.fillTopology(topology) && file.readPoints(points, 0.0));
            QCOMPARE(int(points.size()), topology.vertexCount());
            QString meshes;
            auto end = points.begin();
            for (const auto &mesh : topology.meshes()) {
                meshes += QStringLiteral("%1 %2 ").arg(mesh.name).arg(mesh.vertexCount);
                end += mesh.vertexCount;
                const QVector4D p = mesh.vertexCount > 0 ? end[-1] : QVector4D();
                meshes += QStringLiteral("(%1 %2 %3) ").arg(p.x()).arg(p.y()).arg(p.z());
            }
            QCOMPARE(meshes.toUtf8(), row.meshes);
            QCOMPARE(topology.triangleCount(), row.triangles);
            QCOMPARE(int(complaints().size()), row.lines);
        }
    }

    void samplesAndTransforms()
    {
        for (const double fps : { 24.0, 2.0 }) { // the library's own look-up tolerates seconds
            const Write moving = [](Writer &writer) {
                std::vector<M44d> matrices;
                for (int i = 0; i < 5; ++i)
                    matrices.push_back(translation(0, 10.0 * i, 0));
                auto carrier = writer.xform(writer.top(), "carrier", matrices);
                writer.mesh(carrier, "box", cube(), drifting(cube().points, 5));
                M44d third; // by projection
                third[3][3] = 1 / 3.0;
                auto outer = writer.xform(writer.top(), "outer", { M44d().setScale(2.0), third });
                auto inner = writer.xform(outer, "inner", { translation(1, 0, 0) });
                writer.mesh(inner, "deep", cube()); // the nearest transform comes first
                auto loner = writer.xform(outer, "loner", { translation(1, 0, 0) }, false);
                auto mirror = writer.xform(loner, "mirror", { M44d().setScale(V3d(-1, 1, 1)) });
                writer.mesh(mirror, "turned", cube());
            };
            write(moving, fps);
            AlembicFile file;
            double start = 0.0, end = 0.0;
            QVERIFY(open(file) && file.timeRange(start, end) && qFuzzyCompare(end, 5 / fps));
            const std::pair<double, int> rows[] = {
                { -99, 0 }, { 1, 0 },        { 3.9, 2 },      { 4, 3 },
                { 4.5, 3 }, { 5 - 5e-5, 4 }, { 4 - 2e-4, 2 }, { 99, 4 },
            };
            for (const auto &[time, sample] : rows) {
                PointArray points(3);
                Topology topology;
                QVERIFY(file.readPoints(points, time / fps) && points.size() == 24);
                QVERIFY(near(points[7], 1 + float(sample), 1 + 10 * float(sample), 1));
                const float scale = sample > 0 ? 3 : 2;
                QVERIFY(near(points[15], 2 * scale, scale, scale) && near(points[23], 0, 1, 1));
                QVERIFY(file.fillTopology(topology) && topology.triangleCount() == 36);
                for (size_t i = 0; i < 36; ++i) { // each looks away from its cube's middle
                    const auto corner = [&](size_t k) {
                        return points[topology.triangles()[3 * i + k]].toVector3D();
                    };
                    const QVector4D middle = (points[i / 12 * 8] + points[i / 12 * 8 + 7]) / 2;
                    const QVector3D out = QVector3D::normal(corner(0), corner(1), corner(2));
                    QVERIFY(QVector3D::dotProduct(out, corner(0) - middle.toVector3D()) > 0.5f);
                }
            }
        }
    }

    void rates()
    {
        const double film = 24000 / 1001.0, video = 60000 / 1001.0;
        // A hint, the samples' rate and the frames': sub-frame samples and rates out of range; few
        // digits, where they do over the shot and where they do not; another rate; no number.
        const std::array<double, 3> rows[] = {
            { 0, 25.000000001, 25 },
            { 0, film, film },
            { 0, 60, 60 },
            { 0, 70, 70 },
            { 0, 96, 24 },
            { 0, 100, 25 },
            { 0, 100.5, 100.5 },
            { 0, 0.5, 24 },
            { 0, 1007, 24 },
            { 23.976, film, 23.976 },
            { 23.976024, 23.976, 23.976 },
            { 24.0001, 24.001, 24.0001 },
            { 59.9401, video, video },
            { 23.98, 4 * film, film },
            { 24, film, 24 },
            { std::nan(""), 30, 30 },
        };
        for (const auto &[hint, sampled, rate] : rows)
            QCOMPARE(frameRate({ hint, sampled, 0.0, 5001 / sampled }), rate);

        Alembic::Abc::MetaData metaData;
        metaData.set("_ai_DCC_FPS", "29,97"); // in a locale
        const Write drift = [](Writer &writer) {
            const Points point { V3f(0) };
            writer.mesh(writer.top(), "point", { point, {}, {} }, drifting(point, 5002));
        };
        write(drift, 30000 / 1001.0, metaData);
        AlembicFile file;
        PointArray points;
        QVERIFY(open(file) && file.frameRate() == 29.97);
        QVERIFY(file.readPoints(points, 5000 / 29.97) && points[0].x() == 4999);

        using Sampling = Alembic::AbcCoreAbstract::TimeSampling;
        using Cycle = Alembic::AbcCoreAbstract::TimeSamplingType;
        for (const std::size_t count : { 3, 1 }) { // what most points use; else most transforms
            const Write mixed = [count](Writer &writer) {
                for (const char *name : { "a", "b", "c" }) // the more transforms, the fewer points
                    writer.xform(writer.top(), name, { M44d(), M44d() });
                const std::tuple<const char *, Shape, Sampling> meshes[] = {
                    { "few", cube(), Sampling(1 / 25.0, 0.0) },
                    { "more", grid(4), Sampling({ 2, 1 / 30.0 }, { 0.0, 0.01 }) },
                    { "most", grid(9), Sampling(Cycle(Cycle::kAcyclic), { 0.0, 0.1, 0.5 }) },
                };
                for (const auto &[name, shape, times] : meshes)
                    writer.mesh(writer.top(), name, std::vector(count, shape), times);
            };
            write(mixed, 48.0);
            QVERIFY(open(file));
            QCOMPARE(file.frameRate(), count > 1 ? 30.0 : 48.0);
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
            const char *words;
        };
        const Row rows[] = {
            { whole, becomes(QByteArray()), "Could not open as Ogawa file" }, // not there at all
            { whole, becomes(""), "Could not open as Ogawa file" },
            { whole, becomes(QByteArray("text ").repeated(100)), "Could not open as Ogawa file" },
            { whole, [](QByteArray &bytes) { bytes.chop(1); }, "read failed" },
            { doubling(18, cube()), nullptr, "more than 100000 objects" },
            { doubling(12, grid(300)), nullptr, "points and more need over" },
            { liar(mesh, ".other"), nullptr, "Nonexistent compound property" },
            { liar(transform, ".xform", '\x30', 15), nullptr, "too few values" }, // for a matrix
            { liar(transform, ".xform", '\x30', 16, false), nullptr, "wrong type: .vals" },
            { liar(transform, ".xform", '\xf0', 16), nullptr, "unknown operation" },
            { liar(camera, ".geom", 0, 255), nullptr, "without its values" },
            { liar(camera, ".geom", 0, 16, false), nullptr, "wrong type: .core" },
            { nested, renamed("/outer/inner"), "does not end" }, // an ancestor
            { nested, renamed("/again/other"), "without end" }, // itself, by a roundabout way
            { nested, renamed(QByteArray("/outer\0other", 12)), "more strings than expected" },
            { box, claims(quint64(1) << 40), "illegal size" },
            { box, claims(~quint64(0)), "illegal size" },
            { box, claims(16 + 96 + 1), "broken items" },
            { box, claims(3), "Incorrect data" },
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
            QVERIFY2(read != opened && points.size() == (opened ? 1 : 1600), row.words);
            const QString line = complaints().join(QStringLiteral("another line"));
            QVERIFY2(line.startsWith((opened ? QStringLiteral("can't read the points of ")
                                             : QStringLiteral("can't open the archive ")) +
                                     m_path) &&
                         line.contains(QLatin1String(row.words)),
                     qPrintable(line));
            QVERIFY(QFile::remove(m_path + QLatin1Char('o')));
        }
    }

    void fileThatShrinksWhileOpen()
    {
        write([](Writer &writer) {
            const Alembic::AbcCoreAbstract::TimeSampling times(1.0 / 24.0, 0.0);
            writer.mesh(writer.top(), "grid", { grid(64), grid(65) }, times);
        });
        AlembicFile file;
        PointArray points;
        Topology topology;
        QVERIFY(open(file) && file.readPoints(points, 0.0) && file.fillTopology(topology));
        const PointArray before = points;
        const LogCapture log;
        QVERIFY(!file.readPoints(points, 1.0 / 24.0, topology)); // more points than at the start
        QVERIFY(QFile::resize(m_path, 64));
        for (int evaluation = 0; evaluation < 2; ++evaluation)
            QVERIFY(!file.readPoints(points, 1.0 / 24.0, topology));
        QCOMPARE(LogCapture::countContaining(QStringLiteral("/grid: ")), 3);
        QCOMPARE(LogCapture::countContaining(QStringLiteral("changed on disk")), 1);
        QVERIFY(!file.readPoints(points, 1.0 / 24.0) && points == before);
        QVERIFY(LogCapture::lines().size() == 5 && LogCapture::countContaining(m_path) == 5);
    }

    /// Another program puts a longer sample in place of one that is being read, at each moment in
    /// turn.
    void rewrittenWhileRead()
    {
        write([](Writer &writer) {
            writer.mesh(writer.top(), "box", cube());
            writer.mesh(writer.top(), "grid", grid(64)); // so that longer samples have their bytes
        });
        const QByteArray whole = content();
        QByteArray rewritten = whole;
        claims(16 + 12 * 2000)(rewritten);
        int moment = 0;
        for (int left = -1; left < 0; ++moment) {
            AlembicFile file;
            QVERIFY(open(file));
            left = moment;
            beforeRead = [&] {
                if (left-- == 0)
                    overwrite(rewritten);
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
