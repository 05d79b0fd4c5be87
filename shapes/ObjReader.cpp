#include "shapes/ObjReader.h"

#include "shapes/LargePages.h"
#include "shapes/LineScan.h"
#include "shapes/Log.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <unordered_set>

namespace {

using Vector = std::array<float, 3>;

// The numbers of a file count from 1, or from -1 backwards; zero is no number at all.
int listIndex(int number, std::size_t count)
{
    if (number > 0)
        return number - 1;
    const std::int64_t fromEnd = std::int64_t(count) + number;
    return number < 0 && fromEnd >= 0 ? int(fromEnd) : ObjCorner::kOutOfRange;
}

class ObjParser {
public:
    explicit ObjParser(ObjContent &content)
        : m_content(content)
    {
    }

    void readLine(std::string_view line)
    {
        if (line.empty())
            return;
        switch (line.front()) {
        case 'v':
            return readVector(line);
        case 'f':
            return readFace(line);
        case 'u':
            return readMaterialUse(line);
        case 'm':
            return readLibrary(line);
        }
    }

private:
    // The scan asks for no blank behind the "v", so that "v1 2 3" and "vnan 2 3" are positions.
    void readVector(std::string_view line)
    {
        const char second = line.size() > 1 ? line[1] : '\0';
        if (!(second == 'n' && append("vn", line, m_content.normals)) &&
            !(second == 't' && append("vt", line, m_content.textureCoordinates)))
            append("v", line, m_content.positions);
    }

    template <std::size_t Count>
    bool append(std::string_view key, std::string_view line,
                std::vector<std::array<float, Count>> &list)
    {
        LineScan scan(line);
        std::array<float, Count> values;
        if (!scan.literal(key) || !scan.numbers(values.data(), int(Count)))
            return false;
        list.push_back(values);
        return true;
    }

    void readFace(std::string_view line)
    {
        if (line.size() < 2 || (line[1] != ' ' && line[1] != '\t'))
            return;
        LineScan fields(line.substr(1));
        const std::size_t before = m_content.corners.size();
        for (std::string_view field = fields.field(); !field.empty(); field = fields.field())
            readCorner(field);
        if (m_content.corners.size() > before)
            m_content.faceEnds.push_back(std::uint32_t(m_content.corners.size()));
    }

    // Deliberate: of "3//5" the scan keeps the position alone, as it does not pass over a number
    // that is not there.
    void readCorner(std::string_view field)
    {
        LineScan scan(field);
        ObjCorner corner;
        int number = 0;
        if (!scan.integer(number))
            return;
        corner.position = listIndex(number, m_content.positions.size());
        if (scan.literal("/") && scan.integer(number)) {
            corner.texture = listIndex(number, m_content.textureCoordinates.size());
            if (scan.literal("/") && scan.integer(number))
                corner.normal = listIndex(number, m_content.normals.size());
        }
        m_content.corners.push_back(corner);
    }

    void readMaterialUse(std::string_view line)
    {
        LineScan scan(line);
        if (!scan.literal("usemtl"))
            return;
        if (const std::string_view name = scan.word(); !name.empty())
            m_content.materialUses.push_back({ std::string(name), m_content.faceEnds.size() });
    }

    void readLibrary(std::string_view line)
    {
        LineScan scan(line);
        if (!scan.literal("mtllib"))
            return;
        std::string name(scan.word());
        if (!name.empty() && m_libraries.insert(name).second)
            m_content.libraries.push_back(std::move(name));
    }

    ObjContent &m_content;
    std::unordered_set<std::string> m_libraries;
};

// What is there, whatever length the file claims. Only regular files, as a pipe may never end, and
// none so long that numbers of corners or positions could leave an int.
std::optional<QByteArray> readFile(const QString &path)
{
    constexpr std::uintmax_t kMaxBytes = 0x7fff0000;
    constexpr int kChunk = 1 << 16;
    const std::filesystem::path name(path.toLatin1().toStdString());
    std::error_code error;
    if (!std::filesystem::is_regular_file(name, error))
        return std::nullopt;
    const std::uintmax_t claimed = std::filesystem::file_size(name, error);
    std::ifstream file(name, std::ios::binary);
    if (error || claimed > kMaxBytes - kChunk || !file)
        return std::nullopt;
    QByteArray text;
    int used = 0;
    for (int chunk = int(claimed) + 1; file && used <= int(kMaxBytes) - chunk; chunk = kChunk) {
        text.resize(used + chunk);
        preferLargePages(text.data() + used, std::size_t(chunk));
        used += int(file.read(text.data() + used, chunk).gcount());
    }
    text.truncate(used);
    return text;
}

std::string_view view(const QByteArray &text)
{
    return { text.constData(), std::size_t(text.size()) };
}

std::optional<Vector> direction(double x, double y, double z)
{
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 0.0) || !std::isfinite(length))
        return std::nullopt;
    return Vector { float(x / length), float(y / length), float(z / length) };
}

/// Lists that grow are copied each time, into memory that is fresh each time.
void makeRoom(ObjContent &content, std::string_view text)
{
    constexpr std::size_t kUsualCorners = 4;
    std::size_t positions = 0, normals = 0, textures = 0, faces = 0;
    forEachLine(text, [&](std::string_view line) {
        const char second = line.size() > 1 ? line[1] : '\0';
        const bool vector = second != '\0' && line[0] == 'v';
        normals += vector && second == 'n';
        textures += vector && second == 't';
        positions += vector && second != 'n' && second != 't';
        faces += second != '\0' && line[0] == 'f';
    });
    reserveLarge(content.positions, positions);
    reserveLarge(content.normals, normals);
    reserveLarge(content.textureCoordinates, textures);
    reserveLarge(content.faceEnds, faces);
    reserveLarge(content.corners, kUsualCorners * faces);
}

class ShapeBuilder {
public:
    explicit ShapeBuilder(const ObjContent &content)
        : m_content(content)
        , m_newest(content.positions.size(), kNone)
    {
        reserveLarge(m_shape.indices, 3 * content.corners.size() / 2);
        reserveLarge(m_shape.positions, 3 * content.positions.size());
        reserveLarge(m_shape.normals, 3 * content.positions.size());
        reserveLarge(m_older, content.positions.size());
    }

    ShapeMesh build()
    {
        std::size_t first = 0;
        for (const std::uint32_t end : m_content.faceEnds) {
            addFace(first, end);
            first = end;
        }
        return std::move(m_shape);
    }

private:
    static constexpr std::uint32_t kNone = 0xffffffff;
    static constexpr int kMaxSearches = 256;

    void addFace(std::size_t first, std::size_t end)
    {
        const ObjCorner *const corners = m_content.corners.data();
        if (end - first < 3 || !std::all_of(corners + first, corners + end, [this](const auto &c) {
                return inRange(c);
            }))
            return;
        m_faceNormal.reset();
        const std::uint32_t hub = vertexOf(first, first, end);
        std::uint32_t previous = vertexOf(first + 1, first, end);
        for (std::size_t corner = first + 2; corner < end; ++corner) {
            const std::uint32_t next = vertexOf(corner, first, end);
            m_shape.indices.insert(m_shape.indices.end(), { hub, previous, next });
            previous = next;
        }
    }

    bool inRange(const ObjCorner &corner) const
    {
        const auto within = [](int index, std::size_t count) {
            return index >= 0 && std::size_t(index) < count;
        };
        return within(corner.position, m_content.positions.size()) &&
            (corner.texture == ObjCorner::kMissing ||
             within(corner.texture, m_content.textureCoordinates.size())) &&
            (corner.normal == ObjCorner::kMissing ||
             within(corner.normal, m_content.normals.size()));
    }

    // The corner of the mesh with this position and normal. Of the corners that came before at the
    // same position the newest are searched: they are few, so that no hashing is needed, and where
    // thousands meet in a point, sharing less is better than a search that grows with the square.
    std::uint32_t vertexOf(std::size_t corner, std::size_t first, std::size_t end)
    {
        const ObjCorner &named = m_content.corners[corner];
        const Vector normal = normalOf(named, first, end);
        std::uint32_t &newest = m_newest[std::size_t(named.position)];
        int searches = kMaxSearches;
        for (std::uint32_t vertex = newest; vertex != kNone && searches > 0; --searches) {
            if (std::equal(normal.begin(), normal.end(), &m_shape.normals[3 * std::size_t(vertex)]))
                return vertex;
            vertex = m_older[vertex];
        }
        m_older.push_back(newest);
        newest = std::uint32_t(m_older.size() - 1);
        const Vector &point = m_content.positions[std::size_t(named.position)];
        m_shape.positions.insert(m_shape.positions.end(), point.begin(), point.end());
        m_shape.normals.insert(m_shape.normals.end(), normal.begin(), normal.end());
        return newest;
    }

    Vector normalOf(const ObjCorner &corner, std::size_t first, std::size_t end)
    {
        if (corner.normal != ObjCorner::kMissing) {
            const Vector &given = m_content.normals[std::size_t(corner.normal)];
            if (const auto unit = direction(given[0], given[1], given[2]))
                return *unit;
        }
        if (!m_faceNormal)
            m_faceNormal = faceNormal(first, end);
        return *m_faceNormal;
    }

    // The sum over the edges (Newell's formula): right for polygons that are not flat or not
    // convex, where the cross product at one corner may point the other way.
    Vector faceNormal(std::size_t first, std::size_t end) const
    {
        double x = 0.0;
        double y = 0.0;
        double z = 0.0;
        for (std::size_t corner = first; corner < end; ++corner) {
            const Vector &a = pointOf(corner);
            const Vector &b = pointOf(corner + 1 < end ? corner + 1 : first);
            x += (double(a[1]) - b[1]) * (double(a[2]) + b[2]);
            y += (double(a[2]) - b[2]) * (double(a[0]) + b[0]);
            z += (double(a[0]) - b[0]) * (double(a[1]) + b[1]);
        }
        return direction(x, y, z).value_or(Vector {});
    }

    const Vector &pointOf(std::size_t corner) const
    {
        return m_content.positions[std::size_t(m_content.corners[corner].position)];
    }

    const ObjContent &m_content;
    ShapeMesh m_shape;
    std::vector<std::uint32_t> m_newest; // per position, its last corner in the mesh
    std::vector<std::uint32_t> m_older; // per corner of the mesh, the one before at its position
    std::optional<Vector> m_faceNormal; // of the face being added, once a corner asked for it
};

} // namespace

std::array<float, 2> ObjContent::textureOf(const ObjCorner &corner) const
{
    if (corner.texture < 0 || std::size_t(corner.texture) >= textureCoordinates.size())
        return {};
    return textureCoordinates[std::size_t(corner.texture)];
}

ObjContent parseObj(std::string_view text)
{
    ObjContent content;
    makeRoom(content, text);
    ObjParser parser(content);
    forEachLine(text, [&parser](std::string_view line) { parser.readLine(line); });
    return content;
}

ObjContent readObj(const QString &path)
{
    const std::optional<QByteArray> text = readFile(path);
    if (!text) {
        qCDebug(lcShapes).noquote() << "can't read the shape:" << path;
        return {};
    }
    ObjContent content = parseObj(view(*text));
    const QDir folder = QFileInfo(path).dir();
    for (const std::string &name : content.libraries) {
        const QString libraryPath = folder.filePath(QString::fromLatin1(name.c_str()));
        const std::optional<QByteArray> library = readFile(libraryPath);
        if (!library) {
            qCDebug(lcShapes).noquote() << "can't read the material library:" << libraryPath;
            continue;
        }
        const std::vector<ObjMaterial> materials = parseMtl(view(*library));
        content.materials.insert(content.materials.end(), materials.begin(), materials.end());
    }
    return content;
}

ShapeMesh buildShape(const ObjContent &content) { return ShapeBuilder(content).build(); }
