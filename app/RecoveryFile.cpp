#include "app/RecoveryFile.h"

#include "app/FileStamp.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kSuffix = QStringLiteral(".pxm");
constexpr qint64 kCopyBytes = 1 << 20;
constexpr mode_t kMode = 0600; // as private as an editor's own backup

QString lastFault() { return QString::fromLocal8Bit(std::strerror(errno)); }

/// BASE.recovered.pxm, BASE.recovered-2.pxm, …
QString numbered(const QString &base, int number)
{
    const QString mark = QStringLiteral(".recovered");
    return base + (number == 1 ? mark : mark + QString::number(-number)) + kSuffix;
}

bool writeAll(int file, const char *bytes, qint64 size)
{
    while (size > 0) {
        const ssize_t done = ::write(file, bytes, size_t(size));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        bytes += done;
        size -= done;
    }
    return true;
}

bool copyRange(int from, qint64 offset, qint64 size, int to, const std::atomic<bool> &cancelled)
{
    std::vector<char> bytes(size_t(std::min(size, kCopyBytes)));
    while (size > 0 && !cancelled) {
        const auto wanted = size_t(std::min(size, kCopyBytes));
        const ssize_t got = pread(from, bytes.data(), wanted, offset);
        if (got <= 0 || !writeAll(to, bytes.data(), got))
            return false;
        offset += got;
        size -= got;
    }
    return true;
}

/// A new file beside `base`, open and locked. It has no name where the file system can do that, so
/// that a kill leaves nothing behind; else `name` is set.
int openNameless(const QString &base, QByteArray &name)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(base).path());
    int file = open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, kMode);
    if (file < 0) {
        name = QFile::encodeName(base) + ".recovered.XXXXXX";
        file = mkostemp(name.data(), O_CLOEXEC);
        if (file < 0)
            name.clear();
    }
    if (file >= 0)
        flock(file, LOCK_EX | LOCK_NB);
    return file;
}

/// Gives the file a name that is free. False, with errno, otherwise.
bool link(int file, const QByteArray &temporary, const QByteArray &path)
{
    const QByteArray source =
        temporary.isEmpty() ? "/proc/self/fd/" + QByteArray::number(file) : temporary;
    if (linkat(AT_FDCWD, source.constData(), AT_FDCWD, path.constData(), AT_SYMLINK_FOLLOW) == 0)
        return true;
    if (errno == EEXIST || temporary.isEmpty())
        return false;
    // A file system without second names.
    return renameat2(AT_FDCWD, temporary.constData(), AT_FDCWD, path.constData(),
                     RENAME_NOREPLACE) == 0;
}

bool isHeld(const QString &path)
{
    const int file = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    const bool held = flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(file);
    return held;
}

} // namespace

RecoveryFile::RecoveryFile(QStringList bases)
    : m_bases(std::move(bases))
{
}

RecoveryFile::~RecoveryFile()
{
    if (m_file >= 0)
        close(m_file);
}

QString RecoveryFile::write(const std::vector<Piece> &pieces, const std::atomic<bool> &cancelled)
{
    // Ranges of the earlier file can only go where that file is.
    const QStringList bases = m_path.isEmpty() ? m_bases : QStringList(baseOf(m_path));
    QString failure;
    for (const QString &base : bases) {
        QByteArray temporary;
        const int file = openNameless(base, temporary);
        if (file < 0) {
            failure = lastFault();
            continue;
        }
        bool written = true;
        for (const Piece &piece : pieces)
            written = written && !cancelled &&
                (piece.bytes.isEmpty()
                     ? copyRange(m_file, piece.offset, piece.size, file, cancelled)
                     : writeAll(file, piece.bytes.constData(), piece.bytes.size()));
        written = written && !cancelled && fsync(file) == 0;
        failure = written ? publish(file, temporary, base) : lastFault();
        if (!temporary.isEmpty())
            unlink(temporary.constData()); // not there any more where it became the file
        if (failure.isEmpty()) {
            if (m_file >= 0)
                close(m_file);
            m_file = file;
            return QString();
        }
        close(file);
    }
    return failure;
}

QString RecoveryFile::publish(int file, const QByteArray &temporary, const QString &base)
{
    if (ownsPath()) {
        QByteArray replacement = temporary;
        if (replacement.isEmpty()) {
            replacement = QFile::encodeName(m_path) + '.' + QByteArray::number(getpid());
            unlink(replacement.constData()); // an earlier process of this number was killed here
            if (!link(file, temporary, replacement))
                return lastFault();
        }
        const bool replaced =
            rename(replacement.constData(), QFile::encodeName(m_path).constData()) == 0;
        return replaced ? QString() : lastFault();
    }
    for (int number = 1;; ++number) {
        const QString path = numbered(base, number);
        if (link(file, temporary, QFile::encodeName(path))) {
            m_path = path;
            return QString();
        }
        if (errno != EEXIST)
            return lastFault();
    }
}

/// Whether the file under the name is still the one written here.
bool RecoveryFile::ownsPath() const
{
    struct stat own = {};
    const FileStamp present = FileStamp::of(m_path);
    return m_file >= 0 && fstat(m_file, &own) == 0 && present.exists() &&
        present.inode == own.st_ino && present.device == own.st_dev;
}

void RecoveryFile::remove()
{
    if (ownsPath())
        QFile::remove(m_path);
    if (m_file >= 0)
        close(m_file);
    m_file = -1;
    m_path.clear();
}

QStringList RecoveryFile::leftOver(const QString &base, qint64 nanoseconds)
{
    const QFileInfo info(base);
    // Names are compared as they are: a scene's name may hold what a name filter takes as a
    // wildcard.
    const QRegularExpression name(QStringLiteral("^%1\\.recovered(-\\d+)?\\.pxm$")
                                      .arg(info.fileName().isEmpty()
                                               ? QStringLiteral(".*")
                                               : QRegularExpression::escape(info.fileName())));
    QStringList found;
    for (const QString &entry : info.dir().entryList({ QLatin1Char('*') + kSuffix }, QDir::Files)) {
        const QString path = info.dir().filePath(entry);
        if (name.match(entry).hasMatch() && FileStamp::of(path).modified > nanoseconds &&
            !isHeld(path))
            found << path;
    }
    return found;
}

QString RecoveryFile::baseOf(const QString &scenePath)
{
    static const QRegularExpression tail(QStringLiteral("(\\.recovered(-\\d+)?)?(\\.pxm)?$"));
    return QString(scenePath).remove(tail);
}
