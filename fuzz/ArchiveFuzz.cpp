// A small archive with parts of its own structure changed, seven bytes a change: what, which place
// in 16 bits, a value in 32. Whatever it has become, it is read or refused.
#include "Fuzz.h"
#include "alembic/AlembicFile.h"
#include "layers/Topology.h"
#include "support/Archives.h"

#include <QFile>

#include <cstring>

namespace {

/// An animated mesh, instances of it inside each other, a cage and a camera.
QByteArray wholeArchive()
{
    const fuzz::MemoryFile file(nullptr, 0);
    {
        using archives::translation;
        archives::Writer writer(file.path());
        auto turned = writer.xform(writer.top(), "turned", { translation(1, 0, 0), Imath::M44d() });
        const auto moved = writer.xform(turned, "moved", { translation(0, 2, 0) });
        const archives::Shape cube = archives::cube();
        writer.mesh(moved, "cube", cube, { archives::moved(cube.points, { 1, 0, 0 }) });
        writer.camera(turned, "camera", { 35.0, 50.0 });
        auto second = writer.xform(writer.top(), "second", { translation(2, 0, 0) });
        second.addChildInstance(turned, "again");
        writer.top().addChildInstance(second, "nested");
        writer.subdivision(writer.top(), "cage", archives::grid(3));
    }
    QFile written(file.path());
    fuzz::require(written.open(QIODevice::ReadOnly));
    return written.readAll();
}

template <class Value> Value valueAt(const void *bytes)
{
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// The file's own structure: numbers of 8 bytes, lowest first. A group is its number of children
/// and their places, the top bit telling data; data are a size and bytes; place 0 is nothing. The
/// first group's place is at byte 8.
struct Structure {
    Structure() { walkGroup(number(8)); }

    const QByteArray bytes = wholeArchive();
    std::vector<int> groups; ///< where their numbers of children are
    std::vector<int> children; ///< where the places of children are
    std::vector<int> data; ///< where their sizes are

    quint64 number(quint64 at) const { return valueAt<quint64>(bytes.constData() + at); }

private:
    void walkGroup(quint64 at)
    {
        if (at == 0)
            return;
        groups.push_back(int(at));
        for (quint64 i = 0; i < number(at); ++i) {
            const quint64 slot = at + 8 + 8 * i;
            children.push_back(int(slot));
            constexpr quint64 isData = 1ull << 63;
            const quint64 child = number(slot);
            if (!(child & isData))
                walkGroup(child);
            else if (child != isData)
                data.push_back(int(child & ~isData));
        }
    }
};

template <class Value> void put(QByteArray &bytes, int at, Value value)
{
    if (at + int(sizeof value) <= bytes.size())
        std::memcpy(bytes.data() + at, &value, sizeof value);
}

void change(QByteArray &bytes, const Structure &structure, int what, quint16 which, quint32 value)
{
    const auto place = [which](const std::vector<int> &places) {
        return places[which % places.size()];
    };
    const int data = place(structure.data);
    const auto size = quint32(structure.number(quint64(data)));
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
                   structure.number(structure.children[value % structure.children.size()]));
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
    static const Structure structure;
    QByteArray bytes = structure.bytes;
    constexpr std::size_t step = 7;
    for (std::size_t at = 0; at + step <= size; at += step)
        change(bytes, structure, input[at], valueAt<quint16>(input + at + 1),
               valueAt<quint32>(input + at + 3));
    readEverything(fuzz::MemoryFile(bytes.constData(), std::size_t(bytes.size())).path());
    return 0;
}
