#include "app/FileStamp.h"

#include <QFile>

#include <sys/stat.h>

FileStamp FileStamp::of(const QString &path)
{
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    constexpr qint64 nanoseconds = 1'000'000'000;
    return { status.st_dev, status.st_ino, status.st_size,
             status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec };
}
