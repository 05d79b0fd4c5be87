#include "shapes/ObjReader.h"

#include "shapes/PlainObj.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <bit>
#include <clocale>
#include <cmath>
#include <random>

namespace {

const std::string kSquare = "v 0 0 0\nv 2 0 0\nv 2 2 0\nv 0 2 0\n";

std::vector<float> expanded(const ShapeMesh &shape, const std::vector<float> &values)
{
    std::vector<float> corners;
    for (const std::uint32_t index : shape.indices)
        corners.insert(corners.end(), &values[3 * index], &values[3 * index] + 3);
    return corners;
}

std::vector<float> trianglesOf(const std::string &text)
{
    const ShapeMesh shape = buildShape(parseObj(text));
    return expanded(shape, shape.positions);
}

// What holds for every shape, however broken its file.
bool sound(const ShapeMesh &shape)
{
    const size_t corners = shape.positions.size() / 3;
    for (const std::uint32_t index : shape.indices)
        if (index >= corners)
            return false;
    for (size_t i = 0; i < shape.normals.size(); i += 3) {
        const float *n = &shape.normals[i];
        const float length = std::hypot(n[0], n[1], n[2]);
        if (!(std::abs(length - 1.0f) <= 1e-5f) && length != 0.0f)
            return false;
    }
    return shape.positions.size() == 3 * corners && shape.normals.size() == 3 * corners &&
        shape.indices.size() % 3 == 0;
}

// By bits, as the points may be NaN.
bool agrees(const std::string &text)
{
    const auto sameBits = [](float x, float y) {
        return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
    };
    const ShapeMesh shape = buildShape(parseObj(text));
    const std::vector<float> points = expanded(shape, shape.positions);
    const std::vector<float> plain = PlainObj(text).triangles;
    return sound(shape) &&
        std::equal(points.begin(), points.end(), plain.begin(), plain.end(), sameBits);
}

void save(const QString &path, const QByteArray &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

} // namespace

class ObjReaderTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { std::setlocale(LC_ALL, "C"); } // the plain reader needs it
    void positionLines_data();
    void positionLines();
    void faceLines_data();
    void faceLines();
    void longLines();
    void cornersAreSharedWhereTheyAgree();
    void normalsAreCompleted();
    void materialLibraries();
    void filesThatCannotBeRead();
    void randomText();
};

void ObjReaderTest::positionLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("count");
    QTest::newRow("plain") << QByteArray("v 1 2 3") << 1;
    QTest::newRow("CRLF, tabs, more numbers") << QByteArray("v\t1 \t2 3 4 5\r\nv 1 2 3\r") << 2;
    QTest::newRow("missing number") << QByteArray("v 1 2\nv\nv \nv 1 x 3") << 0;
    QTest::newRow("no blank behind the letter") << QByteArray("v1 2 3\nvnan 2 3") << 2;
    QTest::newRow("indented") << QByteArray(" v 1 2 3") << 0;
    QTest::newRow("comments and empty lines") << QByteArray("#v 1 2 3\n\n\r\n# \nv 1 2 3 # x") << 1;
    QTest::newRow("other keys") << QByteArray("vp 1 2 3\nvt 1 2 3\nvn 1 2 3\nV 1 2 3\ng v 1 2 3")
                                << 0;
    QTest::newRow("a NUL ends its line") << QByteArray("v 1 2\0 3\nv 1 2 3\0 4", 20) << 1;
    QTest::newRow("a number does not go over to the next line") << QByteArray("v 1 2\n3") << 0;
}

void ObjReaderTest::positionLines()
{
    QFETCH(QByteArray, line);
    QTEST(int(parseObj(line.toStdString()).positions.size()), "count");
}

void ObjReaderTest::faceLines_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<int>("triangles");
    QTest::newRow("triangle") << QByteArray("f 1 2 3") << 1;
    QTest::newRow("fan") << QByteArray("f 1 2 3 4") << 2;
    QTest::newRow("counted from the end") << QByteArray("f -4 -3 -2 -1") << 2;
    QTest::newRow("blanks, tabs, CR") << QByteArray("f\t1   2 \t 3 \r\n") << 1;
    QTest::newRow("one and two corners") << QByteArray("f 1\nf 1 2\nf\nf \nf x y z") << 0;
    QTest::newRow("corners without a number") << QByteArray("f 1 / 2 # 3 /4") << 1;
    QTest::newRow("no blank") << QByteArray("f1 2 3") << 0;
    QTest::newRow("zero") << QByteArray("f 0 1 2") << 0;
    QTest::newRow("past the end") << QByteArray("f 1 2 5\nf 1 2 -5") << 0;
    QTest::newRow("the other faces stay") << QByteArray("f 1 2 5\nf 1 2 3") << 1;
    QTest::newRow("forward reference") << QByteArray("f 1 2 5\nv 1 1 1") << 1;
    QTest::newRow("texture or normal that is not there")
        << QByteArray("f 1/1 2 3\nf 1 2/1/1 3") << 0;
    QTest::newRow("empty texture hides a bad normal") << QByteArray("f 1//9 2//9 3//9") << 1;
    QTest::newRow("overflow") << QByteArray("f 4294967297 2 3\nf -99999999999 2 3") << 0;
    QTest::newRow("a NUL ends the line") << QByteArray("f 1 2\0 3", 8) << 0;
}

void ObjReaderTest::faceLines()
{
    QFETCH(QByteArray, lines);
    QTEST(int(trianglesOf(kSquare + lines.toStdString()).size() / 9), "triangles");
}

void ObjReaderTest::longLines()
{
    // The 256th byte still counts, the 257th no more, and what is cut is no line of its own.
    const auto faceEndingAt = [](int bytes) {
        return kSquare + "f 1 2 3" + std::string(size_t(bytes - 8), ' ') + "4 4 4 4 4\nf 1 2 3\n";
    };
    QCOMPARE(trianglesOf(faceEndingAt(256)).size(), size_t(9 * 3));
    QCOMPARE(trianglesOf(faceEndingAt(257)).size(), size_t(9 * 2));
    const std::string cutNumber = "v 1 2 " + std::string(247, '0') + "123" + std::string(44, '9');
    QCOMPARE(cutNumber.size(), size_t(300));
    const ObjContent content = parseObj(cutNumber + "\nv 4 5 6");
    QCOMPARE(content.positions.size(), size_t(2));
    QCOMPARE(content.positions[0][2], 123.0f);
}

void ObjReaderTest::cornersAreSharedWhereTheyAgree()
{
    const std::string normals = "vn 0 0 1\nvn 0 0 5\nvn 0 1 0\nvt 0 0\nvt 1 1\n";
    const auto cornerCount = [&](const std::string &faces) {
        const ShapeMesh shape = buildShape(parseObj(kSquare + normals + faces));
        return shape.positions.size() / 3;
    };
    QCOMPARE(cornerCount("f 1 2 3\nf 1 3 4"), size_t(4)); // flat: both faces have one normal
    QCOMPARE(cornerCount("f 1/1/1 2/1/1 3/1/1\nf 1/2/1 3/2/1 4/2/1"), size_t(4));
    QCOMPARE(cornerCount("f 1/1/1 2/1/1 3/1/1\nf 1/1/3 3/1/3 4/1/3"), size_t(6));
    QCOMPARE(cornerCount("f 1/1/1 2/1/1 3/1/1\nf 1/1/2 3/1/2 4/1/2"),
             size_t(4)); // once of unit length
}

void ObjReaderTest::normalsAreCompleted()
{
    const std::string text = kSquare + "vn 3 0 0\nvn 0 0 0\nvn nan 0 0\nvn 1e30 1e30 0\nvt 0 0\n" +
        "f 1/1/1 2 3/1/2\nf 1/1/3 3/1/4 4\nf 1 1 2\nv nan 0 0\nf 1 2 5\n";
    const ShapeMesh shape = buildShape(parseObj(text));
    const float half = std::sqrt(0.5f);
    const std::vector<float> expected {
        1, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 1, half, half, 0, 0, 0, 1,
        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0, 0, 0, 0
    };
    const std::vector<float> normals = expanded(shape, shape.normals);
    QCOMPARE(normals.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i)
        QVERIFY2(std::abs(normals[i] - expected[i]) <= 1e-6f, std::to_string(i).c_str());

    const ObjContent content = parseObj("vt 0.25 0.75\nvt 1\nv 0 0 0\nf 1/1 1 1//1");
    QCOMPARE(content.textureCoordinates.size(), size_t(1));
    QCOMPARE(content.textureOf(content.corners[0]), (std::array<float, 2> { 0.25f, 0.75f }));
    QCOMPARE(content.textureOf(content.corners[1]), (std::array<float, 2> { 0.0f, 0.0f }));
    QCOMPARE(content.corners[2].normal, int(ObjCorner::kMissing));
}

void ObjReaderTest::materialLibraries()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("sub")));
    save(
        folder.filePath(QStringLiteral("sub/lib.mtl")),
        "Ka 9 9 9\nnewmtl first\nKa .1 .2 .3\r\nKd 1 0 0\nKs 1 1\nKx 1 1 1\nK\nNs 10\nNi1.5\nNx 3\n"
        "Tf .5 .6 .7\nd 0.25\nillum 2\nsharpness 60\n\nnewmtl\n#newmtl x\nnewmtl second\nd x\n");
    save(folder.filePath(QStringLiteral("shape.obj")),
         "mtllib missing.mtl\nmtllib sub/lib.mtl\n" + QByteArray::fromStdString(kSquare));
    QTest::ignoreMessage(QtDebugMsg,
                         qPrintable(QStringLiteral("can't read the material library: ") +
                                    folder.filePath(QStringLiteral("missing.mtl"))));
    const ObjContent content = readObj(folder.filePath(QStringLiteral("shape.obj")));
    QCOMPARE(content.positions.size(), size_t(4));
    QCOMPARE(content.materials.size(), size_t(2));
    const ObjMaterial &first = content.materials[0];
    QCOMPARE(first.name, std::string("first"));
    QCOMPARE(first.ambient, (std::array<float, 3> { 0.1f, 0.2f, 0.3f }));
    QCOMPARE(first.diffuse, (std::array<float, 3> { 1, 0, 0 }));
    QCOMPARE(first.specular, (std::array<float, 3> {})); // two numbers of three: none is taken
    QCOMPARE(first.transmissionFilter, (std::array<float, 3> { 0.5f, 0.6f, 0.7f }));
    QCOMPARE(first.specularExponent, 10.0f);
    QCOMPARE(first.opticalDensity, 1.5f);
    QCOMPARE(first.dissolve, 0.25f);
    QCOMPARE(first.illuminationModel, 2);
    QCOMPARE(first.sharpness, 60.0f);
    QCOMPARE(content.materials[1].dissolve, 1.0f);
}

void ObjReaderTest::filesThatCannotBeRead()
{
    QTemporaryDir folder;
    const QString cyrillic = folder.filePath(QString::fromUtf8("\xD1\x84.obj"));
    save(cyrillic, "v 1 2 3\n"); // exists, but has no Latin-1 form
    for (const QString &path : { cyrillic, folder.path(), folder.filePath(QStringLiteral("no")),
                                 QStringLiteral("/dev/zero"), QString() }) {
        QTest::ignoreMessage(QtDebugMsg,
                             qPrintable(QStringLiteral("can't read the shape: ") + path));
        QVERIFY(readObj(path).positions.empty());
    }
    // Opened by these very bytes, however names are encoded here.
    const std::string bytes = folder.path().toStdString() + "/\xE9.obj";
    FILE *file = std::fopen(bytes.c_str(), "wb");
    QVERIFY(file);
    std::fputs("v 1 2 3\n", file);
    std::fclose(file);
    QCOMPARE(readObj(folder.path() + QString::fromLatin1("/\xE9.obj")).positions.size(), size_t(1));
    std::remove(bytes.c_str());
}

void ObjReaderTest::randomText()
{
    std::mt19937 random(8);
    const char *const words[] = {
        "v ",       "v",       "vn ",      "vt ",  "f ",     "f\t",    "\n",
        "\n",       "\n",      "\r\n",     " ",    " 1",     " 2",     " -1",
        "/",        "//",      "3",        "1e9",  "nan",    ".",      "-",
        "#",        "usemtl ", "mtllib x", "\x80", " 1 2 3", " 1 2 3", " 1/1/1 2/2/2 3/3/3",
        " 0.5 4 -7"
    };
    for (int i = 0; i < 3000; ++i) {
        std::string text;
        for (unsigned word = random() % 200; word > 0; --word)
            text += words[random() % std::size(words)];
        QVERIFY2(agrees(text), text.c_str());
        std::string bytes(random() % 400, ' ');
        for (char &byte : bytes)
            byte = char(random());
        QVERIFY(agrees(bytes));
        QVERIFY(sound(buildShape(parseObj(text + bytes + text))));
        parseMtl(text + bytes);
    }
}

QTEST_APPLESS_MAIN(ObjReaderTest)
#include "ObjReaderTest.moc"
