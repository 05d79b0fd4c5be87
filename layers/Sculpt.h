#pragma once

#include "gpu/BrushType.h"
#include "viewport/ScreenRay.h"

#include <QMatrix4x4>
#include <QPoint>
#include <QVector3D>
#include <QVector4D>

#include <optional>
#include <vector>

class Layer;

/// The brush: turns one stroke's pixel positions (counted from the bottom) into kernel runs for the
/// selected layer. Every call that touches the mesh needs it bound, see MeshScope. During a stroke
/// `Global::currentBrush()` is the effective brush, which the view restores at the end.
class Sculpt {
public:
    /// `transform` carries every mouse ray into the tool's space: identity, or a mirror.
    explicit Sculpt(const QMatrix4x4 &transform = QMatrix4x4());

    void beginStroke(const QPoint &pixel, const CameraMatrices &matrices);
    void applyStroke(const QPoint &pixel, const CameraMatrices &matrices);
    /// A drag event begins: its stamps by surface walk the mesh as it is now. Reading every point
    /// back for each of them would cost more than all the rest of a dense stroke.
    void beginEvent() { m_surface.clear(); }
    /// Whether a kernel ran for the stroke.
    bool strokeTouched() const;
    /// Clears the brush weights and forgets stroke and layer.
    void endStroke();

    Layer *layer() const
    {
        return m_layer;
    } ///< not owned; null when none was selected at the press
    bool hit() const { return m_hit; }
    const QVector3D &hitPosition() const { return m_hitPosition; } ///< of the press, world space
    const QVector3D &hitNormal() const { return m_hitNormal; }
    float radius() const { return m_radius; } ///< world units

private:
    bool isBrushing() const;
    ScreenRay ray(const QPoint &pixel, const CameraMatrices &matrices) const;
    void castPressRay(const QPoint &pixel, const CameraMatrices &matrices);
    void placeBrushFrame();
    BrushType effectiveBrush(bool shift) const;
    bool prepareBuffers(BrushType brush);
    void pickVertices();
    void move(const QPoint &pixel, const CameraMatrices &matrices);
    void dab(BrushType brush, const QPoint &pixel, const CameraMatrices &matrices);
    QVector3D moveVector(const QPoint &pixel, const CameraMatrices &matrices);

    const QMatrix4x4 m_transform;
    Layer *m_layer = nullptr;
    bool m_sculptLayer = false;
    bool m_hit = false;
    bool m_touched = false;
    float m_radius = 0.0f;
    QVector3D m_hitPosition;
    QVector3D m_hitNormal;
    QVector3D m_direction; ///< of the press, from far to near, unit length
    std::optional<QVector3D> m_lastMovePoint; ///< on the move brush's plane
    BrushType m_preparedBrush = BrushType::None; ///< the one whose buffers are filled
    std::vector<QVector4D> m_surface; ///< what this event's stamps walk; empty until one does
    std::vector<float> m_falloff; ///< the mirrored move brush's weights
};
