#pragma once

#include <algorithm>
#include <string_view>

/// Reads one line of a text file from left to right as C's formatted scan reads a string in the C
/// locale, whatever the locale of the user: each call is one directive of a scan format ("%f",
/// "%d", "%s", a literal), and the calls after one that failed must not be made. Values, and what
/// is left of the line, are those of the C library's own scan; what a scan leaves undefined (a
/// "%d" beyond 32 bits) becomes the nearest int. The line's memory must outlive the scan; a NUL
/// byte ends the line, as in a C string.
class LineScan {
public:
    explicit LineScan(std::string_view line)
        : m_next(line.data())
        , m_end(line.data() + line.size())
    {
    }

    /// The text itself, without blanks before it: a format's ordinary characters.
    bool literal(std::string_view text);
    /// "%f": decimal, hexadecimal, "inf" and "nan". False leaves `value` as it was.
    bool number(float &value);
    /// "%f" once for each of `count` values; false at the first that does not scan.
    bool numbers(float *values, int count);
    /// "%d". False leaves `value` as it was.
    bool integer(int &value);
    /// "%s": the next run of anything but white space; empty when there is none.
    std::string_view word();
    /// The next stretch between blanks (space or tab), for lines split before they are scanned;
    /// empty when there is none.
    std::string_view field();

private:
    void skipSpace();
    bool irregularNumber(float &value);

    const char *m_next;
    const char *m_end;
};

/// Calls `readLine` with each line of the text, without its newline. A line counts as its first 256
/// bytes; what follows up to the newline belongs to no line.
template <class LineReader> void forEachLine(std::string_view text, LineReader readLine)
{
    constexpr std::size_t kLineBytes = 256;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        readLine(text.substr(0, std::min(length, kLineBytes)));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}
