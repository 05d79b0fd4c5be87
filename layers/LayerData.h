#pragma once

#include "layers/RevisedArray.h"

#include <QString>
#include <QVector4D>

#include <optional>
#include <utility>
#include <vector>

/// Points as the graphics card holds them: x, y, z and w = 1 (directions: w = 0), world space.
using PointArray = std::vector<QVector4D>;
using RevisedPoints = RevisedArray<QVector4D>;
using RemotePoints = RemoteArray<QVector4D>;

/// The stored number is the layer panel's button, the scene file's type and the GPU pass.
enum class LayerKind : qint32 { Sculpt = 0, Mush = 1, Relax = 2, Jiggle = 3, Cloth = 4 };

/// The kind's display name, which a new layer also bears; empty for a number outside the table.
QString layerKindName(LayerKind kind);

/// One envelope key of a layer.
struct LayerKey {
    double time = 0.0; ///< seconds
    float value = 0.0f; ///< 0 to 1 when made by hand
    bool flag = false; ///< the ruler draws a flagged key larger
};

bool operator==(const LayerKey &a, const LayerKey &b);

/// What a Jiggle layer's latest step began from: further evaluations of its frame repeat the step
/// from there. Lives while playing; scenes do not store it.
struct JiggleStep {
    std::optional<quint64> frameSerial; ///< PlayState's; none before the first step
    RevisedPoints previousPoints;
    RevisedPoints currentPoints;
};

/// Everything that the scene file stores of one layer. Owned by exactly one Layer. A plain record:
/// it checks nothing, and any array may have any length (see gpu/LayerPasses.h for what then runs).
///
/// basePoints / offsetPoints by kind:
///   Sculpt  the pose sculpted against / the sculpted pose
///   Mush    the rest pose relaxed `iterations` times / the rest pose
///   Cloth   the rest pose / empty
///   Jiggle  the previous frame's simulated points / the current ones
///   Relax   both unused
class LayerData {
public:
    const PointArray &basePoints() const { return m_basePoints.items(); }
    const RevisedPoints &revisedBasePoints() const { return m_basePoints; }
    void setBasePoints(RevisedPoints points) { m_basePoints = std::move(points); }

    const PointArray &offsetPoints() const { return m_offsetPoints.items(); }
    PointArray &editOffsetPoints() { return m_offsetPoints.edit(); }
    const RevisedPoints &revisedOffsetPoints() const { return m_offsetPoints; }
    void setOffsetPoints(RevisedPoints points) { m_offsetPoints = std::move(points); }

    const std::vector<float> &mask() const { return m_mask.items(); }
    const RevisedArray<float> &revisedMask() const { return m_mask; }
    void setMask(RevisedArray<float> mask) { m_mask = std::move(mask); }

    std::vector<LayerKey> &keys() { return m_keys; }
    const std::vector<LayerKey> &keys() const { return m_keys; }
    void setKeys(std::vector<LayerKey> keys) { m_keys = std::move(keys); }

    const QString &name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    LayerKind kind() const { return m_kind; }
    void setKind(LayerKind kind) { m_kind = kind; }
    float intensity() const { return m_intensity; }
    void setIntensity(float intensity) { m_intensity = intensity; }
    qint32 reserved() const { return m_reserved; }
    void setReserved(qint32 value) { m_reserved = value; }
    bool selected() const { return m_selected; }
    void setSelected(bool selected) { m_selected = selected; }
    bool tangent() const { return m_tangent; }
    void setTangent(bool tangent) { m_tangent = tangent; }
    int iterations() const { return m_iterations; }
    void setIterations(int iterations) { m_iterations = iterations; }
    int cloneIterations() const { return m_cloneIterations; }
    void setCloneIterations(int iterations) { m_cloneIterations = iterations; }
    float damping() const { return m_damping; }
    void setDamping(float damping) { m_damping = damping; }
    float stiffness() const { return m_stiffness; }
    void setStiffness(float stiffness) { m_stiffness = stiffness; }
    float asMuscle() const { return m_asMuscle; }
    void setAsMuscle(float amount) { m_asMuscle = amount; }
    JiggleStep &jiggleStep() { return m_jiggleStep; }
    /// Why the stack passes over this layer, empty while it does not. Scenes do not store it.
    QString &passedOverReason() { return m_passedOverReason; }
    /// Fetches what a simulation left elsewhere; see RevisedArray for what that needs.
    void bringHome();

private:
    RevisedPoints m_basePoints;
    RevisedPoints m_offsetPoints;
    RevisedArray<float> m_mask; ///< 0 = free, 1 = fully masked
    std::vector<LayerKey> m_keys;
    QString m_name;
    LayerKind m_kind = LayerKind::Sculpt;
    float m_intensity = 1.0f;
    qint32 m_reserved = 0; ///< the scene file carries it; nothing else reads it
    bool m_selected = false;
    bool m_tangent = false;
    qint32 m_iterations = 0;
    qint32 m_cloneIterations = 0;
    float m_damping = 0.3f;
    float m_stiffness = 0.3f;
    float m_asMuscle = 0.0f;
    JiggleStep m_jiggleStep;
    QString m_passedOverReason;
};
