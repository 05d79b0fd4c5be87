#include "app/SceneFile.h"

#include "app/Log.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// A second name for the file, or a copy where the file system has no second names. Empty when
/// neither can be made.
QString keepAside(const QString &path)
{
    for (int number = 1;; ++number) {
        QString aside = path + QLatin1Char('~');
        if (number > 1)
            aside += QString::number(number);
        // A second name costs nothing, and the save that follows puts a new file under the first.
        if (linkat(AT_FDCWD, QFile::encodeName(path).constData(), AT_FDCWD,
                   QFile::encodeName(aside).constData(), AT_SYMLINK_FOLLOW) == 0)
            return aside;
        if (errno == EEXIST)
            continue;
        if (QFile::copy(path, aside))
            return aside;
        if (!QFileInfo::exists(aside))
            return QString();
    }
}

} // namespace

SceneContent SceneFile::read(const QString &path)
{
    const FileStamp stamp = FileStamp::of(path); // before: what changes while reading is noticed
    SceneContent content = readScene(path);
    if (content.read != SceneRead::NotOpened) {
        m_path = path;
        m_stamp = stamp;
        m_whole = content.read == SceneRead::Whole;
        // Not of the file's own bytes: reading rounds a key's time.
        std::vector<const LayerData *> layers;
        for (const auto &layer : content.layers)
            layers.push_back(layer.get());
        m_digest = sceneDigest(content.alembicPath, layers);
    }
    return content;
}

bool SceneFile::write(const QString &path, const QString &alembicPath,
                      const std::vector<const LayerData *> &layers)
{
    QByteArray digest;
    if (!keepPresentFile(path) || !writeScene(path, alembicPath, layers, &digest))
        return false;
    m_digest = digest;
    m_path = path;
    m_stamp = FileStamp::of(path);
    m_whole = true;
    return true;
}

bool SceneFile::holds(const QString &alembicPath,
                      const std::vector<const LayerData *> &layers) const
{
    return !m_digest.isEmpty() && m_digest == sceneDigest(alembicPath, layers);
}

/// A file other than the scene's own is the artist's to replace: the dialog has asked.
bool SceneFile::keepPresentFile(const QString &path)
{
    const FileStamp present = FileStamp::of(path);
    if (!present.exists() || QFileInfo(path) != QFileInfo(m_path))
        return true;
    if (m_whole && present == m_stamp)
        return true;
    const QString aside = keepAside(path);
    if (aside.isEmpty()) {
        qCDebug(lcApp).noquote() << "can't save the scene:" << path
                                 << "the file there can't be kept aside";
        return false;
    }
    qCDebug(lcApp).noquote() << (m_whole ? "the scene was changed by another program, kept as"
                                         : "the damaged scene is kept as")
                             << aside;
    m_stamp = present; // kept once, even if the save then fails
    m_whole = true;
    return true;
}
