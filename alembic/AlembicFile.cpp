#include "alembic/AlembicFile.h"

#include "alembic/GuardedSamples.h"
#include "alembic/Log.h"
#include "layers/Topology.h"

#include <QFile>

#include <Alembic/Abc/ArchiveInfo.h>
#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/ICamera.h>
#include <Alembic/AbcGeom/IPolyMesh.h>
#include <Alembic/AbcGeom/ISubD.h>
#include <Alembic/AbcGeom/IXform.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcGeom = Alembic::AbcGeom;
using Abc::ISampleSelector;
using Imath::M44d;

// Instances and damaged offsets can make a small file describe an endless hierarchy.
constexpr int kMaxDepth = 256;
constexpr std::size_t kMaxObjects = 1000000;

/// A transform of the walk; `parent` is the next transform above it on the path walked, or -1. An
/// instance's own parent would be that of its source, so the path has to be kept here.
struct Transform {
    guarded::TransformSamples samples;
    int parent = -1;
};

struct Mesh {
    AbcGeom::IPolyMesh object;
    int transform = -1; ///< the nearest transform above, or -1
};

struct Camera {
    std::string name;
    guarded::CameraSamples samples;
    int transform = -1; ///< the nearest transform above, or -1
};

/// World matrices at one time, for row vectors. Each transform is read at most once.
class WorldMatrices {
public:
    WorldMatrices(const std::vector<Transform> &transforms, double seconds)
        : m_transforms(transforms)
        , m_when(seconds, ISampleSelector::kFloorIndex)
        , m_matrices(transforms.size())
    {
    }

    M44d of(int transform)
    {
        if (transform < 0)
            return M44d();
        const auto index = std::size_t(transform);
        if (!m_matrices[index]) {
            const Transform &node = m_transforms[index];
            m_matrices[index] = node.samples.matrix(m_when) * of(node.parent);
        }
        return *m_matrices[index];
    }

private:
    const std::vector<Transform> &m_transforms;
    ISampleSelector m_when;
    std::vector<std::optional<M44d>> m_matrices;
};

// Built a second time for machines with wider registers; the loader picks. Not with fused
// multiplications, so that every machine gets the same points.
#if defined(__x86_64__) && defined(__GLIBC__)
#define HOUSE_WIDE_CLONE __attribute__((target_clones("avx2", "default")))
#else
#define HOUSE_WIDE_CLONE
#endif

using Double4 = double __attribute__((vector_size(32)));
using Float4 = float __attribute__((vector_size(16)));

/// Row vectors with a homogeneous divide, in double precision. Works in blocks that stay in the
/// nearest cache: widening a block first lets each coordinate be spread over the four sums by a
/// plain load. w' is exactly 1 without a projective column, and then the divide, which costs more
/// than the rest together, changes nothing.
HOUSE_WIDE_CLONE
void transformPoints(const Imath::V3f *points, std::size_t count, const M44d &m, QVector4D *out)
{
    constexpr std::size_t kBlock = 256;
    double wide[3 * kBlock];
    Double4 rows[4];
    std::memcpy(rows, m.getValue(), sizeof rows);
    const bool divides = m[0][3] != 0.0 || m[1][3] != 0.0 || m[2][3] != 0.0 || m[3][3] != 1.0;
    for (std::size_t first = 0; first < count; first += kBlock) {
        const std::size_t size = std::min(kBlock, count - first);
        const float *narrow = &points[first].x;
        for (std::size_t i = 0; i < 3 * size; ++i)
            wide[i] = double(narrow[i]);
#pragma GCC unroll 4
        for (std::size_t i = 0; i < size; ++i) {
            Double4 sum = wide[3 * i] * rows[0] + wide[3 * i + 1] * rows[1] +
                wide[3 * i + 2] * rows[2] + rows[3];
            if (divides)
                sum /= sum[3];
            Float4 point = __builtin_convertvector(sum, Float4);
            point[3] = 1.0f; // also where the sum is not a number
            std::memcpy(static_cast<void *>(out + first + i), &point, sizeof point);
        }
    }
}

/// Appends a mesh's corner indices, shifted by the vertices before it. An index outside its own
/// mesh becomes -1: shifted like the others it could name a vertex of another mesh.
void appendShifted(std::vector<qint32> &merged, std::span<const qint32> indices, int vertexCount,
                   int shift)
{
    merged.reserve(merged.size() + indices.size());
    for (const qint32 index : indices)
        merged.push_back(index >= 0 && index < vertexCount ? index + shift : -1);
}

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

QMatrix4x4 columnVectorMatrix(const M44d &m)
{
    QMatrix4x4 result;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            result(row, column) = float(m[column][row]);
    return result;
}

/// Runs `call` up to the library's boundary: whatever it throws ends in one debug line.
template <class Call> bool attempt(const QString &failure, Call call)
{
    QString words = QStringLiteral("unknown exception");
    try {
        call();
        return true;
    } catch (const std::exception &error) {
        words = QString::fromLocal8Bit(error.what()).simplified();
    } catch (...) {
    }
    qCDebug(lcImport).noquote() << failure + QStringLiteral(": ") + words;
    return false;
}

} // namespace

struct AlembicFile::Archive {
    explicit Archive(const QByteArray &filePath);
    void walk(const Abc::IObject &object, const QString &parentName, int transform, int depth);
    void collect(const Abc::IObject &object, const QString &parentName, int &transform);
    void collectMesh(const Abc::IObject &object, int transform, Abc::SchemaInterpMatching matching);

    QString path;
    Abc::IArchive archive;
    std::vector<Object> objects;
    std::vector<Transform> transforms;
    std::vector<Mesh> meshes;
    std::vector<Camera> cameras;
};

AlembicFile::Archive::Archive(const QByteArray &filePath)
    : path(QFile::decodeName(filePath))
    , archive(Alembic::AbcCoreOgawa::ReadArchive(1, false), filePath.toStdString(),
              Abc::ErrorHandler::kThrowPolicy)
{
    if (!archive.valid())
        throw std::runtime_error("not an archive of this kind");
    walk(archive.getTop(), QString(), -1, 0);
}

void AlembicFile::Archive::walk(const Abc::IObject &object, const QString &parentName,
                                int transform, int depth)
{
    if (depth > kMaxDepth || objects.size() >= kMaxObjects)
        throw std::runtime_error("the hierarchy does not end");
    collect(object, parentName, transform);
    const QString name = objects.back().name;
    const std::size_t childCount = object.getNumChildren();
    for (std::size_t i = 0; i < childCount; ++i)
        walk(object.getChild(i), name, transform, depth + 1);
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
}

AlembicFile::AlembicFile() = default;
AlembicFile::~AlembicFile() = default;

bool AlembicFile::open(const QByteArray &path)
{
    return attempt(QStringLiteral("can't open the archive ") + QFile::decodeName(path),
                   [&] { m_archive = std::make_unique<Archive>(path); });
}

void AlembicFile::close() { m_archive.reset(); }

bool AlembicFile::isValid() const { return m_archive && m_archive->archive.valid(); }

bool AlembicFile::checkValid() const
{
    if (!isValid())
        qCDebug(lcImport).noquote() << "archive is invalid";
    return isValid();
}

const std::vector<AlembicFile::Object> &AlembicFile::objects() const
{
    static const std::vector<Object> none;
    return checkValid() ? m_archive->objects : none;
}

int AlembicFile::meshCount() const { return checkValid() ? int(m_archive->meshes.size()) : 0; }

int AlembicFile::cameraCount() const { return checkValid() ? int(m_archive->cameras.size()) : 0; }

bool AlembicFile::timeRange(double &start, double &end) const
{
    return checkValid() && attempt(failure("can't read the time range of"), [&] {
               double first = 0.0, last = 0.0;
               Abc::GetArchiveStartAndEndTime(m_archive->archive, first, last);
               const bool known = first <= last; // otherwise no sampling holds a sample
               start = known ? first : 0.0;
               end = known ? last : 0.0;
           });
}

bool AlembicFile::fillTopology(Topology &topology) const
{
    return checkValid() && attempt(failure("can't read the faces of"), [&] {
               const ISampleSelector first(Abc::index_t(0));
               int total = 0;
               std::vector<qint32> faceIndices, faceCounts;
               std::vector<Topology::MeshEntry> entries;
               for (const Mesh &mesh : m_archive->meshes) {
                   const AbcGeom::IPolyMeshSchema &schema = mesh.object.getSchema();
                   const auto points = guarded::readArray(schema.getPositionsProperty(), first);
                   const auto indices = guarded::readArray(schema.getFaceIndicesProperty(), first);
                   const auto counts = guarded::readArray(schema.getFaceCountsProperty(), first);
                   if (points.size() > std::size_t(std::numeric_limits<int>::max() - total))
                       throw std::runtime_error("too many points");
                   const int vertexCount = int(points.size());
                   faceCounts.insert(faceCounts.end(), counts.begin(), counts.end());
                   appendShifted(faceIndices, indices, vertexCount, total);
                   entries.push_back(
                       { QString::fromStdString(mesh.object.getFullName()), vertexCount });
                   total += vertexCount;
               }
               topology.clear();
               for (const Topology::MeshEntry &entry : entries)
                   topology.addMesh(entry.name, entry.vertexCount);
               topology.build(total, faceIndices, faceCounts);
           });
}

bool AlembicFile::readPoints(PointArray &out, double seconds) const
{
    return checkValid() && attempt(failureAt("can't read the points of", seconds), [&] {
               // Everything that can fail comes before the output is touched.
               const ISampleSelector when(seconds, ISampleSelector::kFloorIndex);
               WorldMatrices matrices(m_archive->transforms, seconds);
               std::vector<std::pair<guarded::ArrayItems<Abc::IP3fArrayProperty>, M44d>> parts;
               std::size_t total = 0;
               for (const Mesh &mesh : m_archive->meshes) {
                   parts.emplace_back(
                       guarded::readArray(mesh.object.getSchema().getPositionsProperty(), when),
                       matrices.of(mesh.transform));
                   total += parts.back().first.size();
               }
               out.resize(total); // not cleared first: that would write every point twice
               QVector4D *next = out.data();
               for (const auto &[points, matrix] : parts) {
                   transformPoints(points.data(), points.size(), matrix, next);
                   next += points.size();
               }
           });
}

bool AlembicFile::readCamera(CameraRecord &target, double seconds, const QString &name) const
{
    if (!checkValid() || m_archive->cameras.empty())
        return false;
    return attempt(failureAt("can't read the camera of", seconds), [&] {
        const auto named = std::find_if(
            m_archive->cameras.begin(), m_archive->cameras.end(),
            [&name](const Camera &camera) { return QString::fromStdString(camera.name) == name; });
        const Camera &camera =
            named == m_archive->cameras.end() ? m_archive->cameras.front() : *named;
        const auto lens =
            camera.samples.lens(ISampleSelector(seconds, ISampleSelector::kFloorIndex));
        WorldMatrices matrices(m_archive->transforms, seconds);
        const M44d world = matrices.of(camera.transform);
        target.horizontalAperture = float(lens.horizontalAperture);
        target.verticalAperture = float(lens.verticalAperture);
        target.focalLength = float(lens.focalLength);
        target.matrix = columnVectorMatrix(world);
    });
}

QString AlembicFile::failure(const char *action) const
{
    return QLatin1String(action) + QLatin1Char(' ') + m_archive->path;
}

QString AlembicFile::failureAt(const char *action, double seconds) const
{
    return failure(action) + QStringLiteral(" at %1 seconds").arg(seconds);
}
