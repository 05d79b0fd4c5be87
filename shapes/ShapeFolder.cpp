#include "shapes/ShapeFolder.h"

#include "shapes/ObjReader.h"
#include "shapes/ShapeCache.h"

#include <QDirIterator>
#include <QFileInfo>

QStringList shapeFiles(const QString &folder)
{
    QStringList paths;
    QDirIterator files(folder, { QStringLiteral("*.obj") }, QDir::Files);
    while (files.hasNext())
        paths << files.next();
    return paths;
}

ShapeMesh loadShape(const QString &path)
{
    const QString cache = path + QStringLiteral("_cache");
    if (QFileInfo(cache).isFile())
        if (std::optional<ShapeMesh> shape = readShapeCache(cache))
            return *std::move(shape);
    return buildShape(readObj(path));
}
