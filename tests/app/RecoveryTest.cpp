#include "app/Recovery.h"
#include "app/SceneStream.h"
#include "support/LogCapture.h"
#include "support/Stage.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <numeric>

/// Unsaved work on disk, in the running program and after it was killed.
class RecoveryTest : public QObject {
    Q_OBJECT

    QStringList files() const { return QDir(m_folder.path()).entryList(QDir::Files); }
    QString path(const char *name) const { return m_folder.filePath(QLatin1String(name)); }

    RunningProgram m_app;
    QTemporaryDir m_folder;

private slots:
    void followsTheScene()
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
        std::vector<float> mask(300000); // more than one piece, and than is copied at once
        std::iota(mask.begin(), mask.end(), 0.0f);
        layer.data()->setMask(mask);
        QTRY_COMPARE(files().size(), 1);
        QVERIFY(files().front().startsWith(QStringLiteral("untitled-")));
        QCOMPARE(readScene(m_folder.filePath(files().front())).layers[0]->mask(), mask);

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
            QCOMPARE(readScene(path("arm.recovered.pxm")).layers[0]->mask(), mask);
            QVERIFY(QFile::copy(path("arm.recovered.pxm"), path("arm.recovered-3.pxm")));
            const LogCapture log;
            recovery->sceneOpened(path("arm.pxm")); // the other's file is in use
            QCOMPARE(LogCapture::countContaining(QStringLiteral("newer recovery file exists")), 2);
        }
        QCOMPARE(files().size(), 3); // the other ended cleanly and took its file along
        Driver::answerFileDialog(path("arm.recovered-3.pxm"));
        window.openScene();
        QCOMPARE(Global::layers().front()->data()->mask(), mask);
        QCOMPARE(files().size(), 3); // a scene left without a save stays recovered
        Global::layers().front()->data()->setIntensity(0.125f);
        QTRY_VERIFY(files().contains(QStringLiteral("arm.recovered-2.pxm")));
        recovery.reset();
        QCOMPARE(files().size(), 3);
    }

    /// By its own main(), whose log is plain lines.
    void theProgramItselfStarts()
    {
        QProcess program;
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(QCoreApplication::applicationDirPath() + QStringLiteral("/plexmold"),
                      QStringList());
        QByteArray told("\n");
        while (!told.contains("OpenGL") && program.waitForReadyRead())
            told += program.readAll();
        program.kill();
        QVERIFY2(told.contains("\nOpenGL version: ") && program.waitForFinished(), told);
    }

    void survivesKills()
    {
        const QString tools = QCoreApplication::applicationDirPath();
        const QString archive = path("sample.abc");
        QCOMPARE(QProcess::execute(tools + QStringLiteral("/make_sample"), { archive }), 0);
        QCOMPARE(QProcess::execute(tools + QStringLiteral("/kills"),
                                   { archive, QStringLiteral("2"), QStringLiteral("4") }),
                 0);
    }
};

PLEXMOLD_TEST_MAIN(RecoveryTest)
#include "RecoveryTest.moc"
