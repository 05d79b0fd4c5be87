#include "shapes/ShapeCache.h"

#include "shapes/Log.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>

namespace {

// Room is made for what the rest of the file can hold only.
template <class Value>
bool readArray(QDataStream &stream, int valueBytes, std::vector<Value> &values)
{
    quint32 count = 0;
    stream >> count;
    if (stream.status() != QDataStream::Ok ||
        stream.device()->bytesAvailable() / valueBytes < count)
        return false;
    values.resize(count);
    for (Value &value : values)
        stream >> value;
    return stream.status() == QDataStream::Ok;
}

bool fitsTogether(const ShapeMesh &shape)
{
    const std::size_t corners = shape.positions.size() / 3;
    return shape.positions.size() == 3 * corners && shape.normals.size() == 3 * corners &&
        shape.indices.size() % 3 == 0 &&
        std::all_of(shape.indices.begin(), shape.indices.end(),
                    [corners](std::uint32_t index) { return index < corners; });
}

} // namespace

std::optional<ShapeMesh> readShapeCache(const QString &path)
{
    QFile file(path);
    ShapeMesh shape;
    if (file.open(QIODevice::ReadOnly)) {
        QDataStream stream(&file);
        if (readArray(stream, sizeof(double), shape.positions) &&
            readArray(stream, sizeof(double), shape.normals) &&
            readArray(stream, sizeof(quint32), shape.indices) && fitsTogether(shape))
            return shape;
    }
    qCDebug(lcShapes).noquote() << "can't read the shape cache:" << path;
    return std::nullopt;
}
