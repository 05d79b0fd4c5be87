#include "shapes/ShapeFolder.h"

#include <QDataStream>
#include <QDir>
#include <QTemporaryDir>
#include <QVector>
#include <QtTest>

namespace {

const QByteArray kTriangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
const QByteArray kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n";

void save(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

class ShapeFolderTest : public QObject {
    Q_OBJECT

private slots:
    void cacheGoesBeforeTheShape();
};

void ShapeFolderTest::cacheGoesBeforeTheShape()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.obj"));
    const QString cache = path + QStringLiteral("_cache");
    QByteArray cached;
    QDataStream stream(&cached, QIODevice::WriteOnly);
    stream << QVector<float> { 0, 0, 0, 1, 0, 0, 0, 1, 0 } << QVector<float>(9, 0.0f)
           << QVector<quint32> { 0, 1, 2 };
    save(cache, cached);
    save(path, kSquare); // newer, and different: the cache is shown all the same
    QCOMPARE(loadShape(path).indices.size(), size_t(3));

    save(cache, cached.chopped(1));
    QTest::ignoreMessage(QtDebugMsg,
                         qPrintable(QStringLiteral("can't read the shape cache: ") + cache));
    QCOMPARE(loadShape(path).indices.size(), size_t(6));

    QVERIFY(QFile::remove(cache));
    QCOMPARE(loadShape(path).indices.size(), size_t(6));
    QVERIFY(QDir().mkdir(cache)); // no regular file: nothing is said about it
    QCOMPARE(loadShape(path).indices.size(), size_t(6));
}

QTEST_APPLESS_MAIN(ShapeFolderTest)
#include "ShapeFolderTest.moc"
