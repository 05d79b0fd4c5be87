#pragma once

#include <QString>

#include <cstdint>
#include <ostream>
#include <streambuf>
#include <vector>

/// A file that takes its name only when it is complete and on disk. Until then it lies in the same
/// folder without a name, where the file system can do that, so that not even a kill leaves
/// anything behind; else under a hidden name, removed by the destructor or removeUnfinished().
///
/// The stream never fails: the archive library writes from destructors, where an exception would
/// end the process. A failed write is remembered, everything after it is dropped, and check() and
/// commit() throw what went wrong.
class OutputFile : private std::streambuf {
public:
    /// `replace`: an existing regular file of that name gives way; otherwise it is refused.
    OutputFile(const QString &path, bool replace);
    ~OutputFile() override;
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    std::ostream &stream() { return m_stream; }
    void check() const;
    void commit();

    /// Of whichever file is being written. Safe in a signal handler.
    static void removeUnfinished() noexcept;

private:
    std::streamsize xsputn(const char *bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;
    int sync() override { return 0; } // the library flushes after each few bytes
    pos_type seekoff(off_type by, std::ios_base::seekdir from, std::ios_base::openmode) override;
    pos_type seekpos(pos_type to, std::ios_base::openmode) override;

    void open(const QByteArray &folder);
    void flushBuffer();
    void writeAt(const char *bytes, std::size_t count, std::int64_t offset);
    void setMode();
    void giveName();
    [[noreturn]] void fail(int error) const;

    QString m_path; ///< links followed
    bool m_replace;
    int m_file = -1;
    int m_error = 0; ///< errno of the first failure
    std::int64_t m_position = 0; ///< where the next byte goes
    std::vector<char> m_buffer; ///< the bytes that end at m_position
    std::ostream m_stream;
};
