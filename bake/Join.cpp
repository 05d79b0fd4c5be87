#include "bake/Join.h"

#include "bake/BakeError.h"
#include "bake/OutputFile.h"
#include "bake/SameFile.h"

#include <QElapsedTimer>

#include <algorithm>
#include <set>

Join::Join(const BakeOptions &options)
    : m_options(options)
{
    refuseSameFile(options.output, options.parts);
    readMarks();
    checkParts();
    plan();
}

void Join::readMarks()
{
    for (const QString &path : m_options.parts) {
        try {
            m_parts.push_back({ path, PartMark::read(SourceTree(path).archive()) });
        } catch (const BakeError &) {
            throw;
        } catch (const std::exception &error) {
            throw BakeError(QStringLiteral("%1 can't be read: %2")
                                .arg(path, QString::fromLocal8Bit(error.what()).simplified()));
        }
    }
    std::sort(m_parts.begin(), m_parts.end(), [](const Part &a, const Part &b) {
        return a.mark.frames.first < b.mark.frames.first;
    });
}

void Join::checkParts() const
{
    const Part &first = m_parts.front();
    for (const Part &part : m_parts)
        if (part.mark.scene != first.mark.scene)
            throw BakeError(QStringLiteral("%1 and %2 are parts of different scenes, caches or "
                                           "options")
                                .arg(first.path, part.path));
    for (std::size_t i = 1; i < m_parts.size(); ++i) {
        const FrameRange &before = m_parts[i - 1].mark.frames, &after = m_parts[i].mark.frames;
        if (after.first != before.last + 1)
            throw BakeError(QStringLiteral("%1 between %2 (frames %3 to %4) and %5 (frames %6 to "
                                           "%7)")
                                .arg(after.first > before.last ? QStringLiteral("a gap")
                                                               : QStringLiteral("an overlap"),
                                     m_parts[i - 1].path)
                                .arg(before.first)
                                .arg(before.last)
                                .arg(m_parts[i].path)
                                .arg(after.first)
                                .arg(after.last));
    }
    if (first.mark.pointsOnly)
        throw BakeError(QStringLiteral("the first part is missing, which holds everything but the "
                                       "others' points"));
    for (const Part &part : m_parts)
        if (part.mark.pointsOnly && m_parts.back().mark.frames.last < part.mark.whole.last)
            throw BakeError(QStringLiteral("the parts after frame %1 are missing, up to frame %2")
                                .arg(m_parts.back().mark.frames.last)
                                .arg(part.mark.whole.last));
}

void Join::plan()
{
    const PartMark &first = m_parts.front().mark;
    m_plan.frames = { first.frames.first, m_parts.back().mark.frames.last };
    m_plan.framesPerSecond = first.framesPerSecond;
    m_plan.normals = first.normals;
    std::set<std::string> moved, own;
    for (const Part &part : m_parts) {
        moved.insert(part.mark.moved.begin(), part.mark.moved.end());
        own.insert(part.mark.ownInstances.begin(), part.mark.ownInstances.end());
    }
    m_moved.assign(moved.begin(), moved.end());
    m_plan.ownInstances.assign(own.begin(), own.end());
}

QString Join::run()
{
    QElapsedTimer timer;
    timer.start();
    OutputFile output(m_options.output, m_options.force);
    const SourceTree source(m_parts.front().path);
    BakedArchive archive(source, m_plan, output.stream());
    m_progress.begin(int(m_parts.size()));
    for (const Part &part : m_parts) {
        writePart(archive, source, part);
        output.check();
        m_progress.step(part.path);
    }
    archive.finish(nullptr);
    archive.close();
    output.commit();
    return QStringLiteral("%1: %2 frames, %3 meshes corrected, %4 parts, %5 seconds")
        .arg(m_options.output)
        .arg(m_plan.frames.count())
        .arg(m_moved.size())
        .arg(m_parts.size())
        .arg(double(timer.elapsed()) / 1e3, 0, 'f', 1);
}

/// A mesh that moves in any part has a sample a frame in the whole, also where it stood still.
void Join::writePart(BakedArchive &archive, const SourceTree &source, const Part &part)
{
    const SourceTree tree(part.path);
    for (const std::string &name : m_moved) {
        if (tree.meshNamed(name) < 0 || source.meshNamed(name) < 0)
            throw BakeError(QStringLiteral("%1 lacks the mesh %2")
                                .arg(part.path, QString::fromStdString(name)));
    }
    for (int frame = part.mark.frames.first; frame <= part.mark.frames.last; ++frame) {
        for (const std::string &name : m_moved) {
            const auto points =
                tree.meshes()[std::size_t(tree.meshNamed(name))].points(m_plan.seconds(frame));
            archive.writeFrame(source.meshNamed(name), frame, &points);
        }
    }
}
