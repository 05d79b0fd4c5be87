#pragma once

#include "bake/BakedArchive.h"
#include "bake/Progress.h"
#include "bake/Shot.h"
#include "bake/ShotPlayer.h"

#include <QElapsedTimer>

#include <memory>
#include <set>

/// One bake: plays the shot and writes what it displays. Throws std::exception, and then leaves no
/// file. Needs a QGuiApplication.
class Bake {
public:
    explicit Bake(const BakeOptions &options);
    /// The line that ends a bake.
    QString run();

private:
    /// A mesh of the merged mesh.
    struct Slice {
        int mesh; ///< of the source tree
        std::size_t first; ///< vertex
        std::size_t count;
        bool mayMove; ///< a layer reaches it, and its point count never changes
    };
    using Points = std::vector<Imath::V3f>;

    void findSlices();
    void planFrames();
    void planMark();
    void decideInstances();
    bool differ(const MirroredMesh &pair, const ShotPlayer::Frame &frame);
    void play(const QString &what, const ShotPlayer::Visit &visit);
    void writeFrame(BakedArchive &archive, const ShotPlayer::Frame &frame);
    bool moved(const Slice &slice, const ShotPlayer::Frame &frame) const;
    Points pointsOf(const Slice &slice, const ShotPlayer::Frame &frame);
    QString summary(const BakedArchive &archive) const;

    QElapsedTimer m_timer;
    const BakeOptions m_options;
    Progress m_progress;
    Shot m_shot;
    SourceTree m_source;
    std::vector<Slice> m_slices;
    BakePlan m_plan;
    std::optional<PartMark> m_mark;
    std::unique_ptr<ShotPlayer> m_player; ///< null where nothing can move
    std::set<int> m_moved; ///< meshes of the source tree
    std::set<int> m_singular; ///< meshes that it was said of
};
