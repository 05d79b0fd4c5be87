#pragma once

#include "shapes/ShapeMesh.h"

#include <QString>

#include <optional>

/// The shape kept in a cache file: three arrays as QDataStream writes them with its own defaults
/// (big-endian) from a QVector<float> of positions, three a corner, a QVector<float> of normals,
/// and a QVector<quint32> of corner numbers, three a triangle. Each is a 32-bit count of values and
/// the values, floats in the 8 bytes of the stream's default precision. Caches come from outside:
/// the program writes none. Nothing, and a line in the log, when the file does not hold that or
/// names a corner that is not there.
std::optional<ShapeMesh> readShapeCache(const QString &path);
