#include "app/Recovery.h"
#include "app/SceneStream.h"
#include "support/Stage.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

/// Unsaved work on disk, in the running program and after it was killed.
class RecoveryTest : public QObject {
    Q_OBJECT

private slots:
    void followsTheScene();
    void survivesKills();

private:
    QStringList files() const { return QDir(m_folder.path()).entryList(QDir::Files); }
    QString path(const char *name) const { return m_folder.filePath(QLatin1String(name)); }

    RunningProgram m_app;
    QTemporaryDir m_folder;
};

void RecoveryTest::followsTheScene()
{
    NEEDS_GL(m_app.hasGL());
    const auto intensityIn = [](const QString &scene) {
        const SceneContent content = readScene(scene);
        return content.layers.empty() ? -1.0f : content.layers.front()->intensity();
    };
    MainWindow &window = *Global::mainWindow();
    auto recovery = std::make_unique<Recovery>(m_folder.path());
    recovery->start(window);
    m_app.global().addLayer(int(LayerKind::Relax));
    Layer &layer = *Global::layers().front();
    layer.data()->setMask(std::vector<float>(40000, 0.5f)); // more than one piece
    QTRY_COMPARE(files().size(), 1);
    QVERIFY(files().front().startsWith(QStringLiteral("untitled-")));
    QCOMPARE(readScene(m_folder.filePath(files().front())).layers[0]->mask(), layer.data()->mask());

    Driver::answerFileDialog(path("arm.pxm"));
    window.saveScene();
    QTRY_COMPARE(files(), QStringList(QStringLiteral("arm.pxm")));
    layer.data()->setIntensity(0.5f);
    {
        Recovery other(m_folder.path()); // another program on the same scene
        other.start(window);
        layer.data()->setIntensity(0.25f);
        QTRY_COMPARE(intensityIn(path("arm.recovered.pxm")), 0.25f);
        QTRY_COMPARE(intensityIn(path("arm.recovered-2.pxm")), 0.25f);
        layer.data()->setIntensity(0.75f); // the arrays now come from the file before
        QTRY_COMPARE(intensityIn(path("arm.recovered.pxm")), 0.75f);
        QCOMPARE(readScene(path("arm.recovered.pxm")).read, SceneRead::Whole);
        QVERIFY(QFile::copy(path("arm.recovered.pxm"), path("arm.recovered-3.pxm")));
    }
    QCOMPARE(files().size(), 3); // the other ended cleanly and took its file along
    QTest::ignoreMessage(
        QtDebugMsg,
        qPrintable(QStringLiteral("a newer recovery file exists: ") + path("arm.recovered-3.pxm")));
    recovery->sceneOpened(path("arm.pxm"));
    Driver::answerFileDialog(path("arm.recovered-3.pxm"));
    window.openScene();
    QCOMPARE(Global::layers().front()->data()->mask().size(), size_t(40000));
    QCOMPARE(files().size(), 3); // a scene left without a save stays recovered
    Global::layers().front()->data()->setIntensity(0.125f);
    QTRY_COMPARE(files().size(), 4);
    recovery.reset();
    QCOMPARE(files().size(), 3);
}

void RecoveryTest::survivesKills()
{
    const QString tools = QCoreApplication::applicationDirPath();
    const QString archive = path("sample.abc");
    QCOMPARE(QProcess::execute(tools + QStringLiteral("/make_sample"), { archive }), 0);
    QCOMPARE(QProcess::execute(tools + QStringLiteral("/kills"),
                               { archive, QStringLiteral("2"), QStringLiteral("4") }),
             0);
}

PLEXMOLD_TEST_MAIN(RecoveryTest)
#include "RecoveryTest.moc"
