#include "support/Road.h"
#include "app/SceneStream.h"
#include "support/AppFixture.h"
#include "support/RawLayer.h"

#include <QProcess>
#include <QTemporaryDir>

/// The road with real events in the real window, and what it leaves in the scene file, byte by
/// byte.
class RoadTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void theWholeRoad();
    void theFileHoldsTheLayers();
    void aBadArchiveChangesNothing();
    void importOverLayersKeepsThem();
    void aSaveHoldsTheStrokeInFlight();
    void aScratchedSceneKeepsTheProgram();

private:
    void importThroughTheDialog(const QString &path);

    AppFixture m_app;
    QTemporaryDir m_folder;
    QString m_archive;
    QString m_scene;
};

void RoadTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    QVERIFY(m_folder.isValid());
    m_archive = m_folder.filePath(QStringLiteral("sample.abc"));
    m_scene = m_folder.filePath(QStringLiteral("scène ok.pxm"));
    const QString tool = QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
    QCOMPARE(QProcess::execute(tool, { m_archive }), 0);
}

void RoadTest::theWholeRoad()
{
    Road road(m_archive, m_scene);
    for (const Road::Station &station :
         { road.importArchive(), road.play(), road.scrub(10), road.addLayer(), road.stroke(),
           road.ride(30), road.undoAndRedo(), road.save(), road.newScene(), road.open(30) })
        QVERIFY2(station.good, qPrintable(station.name + QStringLiteral(": ") + station.checked));
}

void RoadTest::theFileHoldsTheLayers()
{
    QVERIFY(Global::currentLayer()); // the selection came back with the scene
    LayerData layer = *Global::currentLayer()->data();
    // Key times are read back through a float; the file holds what was written.
    for (LayerKey &key : layer.keys())
        key.time = 10.0 / 24.0;
    QFile file(m_scene);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == SceneBytesWriter::write({ m_archive, { rawLayer(layer) } }));
}

void RoadTest::importThroughTheDialog(const QString &path)
{
    Driver::answerFileDialog(path);
    Driver::key(Global::mainWindow(), Qt::Key_I, Qt::ControlModifier);
}

void RoadTest::aBadArchiveChangesNothing()
{
    const QString bad = m_folder.filePath(QStringLiteral("bad.abc"));
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArrayLiteral("Ogawa\xff\0\1 but nothing behind it"));
    file.close();

    const int vertices = Global::mesh()->vertexCount();
    const QImage before = Global::viewport()->grabFramebuffer();
    const QString title = Global::mainWindow()->windowTitle();
    importThroughTheDialog(bad);
    QCOMPARE(Global::mesh()->vertexCount(), vertices);
    QCOMPARE(Global::layers().size(), size_t(1));
    QCOMPARE(Global::alembicPath(), m_archive);
    QCOMPARE(Global::mainWindow()->windowTitle(), title);
    QVERIFY(Global::alembic()->isValid());
    Global::evaluateLayers(true); // the earlier archive still answers
    QVERIFY(Global::viewport()->grabFramebuffer() == before);
}

void RoadTest::importOverLayersKeepsThem()
{
    const PointArray offsets = Global::currentLayer()->data()->offsetPoints();
    importThroughTheDialog(m_archive);
    QCOMPARE(Global::layers().size(), size_t(1));
    QVERIFY(Global::currentLayer()->data()->offsetPoints() == offsets);
}

void RoadTest::aSaveHoldsTheStrokeInFlight()
{
    constexpr int kStandard = 2;
    Road::chooseBrush(kStandard);
    const PointArray before = Global::currentLayer()->data()->offsetPoints();
    const QPoint at = Road::pixelOnMesh();
    Driver::mouse(QTest::MousePress, Global::viewport(), at, Qt::LeftButton);
    Driver::mouse(QTest::MouseMove, Global::viewport(), at + QPoint(30, 0), Qt::NoButton);
    Driver::key(Global::mainWindow(), Qt::Key_S, Qt::ControlModifier);
    const PointArray held = readScene(m_scene).layers.at(0)->offsetPoints();
    QVERIFY(held != before);
    Driver::mouse(QTest::MouseRelease, Global::viewport(), at + QPoint(30, 0), Qt::LeftButton);
    QVERIFY(Global::currentLayer()->data()->offsetPoints() == held);
}

void RoadTest::aScratchedSceneKeepsTheProgram()
{
    // A scene whose archive has gone, and one that is cut in the middle of its points.
    QFile file(m_scene);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    const QString cut = m_folder.filePath(QStringLiteral("cut.pxm"));
    QFile cutFile(cut);
    QVERIFY(cutFile.open(QIODevice::WriteOnly));
    cutFile.write(whole.left(whole.size() / 2));
    cutFile.close();

    Driver::answerFileDialog(cut);
    Driver::key(Global::mainWindow(), Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(Global::layers().size(), size_t(1));
    Global::evaluateLayers(true);

    QVERIFY(QFile::remove(m_archive));
    Driver::answerFileDialog(m_scene);
    Driver::key(Global::mainWindow(), Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(Global::layers().size(), size_t(1));
    QCOMPARE(Global::mesh()->vertexCount(), 0);
    Driver::click(Global::viewport()); // nothing to hit
}

PLEXMOLD_TEST_MAIN(RoadTest)
#include "RoadTest.moc"
