#include "app/ArchivePath.h"

#include "app/Log.h"

#include <QDir>
#include <QFileInfo>

QString findArchive(const QString &storedPath, const QString &scenePath)
{
    if (QFileInfo(storedPath).isFile())
        return storedPath;
    const QDir folder = QFileInfo(scenePath).absoluteDir();
    QStringList tails { QFileInfo(storedPath).fileName() };
    for (int at = 0; (at = storedPath.indexOf(QLatin1Char('/'), at)) >= 0;)
        tails << storedPath.mid(++at);
    for (const QString &tail : tails) {
        const QString path = folder.filePath(tail);
        if (!tail.isEmpty() && QFileInfo(path).isFile()) {
            qCDebug(lcApp).noquote() << "the cache is not where it was, taken from" << path;
            return path;
        }
    }
    return storedPath;
}
