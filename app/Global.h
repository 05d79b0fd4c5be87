#pragma once

#include <QObject>
#include <QString>

#include <vector>

class AlembicFile;
class CameraWindow;
class CommandStack;
class GPUMesh;
class ImagePlane;
class Layer;
class LayerData;
class LayerManager;
class MainWindow;
class Outliner;
class RangeSlider;
class ShapeBrowser;
class TimeControls;
class Timeline;
class Topology;
class Viewport;
struct LayerKey;
class QDataStream;

/// The one scene of the process and the values that every part of the program shares.
///
/// All state is class-wide; the single instance only receives the four slots. This header knows no
/// other project header, so that any source above the logic floor may include it; no header does.
/// GlobalState.cpp defines the members and plain accessors (they need only this header),
/// GlobalStack.cpp what the panels call; Global.cpp, on the top floor, creates, connects and
/// destroys.
/// Every accessor returns null before createCore()/createWindows() and never fails.
/// GUI thread only.
class Global : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Core objects, without parents, made by createCore() in this order.
    static GPUMesh *mesh();
    static Topology *topology();
    static AlembicFile *alembic();
    static Timeline *timeline();
    static LayerManager *layerManager();
    static CommandStack *commands();
    static Outliner *outliner();
    static TimeControls *timeControls();
    static RangeSlider *rangeSlider();
    static ShapeBrowser *shapeBrowser();

    // Windows and views, made by createWindows() in this order. They end with the process.
    static ImagePlane *imagePlane();
    static Viewport *viewport(); ///< the perspective view
    static Viewport *auxViewport(); ///< the camera view
    static MainWindow *mainWindow();
    static CameraWindow *cameraWindow();

    /// The layer stack, bottom first: evaluation and the scene file use this order. Owned.
    static std::vector<Layer *> &layers();
    /// The first layer in list order whose data is selected, or null.
    static Layer *currentLayer();

    static const QString &alembicPath(); ///< "untitled" when nothing was imported
    static void setAlembicPath(const QString &path);
    static const QString &scenePath(); ///< "untitled" until saved or opened
    static void setScenePath(const QString &path);

    static float globalEnvelope(); ///< multiplies every layer's weight, initially 1
    static void setGlobalEnvelope(float envelope);
    static bool unlicensed();
    static void setUnlicensed(bool unlicensed);

    // Brush and view values.
    static int currentBrush(); ///< BrushType number, see gpu/BrushType.h
    static void setCurrentBrush(int brush);
    static int brushRadius(); ///< pixels, initially 80
    static void setBrushRadius(int pixels);
    static float brushStrength(); ///< 0 to 1, initially 1
    static void setBrushStrength(float strength);
    static float tabletPressure(); ///< 0 to 1; 1 whenever no pen stroke is running
    static void setTabletPressure(float pressure);
    /// Of the before/after wipe, see viewport/CompareSplit.h; off at first.
    static float compareSplit();
    static void setCompareSplit(float ndcX);
    static bool shiftHeld(); ///< as it was at the last press
    static void setShiftHeld(bool held);
    static bool controlHeld(); ///< as it was at the last press
    static void setControlHeld(bool held);

    static std::vector<float> &maskClipboard();
    static std::vector<LayerKey> &keysClipboard();

    // Life of the process; Global.cpp.
    static void createCore();
    static void createWindows();
    static void connectSignals(Global &receiver);
    static void destroyAll();

    /// Rebuilds the displayed mesh: with `full`, loads the current frame's imported points, applies
    /// every layer in list order, recomputes normals, shows the selected layer's mask; then, or
    /// without `full` only, repaints both views. A full evaluation without a mesh does nothing.
    static void evaluateLayers(bool full);

    static void clearScene();
    /// Replaces the scene by the file's, which is read before anything is cleared. False, with
    /// everything as it was, when it cannot be opened. The caller sets the path and imports.
    static bool loadScene(const QString &path);
    /// False, with a debug line and the earlier file whole, when the scene could not be saved.
    static bool saveScene(const QString &path);
    /// Whether there are layers, and a save would write other bytes than were last read or written.
    static bool sceneChanged();
    static void writeLayerRecord(QDataStream &stream, const LayerData &layer);
    static void readLayerRecord(QDataStream &stream, LayerData &layer);

    /// Opens an archive and fills topology and outliner from it. False, with everything as it was,
    /// when the archive cannot be opened or its faces cannot be read (a debug line says why). The
    /// caller emits alembicImported().
    static bool openArchive(const QString &path);
    /// Takes a layer out of the stack with its commands, deletes it, selects the last remaining
    /// one and evaluates.
    static void deleteLayer(Layer *layer);

public slots:
    void updateToNewAlembic();
    void addLayer(int type);
    void undo();
    void redo();

private:
    friend class SceneChange;
    /// Ends the stroke or wipe in flight in either view, without evaluating.
    static void endInteractions();

    static GPUMesh *s_mesh;
    static Topology *s_topology;
    static AlembicFile *s_alembic;
    static Timeline *s_timeline;
    static LayerManager *s_layerManager;
    static CommandStack *s_commands;
    static Outliner *s_outliner;
    static TimeControls *s_timeControls;
    static RangeSlider *s_rangeSlider;
    static ShapeBrowser *s_shapeBrowser;
    static ImagePlane *s_imagePlane;
    static Viewport *s_viewport;
    static Viewport *s_auxViewport;
    static MainWindow *s_mainWindow;
    static CameraWindow *s_cameraWindow;
    static std::vector<Layer *> s_layers;
    static QString s_alembicPath;
    static QString s_scenePath;
    static float s_globalEnvelope;
    static bool s_unlicensed;
    static int s_currentBrush;
    static int s_brushRadius;
    static float s_brushStrength;
    static float s_tabletPressure;
    static float s_compareSplit;
    static bool s_shiftHeld;
    static bool s_controlHeld;
    static std::vector<float> s_maskClipboard;
    static std::vector<LayerKey> s_keysClipboard;
};
