#pragma once

#include "layers/LayerData.h"
#include "layers/Sculpt.h"
#include "viewport/InteractionMode.h"
#include "viewport/OrbitCamera.h"

#include <QOpenGLFunctions_4_3_Core>
#include <QOpenGLWidget>
#include <QPoint>
#include <QVector3D>

#include <array>
#include <memory>
#include <optional>

class GroundGrid;
class QLabel;
class QOpenGLVertexArrayObject;
class UIDrawManager;
struct CameraRecord;
enum class OverlayMode : int;

/// Perspective: the view of the main window. Camera: the view of the camera window, whose middle
/// and right drags move the scene camera's picture instead of orbiting.
enum class ViewKind : int { Perspective = 0, Camera = 1 };

/// One OpenGL view of the mesh, the ground grid and the plate, and the artist's hand in it: camera
/// drags, brush strokes, light, before/after wipe, keys. Draws only in paintGL(); pictures are
/// asked for through Global. Pixel positions of strokes and cameras count from the bottom. Without
/// OpenGL 4.3 the view says so in place of a picture and everything else works.
class Viewport : public QOpenGLWidget, protected QOpenGLFunctions_4_3_Core {
    Q_OBJECT

public:
    Viewport(QWidget *parent, ViewKind kind);
    ~Viewport() override;

    OrbitCamera &camera() { return m_camera; }
    const OrbitCamera &camera() const { return m_camera; }
    /// The scene camera to look through; "perspective" is the free camera.
    void setCameraName(const QString &name);
    const QString &cameraName() const { return m_camera.name(); }

    /// The matrices of the current frame's picture. A view that looks through a scene camera has
    /// that camera's view; the free one where the archive has no such thing.
    CameraMatrices matrices() const;

    /// Eye space; moved by the right button.
    QVector3D lightDirection() const { return m_lightDirection; }
    InteractionMode mode() const { return m_mode; }
    /// Where the last stroke's press met the mesh, world space.
    QVector3D strokeHit() const { return m_strokeHit; }
    UIDrawManager *overlay() const { return m_overlay; }

    /// Ends a stroke or wipe in flight here, as its release would, but without evaluating; see
    /// SceneChange. Does nothing in any other mode; safe to call from anywhere.
    void endInteraction();

signals:
    void undoRequested();
    void redoRequested();
    /// A key, or the end of a drag, changed Global::currentBrush().
    void brushChanged(int brush);
    /// A scene camera was chosen, perhaps the same one again.
    void cameraChosen(const QString &name);

protected:
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    bool event(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    /// A move without any button held ends a drag whose release never came.
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *) override { }
    void tabletEvent(QTabletEvent *event) override;

private:
    // Viewport.cpp

    void tell(const QString &sentence, bool noPicture);
    void drawMesh(const CameraMatrices &matrices);
    void drawImagePlane(const CameraRecord &camera, const CameraMatrices &matrices);
    std::optional<CameraRecord> sceneCamera() const;
    CameraMatrices matricesThrough(const std::optional<CameraRecord> &camera) const;

    // ViewportMouse.cpp
    QPoint fromBottom(const QPoint &position) const;
    void beginMode(const QPoint &eventPosition, const CameraMatrices &matrices);
    void beginOverlay(OverlayMode mode, const QPoint &eventPosition);
    void navigate(const QPoint &position, Qt::MouseButtons buttons);
    void aimLight(const QPoint &position, const CameraMatrices &matrices);
    void dragOverlay(const QPoint &eventPosition);
    void finishDrag();
    void endMode();
    void restoreBrushAndSplit();

    // ViewportStroke.cpp
    void beginStroke(const CameraMatrices &matrices);
    void dragStroke(const QPoint &position, const CameraMatrices &matrices);
    void applyTools(const QPoint &position, const CameraMatrices &matrices);
    void finishStroke();
    void beginCompare(const QPoint &eventPosition);
    void keepImportedPose();
    void finishCompare();
    void splitAt(int x);

    // ViewportKeys.cpp
    void handleCommandKey(int key, Qt::KeyboardModifiers modifiers);
    void handleBrushKey(int key);
    void frameMesh();

    bool m_initialized = false;
    Sculpt m_mainTool;
    Sculpt m_mirrorTool;
    OrbitCamera m_camera;
    InteractionMode m_mode = InteractionMode::None;
    const ViewKind m_kind;
    bool m_wireframe = false; ///< flipped by Shift+F
    UIDrawManager *m_overlay;
    QLabel *m_notice = nullptr; ///< over the picture, while a need of ours is not met

    Qt::MouseButton m_dragButton = Qt::NoButton; ///< NoButton: no drag that a release would end
    int m_savedBrush = 0; ///< what the release restores
    int m_radiusAtPress = 0; ///< pixels
    QPoint m_previousPosition;
    QPoint m_lastStamp;
    QVector3D m_strokeHit;
    QVector3D m_lightDirection { 0, 0, 1 };
    /// What the wipe's buffers held before it; goes back at its end.
    std::array<PointArray, 4> m_wipeBackup;

    std::unique_ptr<GroundGrid> m_grid;
    std::unique_ptr<QOpenGLVertexArrayObject> m_vertexArray; ///< of this view's context only
};
