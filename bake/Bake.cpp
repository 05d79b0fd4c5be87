#include "bake/Bake.h"

#include "bake/BakeError.h"
#include "bake/MeshSpace.h"
#include "bake/OutputFile.h"
#include "bake/SameFile.h"

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>

Bake::Bake(const BakeOptions &options)
    : m_options(options)
    , m_shot(options, [this](const QString &line) { m_progress.say(line); })
    , m_source(m_shot.cachePath())
{
    m_timer.start();
    refuseSameFile(options.output, { options.scene, m_shot.cachePath() });
    planFrames();
    findSlices();
    planMark();
}

void Bake::planFrames()
{
    const FrameRange cache = m_shot.range();
    FrameRange frames = m_options.frames.value_or(cache);
    if (frames.first > cache.last || frames.last < cache.first)
        throw BakeError(QStringLiteral("the cache holds frames %1 to %2, none of %3 to %4")
                            .arg(cache.first)
                            .arg(cache.last)
                            .arg(frames.first)
                            .arg(frames.last));
    if (m_options.frames || m_options.part) {
        m_mark.emplace();
        m_mark->whole = frames;
        if (m_options.part)
            frames = m_options.part->of(frames);
        m_mark->frames = frames;
        if (!m_options.part)
            m_mark->whole = frames;
    }
    if (frames.count() < 1)
        throw BakeError(QStringLiteral("there are more parts than frames"));
    m_plan.frames = frames;
    m_plan.framesPerSecond = m_shot.framesPerSecond();
    m_plan.normals = m_options.normals;
    m_plan.pointsOnly = m_options.part && m_options.part->number > 1;
}

void Bake::findSlices()
{
    m_plan.wanted.resize(m_source.meshes().size());
    std::size_t first = 0;
    for (const Topology::MeshEntry &entry : m_shot.topology().meshes()) {
        const int mesh = m_source.meshNamed(entry.name.toStdString());
        if (mesh < 0)
            throw BakeError(QStringLiteral("the cache changed while it was read"));
        const SourceMesh &source = m_source.meshes()[std::size_t(mesh)];
        bool mayMove = m_shot.mayMove(int(first), entry.vertexCount);
        if (mayMove && !source.alwaysHas(entry.vertexCount)) {
            m_progress.say(
                QStringLiteral("%1 is kept as it is: its point count changes").arg(entry.name));
            mayMove = false;
        }
        m_slices.push_back({ mesh, first, std::size_t(entry.vertexCount), mayMove });
        m_plan.wanted[std::size_t(mesh)] = mayMove;
        first += std::size_t(entry.vertexCount);
    }
    const bool needsCard = std::any_of(m_slices.begin(), m_slices.end(),
                                       [](const Slice &slice) { return slice.mayMove; });
    if (needsCard)
        m_player = std::make_unique<ShotPlayer>(m_shot.archive(), m_shot.topology());
}

/// What tells that parts belong together: the scene's bytes, what the cache holds, the options that
/// change points or what is written of them.
void Bake::planMark()
{
    if (!m_mark)
        return;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QFile scene(m_options.scene);
    if (!scene.open(QIODevice::ReadOnly) || !hash.addData(&scene))
        throw BakeError(QStringLiteral("can't open the scene %1").arg(m_options.scene));
    hash.addData(QByteArray::fromStdString(m_source.fingerprint()));
    hash.addData(m_options.normals ? "normals" : "");
    hash.addData(m_options.skipUnfit ? "skip" : "");
    m_mark->scene = hash.result().toHex().toStdString();
    m_mark->framesPerSecond = m_plan.framesPerSecond;
    m_mark->pointsOnly = m_plan.pointsOnly;
    m_mark->normals = m_plan.normals;
}

QString Bake::run()
{
    OutputFile output(m_options.output, m_options.force);
    decideInstances();
    BakedArchive archive(m_source, m_plan, output.stream());
    play(QStringLiteral("frame %1"), [&](const ShotPlayer::Frame &frame) {
        writeFrame(archive, frame);
        output.check();
        return true;
    });
    if (m_mark) {
        m_mark->ownInstances = m_plan.ownInstances;
        for (const int mesh : m_moved)
            m_mark->moved.push_back(m_source.meshes()[std::size_t(mesh)].name);
    }
    archive.finish(m_mark ? &*m_mark : nullptr);
    const QString line = summary(archive);
    archive.close();
    output.commit();
    return line;
}

void Bake::play(const QString &what, const ShotPlayer::Visit &visit)
{
    if (!m_player)
        return;
    std::vector<LayerData> layers = m_shot.layers();
    std::vector<LayerData *> stack;
    for (LayerData &layer : layers)
        stack.push_back(&layer);
    // A simulation swings from the shot's first frame on, wherever a part begins.
    const FrameRange &frames = m_plan.frames;
    const int start =
        m_shot.hasJiggle() ? std::min(m_shot.range().first, frames.first) : frames.first;
    m_progress.begin(frames.count());
    m_player->play(stack, m_plan.framesPerSecond, frames, start,
                   [&](const ShotPlayer::Frame &frame) {
                       const bool goOn = visit(frame);
                       m_progress.step(what.arg(frame.number));
                       return goOn;
                   });
}

/// Instances are written before the frames that tell them apart are known: where one may be told
/// apart, the frames are played once beforehand.
void Bake::decideInstances()
{
    std::vector<MirroredMesh> open = m_source.mirroredMeshes();
    const auto &wanted = m_plan.wanted;
    const auto forget = [&open](const auto &condition) {
        open.erase(std::remove_if(open.begin(), open.end(), condition), open.end());
    };
    forget([&wanted](const MirroredMesh &pair) {
        return !wanted[std::size_t(pair.mesh)] && !wanted[std::size_t(pair.mirrored)];
    });
    if (open.empty())
        return;
    play(QStringLiteral("looking at instances, frame %1"), [&](const ShotPlayer::Frame &frame) {
        for (std::size_t i = 0; i < open.size();) {
            const MirroredMesh pair = open[i++];
            if (!differ(pair, frame))
                continue;
            const auto &root = m_source.nodes()[std::size_t(pair.root)].object;
            m_plan.ownInstances.push_back(root.getFullName());
            forget([&pair](const MirroredMesh &other) { return other.root == pair.root; });
            i = 0;
        }
        return !open.empty();
    });
    std::sort(m_plan.ownInstances.begin(), m_plan.ownInstances.end());
}

/// By more than the rounding of world space, in which both were computed.
bool Bake::differ(const MirroredMesh &pair, const ShotPlayer::Frame &frame)
{
    constexpr double kTolerance = 1e-6;
    const auto slice = [this](int mesh) {
        return *std::find_if(m_slices.begin(), m_slices.end(),
                             [mesh](const Slice &each) { return each.mesh == mesh; });
    };
    const Slice slices[2] = { slice(pair.mesh), slice(pair.mirrored) };
    if (!moved(slices[0], frame) && !moved(slices[1], frame))
        return false;
    double tolerance = 0.0;
    for (const Slice &each : slices) {
        const auto node = std::size_t(m_source.meshes()[std::size_t(each.mesh)].node);
        const auto inverse = inverseOf(m_source.worldMatrices(m_plan.seconds(frame.number))
                                           .of(m_source.nodes()[node].transform));
        double largest = 0.0, scale = 0.0;
        for (std::size_t i = each.first; i < each.first + each.count; ++i)
            largest = std::max(largest, double(frame.displayed[i].toVector3D().length()));
        for (int row = 0; inverse && row < 3; ++row)
            scale = std::max(
                scale, std::hypot((*inverse)[row][0], (*inverse)[row][1], (*inverse)[row][2]));
        tolerance = std::max(tolerance, kTolerance * largest * scale);
    }
    const Points a = pointsOf(slices[0], frame), b = pointsOf(slices[1], frame);
    return !std::equal(a.begin(), a.end(), b.begin(), b.end(),
                       [tolerance](const Imath::V3f &x, const Imath::V3f &y) {
                           return double((x - y).length()) <= tolerance;
                       });
}

void Bake::writeFrame(BakedArchive &archive, const ShotPlayer::Frame &frame)
{
    for (const Slice &slice : m_slices) {
        // A part cannot know whether another part moves it, and points hold for one frame only.
        const bool always = m_plan.pointsOnly && slice.mayMove;
        const bool moves = moved(slice, frame);
        if (moves)
            m_moved.insert(slice.mesh);
        if (!moves && !always) {
            archive.writeFrame(slice.mesh, frame.number, nullptr);
        } else {
            const Points points = pointsOf(slice, frame);
            archive.writeFrame(slice.mesh, frame.number, &points);
        }
    }
}

bool Bake::moved(const Slice &slice, const ShotPlayer::Frame &frame) const
{
    return slice.mayMove &&
        std::memcmp(&frame.imported[slice.first], &frame.displayed[slice.first],
                    slice.count * sizeof(QVector4D)) != 0;
}

/// In the mesh's own space.
Bake::Points Bake::pointsOf(const Slice &slice, const ShotPlayer::Frame &frame)
{
    const SourceMesh &mesh = m_source.meshes()[std::size_t(slice.mesh)];
    const double seconds = m_plan.seconds(frame.number);
    Points points = mesh.points(seconds);
    if (points.size() != slice.count)
        throw BakeError(QStringLiteral("the points of %1 can't be read at frame %2")
                            .arg(QString::fromStdString(mesh.name))
                            .arg(frame.number));
    const int transform = m_source.nodes()[std::size_t(mesh.node)].transform;
    if (const auto inverse = inverseOf(m_source.worldMatrices(seconds).of(transform)))
        toMeshSpace(&frame.imported[slice.first], &frame.displayed[slice.first], *inverse, points);
    else if (m_singular.insert(slice.mesh).second)
        m_progress.say(QStringLiteral("%1 has no size at frame %2: where that is so, its own "
                                      "points are kept")
                           .arg(QString::fromStdString(mesh.name))
                           .arg(frame.number));
    return points;
}

QString Bake::summary(const BakedArchive &archive) const
{
    QString line = QStringLiteral("%1: %2 frames, %3 of %4 meshes corrected, %5 seconds")
                       .arg(m_options.output)
                       .arg(m_plan.frames.count())
                       .arg(m_moved.size())
                       .arg(m_slices.size())
                       .arg(double(m_timer.elapsed()) / 1e3, 0, 'f', 1);
    const int velocities = archive.lostVelocitiesCount(), normals = archive.lostNormalsCount();
    if (velocities > 0)
        line += QStringLiteral("; velocities of %1 left out, they no longer fit").arg(velocities);
    if (normals > 0)
        line += QStringLiteral("; normals of %1 left out, they no longer fit (--normals writes "
                               "new ones)")
                    .arg(normals);
    return line;
}
