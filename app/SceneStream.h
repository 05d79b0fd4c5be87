#pragma once

#include "layers/LayerData.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

class QDataStream;

/// Whole: to the last byte, and nothing was missing. Partly: the file ends early, goes on after its
/// last layer, or holds counts that do not fit.
enum class SceneRead { NotOpened, Partly, Whole };

/// What a scene file holds: a big-endian QDataStream of plain values, without magic number, version
/// or checksum. Integers take 4 bytes, bools 1, every float or double 8, strings the stream's form.
///
///     archive path (string), layer count, then for each layer, bottom of the stack first:
///     counts of basePoints, offsetPoints, mask, keys
///     basePoints x y z …, offsetPoints x y z …, mask …, keys (time, value, flag) …
///     name, type, intensity, reserved (integer), selected, tangent,
///     iterations, cloneIterations, damping, stiffness, asMuscle
///
/// Of points, w is not stored and reads as 1. A key's time is written as a double and deliberately
/// read back through a float: that is the format as artists' files have it.
struct SceneContent {
    QString alembicPath; ///< "untitled" without an archive, null from a file that holds nothing
    std::vector<std::unique_ptr<LayerData>> layers;
    SceneRead read = SceneRead::NotOpened;
};

/// A file's parts, for a writer that need not make them in one go: sceneHead(), then for each layer
/// recordHead(), the bytes of its three arrays, recordTail().
QByteArray sceneHead(const QString &alembicPath, size_t layerCount);
QByteArray recordHead(const LayerData &layer);
enum class RecordArray { BasePoints, OffsetPoints, Mask };
size_t arrayItemCount(const LayerData &layer, RecordArray array);
quint64 arrayRevision(const LayerData &layer, RecordArray array);
QByteArray arrayBytes(const LayerData &layer, RecordArray array, size_t begin, size_t count);
QByteArray recordTail(const LayerData &layer); ///< keys, name and the rest

/// Small, and another one whenever the scene's file would be, but for which layer is selected.
QByteArray sceneMark(const QString &alembicPath, const std::vector<const LayerData *> &layers);

/// One record, with the debug line that tells its damping. The stream keeps its default byte order
/// and float precision.
void writeLayerRecord(QDataStream &stream, const LayerData &layer);

/// Fills `layer` from one record, with the debug line that tells its damping. A record that ends
/// early is completed with zeros, in every field. A count that is negative, or too large for what
/// is left of the device, ends the record there: no array is longer than the device could fill.
void readLayerRecord(QDataStream &stream, LayerData &layer);

/// Replaces the file only when the new scene is complete and on disk; otherwise the old one stays,
/// one debug line says why, and false returns. The debug line "file saved" ends every call,
/// deliberately also one that failed. `digest` receives sceneDigest() of what was written.
bool writeScene(const QString &path, const QString &alembicPath,
                const std::vector<const LayerData *> &layers, QByteArray *digest = nullptr);

/// A hash of the bytes that writeScene() would write. Holds no copy of them.
QByteArray sceneDigest(const QString &alembicPath, const std::vector<const LayerData *> &layers);

/// Every layer that the file holds at least a part of, up to a thousand: each becomes a panel. A
/// file that cannot be opened, or that memory cannot hold, gives NotOpened and nothing else; a
/// debug line says so, and another of a file that was read only partly.
SceneContent readScene(const QString &path);
