#include "bake/ShotPlayer.h"

#include "alembic/AlembicFile.h"
#include "bake/BakeError.h"
#include "gpu/LayerStack.h"
#include "layers/Topology.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>

namespace {

QSurfaceFormat computeFormat()
{
    QSurfaceFormat format;
    format.setVersion(4, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    return format;
}

/// A layer that was made before there was a mesh gets what the window gives it at an import.
void seedEmpty(GPUMesh &mesh, LayerData &layer)
{
    const bool needsPoints = layer.kind() == LayerKind::Sculpt || layer.kind() == LayerKind::Mush;
    if (!needsPoints || !layer.basePoints().empty() || !layer.offsetPoints().empty())
        return;
    layer.setBasePoints(mesh.restPoints());
    layer.setOffsetPoints(mesh.restPoints());
    if (layer.kind() == LayerKind::Mush && layer.iterations() > 0)
        rebuildMushBase(mesh, layer);
}

} // namespace

ShotPlayer::ShotPlayer(const AlembicFile &archive, const Topology &topology)
    : m_archive(archive)
    , m_surface(std::make_unique<QOffscreenSurface>())
    , m_context(std::make_unique<QOpenGLContext>())
    , m_mesh(std::make_unique<GPUMesh>())
{
    m_surface->setFormat(computeFormat());
    m_surface->create();
    m_context->setFormat(computeFormat());
    if (!m_context->create() || !m_context->makeCurrent(m_surface.get()) || !m_mesh->bind())
        throw BakeError(QStringLiteral(
            "no OpenGL 4.3 here: the layers are computed on the graphics card. Run this where the "
            "program's window opens; without a display, run it under a virtual one, whose software "
            "rasteriser will do: xvfb-run -a plexmold-bake ..."));
    double start = 0.0, end = 0.0;
    PointArray startPoints;
    if (!archive.timeRange(start, end))
        throw BakeError(QStringLiteral("the cache's time range can't be read"));
    m_mesh->setTopology(&topology);
    m_mesh->allocateBuffers();
    archive.readPoints(startPoints, start, topology);
    m_mesh->startFrom(std::move(startPoints));
}

ShotPlayer::~ShotPlayer()
{
    m_mesh->release();
    m_mesh.reset(); // while the context is current
}

void ShotPlayer::play(const std::vector<LayerData *> &layers, double framesPerSecond,
                      const FrameRange &frames, int simulationStart, const Visit &visit)
{
    quint64 serial = 0;
    for (LayerData *layer : layers)
        seedEmpty(*m_mesh, *layer);
    for (int frame = std::min(simulationStart, frames.first); frame <= frames.last; ++frame) {
        const PlayState play { true, frame == simulationStart, ++serial };
        m_mesh->bind();
        evaluateStack(*m_mesh, m_archive, layers, { frame, framesPerSecond, play, 1.0f });
        if (frame < frames.first)
            continue;
        const auto displayed = m_mesh->readBack<QVector4D>(Semantic::kPosition);
        if (!visit({ frame, m_mesh->framePoints(), displayed }))
            return;
    }
}
