#include "app/MainWindow.h"

#include "app/ArchivePath.h"
#include "app/Global.h"
#include "app/Log.h"
#include "app/SlowWork.h"
#include "gpu/GPUMesh.h"
#include "layers/BrushShelf.h"
#include "layers/LayerManager.h"
#include "layers/Outliner.h"
#include "shapes/ShapeBrowser.h"
#include "timeline/RangeSlider.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"
#include "viewport/Viewport.h"
#include "widgets/FileQuestion.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kUntitled = QStringLiteral("untitled");
const QString kSceneSuffix = QStringLiteral("pxm");
const QString kSceneFilter = QStringLiteral("Files(*.pxm)");
const QString kArchiveFilter = QStringLiteral("Files(*.abc)");

/// Reading and writing block the window; the cursor says so.
class BusyCursor {
public:
    BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor &) = delete;
    BusyCursor &operator=(const BusyCursor &) = delete;
};

} // namespace

MainWindow::MainWindow()
{
    auto *shelf = new BrushShelf;
    connect(Global::viewport(), &Viewport::brushChanged, shelf, &BrushShelf::showActive);
    connect(Global::auxViewport(), &Viewport::brushChanged, shelf, &BrushShelf::showActive);

    auto *central = new QWidget;
    auto *column = new QVBoxLayout(central);
    column->setContentsMargins(4, 4, 4, 4);
    column->setSpacing(4);
    column->addWidget(shelf);
    column->addLayout(buildMiddleRow(), 1);
    column->addWidget(Global::timeline());
    column->addWidget(Global::rangeSlider());
    setCentralWidget(central);

    buildMenus();
    setScenePath(Global::scenePath());

    m_workLine = new QLabel(this);
    m_workLine->setAutoFillBackground(true);
    m_workLine->setMargin(6);
    m_workLine->hide();
    SlowWork::setListener([this](const QString &text) { showWork(text); });
}

/// The window is blocked: the line has to be painted here and now.
void MainWindow::showWork(const QString &text)
{
    m_workLine->setText(text);
    m_workLine->setMaximumWidth(width());
    m_workLine->adjustSize();
    const QRect view(Global::viewport()->mapTo(this, QPoint()), Global::viewport()->size());
    m_workLine->move(view.center() - m_workLine->rect().center());
    m_workLine->setVisible(!text.isEmpty());
    m_workLine->raise();
    m_workLine->repaint();
}

QBoxLayout *MainWindow::buildMiddleRow()
{
    auto *row = new QHBoxLayout;
    row->addWidget(buildLeftColumn());
    row->addWidget(Global::viewport(), 3);
    row->addWidget(Global::layerManager(), 2);
    return row;
}

QWidget *MainWindow::buildLeftColumn()
{
    auto *bySurfaceBox = new QCheckBox(QStringLiteral("by surface"));
    auto *cotangentBox = new QCheckBox(QStringLiteral("cotangent"));
    auto *saveMorph = new QPushButton(QStringLiteral("Save Morph"));
    bySurfaceBox->setToolTip(QStringLiteral("Brushes reach along the surface, not across gaps"));
    cotangentBox->setToolTip(QStringLiteral("Clone brush: neighbours weighted by their angles"));
    saveMorph->setToolTip(QStringLiteral("Make the shown pose the rest pose"));
    connect(bySurfaceBox, &QCheckBox::clicked, this, &MainWindow::toggleBySurface);
    connect(cotangentBox, &QCheckBox::pressed, this, &MainWindow::setCotangent);
    connect(saveMorph, &QPushButton::pressed, this, &MainWindow::saveMorphTarget);

    auto *options = new QGroupBox(QStringLiteral("Options"));
    options->setMaximumHeight(100);
    auto *rows = new QVBoxLayout(options);
    rows->setSpacing(2);
    rows->addWidget(bySurfaceBox);
    rows->addWidget(cotangentBox);
    rows->addWidget(saveMorph);

    Global::outliner()->setMinimumHeight(100);
    auto *column = new QWidget;
    column->setMaximumWidth(200);
    auto *layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(options);
    layout->addWidget(Global::outliner(), 1);
    layout->addWidget(Global::timeControls());
    return column;
}

void MainWindow::buildMenus()
{
    QMenu *file = menuBar()->addMenu(QStringLiteral("&File"));
    const auto add = [this, file](const char *text, const char *keys, void (MainWindow::*slot)()) {
        QAction *action = file->addAction(QString::fromLatin1(text));
        action->setShortcut(QKeySequence(QString::fromLatin1(keys)));
        connect(action, &QAction::triggered, this, slot);
    };
    add("&New Scene", "Ctrl+N", &MainWindow::newScene);
    add("&Open Scene", "Ctrl+O", &MainWindow::openScene);
    file->addSeparator();
    add("&Save Scene", "Ctrl+S", &MainWindow::saveScene);
    add("&Save Scene As", "Ctrl+Shift+S", &MainWindow::saveSceneAs);
    file->addSeparator();
    add("&Import Alembic", "Ctrl+I", &MainWindow::importAlembic);
    file->addSeparator();
    add("&Emport Alembic", "Ctrl+E", &MainWindow::exportAlembic); // the spelling is deliberate
    file->addSeparator();

    QMenu *windows = menuBar()->addMenu(QStringLiteral("&Windows"));
    connect(windows->addAction(QStringLiteral("&Show Shapes")), &QAction::triggered, this,
            &MainWindow::showShapes);

    if (Global::unlicensed()) {
        m_buyMenu = menuBar()->addMenu(QStringLiteral("&Buy"));
        connect(m_buyMenu->addAction(QStringLiteral("&Show Request Code")), &QAction::triggered,
                this, &MainWindow::showRequestCode);
    }
}

void MainWindow::setScenePath(const QString &path)
{
    Global::setScenePath(path);
    setWindowTitle(QStringLiteral("Plexmold 1.0: ") + path);
}

int MainWindow::askAboutScene()
{
    QMessageBox box(this);
    box.setWindowTitle(QStringLiteral("Scene Not Saved?"));
    box.setInformativeText(QStringLiteral("Save Changed to ") + Global::scenePath() +
                           QStringLiteral(" scene?"));
    box.setStandardButtons(QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
    box.setDefaultButton(QMessageBox::Save);
    return box.exec();
}

void MainWindow::newScene()
{
    switch (askAboutScene()) {
    case QMessageBox::Save:
        saveScene(); // the scene stays open
        return;
    case QMessageBox::Discard:
        Global::clearScene();
        setScenePath(kUntitled);
        emit sceneDiscarded();
        return;
    default:
        return;
    }
}

void MainWindow::openScene()
{
    const QString path = askForFile(this, QStringLiteral("load file"), kSceneFilter);
    if (path.isEmpty())
        return;
    const BusyCursor busy;
    if (!Global::loadScene(path))
        return; // the open work stays
    setScenePath(path);
    if (Global::alembicPath() != kUntitled) {
        qCDebug(lcApp) << "import alembic for file";
        Global::setAlembicPath(findArchive(Global::alembicPath(), path));
        if (QFileInfo(Global::alembicPath()).isFile() && Global::openArchive(Global::alembicPath()))
            emit alembicImported();
    }
    emit sceneOpened(path);
}

void MainWindow::saveScene() { save(Global::scenePath()); }

void MainWindow::saveSceneAs() { save(kUntitled); }

bool MainWindow::save(QString path)
{
    if (path == kUntitled)
        path = askForNewFile(this, QStringLiteral("Save File"), kSceneFilter, kSceneSuffix);
    if (path.isEmpty())
        return false;
    const BusyCursor busy;
    if (!Global::saveScene(path))
        return false; // path and title stay: the next save must not go where this one could not
    setScenePath(path);
    emit sceneSaved(path);
    return true;
}

void MainWindow::importAlembic()
{
    const QString path = askForFile(this, QStringLiteral("load file"), kArchiveFilter);
    if (path.isEmpty())
        return;
    const BusyCursor busy;
    if (!Global::openArchive(path))
        return; // the earlier archive and its path stay
    Global::setAlembicPath(path);
    emit alembicImported();
}

void MainWindow::exportAlembic() { }

void MainWindow::saveMorphTarget()
{
    GPUMesh *mesh = Global::mesh();
    const MeshScope scope;
    if (!scope || mesh->vertexCount() == 0)
        return;
    PointArray points = mesh->readBack<QVector4D>(Semantic::kPosition);
    if (int(points.size()) == mesh->vertexCount())
        mesh->setRestPoints(std::move(points));
}

void MainWindow::showShapes() { Global::shapeBrowser()->show(); }

bool MainWindow::mayClose()
{
    const bool changed = [] {
        const BusyCursor busy; // a large scene is read through
        return Global::sceneChanged();
    }();
    if (!changed)
        return true;
    const int answer = askAboutScene();
    return answer == QMessageBox::Save ? save(Global::scenePath()) : answer == QMessageBox::Discard;
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    event->setAccepted(mayClose());
    if (!event->isAccepted())
        return;
    QCoreApplication::quit(); // tool windows left open do not keep the program
}
