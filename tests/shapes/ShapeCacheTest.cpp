#include "shapes/ShapeCache.h"

#include <QDataStream>
#include <QTemporaryDir>
#include <QVector>
#include <QtTest>

#include <limits>

namespace {

using Floats = QVector<float>;
using Indices = QVector<quint32>;

const Floats kPositions { 0, 0, 0, 1, 0, 0, 0.1f, 1, std::numeric_limits<float>::infinity() };
const Floats kNormals { 0, 0, 1, 0, 0, 1, 0, 1, 0 };
const Indices kIndices { 0, 1, 2, 2, 1, 0 };

QByteArray cacheOf(const Floats &positions, const Floats &normals, const Indices &indices)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << positions << normals << indices;
    return bytes;
}

} // namespace

class ShapeCacheTest : public QObject {
    Q_OBJECT

private slots:
    void reads();
    void refusesWhatDoesNotFit_data();
    void refusesWhatDoesNotFit();
    void survivesEveryFlippedByteAndCut();

private:
    std::optional<ShapeMesh> read(const QByteArray &bytes)
    {
        QFile file(path());
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("can't write the cache");
        file.close();
        return readShapeCache(path());
    }
    QString path() const { return m_folder.filePath(QStringLiteral("a.obj_cache")); }
    void expectRefusal()
    {
        QTest::ignoreMessage(QtDebugMsg,
                             qPrintable(QStringLiteral("can't read the shape cache: ") + path()));
    }

    QTemporaryDir m_folder;
};

void ShapeCacheTest::reads()
{
    const auto shape = read(cacheOf(kPositions, kNormals, kIndices));
    QVERIFY(shape);
    QCOMPARE(Floats(shape->positions.begin(), shape->positions.end()), kPositions);
    QCOMPARE(Floats(shape->normals.begin(), shape->normals.end()), kNormals);
    QCOMPARE(Indices(shape->indices.begin(), shape->indices.end()), kIndices);
    QVERIFY(read(cacheOf({}, {}, {})));
}

void ShapeCacheTest::refusesWhatDoesNotFit_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray huge("\xff\xff\xff\xff", 4);
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("text") << QByteArray("v 1 2 3\nv 1 2 3\n");
    QTest::newRow("claims more than the file") << huge + QByteArray(4000, '\0');
    QTest::newRow("claims one value too many")
        << QByteArray("\0\0\0\x02", 4) + QByteArray(12, '\0');
    QTest::newRow("index out of range") << cacheOf(kPositions, kNormals, { 0, 1, 3 });
    QTest::newRow("half a triangle") << cacheOf(kPositions, kNormals, { 0, 1 });
    QTest::newRow("half a corner") << cacheOf({ 1, 2, 3, 4 }, { 1, 2, 3, 4 }, {});
    QTest::newRow("normals are missing") << cacheOf(kPositions, { 0, 0, 1 }, kIndices);
}

void ShapeCacheTest::refusesWhatDoesNotFit()
{
    QFETCH(QByteArray, bytes);
    expectRefusal();
    QVERIFY(!read(bytes));
}

void ShapeCacheTest::survivesEveryFlippedByteAndCut()
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.shapes.debug=false"));
    const QByteArray whole = cacheOf(kPositions, kNormals, kIndices);
    for (int i = 0; i < whole.size(); ++i) {
        QVERIFY(!read(whole.left(i)));
        for (const int mask : { 0x01, 0x80, 0xff }) {
            QByteArray flipped = whole;
            flipped[i] = char(flipped[i] ^ mask);
            if (const auto shape = read(flipped))
                for (const std::uint32_t index : shape->indices)
                    QVERIFY(3 * size_t(index) + 2 < shape->positions.size());
        }
    }
    QLoggingCategory::setFilterRules(QString());
}

QTEST_APPLESS_MAIN(ShapeCacheTest)
#include "ShapeCacheTest.moc"
