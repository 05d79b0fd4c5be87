#include "gpu/GPUMesh.h"
#include "layers/Envelope.h"
#include "layers/Layer.h"
#include "layers/Topology.h"
#include "support/AppFixture.h"
#include "support/Archives.h"
#include "support/PanelHands.h"
#include "timeline/RangeSlider.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"

#include <QTemporaryDir>

#include <limits>

using WriteArchive = void (*)(const QString &);
Q_DECLARE_METATYPE(WriteArchive)

namespace {

using archives::Writer;
constexpr int kLast = std::numeric_limits<int>::max();

void writeCube(const QString &path, double start, double fps)
{
    const archives::Shape cube = archives::cube();
    Writer writer(path, start, fps);
    writer.mesh(writer.top(), "cube", cube, { archives::moved(cube.points, { 1, 0, 0 }) });
}

void writeGrid(const QString &path)
{
    Writer writer(path);
    writer.mesh(writer.top(), "grid", archives::grid(40));
}

} // namespace

/// Archives that are odd but readable, imported over a scene with a mesh and layers.
class ImportTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { SKIP_WITHOUT_GL(m_app); }
    void theNewArchiveReplacesTheMesh_data();
    void theNewArchiveReplacesTheMesh();
    void layersSayWhetherTheyFit();
    void unreadableFacesKeepTheScene();

private:
    void import(const QString &path);
    void useEverything() const;

    AppFixture m_app;
    QTemporaryDir m_folder;
};

void ImportTest::import(const QString &path)
{
    Driver::answerFileDialog(path);
    Driver::key(Global::mainWindow(), Qt::Key_I, Qt::ControlModifier);
    QCOMPARE(Global::alembicPath(), path);
}

/// What an artist may do next.
void ImportTest::useEverything() const
{
    Timeline &timeline = *Global::timeline();
    for (const int frame : { timeline.minFrame(), timeline.maxFrame(), 1 })
        timeline.setCurrentFrame(frame);
    timeline.playPause();
    for (int tick = 0; tick < 3; ++tick)
        timeline.timeFoward();
    timeline.playPause();
    Global::layers().front()->select();
    Driver::key(Global::viewport(), Qt::Key_F);
    const QPoint middle = Global::viewport()->rect().center();
    Driver::drag(Global::viewport(), middle, middle + QPoint(30, 0), 3);
    Driver::drag(&timeline, QPoint(5, 50), QPoint(timeline.width() - 5, 50), 3);
    Global::mainWindow()->saveMorphTarget();
    QVERIFY(!Global::mainWindow()->grab().isNull());
}

void ImportTest::theNewArchiveReplacesTheMesh_data()
{
    QTest::addColumn<WriteArchive>("write");
    QTest::addColumn<int>("vertices");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    const auto row = [](const char *name, int vertices, int first, int last, WriteArchive write) {
        QTest::newRow(name) << write << vertices << first << last;
    };
    row("nothing at all", 0, 0, 0, [](const QString &path) { Writer { path }; });
    row("only a camera", 0, 0, 1, [](const QString &path) {
        Writer writer(path);
        writer.camera(writer.top(), "camera", { 35.0, 50.0 });
    });
    row("a mesh without points", 0, 0, 0, [](const QString &path) {
        Writer writer(path);
        writer.mesh(writer.top(), "empty", {});
    });
    row("points without faces", 8, 0, 0, [](const QString &path) {
        Writer writer(path);
        writer.mesh(writer.top(), "cloud", { archives::cube().points, {}, {} });
    });
    row("a point count that changes", 8, 0, 1, [](const QString &path) {
        Writer writer(path);
        writer.mesh(writer.top(), "cube", archives::cube(), { archives::grid(5).points });
    });
    row("below zero", 8, -48, -47, [](const QString &path) { writeCube(path, -2.0, 24.0); });
    row("at a rate of its own", 8, 30, 31, [](const QString &path) { writeCube(path, 1, 30); });
    row("far away", 8, kLast, kLast, [](const QString &path) { writeCube(path, 1e12, 24.0); });
    row("endless", 8, -kLast - 1, kLast,
        [](const QString &path) { writeCube(path, -1e12, 5e-13); });
}

void ImportTest::theNewArchiveReplacesTheMesh()
{
    QFETCH(const WriteArchive, write);
    Global::clearScene();
    QCOMPARE(Global::timeline()->framesPerSecond(), 24.0);
    const QString before = m_folder.filePath(QStringLiteral("before.abc"));
    writeCube(before, 0.0, 24.0);
    import(before);
    for (int kind = 0; kind < 5; ++kind)
        m_app.global().addLayer(kind);
    const PointArray sculpted = Global::layers().front()->data()->offsetPoints();
    QCOMPARE(int(sculpted.size()), 8);

    const QString path = m_folder.filePath(QStringLiteral("odd.abc"));
    write(path);
    import(path);
    QTEST(Global::mesh()->vertexCount(), "vertices");
    QTEST(Global::timeline()->minFrame(), "first");
    QTEST(Global::timeline()->maxFrame(), "last");
    QCOMPARE(Global::layers().size(), size_t(5));
    QVERIFY(Global::layers().front()->data()->offsetPoints() == sculpted);
    useEverything();
}

/// Made before any import, they start from the first mesh; on another one they keep their points,
/// say so and take no stroke.
void ImportTest::layersSayWhetherTheyFit()
{
    Global::clearScene();
    for (int kind = 0; kind < 5; ++kind)
        m_app.global().addLayer(kind);
    Global::layers()[1]->setIterations(2);
    const QString path = m_folder.filePath(QStringLiteral("%1.abc"));
    writeCube(path.arg(1), 0.0, 24.0);
    writeGrid(path.arg(2));
    import(path.arg(1));
    const LayerData &sculpt = *Global::layers()[0]->data(), &mush = *Global::layers()[1]->data();
    QCOMPARE(sculpt.offsetPoints().size(), size_t(8));
    QVERIFY(sculpt.offsetPoints() == sculpt.basePoints());
    QVERIFY(mush.offsetPoints() == Global::mesh()->restPoints());
    QVERIFY(mush.basePoints() != mush.offsetPoints()); // relaxed
    QCOMPARE(Global::layers()[4]->data()->basePoints().size(), size_t(8));
    const PointArray sculpted = sculpt.offsetPoints();

    Global::layers()[0]->select();
    const QPoint middle = Global::viewport()->rect().center();
    for (const bool fits : { true, false }) {
        import(path.arg(fits ? 1 : 2));
        const QString tip = PanelHands::nameLabel(Global::layers()[0])->toolTip();
        QCOMPARE(tip == QLatin1String("made for 8 points, this mesh has 1,600"), !fits);
        Driver::mouse(QTest::MousePress, Global::viewport(), middle, Qt::LeftButton);
        QCOMPARE(Global::viewport()->mode() == InteractionMode::Stroke, fits);
        Driver::mouse(QTest::MouseRelease, Global::viewport(), middle, Qt::LeftButton);
    }
    QVERIFY(sculpt.offsetPoints() == sculpted);
}

/// An archive that opens, with a block of face indices that claims more bytes than the file
/// has.
void ImportTest::unreadableFacesKeepTheScene()
{
    const QString good = m_folder.filePath(QStringLiteral("good.abc"));
    writeCube(good, 0.0, 24.0);
    import(good);
    const QString bad = m_folder.filePath(QStringLiteral("bad.abc"));
    writeCube(bad, 0.0, 24.0);
    QFile file(bad);
    QVERIFY(file.open(QIODevice::ReadWrite));
    const archives::Shape cube = archives::cube();
    const int data = file.readAll().indexOf(
        QByteArray(reinterpret_cast<const char *>(cube.faceIndices.data()), 24 * 4));
    QVERIFY(data > 24);
    file.seek(data - 24); // its size, then its digest
    file.write(QByteArray(8, '\x7f'));
    file.close();

    Driver::answerFileDialog(bad);
    Driver::key(Global::mainWindow(), Qt::Key_I, Qt::ControlModifier);
    QCOMPARE(Global::alembicPath(), good);
    QCOMPARE(Global::topology()->triangleCount(), 12);
    Global::timeline()->setCurrentFrame(1);
    QCOMPARE(Global::mesh()->readBack<QVector4D>(Semantic::kPosition).at(0),
             QVector4D(0, -1, -1, 1));
}

PLEXMOLD_TEST_MAIN(ImportTest)
#include "ImportTest.moc"
