#include "app/Global.h"

#include "alembic/AlembicFile.h"
#include "alembic/FrameRate.h"
#include "app/LayerSeed.h"
#include "app/Log.h"
#include "app/MainWindow.h"
#include "app/SceneChange.h"
#include "app/SceneFile.h"
#include "gpu/CameraWindow.h"
#include "gpu/GPUMesh.h"
#include "gpu/ImagePlane.h"
#include "layers/CommandStack.h"
#include "layers/Envelope.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "layers/Outliner.h"
#include "layers/Topology.h"
#include "shapes/ShapeBrowser.h"
#include "timeline/RangeSlider.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"
#include "viewport/Viewport.h"
#include "widgets/InputRouter.h"

#include <QFile>
#include <QSignalMapper>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

SceneFile &sceneFile()
{
    static SceneFile file;
    return file;
}

std::vector<const LayerData *> layerRecords()
{
    std::vector<const LayerData *> records;
    for (const Layer *layer : Global::layers())
        records.push_back(layer->data());
    return records;
}

/// False where the card has no room for it. Without OpenGL there is nothing to hold.
bool holdOnCard(const Topology &topology)
{
    const MeshScope scope;
    Global::mesh()->setTopology(&topology);
    try {
        return !scope || Global::mesh()->allocateBuffers();
    } catch (const std::bad_alloc &) {
        qCDebug(lcApp) << "not enough memory for a mesh of" << topology.vertexCount() << "vertices";
        return false;
    }
}

void appendLayer(Layer *layer)
{
    Global::layers().push_back(layer);
    Global::layerManager()->layerListLayout()->addWidget(layer);
}

} // namespace

void Global::createCore()
{
    s_mesh = new GPUMesh;
    s_topology = new Topology;
    s_alembic = new AlembicFile;
    s_timeline = new Timeline(nullptr);
    s_layerManager = new LayerManager;
    s_commands = new CommandStack;
    s_outliner = new Outliner;
    s_timeControls = new TimeControls;
    s_rangeSlider = new RangeSlider;
    s_shapeBrowser = new ShapeBrowser;
}

void Global::createWindows()
{
    s_imagePlane = new ImagePlane;
    s_viewport = new Viewport(nullptr, ViewKind::Perspective);
    s_auxViewport = new Viewport(nullptr, ViewKind::Camera);
    s_mainWindow = new MainWindow;
    new InputRouter(s_mainWindow, s_viewport); // owned by its window, as the other two
    s_mainWindow->resize(800, 600);
    s_mainWindow->show();
    s_cameraWindow = new CameraWindow(s_mainWindow);
    new InputRouter(s_cameraWindow, s_auxViewport);
    new InputRouter(s_shapeBrowser, s_viewport);
}

void Global::connectSignals(Global &receiver)
{
    connect(s_mainWindow, &MainWindow::alembicImported, &receiver, &Global::updateToNewAlembic);
    connect(s_viewport, &Viewport::undoRequested, &receiver, &Global::undo);
    connect(s_viewport, &Viewport::redoRequested, &receiver, &Global::redo);
    connect(s_layerManager->mapper(), &QSignalMapper::mappedInt, &receiver, &Global::addLayer);
}

void Global::destroyAll()
{
    s_layers.clear(); // the widgets go with the panel that holds them
    // Panels that sit in the main window leave its tree as they go; deleting null is nothing.
    delete std::exchange(s_alembic, nullptr);
    delete std::exchange(s_timeline, nullptr);
    delete std::exchange(s_layerManager, nullptr);
    delete std::exchange(s_commands, nullptr);
    delete std::exchange(s_outliner, nullptr);
    delete std::exchange(s_topology, nullptr);
    if (s_mesh)
        s_mesh->setTopology(nullptr);
    delete std::exchange(s_timeControls, nullptr);
    delete std::exchange(s_rangeSlider, nullptr);
    delete std::exchange(s_shapeBrowser, nullptr);
}

bool Global::openArchive(const QString &path)
{
    auto archive = std::make_unique<AlembicFile>();
    Topology topology;
    if (!archive->open(QFile::encodeName(path)) || !archive->fillTopology(topology))
        return false;
    const SceneChange change(SceneChange::Shows::Nothing);
    std::swap(*s_topology, topology);
    if (!holdOnCard(*s_topology)) {
        std::swap(*s_topology, topology);
        holdOnCard(*s_topology);
        evaluateLayers(true);
        return false;
    }
    delete std::exchange(s_alembic, archive.release());
    s_outliner->clear();
    for (const AlembicFile::Object &object : s_alembic->objects())
        s_outliner->addObject(object.name, object.parentName, int(object.type));
    return true;
}

void Global::updateToNewAlembic()
{
    const SceneChange change(SceneChange::Shows::Nothing);
    double start = 0.0;
    double end = 0.0;
    // An archive without a sample stands still at 0: its mesh, if any, still replaces the earlier.
    if (!s_alembic->timeRange(start, end) && !s_alembic->isValid())
        return;
    const double framesPerSecond = s_alembic->frameRate();
    s_timeline->setFramesPerSecond(framesPerSecond);
    const int startFrame = frameAtTime(start, framesPerSecond);
    const int endFrame = frameAtTime(end, framesPerSecond);

    {
        const MeshScope scope;
        PointArray startPoints;
        s_alembic->readPoints(startPoints, start, *s_topology);
        s_mesh->startFrom(std::move(startPoints));
    }

    s_timeControls->setMinTime(startFrame);
    s_timeControls->setMaxTime(endFrame);
    s_rangeSlider->resetSize();

    const int frame = s_timeline->currentFrame();
    if (frame < startFrame || frame > endFrame) {
        s_timeControls->showFrame(startFrame);
        s_timeline->setCurrentFrame(startFrame); // evaluates
    } else {
        evaluateLayers(true);
    }
    seedEmptyLayers();
    s_cameraWindow->followLens();
}

void Global::addLayer(int type)
{
    if (type < int(LayerKind::Sculpt) || type > int(LayerKind::Cloth))
        return;
    const SceneChange change(SceneChange::Shows::Nothing);
    Layer *const selected = currentLayer();
    try {
        auto layer = std::make_unique<Layer>(LayerKind(type));
        seedPoints(*layer->data());
        layer->data()->keys().push_back({ s_timeline->currentSeconds(), 1.0f, true });
        layer->showFit(); // it was made with its arrays still empty
        s_layers.reserve(s_layers.size() + 1); // from here on nothing fails
        appendLayer(layer.release());
    } catch (const std::bad_alloc &) {
        if (selected)
            selected->select();
        throw;
    }
    s_timeline->update();
}

void Global::undo()
{
    const SceneChange change; // a stroke in flight becomes the command that is undone
    s_commands->undo();
}

void Global::redo()
{
    const SceneChange change;
    s_commands->redo();
}

void Global::clearScene()
{
    const SceneChange change(SceneChange::Shows::Picture);
    sceneFile() = SceneFile();
    s_alembic->close();
    s_alembicPath = QStringLiteral("untitled");
    s_outliner->clear();
    {
        const MeshScope scope;
        s_mesh->clear();
    }
    s_topology->clear();
    for (Layer *layer : std::exchange(s_layers, {}))
        delete layer;
    s_commands->clear();
    s_rangeSlider->resetSize();
    s_timeline->setFramesPerSecond(kDefaultFrameRate);
    s_timeControls->reset();
    s_layerManager->reset();
    s_cameraWindow->reset();
    s_cameraWindow->hide();
}

bool Global::saveScene(const QString &path)
{
    const SceneChange change(SceneChange::Shows::Nothing); // a stroke in flight is saved, too
    const MeshScope scope; // a simulation's points may lie on the card
    return sceneFile().write(path, s_alembicPath, layerRecords());
}

bool Global::sceneChanged()
{
    const SceneChange change(SceneChange::Shows::Nothing);
    const MeshScope scope;
    return !s_layers.empty() && !sceneFile().holds(s_alembicPath, layerRecords());
}

bool Global::loadScene(const QString &path)
{
    SceneFile file;
    SceneContent scene = file.read(path);
    if (scene.read == SceneRead::NotOpened)
        return false;
    clearScene();
    sceneFile() = file;
    s_alembicPath = scene.alembicPath;
    // A new layer selects itself and so deselects those before it: the records, which hold the
    // selection to be restored, go in when all layers stand.
    for (size_t i = 0; i < scene.layers.size(); ++i)
        appendLayer(new Layer(LayerKind::Sculpt));
    for (size_t i = 0; i < scene.layers.size(); ++i) {
        Layer &layer = *s_layers[i];
        *layer.data() = std::move(*scene.layers[i]);
        layer.refreshWidgets();
    }
    if (Layer *selected = currentLayer())
        s_layerManager->reveal(selected);
    s_timeline->update();
    return true;
}

void Global::writeLayerRecord(QDataStream &stream, const LayerData &layer)
{
    ::writeLayerRecord(stream, layer);
}

void Global::readLayerRecord(QDataStream &stream, LayerData &layer)
{
    ::readLayerRecord(stream, layer);
}
