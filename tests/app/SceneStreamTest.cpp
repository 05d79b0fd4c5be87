#include "app/ArchivePath.h"
#include "app/SceneFile.h"
#include "support/LogCapture.h"
#include "support/SceneLayout.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cfloat>
#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

size_t largestAllocation = 0;

} // namespace

// Arrays that a damaged file merely claims would show here.
void *operator new(std::size_t size)
{
    largestAllocation = std::max(largestAllocation, size);
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

namespace {

const QString kArchive = QStringLiteral("/caches/\u0440\u0443\u043a\u0430 arm.abc");
const float kInfinity = std::numeric_limits<float>::infinity();
const float kNaN = std::bit_cast<float>(quint32(0xFFC00001)); // sign and payload

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile::remove(path); // cutting it short instead would wait for the disk
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// One layer of every kind, with what is awkward spread over them. The points' w is not stored.
std::vector<LayerData> awkwardLayers()
{
    const QString names[] = { QStringLiteral("Sculpt"), QString(), QStringLiteral(""),
                              QStringLiteral("\u5f71 a\nb"), QStringLiteral("Cloth") };
    std::vector<LayerData> layers(5);
    for (int kind = 0; kind < 5; ++kind) {
        LayerData &layer = layers[size_t(kind)];
        layer.setName(names[kind]);
        layer.setKind(LayerKind(kind));
        layer.setIntensity(0.25f * float(kind));
        layer.setReserved(-7 * kind);
        layer.setSelected(kind == 3);
        layer.setTangent(kind % 2 == 0);
        layer.setIterations(10 + kind);
        layer.setCloneIterations(-kind);
        layer.setStiffness(0.7f);
        layer.setAsMuscle(0.5f);
    }
    layers[0].setBasePoints(PointArray { { 1, 2, 3, 17 }, { -0.0f, 1e-40f, kInfinity, 1 } });
    layers[0].setOffsetPoints(PointArray { { kNaN, -kInfinity, FLT_MAX, 1 } });
    layers[0].setMask(std::vector<float> { 0, 1, 0.5f, kNaN });
    layers[0].setKeys({ { 0.1, 1, true }, { -2.5, kNaN, false } });
    layers[1].setIntensity(kInfinity);
    layers[1].setMask(std::vector<float> { 0.75f });
    layers[2].setKeys({ { 1, 0, false } });
    layers[3].setDamping(kNaN);
    layers[4].setBasePoints(PointArray(20000, { 0.5f, -0.25f, 8, 1 })); // more than one piece
    layers[4].setMask(std::vector<float>(9000, 0.125f));
    return layers;
}

std::vector<const LayerData *> pointers(const std::vector<LayerData> &layers, size_t count)
{
    std::vector<const LayerData *> list;
    for (size_t i = 0; i < count; ++i)
        list.push_back(&layers[i]);
    return list;
}

QByteArray layoutOf(const std::vector<LayerData> &layers, size_t count)
{
    return SceneLayout::bytes(kArchive, pointers(layers, count));
}

/// Empty where a point's w is not 1, which no file can give.
QByteArray layoutOf(const SceneContent &content)
{
    std::vector<const LayerData *> list;
    for (const auto &layer : content.layers) {
        list.push_back(layer.get());
        for (const PointArray *points : { &layer->basePoints(), &layer->offsetPoints() })
            for (const QVector4D &point : *points)
                if (point.w() != 1.0f)
                    return QByteArray();
    }
    return SceneLayout::bytes(content.alembicPath, list);
}

} // namespace

class SceneStreamTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_layers = awkwardLayers();
        m_small = layoutOf(m_layers, 2);
    }

    /// A key's time is written as it is and read back through a float, deliberately.
    void keepsTheLayout()
    {
        QVERIFY(writeScene(path(), kArchive, pointers(m_layers, 5)));
        QVERIFY(fileBytes(path()) == layoutOf(m_layers, 5));
        const SceneContent content = readScene(path());
        m_layers[0].keys()[0].time = double(0.1f);
        QVERIFY(layoutOf(content) == layoutOf(m_layers, 5));
        QCOMPARE(content.read, SceneRead::Whole);
        QVERIFY(content.layers[1]->name().isNull() && !content.layers[2]->name().isNull());
        QVERIFY(writeScene(path(), QString(), {}));
        QVERIFY(readScene(path()).alembicPath.isNull());
    }

    /// Zeros take the place of what is missing, value by value after the arrays.
    void everyTruncationCompletesTheLayerInHand()
    {
        const LogCapture quiet;
        m_layers[0].keys().clear();
        m_small = layoutOf(m_layers, 2);
        const int head = 4 + 2 * kArchive.size() + 4, first = layoutOf(m_layers, 1).size();
        const int tail = 4 + 8 + 4 + 1 + 1 + 4 + 4 + 3 * 8;
        for (int length = 0; length < m_small.size(); ++length) {
            const SceneContent content = readBytes(m_small.left(length));
            const QByteArray read = layoutOf(content);
            QVERIFY(!read.isEmpty() && content.read != SceneRead::Whole);
            QCOMPARE(content.layers.size(), size_t((length > head) + (length > first)));
            if (length >= first) // whose record is untouched
                QCOMPARE(read.mid(head, first - head), m_small.mid(head, first - head));
            if (length < m_small.size() - tail)
                continue;
            int whole = 0; // bytes of whole values
            for (const int size : { 4, 8, 4, 1, 1, 4, 4, 8, 8, 8 }) {
                if (m_small.size() - tail + whole + size > length)
                    break;
                whole += size;
            }
            const QByteArray rest(tail - whole, '\0');
            QCOMPARE(read, m_small.left(m_small.size() - tail + whole) + rest);
        }
    }

    void hostileCounts()
    {
        const int layerCountAt = 4 + 2 * kArchive.size();
        for (int place = 0; place < 5; ++place) // layers, base points, offset points, mask, keys
            for (const char *value : { "7fffffff", "80000000" }) {
                QByteArray bytes = m_small;
                bytes.replace(layerCountAt + 4 * place, 4, QByteArray::fromHex(value));
                QTest::ignoreMessage(
                    QtDebugMsg, QRegularExpression(QStringLiteral("^the scene file is damaged")));
                largestAllocation = 0;
                const SceneContent content = readBytes(bytes);
                QVERIFY(largestAllocation < 64 * 1024);
                const size_t layers = place > 0 ? 1 : *value == '7' ? 2 : 0;
                QCOMPARE(content.layers.size(), layers);
                QVERIFY(
                    place == 0 ||
                    (content.layers[0]->damping() == 0.0f && content.layers[0]->keys().empty()));
            }
    }

    void onlyAFileIsReplaced()
    {
        const QByteArray name = QFile::encodeName(path());
        struct stat status = {};
        QVERIFY(mkfifo(name.constData(), 0600) == 0 && !writeScene(path(), QString(), {}));
        QVERIFY(stat(name.constData(), &status) == 0 && S_ISFIFO(status.st_mode));
    }

    void saveKeepsLinkAndPermissions()
    {
        const QString target = m_folder->filePath(QStringLiteral("target.pxm"));
        writeBytes(target, "old");
        const auto permissions = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther;
        QVERIFY(QFile::setPermissions(target, permissions));
        QVERIFY(QFile::link(target, path()));
        QVERIFY(writeScene(path(), QStringLiteral("untitled"), {}));
        QVERIFY(QFileInfo(path()).isSymLink());
        QCOMPARE(fileBytes(target).size(), 24);
        QCOMPARE(QFile::permissions(target) & ~(QFile::ReadUser | QFile::WriteUser), permissions);
        QCOMPARE(fileCount(), 2);
    }

    void saveKeepsWhatNobodyHasSeen()
    {
        const QByteArray first[] = { m_small.chopped(1), m_small + 'x', m_small };
        const QByteArray replaced[] = { first[0], first[1], "another program's" };
        const char *const asides[] = { "~", "~2", "~3" };
        for (int row = 0; row < 3; ++row) {
            writeBytes(path(), first[row]);
            SceneFile file;
            QCOMPARE(file.read(path()).read == SceneRead::Whole, row == 2);
            writeBytes(path(), replaced[row]);
            for (int save = 0; save < 2; ++save) // only the first finds something to keep
                QVERIFY(file.write(path(), QStringLiteral("untitled"), {}));
            QCOMPARE(fileBytes(path() + QLatin1String(asides[row])), replaced[row]);
            QCOMPARE(fileCount(), row + 2);
        }
    }

    void aMovedSceneFindsItsCache()
    {
        const QString stored = QStringLiteral("/gone/show/caches/v2/arm.abc");
        QCOMPARE(findArchive(stored, path()), stored);
        // Each is preferred to those before it.
        for (const char *place : { "v2/arm.abc", "caches/v2/arm.abc", "arm.abc" }) {
            const QString found = m_folder->filePath(QLatin1String(place));
            QVERIFY(QDir().mkpath(QFileInfo(found).path()));
            writeBytes(found, "cache");
            QCOMPARE(findArchive(stored, path()), found);
        }
    }

    /// From the start, midway, and at the last bytes.
    void fullDiskLeavesTheOldScene()
    {
        const int size = layoutOf(m_layers, 5).size();
        rlimit whole;
        getrlimit(RLIMIT_FSIZE, &whole);
        std::signal(SIGXFSZ, SIG_IGN);
        for (const int limit : { 0, 100000, size - 20 }) {
            QVERIFY(writeScene(path(), QStringLiteral("untitled"), {}));
            const QByteArray old = fileBytes(path());
            const LogCapture log;
            const rlimit full { rlim_t(limit), whole.rlim_max };
            setrlimit(RLIMIT_FSIZE, &full);
            const bool saved = writeScene(path(), kArchive, pointers(m_layers, 5));
            setrlimit(RLIMIT_FSIZE, &whole);
            QVERIFY(!saved && log.lines().last() == QLatin1String("file saved"));
            QCOMPARE(log.lines()
                         .filter(QStringLiteral("can't save the scene: "))
                         .filter(QStringLiteral("File too large"))
                         .size(),
                     1);
            QCOMPARE(fileBytes(path()), old);
            QCOMPARE(fileCount(), 1);
        }
    }

private:
    QString path() const { return m_folder->filePath(QStringLiteral("scene.pxm")); }
    SceneContent readBytes(const QByteArray &bytes) const
    {
        writeBytes(path(), bytes);
        return readScene(path());
    }
    int fileCount() const { return QDir(m_folder->path()).entryList(QDir::Files).size(); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::vector<LayerData> m_layers;
    QByteArray m_small; ///< a scene of the first two layers
};

QTEST_GUILESS_MAIN(SceneStreamTest)
#include "SceneStreamTest.moc"
