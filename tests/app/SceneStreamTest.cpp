#include "app/SceneFile.h"
#include "support/RawLayer.h"

#include <QDataStream>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cfloat>
#include <cstdlib>
#include <random>
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

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::bit_cast<double>(quint64(0xFFF8000020000000)); // sign and payload

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// One layer of every kind, with what is awkward spread over them.
RawScene awkwardScene()
{
    RawScene scene;
    scene.alembicPath = QStringLiteral("/caches/\u0440\u0443\u043a\u0430 arm.abc");
    const QString names[] = { QStringLiteral("Sculpt"), QString(), QStringLiteral(""),
                              QStringLiteral("\u5f71 a\nb"), QStringLiteral("Cloth") };
    for (int kind = 0; kind < 5; ++kind) {
        RawLayer layer;
        layer.name = names[kind];
        layer.type = kind;
        layer.intensity = 0.25 * kind;
        layer.reserved = -7 * kind;
        layer.selected = kind == 3;
        layer.tangent = kind % 2 == 0;
        layer.iterations = 10 + kind;
        layer.cloneIterations = -kind;
        layer.damping = double(0.3f);
        layer.stiffness = double(0.7f);
        layer.asMuscle = 0.5;
        scene.layers.push_back(layer);
    }
    scene.layers[0].basePoints = { { 1, 2, 3 }, { -0.0, double(1e-40f), kInfinity } };
    scene.layers[0].offsetPoints = { { { kNaN, -kInfinity, double(FLT_MAX) } } };
    scene.layers[0].mask = { 0, 1, 0.5, kNaN };
    scene.layers[0].keys = { { double(0.1f), 1, true }, { -2.5, kNaN, false } };
    scene.layers[1].intensity = kInfinity;
    scene.layers[2].keys = { { 1, 0, false } };
    scene.layers[3].damping = kNaN;
    scene.layers[4].basePoints.assign(20000, { 0.5, -0.25, 8 }); // more than one piece
    scene.layers[4].mask.assign(9000, 0.125);
    return scene;
}

RawScene smallScene()
{
    RawScene scene = awkwardScene();
    scene.layers.resize(2);
    scene.layers[1].mask = { 0.75 };
    return scene;
}

RawScene rawScene(const SceneContent &content)
{
    RawScene scene { content.alembicPath, {} };
    for (const auto &layer : content.layers)
        scene.layers.push_back(rawLayer(*layer));
    return scene;
}

std::vector<const LayerData *> pointers(const SceneContent &content)
{
    std::vector<const LayerData *> layers;
    for (const auto &layer : content.layers)
        layers.push_back(layer.get());
    return layers;
}

bool everyWIsOne(const SceneContent &content)
{
    const auto isOne = [](const QVector4D &point) { return point.w() == 1.0f; };
    return std::all_of(content.layers.begin(), content.layers.end(), [&](const auto &layer) {
        return std::all_of(layer->basePoints().begin(), layer->basePoints().end(), isOne) &&
            std::all_of(layer->offsetPoints().begin(), layer->offsetPoints().end(), isOne);
    });
}

} // namespace

class SceneStreamTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void readsTheLayout();
    void writesTheLayout();
    void keyTimeGoesThroughAFloat();
    void everyTruncationCompletesTheLayerInHand();
    void hostileCounts_data();
    void hostileCounts();
    void mutationsNeverCrash();
    void failedSaveSaysWhy();
    void saveKeepsLinkAndPermissions();
    void saveKeepsWhatNobodyHasSeen();
    void killedSaveLeavesAWholeScene();
    void fullDiskLeavesTheOldScene_data();
    void fullDiskLeavesTheOldScene();

private:
    QString path() const { return m_folder->filePath(QStringLiteral("scene.pxm")); }
    SceneContent readBytes(const QByteArray &bytes) const
    {
        writeBytes(path(), bytes);
        return readScene(path());
    }
    QString saverProgram() const
    {
        return QCoreApplication::applicationDirPath() + QStringLiteral("/SceneSaver");
    }
    int fileCount() const { return QDir(m_folder->path()).entryList(QDir::Files).size(); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void SceneStreamTest::init() { m_folder = std::make_unique<QTemporaryDir>(); }

void SceneStreamTest::cleanup() { QLoggingCategory::setFilterRules(QString()); }

void SceneStreamTest::readsTheLayout()
{
    const QByteArray golden = SceneBytesWriter::write(awkwardScene());
    const SceneContent content = readBytes(golden);
    QCOMPARE(content.layers.size(), size_t(5));
    QVERIFY(content.layers[1]->name().isNull());
    QVERIFY(!content.layers[2]->name().isNull());
    QVERIFY(everyWIsOne(content));
    QVERIFY(SceneBytesWriter::write(rawScene(content)) == golden);
}

void SceneStreamTest::writesTheLayout()
{
    SceneContent content = readBytes(SceneBytesWriter::write(awkwardScene()));
    PointArray points = content.layers[0]->basePoints();
    points[0].setW(17.0f); // not stored
    content.layers[0]->setBasePoints(points);
    QVERIFY(writeScene(path(), content.alembicPath, pointers(content)));

    const QByteArray written = fileBytes(path());
    QVERIFY(written == SceneBytesWriter::write(awkwardScene()));
    SceneBytesReader reader(written);
    const RawScene parsed = reader.read();
    QVERIFY(reader.atEnd() && !reader.ranOver());
    QCOMPARE(parsed.alembicPath, awkwardScene().alembicPath);
    QCOMPARE(parsed.layers[3].name, awkwardScene().layers[3].name);
    QCOMPARE(parsed.layers[4].basePoints.back()[2], 8.0);
    QVERIFY(std::isnan(parsed.layers[3].damping));
}

void SceneStreamTest::keyTimeGoesThroughAFloat()
{
    LayerData layer;
    layer.setKeys({ { 0.1, 0.1f, true } });
    QVERIFY(writeScene(path(), QString(), { &layer }));
    QCOMPARE(SceneBytesReader(fileBytes(path())).read().layers[0].keys[0].time, 0.1);
    const SceneContent content = readScene(path());
    QVERIFY(content.alembicPath.isNull());
    QVERIFY(content.layers[0]->keys()[0] == (LayerKey { double(0.1f), 0.1f, true }));
}

void SceneStreamTest::everyTruncationCompletesTheLayerInHand()
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.app.debug=false"));
    const QByteArray whole = SceneBytesWriter::write(smallScene());
    for (int length = 0; length < whole.size(); ++length) {
        const SceneContent content = readBytes(whole.left(length));
        const RawScene expected = SceneBytesReader(whole.left(length)).read();
        QVERIFY2(SceneBytesWriter::write(rawScene(content)) == SceneBytesWriter::write(expected),
                 qPrintable(QString::number(length)));
        QVERIFY(everyWIsOne(content));
    }
    // The last eight bytes are the second layer's asMuscle: only that is lost.
    const SceneContent content = readBytes(whole.left(whole.size() - 1));
    QCOMPARE(content.layers.size(), size_t(2));
    QCOMPARE(content.layers[1]->asMuscle(), 0.0f);
    QCOMPARE(content.layers[1]->stiffness(), 0.7f);
}

void SceneStreamTest::hostileCounts_data()
{
    QTest::addColumn<int>("offset"); // from the layer count on
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("layers");
    const QByteArray huge = QByteArray::fromHex("7fffffff"),
                     minus = QByteArray::fromHex("80000000");
    const QByteArray places[] = { "layers", "base points", "offset points", "mask", "keys" };
    for (int place = 0; place < 5; ++place) {
        QTest::newRow(places[place] + " huge") << 4 * place << huge << (place ? 1 : 2);
        QTest::newRow(places[place] + " negative") << 4 * place << minus << (place ? 1 : 0);
    }
}

void SceneStreamTest::hostileCounts()
{
    QFETCH(int, offset);
    QFETCH(QByteArray, value);
    QFETCH(int, layers);
    QByteArray bytes = SceneBytesWriter::write(smallScene());
    const int layerCountAt = 4 + 2 * smallScene().alembicPath.size();
    bytes.replace(layerCountAt + offset, 4, value);
    QTest::ignoreMessage(QtDebugMsg,
                         QRegularExpression(QStringLiteral("^the scene file is damaged")));
    largestAllocation = 0;
    const SceneContent content = readBytes(bytes);
    QVERIFY(largestAllocation < 64 * 1024);
    QCOMPARE(int(content.layers.size()), layers);
    if (offset > 0) {
        QCOMPARE(content.layers[0]->damping(), 0.0f);
        QVERIFY(content.layers[0]->keys().empty());
    }
}

void SceneStreamTest::mutationsNeverCrash()
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.app.debug=false"));
    const QByteArray whole = SceneBytesWriter::write(smallScene());
    std::mt19937 random(20);
    largestAllocation = 0;
    for (int round = 0; round < 10000; ++round) {
        QByteArray bytes = whole;
        const int changes = 1 + int(random() % 8);
        for (int i = 0; i < changes; ++i) {
            const quint32 bits = random();
            const char extremes[] = { '\0', '\x7f', '\xff', char(bits >> 8) };
            bytes[int(random() % quint32(bytes.size()))] = extremes[bits % 4];
        }
        const SceneContent content = readBytes(bytes);
        QVERIFY(content.layers.size() < 100);
    }
    QVERIFY(largestAllocation < 64 * 1024);
}

void SceneStreamTest::failedSaveSaysWhy()
{
    const QString missing = m_folder->filePath(QStringLiteral("none/scene.pxm"));
    QTest::ignoreMessage(QtDebugMsg,
                         QRegularExpression(QStringLiteral("^can't save the scene: .+")));
    QTest::ignoreMessage(QtDebugMsg, "file saved");
    QVERIFY(!writeScene(missing, QString(), {}));

    const QByteArray pipe = QFile::encodeName(path());
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    QVERIFY(!writeScene(path(), QString(), {}));
    struct stat status = {};
    QCOMPARE(stat(pipe.constData(), &status), 0);
    QVERIFY(S_ISFIFO(status.st_mode));
}

void SceneStreamTest::saveKeepsLinkAndPermissions()
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

void SceneStreamTest::saveKeepsWhatNobodyHasSeen()
{
    const QByteArray whole = SceneBytesWriter::write(smallScene());
    const QByteArray first[] = { whole.left(whole.size() - 1), whole + 'x', whole };
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

void SceneStreamTest::killedSaveLeavesAWholeScene()
{
    std::mt19937 random(3);
    int midway = 0;
    for (int round = 0; round < 200; ++round) {
        QProcess saver;
        saver.setStandardErrorFile(QProcess::nullDevice());
        saver.start(saverProgram(), { path() });
        QByteArray told;
        while (!told.contains("saved")) {
            QVERIFY(saver.waitForReadyRead());
            told += saver.readAll();
        }
        QTest::qSleep(1 + int(random() % 8));
        saver.kill();
        saver.waitForFinished();
        midway += (told + saver.readAll()).endsWith("saving\n");

        SceneBytesReader reader(fileBytes(path()));
        const RawScene scene = reader.read();
        QVERIFY(reader.atEnd() && !reader.ranOver());
        QCOMPARE(scene.layers.size(), size_t(1));
        QCOMPARE(scene.layers[0].name, scene.alembicPath);
        const int turn = scene.alembicPath == QLatin1String("turn 1") ? 1 : 0;
        QCOMPARE(scene.layers[0].basePoints.size(), size_t(8000 + 4000 * turn));
        QCOMPARE(scene.layers[0].basePoints.back()[0], double(turn));
    }
    QVERIFY2(midway > 20, qPrintable(QString::number(midway)));
}

void SceneStreamTest::fullDiskLeavesTheOldScene_data()
{
    QTest::addColumn<QString>("limit");
    QTest::newRow("from the start") << QStringLiteral("0");
    QTest::newRow("midway") << QStringLiteral("100000");
    QTest::newRow("at the last bytes") << QStringLiteral("288100");
}

void SceneStreamTest::fullDiskLeavesTheOldScene()
{
    QFETCH(QString, limit);
    QVERIFY(writeScene(path(), QStringLiteral("untitled"), {}));
    const QByteArray old = fileBytes(path());
    QProcess saver;
    saver.setProcessChannelMode(QProcess::MergedChannels);
    saver.start(saverProgram(), { path(), limit });
    QVERIFY(saver.waitForFinished());
    QCOMPARE(saver.exitCode(), 1);
    const QByteArray output = saver.readAll();
    QVERIFY2(output.contains("can't save the scene: " + QFile::encodeName(path())), output);
    QVERIFY2(output.contains("File too large") && output.contains("file saved"), output);
    QCOMPARE(fileBytes(path()), old);
    QCOMPARE(fileCount(), 1);
}

QTEST_GUILESS_MAIN(SceneStreamTest)
#include "SceneStreamTest.moc"
