#include "bake/OutputFile.h"

#include "bake/BakeError.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBufferBytes = std::size_t(1) << 20;

// What a signal handler may look at: set before the file gets the name, cleared after it is gone.
char temporaryName[PATH_MAX];
std::atomic<bool> hasTemporaryName { false };

/// A name beside the file that a listing hides and no other process takes.
void nameTemporary(const QByteArray &path)
{
    const int slash = path.lastIndexOf('/');
    std::snprintf(temporaryName, sizeof temporaryName, "%.*s.%s.%d", slash + 1, path.constData(),
                  path.constData() + slash + 1, int(getpid()));
    hasTemporaryName = true;
}

QString resolved(const QString &path)
{
    const QFileInfo info(path);
    if (info.exists())
        return info.canonicalFilePath();
    const QString folder = QFileInfo(info.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? info.absoluteFilePath() : folder + QLatin1Char('/') + info.fileName();
}

} // namespace

OutputFile::OutputFile(const QString &path, bool replace)
    : m_path(resolved(path))
    , m_replace(replace)
    , m_stream(this)
{
    const QFileInfo old(m_path);
    if (old.exists() && !old.isFile())
        throw BakeError(QStringLiteral("%1 is not a regular file").arg(path));
    if (old.exists() && !replace)
        throw BakeError(QStringLiteral("%1 exists; --force replaces it").arg(path));
    m_buffer.reserve(kBufferBytes);
    open(QFile::encodeName(old.absolutePath()));
}

void OutputFile::open(const QByteArray &folder)
{
    constexpr mode_t mode = 0666; // less what the umask takes
    if (access("/proc/self/fd", X_OK) == 0) // through which the file gets its name
        m_file = ::open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    if (m_file < 0) {
        nameTemporary(QFile::encodeName(m_path));
        m_file = ::open(temporaryName, O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, mode);
        hasTemporaryName = m_file >= 0;
    }
    if (m_file < 0)
        fail(errno);
}

OutputFile::~OutputFile()
{
    removeUnfinished();
    if (m_file >= 0)
        close(m_file);
}

void OutputFile::removeUnfinished() noexcept
{
    if (hasTemporaryName.exchange(false))
        unlink(temporaryName);
}

void OutputFile::check() const
{
    if (m_error != 0)
        fail(m_error);
}

void OutputFile::fail(int error) const
{
    throw BakeError(QStringLiteral("can't write %1: %2")
                        .arg(m_path, QString::fromLocal8Bit(std::strerror(error))));
}

void OutputFile::commit()
{
    flushBuffer();
    check();
    setMode();
    if (fsync(m_file) != 0 && errno != EINVAL)
        fail(errno);
    giveName();
    hasTemporaryName = false;
    const QByteArray folder = QFile::encodeName(QFileInfo(m_path).absolutePath());
    const int directory = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        fsync(directory);
        close(directory);
    }
}

/// A replaced file hands its permissions on.
void OutputFile::setMode()
{
    struct stat old;
    if (stat(QFile::encodeName(m_path).constData(), &old) == 0)
        static_cast<void>(fchmod(m_file, old.st_mode & 07777));
}

void OutputFile::giveName()
{
    const QByteArray path = QFile::encodeName(m_path);
    const auto link = [this](const char *name) {
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_file);
        return linkat(AT_FDCWD, self.constData(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    };
    if (!hasTemporaryName && !m_replace) { // fails where a file came in the meantime
        if (!link(path.constData()))
            fail(errno);
        return;
    }
    if (!hasTemporaryName) { // a link replaces nothing, a rename does
        nameTemporary(path);
        if (!link(temporaryName) &&
            (errno != EEXIST || unlink(temporaryName) != 0 || !link(temporaryName)))
            fail(errno);
    }
    if (std::rename(temporaryName, path.constData()) != 0)
        fail(errno);
}

std::streamsize OutputFile::xsputn(const char *bytes, std::streamsize count)
{
    const auto size = std::size_t(count);
    if (m_buffer.size() + size > kBufferBytes)
        flushBuffer();
    if (size >= kBufferBytes)
        writeAt(bytes, size, m_position);
    else
        m_buffer.insert(m_buffer.end(), bytes, bytes + size);
    m_position += count;
    return count;
}

OutputFile::int_type OutputFile::overflow(int_type byte)
{
    const char value = traits_type::to_char_type(byte);
    xsputn(&value, 1);
    return traits_type::not_eof(byte);
}

OutputFile::pos_type OutputFile::seekoff(off_type by, std::ios_base::seekdir from,
                                         std::ios_base::openmode which)
{
    if (from == std::ios_base::end)
        return pos_type(off_type(-1));
    return seekpos(pos_type(from == std::ios_base::beg ? by : off_type(m_position) + by), which);
}

OutputFile::pos_type OutputFile::seekpos(pos_type to, std::ios_base::openmode)
{
    if (off_type(to) != m_position) {
        flushBuffer();
        m_position = off_type(to);
    }
    return to;
}

void OutputFile::flushBuffer()
{
    writeAt(m_buffer.data(), m_buffer.size(), m_position - std::int64_t(m_buffer.size()));
    m_buffer.clear();
}

void OutputFile::writeAt(const char *bytes, std::size_t count, std::int64_t offset)
{
    while (count > 0 && m_error == 0) {
        const ssize_t written = pwrite(m_file, bytes, count, offset);
        if (written > 0) {
            bytes += written;
            offset += written;
            count -= std::size_t(written);
        } else if (written == 0 || errno != EINTR) {
            m_error = written == 0 ? ENOSPC : errno;
        }
    }
}
