#pragma once

#include "viewport/CameraMatrices.h"

#include <QString>
#include <QVector2D>
#include <QVector3D>

/// What a drag in the Navigate mode does; the button decides.
enum class DragKind : int { Tumble = 0, Pan = 1, Dolly = 2 };

/// The free camera of a view, and the picture pan and zoom with which a view looks through a scene
/// camera. A plain value: needs no window and no context. Angles are radians inside, the field of
/// view is vertical and in degrees; drag positions are pixels counted from the bottom.
class OrbitCamera {
public:
    OrbitCamera() { reset(); }

    /// "perspective" is the free camera; any other name is a scene camera's.
    const QString &name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    bool isFree() const;

    /// The start view; the pivot stays where it is, and so do picture, size and lens.
    void reset();
    void setSize(int width, int height); ///< each raised to at least 1
    /// Values outside (0, 180) have no picture and change nothing.
    void setFieldOfView(float degrees);
    float fieldOfView() const { return m_fieldOfView; }
    void resetPicture();

    void beginDrag(int x, int y);
    /// Tumble: half a degree a pixel about the pivot. Pan: the scene follows the cursor at the
    /// pivot's depth. Dolly: the larger of the two movements wins, a tie going to the vertical one.
    void orbitDrag(int x, int y, DragKind kind);
    /// Pan: the picture follows the cursor. Dolly: a whole height's drag upwards takes the zoom
    /// from 1 to 0; it stops at 0.1 while the drag goes on being counted. Tumble changes nothing.
    void pictureDrag(int x, int y, DragKind kind);
    /// Looks at the box's centre from one diagonal away, under the angles that are set. A box
    /// without extent leaves a zoom speed of 0, so that dollying does nothing until the next
    /// framing.
    void frameBox(const QVector3D &minimum, const QVector3D &maximum);

    /// The free camera's matrices, without the picture pan and zoom.
    CameraMatrices matrices() const;
    /// The matrices for looking through a scene camera whose view (world to eye) is given; field of
    /// view, near and far stay this camera's own.
    CameraMatrices matrices(const QMatrix4x4 &sceneView) const;

    const QMatrix4x4 &view() const { return m_view; }
    const QMatrix4x4 &picture() const { return m_picture; }
    const QVector3D &pan() const { return m_pan; }
    const QVector3D &pivot() const { return m_pivot; }
    float tilt() const { return m_tilt; }
    float turn() const { return m_turn; }
    float zoomSpeed() const { return m_zoomSpeed; }

    /// World units that one pixel spans at the pivot's depth; 0 where that is not a number.
    float panScale() const;

private:
    QMatrix4x4 projection() const;
    void rebuildView();
    void rebuildPicture();

    QString m_name = QStringLiteral("perspective");
    int m_width = 1;
    int m_height = 1;
    int m_lastX = 0;
    int m_lastY = 0;
    float m_zoomSpeed = 0.02f; ///< world units a pixel of dolly
    float m_near = 0.1f;
    float m_far = 10000.0f;
    float m_fieldOfView = 45.0f;
    QMatrix4x4 m_view;
    QMatrix4x4 m_picture;
    QVector3D m_pan; ///< x, y and dolly z, eye space
    QVector2D m_pictureOffset; ///< normalised device units
    float m_tilt = 0.0f; ///< about x
    float m_turn = 0.0f; ///< about y
    QVector3D m_pivot; ///< world space
    float m_pictureZoom = 1.0f;
    int m_pictureZoomDrag = 0; ///< pixels dragged so far, also beyond what the zoom can follow
};
