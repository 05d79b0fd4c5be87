#include "app/SceneStream.h"

#include "app/HashDevice.h"
#include "app/Log.h"

#include <QByteArray>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace {

constexpr int kStreamVersion = 16;
constexpr int kPointBytes = 3 * 8;
constexpr int kMaskBytes = 8;
constexpr int kKeyBytes = 8 + 8 + 1;
constexpr qint32 kMaxLayers = 1000;
/// Arrays are converted in pieces that stay in the processor's cache and add next to nothing to the
/// layers' own memory.
constexpr size_t kPieceItems = 8192;

char *putDouble(char *to, double value)
{
    qToBigEndian(std::bit_cast<quint64>(value), to);
    return to + 8;
}

double doubleAt(const char *from) { return std::bit_cast<double>(qFromBigEndian<quint64>(from)); }

void putPoint(char *to, const QVector4D &point)
{
    putDouble(putDouble(putDouble(to, double(point.x())), double(point.y())), double(point.z()));
}

void putMask(char *to, float mask) { putDouble(to, double(mask)); }

void putKey(char *to, const LayerKey &key)
{
    to = putDouble(putDouble(to, key.time), double(key.value));
    *to = key.flag ? 1 : 0;
}

QVector4D pointAt(const char *from)
{
    return QVector4D(float(doubleAt(from)), float(doubleAt(from + 8)), float(doubleAt(from + 16)),
                     1.0f);
}

float maskAt(const char *from) { return float(doubleAt(from)); }

LayerKey keyAt(const char *from)
{
    const auto time = float(doubleAt(from)); // see SceneContent
    return { double(time), float(doubleAt(from + 8)), from[16] != 0 };
}

template <class Item, class Put>
QByteArray itemBytes(const std::vector<Item> &items, size_t begin, size_t count, int itemBytes,
                     Put put)
{
    QByteArray bytes(int(count) * itemBytes, Qt::Uninitialized);
    char *to = bytes.data();
    for (size_t i = 0; i < count; ++i, to += itemBytes)
        put(to, items[begin + i]);
    return bytes;
}

void writeArray(QDataStream &stream, const LayerData &layer, RecordArray array)
{
    const size_t size = arrayItemCount(layer, array);
    for (size_t begin = 0; begin < size; begin += kPieceItems) {
        const QByteArray bytes =
            arrayBytes(layer, array, begin, std::min(size - begin, kPieceItems));
        stream.writeRawData(bytes.constData(), bytes.size());
    }
}

/// Reads like single values do: a field that the device cannot fill whole is 0. No type stored here
/// has a field of more than 8 bytes, or a shorter one before a longer one.
void readPadded(QDataStream &stream, char *bytes, int count, int itemBytes)
{
    const int got = std::max(stream.readRawData(bytes, count), 0);
    const int whole = got - got % itemBytes % 8;
    if (got < count)
        std::memset(bytes + whole, 0, size_t(count) - size_t(whole));
}

template <class Item, class Get>
std::vector<Item> readArray(QDataStream &stream, size_t itemCount, int itemBytes, Get get)
{
    std::vector<Item> items(itemCount);
    std::vector<char> bytes(std::min(itemCount, kPieceItems) * size_t(itemBytes));
    for (size_t begin = 0; begin < itemCount; begin += kPieceItems) {
        const size_t count = std::min(itemCount - begin, kPieceItems);
        readPadded(stream, bytes.data(), int(count) * itemBytes, itemBytes);
        for (size_t i = 0; i < count; ++i)
            items[begin + i] = get(bytes.data() + i * size_t(itemBytes));
    }
    return items;
}

/// From here on every value reads as zero.
void endStream(QDataStream &stream)
{
    stream.device()->skip(stream.device()->bytesAvailable());
    stream.setStatus(QDataStream::ReadPastEnd);
}

template <class Value> Value readValue(QDataStream &stream)
{
    Value value {};
    stream >> value;
    return value;
}

size_t readCount(QDataStream &stream, int itemBytes)
{
    const auto count = readValue<qint32>(stream);
    if (count >= 0 && count <= stream.device()->bytesAvailable() / itemBytes)
        return size_t(count);
    qCDebug(lcApp).noquote() << "scene file: a count does not fit what is left of the file:"
                             << count;
    endStream(stream);
    return 0;
}

/// Null where the device ends early. The stream's own reader would allocate what a length claims
/// before it finds that missing.
QString readString(QDataStream &stream)
{
    constexpr quint32 nullLength = 0xFFFFFFFF;
    QIODevice &device = *stream.device();
    uchar head[4];
    if (device.peek(reinterpret_cast<char *>(head), 4) == 4) {
        const auto length = qFromBigEndian<quint32>(head);
        if (length == nullLength || qint64(length) <= device.bytesAvailable() - 4)
            return readValue<QString>(stream);
        qCDebug(lcApp).noquote() << "scene file: a text does not fit what is left of the file:"
                                 << length;
    }
    endStream(stream);
    return QString();
}

void readArrays(QDataStream &stream, LayerData &layer)
{
    const size_t basePoints = readCount(stream, kPointBytes);
    const size_t offsetPoints = readCount(stream, kPointBytes);
    const size_t mask = readCount(stream, kMaskBytes);
    const size_t keys = readCount(stream, kKeyBytes);
    layer.setBasePoints(readArray<QVector4D>(stream, basePoints, kPointBytes, pointAt));
    layer.setOffsetPoints(readArray<QVector4D>(stream, offsetPoints, kPointBytes, pointAt));
    layer.setMask(readArray<float>(stream, mask, kMaskBytes, maskAt));
    layer.setKeys(readArray<LayerKey>(stream, keys, kKeyBytes, keyAt));
}

void writeFields(QDataStream &stream, const LayerData &layer)
{
    const auto write = [&stream](const QByteArray &bytes) {
        stream.writeRawData(bytes.constData(), bytes.size());
    };
    write(recordHead(layer));
    for (const RecordArray array :
         { RecordArray::BasePoints, RecordArray::OffsetPoints, RecordArray::Mask })
        writeArray(stream, layer, array);
    write(recordTail(layer));
}

using WriteRecord = void (*)(QDataStream &, const LayerData &);

bool writeContent(QIODevice &device, const QString &alembicPath,
                  const std::vector<const LayerData *> &layers, WriteRecord writeRecord)
{
    QDataStream stream(&device);
    const QByteArray head = sceneHead(alembicPath, layers.size());
    stream.writeRawData(head.constData(), head.size());
    for (const LayerData *layer : layers)
        writeRecord(stream, *layer);
    return stream.status() == QDataStream::Ok;
}

void readContent(QIODevice &device, SceneContent &content)
{
    QDataStream stream(&device);
    content.alembicPath = readString(stream);
    const auto layerCount = readValue<qint32>(stream);
    for (qint32 i = 0; i < std::min(layerCount, kMaxLayers) && !stream.atEnd(); ++i) {
        content.layers.push_back(std::make_unique<LayerData>());
        readLayerRecord(stream, *content.layers.back());
    }
    const bool whole = stream.status() == QDataStream::Ok && stream.atEnd() &&
        qint64(content.layers.size()) == layerCount;
    content.read = whole ? SceneRead::Whole : SceneRead::Partly;
}

/// Why a write was not done whole. The system takes what fits and tells the reason only to the next
/// write, so there is one.
QString writeFault(QSaveFile &file)
{
    file.unsetError();
    file.write("", 1);
    if (file.flush())
        return QStringLiteral("the file system took only a part of it");
    return file.errorString();
}

/// Until then a loss of power could take the new name back.
QString flushFolder(const QString &path)
{
    const QString target = QFileInfo(path).canonicalPath(); // a link's file lies elsewhere
    const int folder =
        open(QFile::encodeName(target).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool flushed = folder < 0 || fsync(folder) == 0 || errno == EINVAL;
    const QString failure = flushed ? QString() : QString::fromLocal8Bit(std::strerror(errno));
    if (folder >= 0)
        close(folder);
    return failure;
}

/// Empty when the scene is whole under its name, else what went wrong.
QString replaceScene(const QString &path, const QString &alembicPath,
                     const std::vector<const LayerData *> &layers, QByteArray *digest)
{
    const QFileInfo old(path);
    if (old.exists() && !old.isFile()) // a device would be replaced by a file of its name
        return QStringLiteral("not a regular file");

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    HashDevice hashed(&file);
    if (!writeContent(hashed, alembicPath, layers, writeLayerRecord) || !file.flush())
        return writeFault(file);
    if (digest)
        *digest = hashed.result();
    // QSaveFile syncs as well, but renames even when that fails.
    if (fsync(file.handle()) != 0 && errno != EINVAL)
        return QString::fromLocal8Bit(std::strerror(errno));
    if (!file.commit())
        return file.errorString();
    return flushFolder(path);
}

} // namespace

size_t arrayItemCount(const LayerData &layer, RecordArray array)
{
    switch (array) {
    case RecordArray::BasePoints:
        return layer.revisedBasePoints().size();
    case RecordArray::OffsetPoints:
        return layer.revisedOffsetPoints().size();
    case RecordArray::Mask:
        return layer.revisedMask().size();
    }
    return 0;
}

quint64 arrayRevision(const LayerData &layer, RecordArray array)
{
    switch (array) {
    case RecordArray::BasePoints:
        return layer.revisedBasePoints().revision();
    case RecordArray::OffsetPoints:
        return layer.revisedOffsetPoints().revision();
    case RecordArray::Mask:
        return layer.revisedMask().revision();
    }
    return 0;
}

QByteArray arrayBytes(const LayerData &layer, RecordArray array, size_t begin, size_t count)
{
    switch (array) {
    case RecordArray::BasePoints:
        return itemBytes(layer.basePoints(), begin, count, kPointBytes, putPoint);
    case RecordArray::OffsetPoints:
        return itemBytes(layer.offsetPoints(), begin, count, kPointBytes, putPoint);
    case RecordArray::Mask:
        return itemBytes(layer.mask(), begin, count, kMaskBytes, putMask);
    }
    return QByteArray();
}

QByteArray sceneHead(const QString &alembicPath, size_t layerCount)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStreamVersion);
    stream << alembicPath << qint32(layerCount);
    return bytes;
}

QByteArray recordHead(const LayerData &layer)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << qint32(layer.revisedBasePoints().size()) << qint32(layer.revisedOffsetPoints().size())
           << qint32(layer.revisedMask().size()) << qint32(layer.keys().size());
    return bytes;
}

QByteArray recordTail(const LayerData &layer)
{
    QByteArray bytes = itemBytes(layer.keys(), 0, layer.keys().size(), kKeyBytes, putKey);
    QDataStream stream(&bytes, QIODevice::Append);
    stream.setVersion(kStreamVersion);
    stream << layer.name() << qint32(layer.kind()) << layer.intensity() << layer.reserved()
           << layer.selected() << layer.tangent() << qint32(layer.iterations())
           << qint32(layer.cloneIterations()) << layer.damping() << layer.stiffness()
           << layer.asMuscle();
    return bytes;
}

QByteArray sceneMark(const QString &alembicPath, const std::vector<const LayerData *> &layers)
{
    QByteArray mark = sceneHead(alembicPath, layers.size());
    QDataStream stream(&mark, QIODevice::Append);
    for (const LayerData *layer : layers) {
        QByteArray tail = recordTail(*layer);
        // From the end: five floats and integers, tangent, selected.
        constexpr int kSelectedFromEnd = 2 * 4 + 3 * 8 + 1 + 1;
        tail[tail.size() - kSelectedFromEnd] = 0;
        stream << layer->revisedBasePoints().revision() << layer->revisedOffsetPoints().revision()
               << layer->revisedMask().revision() << tail;
    }
    return mark;
}

void writeLayerRecord(QDataStream &stream, const LayerData &layer)
{
    writeFields(stream, layer);
    qCDebug(lcApp).noquote().nospace() << "saving damping as " << layer.damping();
}

void readLayerRecord(QDataStream &stream, LayerData &layer)
{
    readArrays(stream, layer);
    layer.setName(readString(stream));
    layer.setKind(LayerKind(readValue<qint32>(stream)));
    layer.setIntensity(readValue<float>(stream));
    layer.setReserved(readValue<qint32>(stream));
    layer.setSelected(readValue<bool>(stream));
    layer.setTangent(readValue<bool>(stream));
    layer.setIterations(readValue<qint32>(stream));
    layer.setCloneIterations(readValue<qint32>(stream));
    layer.setDamping(readValue<float>(stream));
    layer.setStiffness(readValue<float>(stream));
    layer.setAsMuscle(readValue<float>(stream));
    qCDebug(lcApp).noquote().nospace() << "reading damping as " << layer.damping();
}

bool writeScene(const QString &path, const QString &alembicPath,
                const std::vector<const LayerData *> &layers, QByteArray *digest)
{
    const QString failure = replaceScene(path, alembicPath, layers, digest);
    if (!failure.isEmpty())
        qCDebug(lcApp).noquote() << "can't save the scene:" << path << failure;
    qCDebug(lcApp).noquote() << "file saved";
    return failure.isEmpty();
}

QByteArray sceneDigest(const QString &alembicPath, const std::vector<const LayerData *> &layers)
{
    HashDevice hashed;
    writeContent(hashed, alembicPath, layers, writeFields);
    return hashed.result();
}

SceneContent readScene(const QString &path)
{
    SceneContent content;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCDebug(lcApp).noquote() << "can't open the scene:" << path << file.errorString();
        return content;
    }
    try {
        readContent(file, content);
    } catch (const std::bad_alloc &) {
        qCDebug(lcApp).noquote() << "can't open the scene:" << path << "not enough memory";
        return SceneContent();
    }
    if (content.read == SceneRead::Partly)
        qCDebug(lcApp).noquote() << "the scene file is damaged or ends early:" << path;
    return content;
}
