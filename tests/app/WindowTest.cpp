#include "app/Licence.h"
#include "gpu/GPUMesh.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "layers/Outliner.h"
#include "shapes/ShapeBrowser.h"
#include "support/AppFixture.h"
#include "support/PanelHands.h"
#include "timeline/RangeSlider.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"

#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QGroupBox>
#include <QMenuBar>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSlider>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

/// Menus, shortcuts, dialogs, titles and options by real keys and clicks.
class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void menus_data();
    void menus();
    void panelsStandInOrder();
    void nothingIsClipped_data();
    void nothingIsClipped();
    void newSceneAsks_data();
    void newSceneAsks();
    void keysAndWheelReachTheWork();
    void cancelledDialogsChangeNothing();
    void saveAsRetitles();
    void openRestoresTheStack();
    void failedSaveKeepsTheScene();
    void exportWritesNothing();
    void cotangentFlipsOnThePress();
    void bySurfaceFlipsOnTheClick();
    void saveMorphKeepsTheDisplayedPose();
    void importMovesTheTimeIntoTheRange();
    void licence();
    void closingAsks_data();
    void closingAsks();

private:
    static QAction *action(const QString &text);
    static QAbstractButton *button(const QString &text);
    void import(const QString &path);

    AppFixture m_app;
    QTemporaryDir m_folder;
    QString m_archive;
};

void WindowTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    m_archive = m_folder.filePath(QStringLiteral("sample.abc"));
    const QString tool = QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
    QCOMPARE(QProcess::execute(tool, { m_archive }), 0);
}

void WindowTest::init()
{
    Global::clearScene();
    Global::setScenePath(QStringLiteral("untitled"));
    Global::mainWindow()->resize(800, 600);
}

QAction *WindowTest::action(const QString &text)
{
    for (QAction *menu : Global::mainWindow()->menuBar()->actions())
        for (QAction *item : menu->menu()->actions())
            if (item->text() == text)
                return item;
    return nullptr;
}

QAbstractButton *WindowTest::button(const QString &text)
{
    for (QAbstractButton *candidate : Global::mainWindow()->findChildren<QAbstractButton *>())
        if (candidate->text() == text)
            return candidate;
    return nullptr;
}

void WindowTest::import(const QString &path)
{
    Driver::answerFileDialog(path, [](QFileDialog *dialog) {
        QCOMPARE(dialog->windowTitle(), QStringLiteral("load file"));
        QCOMPARE(dialog->nameFilters(), QStringList(QStringLiteral("Files(*.abc)")));
    });
    Driver::key(Global::mainWindow(), Qt::Key_I, Qt::ControlModifier);
}

void WindowTest::menus_data()
{
    QTest::addColumn<int>("menu");
    QTest::addColumn<QStringList>("items"); // "-" is a separator, text|shortcut an entry
    QTest::newRow("&File") << 0
                           << QStringList { QStringLiteral("&New Scene|Ctrl+N"),
                                            QStringLiteral("&Open Scene|Ctrl+O"),
                                            QStringLiteral("-"),
                                            QStringLiteral("&Save Scene|Ctrl+S"),
                                            QStringLiteral("&Save Scene As|Ctrl+Shift+S"),
                                            QStringLiteral("-"),
                                            QStringLiteral("&Import Alembic|Ctrl+I"),
                                            QStringLiteral("-"),
                                            QStringLiteral("&Emport Alembic|Ctrl+E"),
                                            QStringLiteral("-") };
    QTest::newRow("&Windows") << 1 << QStringList { QStringLiteral("&Show Shapes|") };
}

void WindowTest::menus()
{
    QFETCH(int, menu);
    QFETCH(QStringList, items);
    const QAction *entry = Global::mainWindow()->menuBar()->actions().at(menu);
    QCOMPARE(entry->text(), QString::fromLatin1(QTest::currentDataTag()));
    QStringList found;
    for (const QAction *item : entry->menu()->actions())
        found << (item->isSeparator()
                      ? QStringLiteral("-")
                      : item->text() + QLatin1Char('|') + item->shortcut().toString());
    QCOMPARE(found, items);
}

void WindowTest::panelsStandInOrder()
{
    QCOMPARE(Global::mainWindow()->windowTitle(), QStringLiteral("Plexmold 1.0: untitled"));
    const auto top = [](QWidget *widget) {
        return widget->mapTo(Global::mainWindow(), QPoint()).y();
    };
    const auto left = [](QWidget *widget) {
        return widget->mapTo(Global::mainWindow(), QPoint()).x();
    };
    QVERIFY(top(Global::viewport()) < top(Global::timeline()));
    QVERIFY(top(Global::timeline()) < top(Global::rangeSlider()));
    QVERIFY(left(Global::outliner()) < left(Global::viewport()));
    QVERIFY(left(Global::viewport()) < left(Global::layerManager()));
    QVERIFY(top(Global::outliner()) < top(Global::timeControls()));
    const auto *options = qobject_cast<QGroupBox *>(button(QStringLiteral("by surface"))->parent());
    QVERIFY(options);
    QCOMPARE(options->title(), QStringLiteral("Options"));
    QVERIFY(options->height() <= 100);
    QVERIFY(Global::outliner()->height() >= 100);
}

void WindowTest::nothingIsClipped_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("at its smallest") << QSize(1, 1);
    QTest::newRow("as it starts") << QSize(800, 600);
    QTest::newRow("large") << QSize(1900, 1000);
}

void WindowTest::nothingIsClipped()
{
    QFETCH(QSize, size);
    for (int kind = 0; kind < 5; ++kind)
        m_app.global().addLayer(kind);
    Global::mainWindow()->resize(size.expandedTo(Global::mainWindow()->minimumSizeHint()));
    QApplication::processEvents();
    for (const QAbstractButton *child : Global::mainWindow()->findChildren<QAbstractButton *>()) {
        if (!child->isVisible() || child->text().isEmpty())
            continue;
        const int needed = child->fontMetrics().horizontalAdvance(child->text());
        QVERIFY2(child->width() >= needed, qPrintable(child->text()));
        QVERIFY2(child->height() >= child->fontMetrics().height(), qPrintable(child->text()));
        const QWidget *parent = child->parentWidget();
        QVERIFY2(parent->rect().contains(child->geometry()), qPrintable(child->text()));
    }
}

void WindowTest::newSceneAsks_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("layersLeft");
    QTest::newRow("save, then cancel the save dialog") << int(QMessageBox::Save) << 1;
    QTest::newRow("discard") << int(QMessageBox::Discard) << 0;
    QTest::newRow("cancel") << int(QMessageBox::Cancel) << 1;
}

void WindowTest::newSceneAsks()
{
    QFETCH(int, answer);
    QFETCH(int, layersLeft);
    m_app.global().addLayer(int(LayerKind::Relax));
    Driver::click(button(QStringLiteral("Play")));
    // The shortcut reaches the window from a field, too, which discarding takes away under the
    // keys.
    Global::mainWindow()->activateWindow();
    Global::layers().front()->findChild<QLineEdit *>()->setFocus();
    Driver::answerMessageBox(QMessageBox::StandardButton(answer), [answer](QMessageBox *box) {
        QCOMPARE(box->windowTitle(), QStringLiteral("Scene Not Saved?"));
        QCOMPARE(box->informativeText(), QStringLiteral("Save Changed to untitled scene?"));
        QCOMPARE(box->defaultButton(), box->button(QMessageBox::Save));
        QCOMPARE(box->buttons().size(), 3);
        if (answer == QMessageBox::Save)
            Driver::whenShown<QFileDialog>([](QFileDialog *dialog) { dialog->reject(); });
    });
    Driver::key(Global::mainWindow(), Qt::Key_N, Qt::ControlModifier);
    QTest::qWait(10);
    QCOMPARE(int(Global::layers().size()), layersLeft);
    QCOMPARE(Global::scenePath(), QStringLiteral("untitled"));
    QCOMPARE(Global::timeline()->playing(), layersLeft > 0); // an empty scene stands still
    QCOMPARE(button(QStringLiteral("Play"))->isChecked(), layersLeft > 0);
}

void WindowTest::keysAndWheelReachTheWork()
{
    Layer *layer = nullptr;
    for (int i = 0; i < 9; ++i) { // the list shows each that is added
        layer = PanelHands::addLayer(LayerKind::Sculpt);
        QTRY_COMPARE(layer->visibleRegion(), QRegion(layer->rect()));
    }
    layer = Global::layers().front();
    layer->select();
    QTRY_COMPARE(layer->visibleRegion(), QRegion(layer->rect()));
    auto *slider = layer->findChild<QSlider *>();
    auto *field = layer->findChild<QLineEdit *>();
    Driver::click(button(QStringLiteral("Play")));
    QWidget *box = button(QStringLiteral("by surface"));
    for (QWidget *clicked : std::initializer_list<QWidget *> {
             button(QStringLiteral("Play")), box, box, slider, PanelHands::nameLabel(layer), field,
             Global::outliner()->findChild<QTreeWidget *>() }) {
        Driver::click(clicked);
        const int value = slider->value();
        const int frame = Global::timeline()->currentFrame();
        Global::setCurrentBrush(0);
        Driver::key(Global::mainWindow(), Qt::Key_R);
        QCOMPARE(Global::currentBrush(), clicked == field ? 0 : 4); // a field keeps what is typed
        if (clicked == field)
            Driver::key(Global::mainWindow(), Qt::Key_Return);
        Driver::key(Global::mainWindow(), Qt::Key_Right);
        QCOMPARE(Global::timeline()->currentFrame(), frame + 1);
        QCOMPARE(slider->value(), value);
    }
    const auto *bar = Global::layerManager()->findChild<QScrollArea *>()->verticalScrollBar();
    const int value = slider->value(), top = bar->value();
    QWheelEvent wheel({ 5, 5 }, slider->mapToGlobal({ 5, 5 }), {}, { 0, -120 }, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QSpontaneKeyEvent::setSpontaneous(&wheel); // only a real one goes on to the parents
    qApp->notify(slider, &wheel);
    QCOMPARE(slider->value(), value);
    QVERIFY(bar->value() > top);
}

void WindowTest::cancelledDialogsChangeNothing()
{
    m_app.global().addLayer(int(LayerKind::Relax));
    for (const Qt::Key key : { Qt::Key_O, Qt::Key_I, Qt::Key_S }) {
        bool seen = false;
        Driver::whenShown<QFileDialog>([&seen](QFileDialog *dialog) {
            seen = true;
            dialog->reject();
        });
        Driver::key(Global::mainWindow(), key, Qt::ControlModifier);
        QVERIFY(seen);
        QCOMPARE(Global::layers().size(), size_t(1));
        QCOMPARE(Global::scenePath(), QStringLiteral("untitled"));
        QCOMPARE(Global::alembicPath(), QStringLiteral("untitled"));
    }
}

void WindowTest::saveAsRetitles()
{
    for (const char *name : { "first.pxm", "second" }) {
        QString path = m_folder.filePath(QString::fromLatin1(name));
        Driver::answerFileDialog(path, [this, name](QFileDialog *dialog) {
            if (name == QByteArray("second"))
                QCOMPARE(dialog->directory().path(), m_folder.path()); // where the first went
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Save File"));
            QCOMPARE(dialog->nameFilters(), QStringList(QStringLiteral("Files(*.pxm)")));
        });
        if (!path.endsWith(QLatin1String(".pxm"))) {
            path += QLatin1String(".pxm");
            QVERIFY(QFile::copy(m_folder.filePath(QStringLiteral("first.pxm")), path));
            Driver::answerMessageBox(QMessageBox::Yes); // the completed name is taken
        }
        Driver::key(Global::mainWindow(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!QFile::exists(path.chopped(4)));
        QCOMPARE(Global::mainWindow()->windowTitle(), QStringLiteral("Plexmold 1.0: ") + path);
        QCOMPARE(QFile(path).size(), qint64(4 + 2 * 8 + 4)); // "untitled" and no layers
    }
    // A scene with a name is saved without a question.
    QVERIFY(QFile::remove(Global::scenePath()));
    Driver::key(Global::mainWindow(), Qt::Key_S, Qt::ControlModifier);
    QVERIFY(QFile::exists(Global::scenePath()));
}

void WindowTest::openRestoresTheStack()
{
    const QString path = m_folder.filePath(QStringLiteral("stack.pxm"));
    const LayerKind kinds[] = { LayerKind::Mush, LayerKind::Jiggle, LayerKind::Cloth };
    for (const LayerKind kind : kinds)
        m_app.global().addLayer(int(kind));
    Global::layers()[1]->select(); // neither the first nor the last, which a new layer would be
    Global::saveScene(path);

    Driver::answerFileDialog(path, [](QFileDialog *dialog) {
        QCOMPARE(dialog->windowTitle(), QStringLiteral("load file"));
        QCOMPARE(dialog->nameFilters(), QStringList(QStringLiteral("Files(*.pxm)")));
    });
    Driver::key(Global::mainWindow(), Qt::Key_O, Qt::ControlModifier);
    QCOMPARE(Global::mainWindow()->windowTitle(), QStringLiteral("Plexmold 1.0: ") + path);
    QCOMPARE(Global::layers().size(), std::size(kinds));
    for (size_t i = 0; i < std::size(kinds); ++i) {
        Layer *layer = Global::layers()[i];
        QCOMPARE(layer->data()->kind(), kinds[i]);
        QCOMPARE(layer->data()->selected(), i == 1);
        QCOMPARE(Global::layerManager()->layerListLayout()->indexOf(layer), int(i));
    }
}

void WindowTest::failedSaveKeepsTheScene()
{
    m_app.global().addLayer(int(LayerKind::Relax));
    QTemporaryDir gone;
    Global::setScenePath(gone.filePath(QStringLiteral("scene.pxm")));
    QVERIFY(gone.remove());
    QTest::ignoreMessage(
        QtDebugMsg, QRegularExpression(QStringLiteral("^can't save the scene: .*scene.pxm .")));
    QTest::ignoreMessage(QtDebugMsg, "file saved");
    Driver::key(Global::mainWindow(), Qt::Key_S, Qt::ControlModifier);
    QVERIFY(!Global::loadScene(Global::scenePath()));
    QCOMPARE(Global::layers().size(), size_t(1));
    QVERIFY(!QApplication::activeModalWidget() && !QApplication::overrideCursor());
}

void WindowTest::exportWritesNothing()
{
    import(m_archive);
    const QStringList before = QDir(m_folder.path()).entryList();
    const qint64 size = QFile(m_archive).size();
    Driver::key(Global::mainWindow(), Qt::Key_E, Qt::ControlModifier);
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(QDir(m_folder.path()).entryList(), before);
    QCOMPARE(QFile(m_archive).size(), size);
}

void WindowTest::cotangentFlipsOnThePress()
{
    QAbstractButton *box = button(QStringLiteral("cotangent"));
    const bool flag = MainWindow::cotangent();
    const bool checked = box->isChecked();
    const QPoint inside(8, box->height() / 2);
    Driver::mouse(QTest::MousePress, box, inside, Qt::LeftButton);
    QCOMPARE(MainWindow::cotangent(), !flag);
    Driver::mouse(QTest::MouseMove, box, inside + QPoint(0, 60), Qt::NoButton);
    Driver::mouse(QTest::MouseRelease, box, inside + QPoint(0, 60), Qt::LeftButton);
    QCOMPARE(MainWindow::cotangent(), !flag); // deliberate: flag and box now disagree
    QCOMPARE(box->isChecked(), checked);
}

void WindowTest::bySurfaceFlipsOnTheClick()
{
    QAbstractButton *box = button(QStringLiteral("by surface"));
    for (const bool expected : { true, false }) {
        Driver::mouse(QTest::MousePress, box, QPoint(8, box->height() / 2), Qt::LeftButton);
        QCOMPARE(MainWindow::bySurface(), !expected);
        Driver::mouse(QTest::MouseRelease, box, QPoint(8, box->height() / 2), Qt::LeftButton);
        QCOMPARE(MainWindow::bySurface(), expected);
        QCOMPARE(box->isChecked(), expected);
    }
}

void WindowTest::saveMorphKeepsTheDisplayedPose()
{
    import(m_archive);
    const PointArray startPose = Global::mesh()->restPoints();
    QCOMPARE(int(startPose.size()), Global::mesh()->vertexCount());
    Global::timeline()->setCurrentFrame(20);
    PointArray displayed;
    {
        const MeshScope scope;
        displayed = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    }
    QVERIFY(displayed != startPose);
    Driver::click(button(QStringLiteral("Save Morph")));
    QVERIFY(Global::mesh()->restPoints() == displayed);
}

void WindowTest::importMovesTheTimeIntoTheRange()
{
    Global::timeControls()->setMaxTime(500);
    Global::timeline()->setCurrentFrame(400);
    import(m_archive);
    const int start = Global::timeline()->minFrame();
    QCOMPARE(Global::timeline()->maxFrame() - start, 47);
    QCOMPARE(Global::timeline()->currentFrame(), start);
    QCOMPARE(Global::timeline()->rangeStart(), start);
    QCOMPARE(Global::timeline()->rangeEnd(), Global::timeline()->maxFrame());
    for (const auto *field : Global::timeControls()->findChildren<QLineEdit *>())
        QVERIFY(field->text() == QString::number(start) ||
                field->text() == QString::number(Global::timeline()->maxFrame()));
}

void WindowTest::licence()
{
    // The fixture ran without a key file, so the program runs on, unlicensed.
    QVERIFY(Global::unlicensed());
    QVERIFY(!Licence::isRightKey(QByteArray()));
    QVERIFY(!Licence::isRightKey(Licence::keyFor("another machine")));
    QVERIFY(QDir().mkdir(Licence::keyFilePath())); // something that cannot be read
    QVERIFY(!Licence::isLicensed());
    QVERIFY(QDir().rmdir(Licence::keyFilePath()));
    QVERIFY(!Licence::keyFilePath(QStringLiteral("/usr/lib/plexmold")).startsWith(u"/usr"));

    action(QStringLiteral("&Show Request Code"))->trigger();
    auto *dialog = Global::mainWindow()->findChild<QDialog *>();
    QVERIFY(dialog && dialog->isVisible());
    const auto fields = dialog->findChildren<QLineEdit *>();
    QLineEdit *key = fields.at(0)->isReadOnly() ? fields.at(1) : fields.at(0);
    const QLineEdit *code = fields.at(0)->isReadOnly() ? fields.at(0) : fields.at(1);
    QCOMPARE(code->text().toLatin1(), Licence::requestCode());

    for (const Qt::Key letter : { Qt::Key_B, Qt::Key_A, Qt::Key_D })
        Driver::key(dialog, letter);
    QCOMPARE(key->text(), QStringLiteral("bad")); // the keys went to it without a click
    Driver::key(dialog, Qt::Key_Return);
    QVERIFY(Global::unlicensed());
    QVERIFY(!QFile::exists(Licence::keyFilePath()));

    key->setText(QString::fromLatin1(Licence::keyFor(Licence::requestCode())));
    Global::mainWindow()->checkKey();
    const bool licensed = Licence::isLicensed();
    QFile::remove(Licence::keyFilePath()); // before a check can leave it to other tests
    QVERIFY(licensed);
    QVERIFY(!Global::unlicensed());
    QVERIFY(!dialog->isVisible());
}

void WindowTest::closingAsks_data()
{
    QTest::addColumn<bool>("named");
    QTest::addColumn<bool>("changed");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("closes");
    QTest::newRow("as it was read") << true << false << int(QMessageBox::NoButton) << true;
    QTest::newRow("cancel") << true << true << int(QMessageBox::Cancel) << false;
    QTest::newRow("discard") << true << true << int(QMessageBox::Discard) << true;
    QTest::newRow("save") << true << true << int(QMessageBox::Save) << true;
    QTest::newRow("save, then cancel") << false << true << int(QMessageBox::Save) << false;
}

void WindowTest::closingAsks()
{
    QFETCH(const bool, named);
    QFETCH(const bool, changed);
    QFETCH(const int, answer);
    const QString path = m_folder.filePath(QStringLiteral("closing.pxm"));
    m_app.global().addLayer(int(LayerKind::Relax));
    Global::layers().front()->data()->setKeys({ { 0.1, 1.0f, true } }); // no float holds this time
    if (named) {
        QVERIFY(Global::saveScene(path) && Global::loadScene(path));
        Global::setScenePath(path);
    }
    if (changed)
        Global::layers().front()->setIntensity(0.5f);
    bool asked = false;
    if (answer != QMessageBox::NoButton)
        Driver::answerMessageBox(QMessageBox::StandardButton(answer), [&](QMessageBox *) {
            asked = true;
            if (!named)
                Driver::whenShown<QFileDialog>([](QFileDialog *dialog) { dialog->reject(); });
        });
    bool closed = false;
    QTimer::singleShot(0, Global::mainWindow(), [&closed] {
        closed = Global::mainWindow()->close();
        QCoreApplication::quit();
    });
    QCoreApplication::exec();
    QTEST(closed, "closes");
    QCOMPARE(asked, changed);
    QCOMPARE(Global::sceneChanged(), changed && !(named && answer == QMessageBox::Save));
    Global::mainWindow()->show();
}

PLEXMOLD_TEST_MAIN(WindowTest)
#include "WindowTest.moc"
