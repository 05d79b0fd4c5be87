#pragma once

#include "alembic/AlembicFile.h"
#include "app/SceneStream.h"
#include "bake/Options.h"
#include "layers/Topology.h"

#include <functional>

/// What a bake starts from: a scene, its cache, and which layers correct what of it.
class Shot {
public:
    using Say = std::function<void(const QString &)>;

    /// Reads both. Throws BakeError where one cannot be read whole, and where a layer does not fit
    /// and may not be left out; those left out are said.
    Shot(const BakeOptions &options, const Say &say);

    const QString &cachePath() const { return m_cachePath; }
    const AlembicFile &archive() const { return m_archive; }
    const Topology &topology() const { return m_topology; }
    double framesPerSecond() const;
    FrameRange range() const; ///< of the whole cache
    /// Copies, bottom first: playing changes them.
    std::vector<LayerData> layers() const;
    bool hasJiggle() const;
    /// Whether a layer can move any of these vertices at any frame. False is certain.
    bool mayMove(int firstVertex, int count) const;

private:
    void openCache(const BakeOptions &options);
    void checkLayers(const BakeOptions &options, const Say &say);
    QString counts() const;

    QString m_cachePath;
    SceneContent m_scene;
    AlembicFile m_archive;
    Topology m_topology;
};
