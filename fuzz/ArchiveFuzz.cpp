// Small archives with parts of their own structure changed: which one, then seven bytes a change
// (what, which place in 16 bits, a value in 32). Whatever they have become, they are read or
// refused.
#include "Fuzz.h"
#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/Archives.h"

#include <QTemporaryDir>

#include <cstring>

namespace {

using archives::Writer;

void writeAnimated(const QString &path)
{
    Writer writer(path);
    const auto turned =
        writer.xform(writer.top(), "turned", { archives::translation(1, 0, 0), Imath::M44d() });
    const auto moved = writer.xform(turned, "moved", { archives::translation(0, 2, 0) });
    const archives::Shape cube = archives::cube();
    writer.mesh(moved, "cube", cube, { archives::moved(cube.points, { 1, 0, 0 }) });
    writer.camera(turned, "camera", { 35.0, 50.0 });
}

void writeInstances(const QString &path)
{
    Writer writer(path);
    auto first = writer.xform(writer.top(), "first", { archives::translation(1, 0, 0) });
    writer.mesh(first, "cube", archives::cube());
    auto second = writer.xform(writer.top(), "second", { archives::translation(2, 0, 0) });
    second.addChildInstance(first, "again");
    writer.top().addChildInstance(second, "nested");
    writer.subdivision(writer.top(), "cage", archives::grid(3));
}

QByteArray fileOf(void (*write)(const QString &))
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("archive.abc"));
    write(path);
    QFile file(path);
    fuzz::require(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

/// The file's own structure: numbers of 8 bytes, lowest first. A group is its number of children
/// and their places, the top bit telling data; data are a size and bytes; place 0 is nothing. The
/// first group's place is at byte 8.
class Structure {
public:
    explicit Structure(const QByteArray &bytes)
        : m_bytes(bytes)
    {
        walkGroup(number(8), 0);
    }

    std::vector<int> groups; ///< where their numbers of children are
    std::vector<int> children; ///< where the places of children are
    std::vector<int> data; ///< where their sizes are

private:
    quint64 number(quint64 at) const
    {
        quint64 value = 0;
        std::memcpy(&value, m_bytes.constData() + at, sizeof value);
        return value;
    }
    void walkGroup(quint64 at, int depth)
    {
        if (at == 0 || depth > 64)
            return;
        groups.push_back(int(at));
        for (quint64 i = 0; i < number(at); ++i) {
            const quint64 slot = at + 8 + 8 * i;
            children.push_back(int(slot));
            constexpr quint64 isData = 1ull << 63;
            const quint64 child = number(slot);
            if (!(child & isData))
                walkGroup(child, depth + 1);
            else if (child != isData)
                data.push_back(int(child & ~isData));
        }
    }

    const QByteArray &m_bytes;
};

struct Seed {
    explicit Seed(void (*write)(const QString &))
        : bytes(fileOf(write))
        , structure(bytes)
    {
    }
    const QByteArray bytes;
    const Structure structure;
};

template <class Value> Value valueAt(const QByteArray &bytes, int at)
{
    Value value {};
    if (at + int(sizeof value) <= bytes.size())
        std::memcpy(&value, bytes.constData() + at, sizeof value);
    return value;
}

template <class Value> void put(QByteArray &bytes, int at, Value value)
{
    if (at >= 0 && at + int(sizeof value) <= bytes.size())
        std::memcpy(bytes.data() + at, &value, sizeof value);
}

void change(QByteArray &bytes, const Structure &structure, int what, quint16 which, quint32 value)
{
    const auto place = [which](const std::vector<int> &places) {
        return places[which % places.size()];
    };
    const int data = place(structure.data);
    const auto size = quint32(valueAt<quint64>(bytes, data));
    switch (what % 8) {
    case 0: // a byte of data
        return put(bytes, data + 8 + int((value >> 8) % std::max(size, 1u)), quint8(value));
    case 1: // a word of data
        return put(bytes, data + 8, value);
    case 2: // a size that is nearly right
        return put(bytes, data, quint64(size + quint32(qint8(value))));
    case 3: // a size that is not
        return put(bytes, data, quint64(value) << (which % 40));
    case 4: // a child in another's place
        return put(bytes, place(structure.children),
                   valueAt<quint64>(bytes, structure.children[value % structure.children.size()]));
    case 5: // a child somewhere
        return put(bytes, place(structure.children), quint64(value) | quint64(value & 1) << 63);
    case 6: // a number of children
        return put(bytes, place(structure.groups), quint64(value));
    default:
        return put(bytes, int((value >> 8) % quint32(bytes.size())), quint8(value));
    }
}

void readEverything(const QString &path)
{
    AlembicFile archive;
    if (!archive.open(QFile::encodeName(path)))
        return;
    double start = 0.0, end = 0.0;
    archive.timeRange(start, end);
    archive.objects();
    Topology topology;
    if (archive.fillTopology(topology))
        fuzz::require(topology.validate());
    PointArray points;
    CameraRecord camera;
    for (const double seconds : { start, 1.0 / 24.0, end }) {
        archive.readPoints(points, seconds);
        archive.readCamera(camera, seconds);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *input, std::size_t size)
{
    fuzz::silence();
    static const Seed seeds[] = { Seed(writeAnimated), Seed(writeInstances) };
    if (size == 0)
        return 0;
    const Seed &seed = seeds[input[0] % std::size(seeds)];
    QByteArray bytes = seed.bytes;
    constexpr std::size_t step = 7;
    for (std::size_t at = 1; at + step <= size; at += step) {
        quint16 which = 0;
        quint32 value = 0;
        std::memcpy(&which, input + at + 1, sizeof which);
        std::memcpy(&value, input + at + 3, sizeof value);
        change(bytes, seed.structure, input[at], which, value);
    }
    readEverything(fuzz::MemoryFile(bytes.constData(), std::size_t(bytes.size())).path());
    return 0;
}
