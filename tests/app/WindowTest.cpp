#include "app/Licence.h"
#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
#include "layers/Outliner.h"
#include "shapes/ShapeBrowser.h"
#include "support/LogCapture.h"
#include "support/Stage.h"

#include <QDialog>
#include <QDir>
#include <QMenuBar>
#include <QScrollBar>
#include <QSlider>
#include <QTreeWidget>

/// The main window's questions and dialogs, and what a person's No does to the work.
class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        NEEDS_GL(m_stage.hasGL());
        // What a program starts with.
        const OrbitCamera &camera = Stage::view()->camera();
        const PlateSettings plate = Global::imagePlane()->settings();
        const Timeline &ruler = Stage::ruler();
        QCOMPARE((QVector<float> { Global::brushStrength(), Global::globalEnvelope(), camera.tilt(),
                                   std::round(camera.turn() * 100), camera.fieldOfView(),
                                   camera.zoomSpeed(), plate.scaleX, plate.scaleY, plate.offsetX,
                                   plate.offsetY, plate.depth, plate.opacity, camera.pan().z() }),
                 (QVector<float> { 1, 1, 0.48f, -79, 45, 0.02f, 1, 1, 0, 0, 9900, 1, -20 }));
        QCOMPARE(
            (QVector<int> { Global::brushRadius(), Global::shiftHeld(), Global::controlHeld(),
                            ruler.currentFrame(), ruler.minFrame(), ruler.maxFrame(),
                            MainWindow::bySurface(), MainWindow::symmetry(),
                            MainWindow::cotangent(), Stage::view()->minimumHeight(), ruler.height(),
                            Global::mainWindow()->width(), Global::layerManager()->maximumWidth(),
                            Global::shapeBrowser()->width(), Global::cameraWindow()->width(),
                            QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps) }),
            (QVector<int> { 80, 0, 0, 0, 0, 24, 0, 0, 0, 400, 140, 800, 300, 800, 960, 1 }));
        QVERIFY(Stage::idle(0) && Stage::view()->lightDirection() == QVector3D(0, 0, 1));
    }
    void init()
    {
        Global::clearScene();
        Global::setScenePath(untitled);
        Stage::addLayer(LayerKind::Relax);
    }

    void cancelledDialogsChangeNothing()
    {
        for (const auto &[key, filter] : { std::pair(Qt::Key_O, "Files(*.pxm)"),
                                           { Qt::Key_I, "Files(*.abc)" },
                                           { Qt::Key_S, "Files(*.pxm)" } }) {
            QString seen;
            Driver::whenShown<QFileDialog>([&seen](QFileDialog *dialog) {
                seen = dialog->nameFilters().join(QLatin1Char('|'));
                dialog->reject();
            });
            Stage::key(key, Qt::ControlModifier);
            QCOMPARE(seen, QLatin1String(filter));
            QVERIFY(Global::layers().size() == 1 && Global::alembicPath() == untitled);
        }
    }

    void newSceneAsks()
    {
        for (const auto &[answer, layersLeft] :
             { std::pair(QMessageBox::Save, 1u), // and then the save is cancelled
               { QMessageBox::Cancel, 1u },
               { QMessageBox::Discard, 0u } }) {
            // The shortcut reaches the window from a field, too, which discarding takes away under
            // the keys.
            Global::layers().front()->findChild<QLineEdit *>()->setFocus();
            if (!Stage::ruler().playing())
                Driver::click(Stage::button(QStringLiteral("Play")));
            Driver::answerMessageBox(answer, [answer = answer](QMessageBox *box) {
                QCOMPARE(box->informativeText(), QStringLiteral("Save Changed to untitled scene?"));
                QVERIFY(box->defaultButton() == box->button(QMessageBox::Save));
                if (answer == QMessageBox::Save)
                    Driver::whenShown<QFileDialog>([](QFileDialog *dialog) { dialog->reject(); });
            });
            Driver::key(Global::mainWindow(), Qt::Key_N, Qt::ControlModifier);
            QTest::qWait(10);
            QVERIFY(Global::layers().size() == layersLeft && Global::scenePath() == untitled);
            QCOMPARE(Stage::ruler().playing(), layersLeft > 0); // an empty scene stands still
            QCOMPARE(Stage::button(QStringLiteral("Play"))->isChecked(), layersLeft > 0);
        }
    }

    /// From wherever the focus is, but not out of a field that is typed in.
    void keysAndWheelReachTheWork()
    {
        Layer *layer = nullptr;
        for (int i = 0; i < 9; ++i) { // the list shows each that is added
            layer = Stage::addLayer(LayerKind::Sculpt);
            QTRY_COMPARE(layer->visibleRegion(), QRegion(layer->rect()));
        }
        layer = Global::layers().front();
        layer->select();
        QTRY_COMPARE(layer->visibleRegion(), QRegion(layer->rect()));
        auto *slider = layer->findChild<QSlider *>();
        auto *field = layer->findChild<QLineEdit *>();
        QWidget *box = Stage::button(QStringLiteral("by surface"));
        for (QWidget *clicked :
             std::initializer_list<QWidget *> { box, box, slider, Stage::nameLabel(layer), field,
                                                Global::outliner()->findChild<QTreeWidget *>() }) {
            Driver::click(clicked);
            const int value = slider->value(), frame = Stage::ruler().currentFrame();
            Global::setCurrentBrush(0);
            Driver::key(Global::mainWindow(), Qt::Key_R);
            QCOMPARE(Global::currentBrush(), clicked == field ? 0 : 4);
            if (clicked == field)
                Driver::key(Global::mainWindow(), Qt::Key_Return);
            Driver::key(Global::mainWindow(), Qt::Key_Right);
            QVERIFY(Stage::ruler().currentFrame() == frame + 1 && slider->value() == value);
        }
        const auto *bar = Global::layerManager()->findChild<QScrollArea *>()->verticalScrollBar();
        const int value = slider->value(), top = bar->value();
        QWheelEvent wheel({ 5, 5 }, slider->mapToGlobal({ 5, 5 }), {}, { 0, -120 }, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QSpontaneKeyEvent::setSpontaneous(&wheel); // only a real one goes on to the parents
        qApp->notify(slider, &wheel);
        QVERIFY(slider->value() == value && bar->value() > top);
    }

    void saveDialogsCompleteTheName()
    {
        for (const char *name : { "first.pxm", "second" }) {
            QString path = m_stage.path(QLatin1String(name));
            Driver::answerFileDialog(path, [this, name](QFileDialog *dialog) {
                if (name == QByteArray("second")) // in the folder where the first went
                    QCOMPARE(dialog->directory().path(), m_stage.path({}));
            });
            if (!path.endsWith(QLatin1String(".pxm"))) {
                path += QLatin1String(".pxm");
                QVERIFY(QFile::copy(Global::scenePath(), path));
                Driver::answerMessageBox(QMessageBox::Yes); // the completed name is taken
            }
            Stage::key(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
            QVERIFY(!QFile::exists(path.chopped(4)));
            QCOMPARE(Global::mainWindow()->windowTitle(), QStringLiteral("Plexmold 1.0: ") + path);
        }
    }

    void closingAsks()
    {
        using Row = std::tuple<bool, QMessageBox::StandardButton, bool>;
        for (const auto &[named, answer, closes] :
             { Row(true, QMessageBox::NoButton, true), // nothing has changed
               Row(true, QMessageBox::Cancel, false), Row(true, QMessageBox::Discard, true),
               Row(true, QMessageBox::Save, true),
               Row(false, QMessageBox::Save, false) }) { // and then the save is cancelled
            init();
            const QString path = m_stage.path(QStringLiteral("closing.pxm"));
            // No float holds this time.
            Global::layers().front()->data()->setKeys({ { 0.1, 1.0f, true } });
            if (named) {
                QVERIFY(Global::saveScene(path) && Global::loadScene(path));
                Global::setScenePath(path);
            }
            bool asked = false, closed = false;
            const bool changed = answer != QMessageBox::NoButton;
            if (changed) {
                Global::layers().front()->setIntensity(0.5f);
                Driver::answerMessageBox(answer, [&asked, named = named](QMessageBox *) {
                    asked = true;
                    if (!named)
                        Driver::whenShown<QFileDialog>([](QFileDialog *box) { box->reject(); });
                });
            }
            QTimer::singleShot(0, Global::mainWindow(), [&closed] {
                closed = Global::mainWindow()->close();
                QCoreApplication::quit();
            });
            QCoreApplication::exec();
            QVERIFY(closed == closes && asked == changed);
            QCOMPARE(Global::sceneChanged(), changed && !(named && answer == QMessageBox::Save));
            Global::mainWindow()->show();
        }
    }

    void failedSaveKeepsTheScene()
    {
        QTemporaryDir gone;
        Global::setScenePath(gone.filePath(QStringLiteral("scene.pxm")));
        QVERIFY(gone.remove());
        const LogCapture log;
        Stage::key(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(LogCapture::countContaining(QStringLiteral("can't save the scene: ")), 1);
        QVERIFY(!Global::loadScene(Global::scenePath()) && Global::layers().size() == 1);
        QVERIFY(!QApplication::activeModalWidget() && !QApplication::overrideCursor());
    }

    void licence()
    {
        // The fixture ran without a key file, so the program runs on, unlicensed.
        QVERIFY(Global::unlicensed());
        QVERIFY(!Licence::isRightKey(QByteArray()));
        QVERIFY(!Licence::isRightKey(Licence::keyFor("another machine")));
        QVERIFY(QDir().mkdir(Licence::keyFilePath())); // something that cannot be read
        QVERIFY(!Licence::isLicensed());
        QVERIFY(QDir().rmdir(Licence::keyFilePath()));
        QVERIFY(!Licence::keyFilePath(QStringLiteral("/usr/lib/plexmold")).startsWith(u"/usr"));

        Global::mainWindow()->menuBar()->actions().last()->menu()->actions().first()->trigger();
        auto *dialog = Global::mainWindow()->findChild<QDialog *>();
        QVERIFY(dialog && dialog->isVisible());
        const auto fields = dialog->findChildren<QLineEdit *>();
        QLineEdit *key = fields.at(0)->isReadOnly() ? fields.at(1) : fields.at(0);
        QVERIFY(fields.at(key == fields.at(0))->text().toLatin1() == Licence::requestCode());
        for (const Qt::Key letter : { Qt::Key_B, Qt::Key_A, Qt::Key_D })
            Driver::key(dialog, letter);
        QCOMPARE(key->text(), QStringLiteral("bad")); // the keys went to it without a click
        Driver::key(dialog, Qt::Key_Return);
        QVERIFY(Global::unlicensed() && !QFile::exists(Licence::keyFilePath()));
        key->setText(QString::fromLatin1(Licence::keyFor(Licence::requestCode())));
        Global::mainWindow()->checkKey();
        const bool licensed = Licence::isLicensed();
        QFile::remove(Licence::keyFilePath()); // before a check can leave it to other tests
        QVERIFY(licensed && !Global::unlicensed() && !dialog->isVisible());
    }

private:
    const QString untitled = QStringLiteral("untitled");
    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(WindowTest)
#include "WindowTest.moc"
