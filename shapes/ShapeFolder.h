#pragma once

#include "shapes/ShapeMesh.h"

#include <QString>
#include <QStringList>

/// The paths of the OBJ files that lie in a folder, not below it, as the folder lists them. Empty
/// for a folder that is not there.
QStringList shapeFiles(const QString &folder);

/// The shape of an OBJ file. Deliberate: a cache file beside it ("_cache" behind its name) is taken
/// instead whenever it is there, however old. One that cannot be read is passed over.
ShapeMesh loadShape(const QString &path);
