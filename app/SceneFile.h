#pragma once

#include "app/FileStamp.h"
#include "app/SceneStream.h"

/// The file of the open scene as it was last read or written. It is what keeps a save from
/// replacing something that nobody has seen: a file that was only read in part, or that another
/// program has written meanwhile, is first kept beside the scene under its name and a "~", never
/// over an older one (then "~2", "~3" and so on).
class SceneFile {
public:
    /// Reads as readScene() does, and remembers the file unless it could not be opened.
    SceneContent read(const QString &path);
    /// Writes as writeScene() does. Where the present file must be kept and cannot be, nothing is
    /// written, a debug line says why, and false returns.
    bool write(const QString &path, const QString &alembicPath,
               const std::vector<const LayerData *> &layers);
    /// Whether a save would write what was last read or written.
    bool holds(const QString &alembicPath, const std::vector<const LayerData *> &layers) const;

private:
    bool keepPresentFile(const QString &path);

    QString m_path;
    FileStamp m_stamp;
    bool m_whole = true; ///< what is under m_path was read to its last byte, or written
    QByteArray m_digest; ///< of what was last read or written; empty before
};
