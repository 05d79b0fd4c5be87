#pragma once

#include <QLoggingCategory>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

namespace fuzz {

/// A broken promise ends the run like a crash, so that the fuzzing library keeps its input.
inline void require(bool promise)
{
    if (!promise)
        std::abort();
}

/// A shape to draw: its corners are in range.
template <class Shape> void requireWhole(const Shape &shape)
{
    require(shape.positions.size() == shape.normals.size());
    for (const std::uint32_t index : shape.indices)
        require(3 * std::size_t(index) < shape.positions.size());
}

/// Debug lines about damage are what the code is meant to write; here they only cost time.
inline const bool kSilenced =
    (QLoggingCategory::setFilterRules(QStringLiteral("plexmold.*.debug=false")), true);

/// A file in memory that has a path.
class MemoryFile {
public:
    MemoryFile(const void *bytes, std::size_t size)
        : m_file(memfd_create("fuzz", MFD_CLOEXEC))
    {
        require(m_file >= 0 && write(m_file, bytes, size) == ssize_t(size));
    }
    ~MemoryFile() { close(m_file); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_file); }

private:
    int m_file;
};

} // namespace fuzz
