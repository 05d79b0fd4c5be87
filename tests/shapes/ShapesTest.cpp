#include "shapes/ObjReader.h"
#include "shapes/ShapeFolder.h"
#include "support/LogCapture.h"

#include <QDataStream>
#include <QDir>
#include <QTemporaryDir>
#include <QVector>
#include <QtTest>

#include <climits>
#include <cmath>
#include <cstring>
#include <random>

namespace {

using Corner = std::array<int, 3>; // position, texture coordinate, normal

const std::string kSquare = "v 0 0 0\nv 2 0 0\nv 2 2 0\nv 0 2 0\n";

/// The points of the triangles in file order, nothing shared, by a reader that is as plain as can
/// be: the C library scans copies of the lines.
std::vector<float> plainTriangles(const std::string &text)
{
    std::vector<std::array<float, 3>> positions;
    std::vector<std::vector<Corner>> faces;
    Corner counts {};
    for (const QByteArray &whole : QByteArray::fromStdString(text).split('\n')) {
        QByteArray line = whole.left(256);
        std::array<float, 3> v;
        if (std::sscanf(line, "v %f %f %f", &v[0], &v[1], &v[2]) == 3)
            positions.push_back(v);
        counts[0] = int(positions.size());
        counts[1] += std::sscanf(line, "vt %f %f", &v[0], &v[1]) == 2;
        counts[2] += std::sscanf(line, "vn %f %f %f", &v[0], &v[1], &v[2]) == 3;
        if (!line.startsWith("f ") && !line.startsWith("f\t"))
            continue;
        faces.emplace_back();
        for (char *word = std::strtok(line.data() + 1, " \t"); word;
             word = std::strtok(nullptr, " \t")) {
            Corner c;
            const int scanned = std::sscanf(word, "%d/%d/%d", &c[0], &c[1], &c[2]);
            for (int i = 0; i < 3; ++i)
                c[i] = i >= scanned ? INT_MAX : c[i] < 0 ? c[i] + counts[i] : c[i] - 1;
            if (scanned > 0)
                faces.back().push_back(c);
        }
    }
    std::vector<float> triangles;
    for (const std::vector<Corner> &face : faces) {
        bool good = true;
        for (const Corner &c : face)
            for (int i = 0; i < 3; ++i)
                good &= c[i] == INT_MAX || (c[i] >= 0 && c[i] < counts[i]);
        for (size_t i = 2; good && i < face.size(); ++i)
            for (const size_t corner : { size_t(0), i - 1, i })
                for (const float x : positions[size_t(face[corner][0])])
                    triangles.push_back(x);
    }
    return triangles;
}

std::string randomWords(std::mt19937 &random, const QList<QByteArray> &words, unsigned most)
{
    std::string text;
    for (unsigned count = random() % most; count > 0; --count)
        text += words[int(random() % unsigned(words.size()))].toStdString();
    return text;
}

std::vector<float> expanded(const ShapeMesh &shape, const std::vector<float> &values)
{
    std::vector<float> corners;
    for (const std::uint32_t index : shape.indices)
        corners.insert(corners.end(), &values[3 * index], &values[3 * index] + 3);
    return corners;
}

/// By bits: a NaN and the sign of a zero count.
bool agrees(const std::string &text)
{
    const ShapeMesh shape = buildShape(parseObj(text));
    const std::vector<float> plain = plainTriangles(text),
                             points = expanded(shape, shape.positions);
    return points.size() == plain.size() &&
        (plain.empty() || std::memcmp(points.data(), plain.data(), 4 * plain.size()) == 0);
}

} // namespace

/// OBJ files against a reader that is as plain as can be, caches, and the folder of shapes.
class ShapesTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString path(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }
    QString save(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()
            ? file.fileName()
            : QString();
    }

private slots:
    void readsLikeThePlainReader()
    {
        const std::string tooLarge = "f 4294967297 2 3\nf -99999999999 2 3";
        QVERIFY(buildShape(parseObj(kSquare + tooLarge)).indices.empty());

        const auto split = [](const char *words) { return QByteArray(words).split('|'); };
        const auto numbers =
            split("0|0|1|1|2|3|5|7|9|9|.|.|e|E|+|-|-|x|X|p|P|n|a|i|I|f| |\t|\r|\v|/|,|\240|nan|inf|"
                  "INF|inity|(12)|0x|0000000000000000000000|123456789012345678901234567890123");
        const auto corners = split("1|2|3|4|5|/|/|/|/|/|/|-|+|\r|\v|a");
        // A line's 256th byte still counts, the 257th no more; a zero byte ends it.
        const auto words =
            split("v |v|vn |vt |vp |V |f |f\t|\n|\n|\n|\r\n| | 1| 2| -1|/|//|3|0|1e9|nan|.|-|#|"
                  "usemtl |mtllib x|\x80| 1 2 3| 1 2 3|\nf 1 2 3| 1/1/1 2/2/2 3/3/3| 0.5 4 -7")
            << QByteArray(1, '\0') << QByteArray(235, ' ');
        std::mt19937 random(8);
        for (int i = 0; i < 3000; ++i) {
            const std::string text = kSquare + randomWords(random, words, 200);
            std::string lines = kSquare + "vt 1 2\nvn 1 2 3\n", bytes(random() % 400, ' ');
            for (int line = 0; line < 50; ++line)
                lines += "v " + randomWords(random, numbers, 20) + " 1 2\nf 1 2 -1\nf 1 2 " +
                    randomWords(random, corners, 9) + '\n';
            for (char &byte : bytes)
                byte = char(random());
            QVERIFY2(agrees(text), text.c_str());
            QVERIFY2(agrees(lines), lines.c_str());
            QVERIFY(agrees(bytes) && agrees(text + bytes + text));
        }
    }

    void cornersAndNormals()
    {
        const std::string normals = "vn 0 0 1\nvn 0 0 5\nvn 0 1 0\nvt 0 0\nvt 1 1\n";
        const std::pair<const char *, size_t> rows[] = {
            { "f 1 2 3\nf 1 3 4", 4 }, // flat: both faces have one normal
            { "f 1/1/1 2/1/1 3/1/1\nf 1/2/1 3/2/1 4/2/1", 4 },
            { "f 1/1/1 2/1/1 3/1/1\nf 1/1/3 3/1/3 4/1/3", 6 },
            { "f 1/1/1 2/1/1 3/1/1\nf 1/1/2 3/1/2 4/1/2", 4 }, // once of unit length
        };
        for (const auto &[faces, corners] : rows)
            QCOMPARE(buildShape(parseObj(kSquare + normals + faces)).positions.size() / 3, corners);

        const ShapeMesh shape = buildShape(
            parseObj(kSquare +
                     "vn 3 0 0\nvn 0 0 0\nvn nan 0 0\nvn 1e30 1e30 0\nvt 0 0\nf 1/1/1 2 3/1/2\n"
                     "f 1/1/3 3/1/4 4\nf 1 1 2\nv nan 0 0\nf 1 2 5\n"));
        const float half = std::sqrt(0.5f);
        std::vector<float> expected { 1, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 1, half, half, 0, 0, 0, 1 };
        expected.resize(36); // faces without a normal of their own
        const std::vector<float> found = expanded(shape, shape.normals);
        QCOMPARE(found.size(), expected.size());
        for (size_t i = 0; i < expected.size(); ++i)
            QVERIFY2(std::abs(found[i] - expected[i]) <= 1e-6f, std::to_string(i).c_str());
    }

    void materialLibraries()
    {
        QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("sub")));
        save("sub/lib.mtl",
             "Ka 9 9 9\nnewmtl first\nKa .1 .2 .3\r\nKd 1 0 0\nKs 1 1\nKx 1 1 1\nK\nNs 10\nNi1.5\n"
             "Nx 3\nTf .5 .6 .7\nd 0.25\nillum 2\nsharpness 60\n\nnewmtl\n#newmtl x\nnewmtl "
             "second\nd x\n");
        const LogCapture log;
        const auto materials =
            readObj(save("shape.obj", "mtllib missing.mtl\nmtllib sub/lib.mtl\r\n")).materials;
        QCOMPARE(
            LogCapture::lines(),
            QStringList(QStringLiteral("can't read the material library: ") + path("missing.mtl")));
        QCOMPARE(materials.size(), size_t(2));
        const ObjMaterial &m = materials[0];
        std::vector<float> found { m.specularExponent, m.opticalDensity, m.dissolve, m.sharpness,
                                   materials[1].dissolve };
        for (const auto &colour : { m.ambient, m.diffuse, m.specular, m.transmissionFilter })
            found.insert(found.end(), colour.begin(), colour.end());
        const std::vector<float> expected { 10, 1.5f, 0.25f, 60, 1, 0.1f, 0.2f, 0.3f, 1,
                                            0,  0,    0,     0,  0, 0.5f, 0.6f, 0.7f };
        QVERIFY(found == expected && m.illuminationModel == 2); // of two numbers of three none
        const ObjContent content = parseObj("vt 0.25 0.75\nvt 1\nv 0 0 0\nf 1/1 1 1//1");
        QCOMPARE(content.textureOf(content.corners[0]), (std::array<float, 2> { 0.25f, 0.75f }));
        QCOMPARE(content.textureOf(content.corners[1]), (std::array<float, 2> {}));
    }

    void filesThatCannotBeRead()
    {
        const QString cyrillic = save("\xD1\x84.obj", "v 1 2 3\n"); // has no Latin-1 form
        for (const QString &path :
             { cyrillic, m_folder.path(), path("no"), QStringLiteral("/dev/zero"), QString() }) {
            const LogCapture log;
            QVERIFY(readObj(path).positions.empty());
            QCOMPARE(LogCapture::lines(),
                     QStringList(QStringLiteral("can't read the shape: ") + path));
        }
        // Opened by these very bytes, however names are encoded here.
        const std::string bytes = m_folder.path().toStdString() + "/\xE9.obj";
        QVERIFY(std::rename(qPrintable(cyrillic), bytes.c_str()) == 0);
        QCOMPARE(readObj(QString::fromLatin1(bytes.c_str())).positions.size(), size_t(1));
        std::remove(bytes.c_str());
    }

    /// A cache is shown whatever the shape beside it holds, as long as it is whole.
    void caches()
    {
        using Floats = QVector<float>;
        using Indices = QVector<quint32>;
        const auto cacheOf = [](const auto &...arrays) {
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            (stream << ... << arrays);
            return bytes;
        };
        const Floats positions { 0, 0, 0, 1, 0, 0, 0.1f, 1, float(qInf()) };
        const Floats normals { 0, 0, 1, 0, 0, 1, 0, 1, 0 };
        const Indices indices { 0, 1, 2, 2, 1, 0 };
        const QByteArray whole = cacheOf(positions, normals, indices);
        const QString obj = save("a.obj", QByteArray::fromStdString(kSquare + "f 1 2 3 4 1\n"));
        const QString cache = save("a.obj_cache", whole);
        const ShapeMesh shape = loadShape(obj);
        QCOMPARE(Floats(shape.positions.begin(), shape.positions.end()), positions);
        QCOMPARE(Floats(shape.normals.begin(), shape.normals.end()), normals);
        QCOMPARE(Indices(shape.indices.begin(), shape.indices.end()), indices);
        save("a.obj_cache", cacheOf(Floats(), Floats(), Indices()));
        QVERIFY(loadShape(obj).indices.empty());

        const QByteArray huge = QByteArray(4, '\xff') + QByteArray(4000, '\0');
        QList<QByteArray> damaged { "v 1 2 3\nv 1 2 3\n",
                                    huge,
                                    QByteArray("\0\0\0\x02", 4) + QByteArray(12, '\0'), // for one
                                    cacheOf(positions, normals, Indices { 0, 1, 3 }),
                                    cacheOf(positions, normals, Indices { 0, 1 }),
                                    cacheOf(Floats(4), Floats(4), Indices()),
                                    cacheOf(positions, Floats(3), indices) };
        for (int i = 0; i < whole.size(); ++i)
            damaged << whole.left(i);
        const LogCapture log;
        for (const QByteArray &bytes : damaged) {
            save("a.obj_cache", bytes);
            QCOMPARE(loadShape(obj).indices.size(), size_t(9));
        }
        QVERIFY(QFile::remove(cache) && QDir().mkdir(cache)); // no file: nothing is said about it
        QCOMPARE(loadShape(obj).indices.size(), size_t(9));
        QCOMPARE(
            LogCapture::countContaining(QStringLiteral("can't read the shape cache: ") + cache),
            damaged.size());
    }
};

QTEST_APPLESS_MAIN(ShapesTest)
#include "ShapesTest.moc"
