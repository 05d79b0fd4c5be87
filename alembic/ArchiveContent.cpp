#include "alembic/ArchiveContent.h"

#include "alembic/Log.h"
#include "app/FreeMemory.h"
#include "app/SlowWork.h"

#include <QFile>

#include <Alembic/Abc/ArchiveInfo.h>
#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/ICamera.h>
#include <Alembic/AbcGeom/ISubD.h>
#include <Alembic/AbcGeom/IXform.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcGeom = Alembic::AbcGeom;
using Imath::M44d;

// Damaged offsets can make a small file describe an endless hierarchy. The library keeps the full
// name of each object on the path, so names limit it, too.
constexpr std::size_t kMaxDepth = 16384;
constexpr std::size_t kMaxObjects = 100000; ///< each becomes a line of the outliner
// What an imported mesh takes in all, measured: points, tables, and the buffers where the card
// shares the machine's memory.
constexpr quint64 kBytesPerPoint = 200;
constexpr quint64 kBytesPerCorner = 24;
constexpr std::size_t kMaxNameBytes = std::size_t(2) << 30; ///< of all full names together
constexpr std::size_t kAnchorDistance = 256; ///< levels that may go inside each other

/// A mesh that was given no sample may have been written without these. One without any of a
/// mesh's properties is no mesh, and opening it says so.
bool lacksGeometry(const Abc::IObject &object)
{
    const Abc::ICompoundProperty top = object.getProperties();
    const std::string name = AbcGeom::IPolyMeshSchema::getDefaultSchemaName();
    const auto *header = top.getPropertyHeader(name);
    if (!header || !header->isCompound())
        return false;
    const Abc::ICompoundProperty geometry(top, name);
    const char *const needed[] = { "P", ".faceIndices", ".faceCounts" };
    return std::any_of(std::begin(needed), std::end(needed), [&geometry](const char *property) {
        return !geometry.getPropertyHeader(property);
    });
}

/// The rate that most votes are for; 0 is none.
class RateVotes {
public:
    void add(double rate, double votes)
    {
        if (rate > 0.0)
            m_votes[rate] += votes;
    }
    double most() const
    {
        const auto fewer = [](const auto &a, const auto &b) { return a.second < b.second; };
        const auto most = std::max_element(m_votes.begin(), m_votes.end(), fewer);
        return most == m_votes.end() ? 0.0 : most->first;
    }

private:
    std::map<double, double> m_votes;
};

} // namespace

WorldMatrices::WorldMatrices(const std::vector<ArchiveTransform> &transforms, double seconds)
    : m_transforms(transforms)
    , m_seconds(seconds)
    , m_matrices(transforms.size())
{
}

M44d WorldMatrices::of(int transform)
{
    m_chain.clear();
    while (transform >= 0 && !m_matrices[std::size_t(transform)]) {
        const ArchiveTransform &node = m_transforms[std::size_t(transform)];
        m_chain.push_back(transform);
        transform = node.samples.inherits(m_seconds) ? node.parent : -1;
    }
    M44d world = transform < 0 ? M44d() : *m_matrices[std::size_t(transform)];
    for (auto at = m_chain.rbegin(); at != m_chain.rend(); ++at) {
        world = m_transforms[std::size_t(*at)].samples.matrix(m_seconds) * world;
        m_matrices[std::size_t(*at)] = world;
    }
    return world;
}

ArchiveMesh::Positions ArchiveMesh::points(const Abc::ISampleSelector &when) const
{
    return guarded::readArray(object.getSchema().getPositionsProperty(), when);
}

ArchiveMesh::Positions ArchiveMesh::pointsAt(double seconds) const
{
    return points(guarded::at(object.getSchema().getPositionsProperty(), seconds));
}

/// An object on the path from the top to where the walk is.
struct AlembicFile::Archive::Level {
    Abc::IObject object;
    QString name;
    int transform = -1; ///< its own, or the nearest above
    std::size_t nextChild = 0;
    std::size_t childCount = 0;
};

struct AlembicFile::Archive::Walk {
    DeepestFirst<Level> levels;
    std::vector<std::string> sources; ///< of the instances on the path
    std::size_t nameBytes = 0;
    SlowWork work;
};

AlembicFile::Archive::Archive(const QByteArray &filePath)
    : path(QFile::decodeName(filePath))
    , stamp(FileStamp::of(path))
    , archive(Alembic::AbcCoreOgawa::ReadArchive(1, false), filePath.toStdString(),
              Abc::ErrorHandler::kThrowPolicy)
{
    if (!archive.valid())
        throw std::runtime_error("not an archive of this kind");
    m_freeMemory = freeMemory();
    walk();
}

std::pair<double, double> AlembicFile::Archive::timeRange()
{
    double first = 0.0, last = 0.0;
    Abc::GetArchiveStartAndEndTime(archive, first, last);
    return first <= last ? std::pair(first, last) : std::pair(0.0, 0.0);
}

RateEvidence AlembicFile::Archive::rateEvidence()
{
    const auto [first, last] = timeRange();
    return { hintedRate(), sampledRate(), first, last };
}

double AlembicFile::Archive::hintedRate()
{
    std::string hint = archive.getPtr()->getMetaData().get(Abc::kDCCFPSKey);
    std::replace(hint.begin(), hint.end(), ',', '.'); // as a writer's locale may have it
    return QString::fromStdString(hint).toDouble(); // 0 for what is no number
}

/// Of the sampling that the most points have; where none move by themselves, the most transforms;
/// else the most cameras.
double AlembicFile::Archive::sampledRate() const
{
    RateVotes points, moves, lenses;
    for (const ArchiveMesh &mesh : meshes) {
        const auto positions = mesh.object.getSchema().getPositionsProperty();
        if (const double rate = guarded::cyclesPerSecond(positions); rate > 0.0)
            points.add(rate, double(mesh.points(Abc::index_t(0)).size()));
    }
    for (const ArchiveTransform &transform : transforms)
        moves.add(transform.samples.cyclesPerSecond(), 1.0);
    for (const ArchiveCamera &camera : cameras)
        lenses.add(camera.samples.cyclesPerSecond(), 1.0);
    return points.most() > 0.0 ? points.most() : moves.most() > 0.0 ? moves.most() : lenses.most();
}

/// Depth first, parent before children.
void AlembicFile::Archive::walk()
{
    Walk walk { {}, {}, 0, SlowWork(QStringLiteral("opening ") + path) };
    enter(walk, archive.getTop());
    while (!walk.levels.empty()) {
        Level &level = walk.levels.back();
        if (level.nextChild < level.childCount)
            enter(walk, level.object.getChild(level.nextChild++));
        else
            leave(walk);
    }
}

void AlembicFile::Archive::enter(Walk &walk, const Abc::IObject &object)
{
    const std::size_t depth = walk.levels.size();
    walk.work.reached(objects.size(), "objects");
    walk.nameBytes += object.getFullName().size();
    if (objects.size() >= kMaxObjects)
        throw std::runtime_error("more than " + std::to_string(kMaxObjects) + " objects");
    bool endless = depth > kMaxDepth || walk.nameBytes > kMaxNameBytes;
    if (object.isInstanceRoot()) {
        const std::string source = object.instanceSourcePath();
        endless |= std::count(walk.sources.begin(), walk.sources.end(), source) > 0;
        walk.sources.push_back(source);
    }
    if (endless)
        throw std::runtime_error("the hierarchy does not end");

    Level level { object, QString::fromStdString(object.getName()), -1, 0,
                  object.getNumChildren() };
    if (depth > 0)
        level.transform = walk.levels.back().transform;
    collect(object, depth > 0 ? walk.levels.back().name : QString(), level.transform);
    if (depth % kAnchorDistance == kAnchorDistance - 1)
        anchors.push_back(object);
    walk.levels.push_back(level);
}

void AlembicFile::Archive::leave(Walk &walk)
{
    if (walk.levels.back().object.isInstanceRoot())
        walk.sources.pop_back();
    walk.levels.pop_back();
}

/// Looks at the opened object's own meta data: the header that an instance's parent holds names no
/// schema. `transform` becomes the object's own when it is a transform.
void AlembicFile::Archive::collect(const Abc::IObject &object, const QString &parentName,
                                   int &transform)
{
    const auto &metaData = object.getMetaData();
    ObjectType type = ObjectType::Other;
    if (AbcGeom::IPolyMesh::matches(metaData, Abc::kSchemaTitleMatching)) {
        collectMesh(object, transform, Abc::kSchemaTitleMatching);
        type = ObjectType::Mesh;
    } else if (AbcGeom::ISubD::matches(metaData, Abc::kSchemaTitleMatching)) {
        // A cage's points and faces bear the same names; any other matching refuses its title.
        collectMesh(object, transform, Abc::kNoMatching);
        type = ObjectType::Mesh;
    } else if (AbcGeom::ICamera::matches(metaData, Abc::kSchemaTitleMatching)) {
        cameras.push_back({ object.getName(), guarded::CameraSamples(object), transform });
        type = ObjectType::Camera;
    } else if (AbcGeom::IXform::matches(metaData, Abc::kSchemaTitleMatching)) {
        transforms.push_back({ guarded::TransformSamples(object), transform });
        transform = int(transforms.size()) - 1;
    }
    objects.push_back({ QString::fromStdString(object.getName()), parentName, type });
}

void AlembicFile::Archive::collectMesh(const Abc::IObject &object, int transform,
                                       Abc::SchemaInterpMatching matching)
{
    if (lacksGeometry(object)) {
        qCDebug(lcImport).noquote() << "a mesh without points or faces is left out:"
                                    << QString::fromStdString(object.getFullName());
        return;
    }
    meshes.push_back({ AbcGeom::IPolyMesh(object, matching), transform });
    count(meshes.back());
}

/// Refuses what memory cannot hold before any of it is read; a small file of nested instances can
/// describe any number of points.
void AlembicFile::Archive::count(const ArchiveMesh &mesh)
{
    const auto &schema = mesh.object.getSchema();
    const quint64 points = guarded::itemCount(schema.getPositionsProperty());
    const quint64 corners = guarded::itemCount(schema.getFaceIndicesProperty());
    pointCount += points;
    m_neededMemory += kBytesPerPoint * points + kBytesPerCorner * corners;
    if (m_neededMemory > m_freeMemory) {
        constexpr quint64 megabyte = 1000 * 1000;
        throw std::runtime_error(std::to_string(pointCount) + " points and more need over " +
                                 std::to_string(m_neededMemory / megabyte) + " MB, free are " +
                                 std::to_string(m_freeMemory / megabyte));
    }
}

void AlembicFile::Archive::tellChange()
{
    const FileStamp present = FileStamp::of(path);
    if (present == stamp)
        return;
    stamp = present;
    qCDebug(lcImport).noquote() << "the archive changed on disk since it was imported:" << path;
}
