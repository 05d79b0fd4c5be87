#pragma once

#include <QString>

/// What tells one state of a file from another without reading it: another size, time or inode is
/// another state. A file that is not there has a stamp of its own.
struct FileStamp {
    quint64 device = 0;
    quint64 inode = 0; ///< 0 where there is no such file
    qint64 size = 0; ///< bytes
    qint64 modified = 0; ///< nanoseconds since 1970

    static FileStamp of(const QString &path); ///< of what a link points to

    bool exists() const { return inode != 0; }
    bool operator==(const FileStamp &other) const = default;
};
