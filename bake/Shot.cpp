#include "bake/Shot.h"

#include "app/ArchivePath.h"
#include "bake/BakeError.h"
#include "layers/Envelope.h"
#include "layers/LayerFit.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace {

/// Why a layer cannot be applied to that many vertices; empty where it can.
QString misfit(const LayerData &layer, int vertexCount)
{
    if (layerKindName(layer.kind()).isEmpty())
        return QStringLiteral("its kind is unknown");
    if (!std::isfinite(layer.intensity()))
        return QStringLiteral("its intensity is not a number");
    const bool empty = // filled at the import
        layer.basePoints().empty() && layer.offsetPoints().empty() && layer.mask().empty();
    const std::optional<int> count = pointsMadeFor(layer, vertexCount);
    return count && !empty ? misfitText(*count, vertexCount) : QString();
}

bool mayMoveAny(const LayerData &layer, std::size_t first, std::size_t count)
{
    const std::vector<float> &mask = layer.mask();
    if (!mask.empty() &&
        std::any_of(mask.begin() + std::ptrdiff_t(first),
                    mask.begin() + std::ptrdiff_t(first + count),
                    [](float value) { return value != 0.0f; }))
        return true;
    if (layer.kind() != LayerKind::Sculpt || layer.basePoints().empty())
        return false; // every other kind acts through its mask
    const auto begin = layer.basePoints().begin() + std::ptrdiff_t(first);
    return !std::equal(begin, begin + std::ptrdiff_t(count),
                       layer.offsetPoints().begin() + std::ptrdiff_t(first),
                       [](const QVector4D &a, const QVector4D &b) {
                           return a.x() == b.x() && a.y() == b.y() && a.z() == b.z();
                       });
}

} // namespace

Shot::Shot(const BakeOptions &options, const Say &say)
    : m_scene(readScene(options.scene))
{
    if (m_scene.read == SceneRead::NotOpened)
        throw BakeError(QStringLiteral("can't open the scene %1").arg(options.scene));
    if (m_scene.read != SceneRead::Whole)
        throw BakeError(QStringLiteral("the scene %1 is damaged or ends early").arg(options.scene));
    openCache(options);
    checkLayers(options, say);
}

void Shot::openCache(const BakeOptions &options)
{
    m_cachePath = options.cache.isEmpty() ? m_scene.alembicPath : options.cache;
    if (m_cachePath.isEmpty() || m_cachePath == QLatin1String("untitled"))
        throw BakeError(QStringLiteral("the scene names no cache; --cache does"));
    if (options.cache.isEmpty())
        m_cachePath = findArchive(m_cachePath, options.scene);
    if (!QFileInfo(m_cachePath).isFile())
        throw BakeError(
            QStringLiteral("the cache %1 is not there; --cache names another").arg(m_cachePath));
    if (!m_archive.open(QFile::encodeName(m_cachePath)) || !m_archive.fillTopology(m_topology))
        throw BakeError(QStringLiteral("the cache %1 can't be read").arg(m_cachePath));
}

void Shot::checkLayers(const BakeOptions &options, const Say &say)
{
    QStringList faults;
    const auto unfit = [&](const std::unique_ptr<LayerData> &layer) {
        const QString reason = misfit(*layer, m_topology.vertexCount());
        if (!reason.isEmpty())
            faults << QStringLiteral("layer \"%1\" does not fit: %2").arg(layer->name(), reason);
        return !reason.isEmpty();
    };
    auto &layers = m_scene.layers;
    layers.erase(std::remove_if(layers.begin(), layers.end(), unfit), layers.end());
    if (faults.isEmpty())
        return;
    if (!options.skipUnfit)
        throw BakeError(faults.join(QLatin1Char('\n')) + QLatin1Char('\n') + counts() +
                        QStringLiteral("\n--skip-unfit leaves such layers out"));
    for (const QString &fault : faults)
        say(fault + QStringLiteral(", and is left out"));
}

QString Shot::counts() const
{
    QString text = QStringLiteral("the meshes of %1 have %2 points:")
                       .arg(m_cachePath)
                       .arg(m_topology.vertexCount());
    for (const Topology::MeshEntry &mesh : m_topology.meshes())
        text += QStringLiteral("\n  %1  %2").arg(mesh.vertexCount, 10).arg(mesh.name);
    return text;
}

double Shot::framesPerSecond() const { return m_archive.frameRate(); }

FrameRange Shot::range() const
{
    double start = 0.0, end = 0.0;
    if (!m_archive.timeRange(start, end))
        throw BakeError(QStringLiteral("the time range of %1 can't be read").arg(m_cachePath));
    return { frameAtTime(start, framesPerSecond()), frameAtTime(end, framesPerSecond()) };
}

std::vector<LayerData> Shot::layers() const
{
    std::vector<LayerData> copies;
    for (const auto &layer : m_scene.layers)
        copies.push_back(*layer);
    return copies;
}

bool Shot::hasJiggle() const
{
    return std::any_of(m_scene.layers.begin(), m_scene.layers.end(),
                       [](const auto &layer) { return layer->kind() == LayerKind::Jiggle; });
}

bool Shot::mayMove(int firstVertex, int count) const
{
    return std::any_of(m_scene.layers.begin(), m_scene.layers.end(), [=](const auto &layer) {
        return mayMoveAny(*layer, std::size_t(firstVertex), std::size_t(count));
    });
}
