#include "app/Global.h"

// The members live apart from Global.cpp, and with nothing above the logic floor, so that the
// graphics and panel floors link them without the windows.
#include "layers/LayerData.h"
#include "viewport/CompareSplit.h"

GPUMesh *Global::s_mesh = nullptr;
Topology *Global::s_topology = nullptr;
AlembicFile *Global::s_alembic = nullptr;
Timeline *Global::s_timeline = nullptr;
LayerManager *Global::s_layerManager = nullptr;
CommandStack *Global::s_commands = nullptr;
Outliner *Global::s_outliner = nullptr;
TimeControls *Global::s_timeControls = nullptr;
RangeSlider *Global::s_rangeSlider = nullptr;
ShapeBrowser *Global::s_shapeBrowser = nullptr;
ImagePlane *Global::s_imagePlane = nullptr;
Viewport *Global::s_viewport = nullptr;
Viewport *Global::s_auxViewport = nullptr;
MainWindow *Global::s_mainWindow = nullptr;
CameraWindow *Global::s_cameraWindow = nullptr;
std::vector<Layer *> Global::s_layers;
QString Global::s_alembicPath = QStringLiteral("untitled");
QString Global::s_scenePath = QStringLiteral("untitled");
float Global::s_globalEnvelope = 1.0f;
bool Global::s_unlicensed = false;
int Global::s_currentBrush = 0;
int Global::s_brushRadius = 80;
float Global::s_brushStrength = 1.0f;
float Global::s_tabletPressure = 1.0f;
float Global::s_compareSplit = CompareSplit::kOff;
bool Global::s_shiftHeld = false;
bool Global::s_controlHeld = false;
std::vector<float> Global::s_maskClipboard;
std::vector<LayerKey> Global::s_keysClipboard;

GPUMesh *Global::mesh() { return s_mesh; }
Topology *Global::topology() { return s_topology; }
AlembicFile *Global::alembic() { return s_alembic; }
Timeline *Global::timeline() { return s_timeline; }
LayerManager *Global::layerManager() { return s_layerManager; }
CommandStack *Global::commands() { return s_commands; }
Outliner *Global::outliner() { return s_outliner; }
TimeControls *Global::timeControls() { return s_timeControls; }
RangeSlider *Global::rangeSlider() { return s_rangeSlider; }
ShapeBrowser *Global::shapeBrowser() { return s_shapeBrowser; }
ImagePlane *Global::imagePlane() { return s_imagePlane; }
Viewport *Global::viewport() { return s_viewport; }
Viewport *Global::auxViewport() { return s_auxViewport; }
MainWindow *Global::mainWindow() { return s_mainWindow; }
CameraWindow *Global::cameraWindow() { return s_cameraWindow; }

std::vector<Layer *> &Global::layers() { return s_layers; }
std::vector<float> &Global::maskClipboard() { return s_maskClipboard; }
std::vector<LayerKey> &Global::keysClipboard() { return s_keysClipboard; }

const QString &Global::alembicPath() { return s_alembicPath; }
void Global::setAlembicPath(const QString &path) { s_alembicPath = path; }
const QString &Global::scenePath() { return s_scenePath; }
void Global::setScenePath(const QString &path) { s_scenePath = path; }
float Global::globalEnvelope() { return s_globalEnvelope; }
void Global::setGlobalEnvelope(float envelope) { s_globalEnvelope = envelope; }
bool Global::unlicensed() { return s_unlicensed; }
void Global::setUnlicensed(bool unlicensed) { s_unlicensed = unlicensed; }
int Global::currentBrush() { return s_currentBrush; }
void Global::setCurrentBrush(int brush) { s_currentBrush = brush; }
int Global::brushRadius() { return s_brushRadius; }
void Global::setBrushRadius(int pixels) { s_brushRadius = pixels; }
float Global::brushStrength() { return s_brushStrength; }
void Global::setBrushStrength(float strength) { s_brushStrength = strength; }
float Global::tabletPressure() { return s_tabletPressure; }
void Global::setTabletPressure(float pressure) { s_tabletPressure = pressure; }
float Global::compareSplit() { return s_compareSplit; }
void Global::setCompareSplit(float ndcX) { s_compareSplit = ndcX; }
bool Global::shiftHeld() { return s_shiftHeld; }
void Global::setShiftHeld(bool held) { s_shiftHeld = held; }
bool Global::controlHeld() { return s_controlHeld; }
void Global::setControlHeld(bool held) { s_controlHeld = held; }
