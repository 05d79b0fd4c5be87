#include "alembic/AlembicFile.h"

#include "alembic/ArchiveContent.h"
#include "alembic/Log.h"
#include "app/SlowWork.h"
#include "layers/Topology.h"

#include <QFile>

#include <Alembic/Abc/ArchiveInfo.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>

namespace {

namespace Abc = Alembic::Abc;
using Imath::M44d;
using Positions = ArchiveMesh::Positions;

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

/// The polygons of one mesh, and of all of them one after the other. Indices are corners, in face
/// order.
struct FaceList {
    std::vector<qint32> indices, counts;

    /// Keeps the faces that the indices can fill; false where something was left over.
    bool trim()
    {
        std::size_t kept = 0, corners = 0;
        for (; kept < counts.size(); ++kept) {
            const auto count = std::size_t(std::max(counts[kept], 0));
            if (count > indices.size() - corners)
                break;
            corners += count;
        }
        const bool whole = kept == counts.size() && corners == indices.size();
        counts.resize(kept);
        indices.resize(corners);
        return whole;
    }

    /// Winds every face the other way round. First corners stay: polygons are fanned from them.
    void turn()
    {
        auto first = indices.begin();
        for (const qint32 count : counts) {
            if (count > 1)
                std::reverse(first + 1, first + count);
            first += std::max(count, 0);
        }
    }

    /// Adds a mesh's faces behind those of the `shift` vertices before it. An index outside its own
    /// mesh becomes -1: shifted like the others it could name a vertex of another mesh. Nothing is
    /// reserved: exact sizes, mesh by mesh, would copy the whole list for each. The first mesh,
    /// most often the only one, is not copied at all.
    void append(FaceList mesh, int vertexCount, int shift)
    {
        for (qint32 &index : mesh.indices)
            index = index >= 0 && index < vertexCount ? index + shift : -1;
        if (counts.empty()) {
            *this = std::move(mesh);
            return;
        }
        counts.insert(counts.end(), mesh.counts.begin(), mesh.counts.end());
        indices.insert(indices.end(), mesh.indices.begin(), mesh.indices.end());
    }
};

QMatrix4x4 columnVectorMatrix(const M44d &m)
{
    QMatrix4x4 result;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            result(row, column) = float(m[column][row]);
    return result;
}

/// Runs `call` up to the library's boundary: the words of what it throws, if it does.
template <class Call> std::optional<QString> thrownBy(Call call)
{
    try {
        call();
        return std::nullopt;
    } catch (const std::exception &error) {
        return QString::fromLocal8Bit(error.what()).simplified();
    } catch (...) {
        return QStringLiteral("unknown exception");
    }
}

/// Whatever `call` throws ends in one debug line.
template <class Call> bool attempt(const QString &failure, Call call)
{
    const std::optional<QString> words = thrownBy(call);
    if (words)
        qCDebug(lcImport).noquote() << failure + QStringLiteral(": ") + *words;
    return !words;
}

/// The faces of a mesh's first sample.
FaceList readFaces(const ArchiveMesh &mesh)
{
    const auto &schema = mesh.object.getSchema();
    const auto indices = guarded::readArray(schema.getFaceIndicesProperty(), Abc::index_t(0));
    const auto counts = guarded::readArray(schema.getFaceCountsProperty(), Abc::index_t(0));
    FaceList faces { { indices.begin(), indices.end() }, { counts.begin(), counts.end() } };
    if (!faces.trim()) {
        qCDebug(lcImport).noquote() << "face indices and face counts do not add up, the faces that"
                                       " are whole are kept:"
                                    << mesh.name();
    }
    return faces;
}

/// Whether the world matrix turns the mesh inside out. Not where it cannot be read: that harms the
/// points, whose reading says so.
bool isMirrored(const ArchiveMesh &mesh, WorldMatrices &matrices)
{
    bool mirrored = false;
    thrownBy([&] { mirrored = matrices.of(mesh.transform).determinant() < 0.0; });
    return mirrored;
}

/// A mesh's points in world space. Throws before it writes when they are not `count`.
void place(const Positions &points, int count, const M44d &world, QVector4D *out)
{
    if (points.size() != std::size_t(count)) {
        throw std::runtime_error(std::to_string(points.size()) + " points instead of " +
                                 std::to_string(count));
    }
    transformPoints(points.data(), points.size(), world, out);
}

/// The meshes that could not be read for one frame, as one line.
struct FailedMeshes {
    QString first;
    int count = 0;

    void add(const ArchiveMesh &mesh, const QString &words)
    {
        if (count++ == 0)
            first = mesh.name() + QStringLiteral(": ") + words;
    }
    QString text() const
    {
        return count == 1 ? first : first + QStringLiteral(" and %1 more").arg(count - 1);
    }
};

} // namespace

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
               std::tie(start, end) = m_archive->timeRange();
           });
}

double AlembicFile::frameRate() const
{
    RateEvidence evidence;
    if (checkValid())
        attempt(failure("can't read the rate of"), [&] { evidence = m_archive->rateEvidence(); });
    return ::frameRate(evidence);
}

bool AlembicFile::fillTopology(Topology &topology) const
{
    return checkValid() && attempt(failure("can't read the faces of"), [&] {
               WorldMatrices atStart(m_archive->transforms, m_archive->timeRange().first);
               SlowWork work(QStringLiteral("importing ") + m_archive->path);
               Topology filled;
               FaceList merged;
               int total = 0;
               for (const ArchiveMesh &mesh : m_archive->meshes) {
                   const std::size_t points = mesh.points(Abc::index_t(0)).size();
                   if (points > std::size_t(std::numeric_limits<int>::max() - total))
                       throw std::runtime_error("too many points");
                   FaceList faces = readFaces(mesh);
                   if (isMirrored(mesh, atStart))
                       faces.turn();
                   merged.append(std::move(faces), int(points), total);
                   filled.addMesh(mesh.name(), int(points));
                   total += int(points);
                   work.reached(std::size_t(total), "points");
               }
               filled.build(total, merged.indices, merged.counts);
               topology = std::move(filled);
           });
}

bool AlembicFile::readPoints(PointArray &out, double seconds) const
{
    return checkValid() && attempt(failureAt("can't read the points of", seconds), [&] {
               // Everything that can fail comes before the output is touched.
               WorldMatrices matrices(m_archive->transforms, seconds);
               std::vector<std::pair<Positions, M44d>> parts;
               std::size_t total = 0;
               for (const ArchiveMesh &mesh : m_archive->meshes) {
                   parts.emplace_back(mesh.pointsAt(seconds), matrices.of(mesh.transform));
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

bool AlembicFile::readPoints(PointArray &points, double seconds, const Topology &topology) const
{
    if (!checkValid())
        return false;
    const std::vector<Topology::MeshEntry> &entries = topology.meshes();
    if (entries.size() != m_archive->meshes.size()) {
        qCDebug(lcImport).noquote() << failure("a topology of other meshes than those of");
        return false;
    }
    m_archive->tellChange();
    const bool none = points.size() != std::size_t(topology.vertexCount());
    if (none)
        points.assign(std::size_t(topology.vertexCount()), QVector4D(0.0f, 0.0f, 0.0f, 1.0f));
    WorldMatrices matrices(m_archive->transforms, seconds);
    FailedMeshes failed;
    QVector4D *slice = points.data();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ArchiveMesh &mesh = m_archive->meshes[i];
        const int count = entries[i].vertexCount;
        const auto placeSample = [&](const Positions &sample) {
            place(sample, count, matrices.of(mesh.transform), slice);
        };
        if (const auto words = thrownBy([&] { placeSample(mesh.pointsAt(seconds)); })) {
            failed.add(mesh, *words);
            if (none)
                thrownBy([&] { placeSample(mesh.points(Abc::index_t(0))); });
        }
        slice += count;
    }
    if (failed.count > 0) {
        qCDebug(lcImport).noquote() << failureAt("can't read all points of", seconds) +
                QStringLiteral(": ") + failed.text();
    }
    return failed.count == 0;
}

bool AlembicFile::readCamera(CameraRecord &target, double seconds, const QString &name) const
{
    if (!checkValid() || m_archive->cameras.empty())
        return false;
    return attempt(failureAt("can't read the camera of", seconds), [&] {
        const auto named = std::find_if(m_archive->cameras.begin(), m_archive->cameras.end(),
                                        [&name](const ArchiveCamera &camera) {
                                            return QString::fromStdString(camera.name) == name;
                                        });
        const ArchiveCamera &camera =
            named == m_archive->cameras.end() ? m_archive->cameras.front() : *named;
        const auto lens = camera.samples.lens(seconds);
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
