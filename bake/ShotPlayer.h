#pragma once

#include "bake/PartMark.h"
#include "gpu/GPUMesh.h"

#include <functional>
#include <memory>
#include <vector>

class QOffscreenSurface;
class QOpenGLContext;

/// Plays a shot without a window, as the program does on its timeline, and shows what is displayed
/// at each frame. Needs a QGuiApplication; owns a context, current while it lives.
class ShotPlayer {
public:
    /// World space, one point per vertex of the merged mesh.
    struct Frame {
        int number;
        const PointArray &imported;
        const PointArray &displayed;
    };
    /// False stops.
    using Visit = std::function<bool(const Frame &)>;

    /// Throws BakeError without OpenGL 4.3. The archive and the topology must outlive this.
    ShotPlayer(const AlembicFile &archive, const Topology &topology);
    ~ShotPlayer();

    /// Every frame of the range in order is visited. Simulations start afresh at `simulationStart`,
    /// and frames from there on are played without being visited.
    void play(const std::vector<LayerData *> &layers, double framesPerSecond,
              const FrameRange &frames, int simulationStart, const Visit &visit);

private:
    const AlembicFile &m_archive;
    std::unique_ptr<QOffscreenSurface> m_surface;
    std::unique_ptr<QOpenGLContext> m_context;
    std::unique_ptr<GPUMesh> m_mesh;
};
