#include "shapes/LineScan.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <locale.h>
#include <string>

namespace {

// Not the functions of <cctype>: those follow the user's locale.
bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c; }
bool isHexDigit(char c) { return isDigit(c) || (lower(c) >= 'a' && lower(c) <= 'f'); }

float toFloat(const std::string &token)
{
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtof_l(token.c_str(), nullptr, plain);
}

// A decimal number may end in a bare "e" or "e+": the scan has no way to put back more than one
// character, so it takes them and keeps the number.
const char *skipBareExponent(const char *first, const char *next, const char *end)
{
    const auto isExponentLetter = [](char c) { return lower(c) == 'e'; };
    if (next == end || !isExponentLetter(*next) || std::any_of(first, next, isExponentLetter))
        return next;
    ++next;
    return next != end && (*next == '+' || *next == '-') ? next + 1 : next;
}

// How far the digits, the point and the exponent of a number go, `next` standing behind its sign
// and its "0x" if it has one.
const char *skipDigits(const char *next, const char *end, bool hexadecimal)
{
    const char exponentLetter = hexadecimal ? 'p' : 'e';
    bool digit = false;
    bool point = false;
    bool exponent = false;
    for (; next != end; ++next) {
        if (isDigit(*next) || (hexadecimal && !exponent && isHexDigit(*next))) {
            digit = true;
        } else if (exponent && lower(next[-1]) == exponentLetter &&
                   (*next == '-' || *next == '+')) {
            continue;
        } else if (digit && !exponent && lower(*next) == exponentLetter) {
            exponent = true;
        } else if (*next == '.' && !point && !exponent) {
            point = true;
        } else {
            break;
        }
    }
    return next;
}

// Takes `text` in either case; when it does not stand there whole, nothing.
bool skipWord(const char *&next, const char *end, std::string_view text)
{
    if (std::size_t(end - next) < text.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (lower(next[i]) != text[i])
            return false;
    next += text.size();
    return true;
}

} // namespace

bool LineScan::literal(std::string_view text)
{
    if (std::size_t(m_end - m_next) < text.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) // a call to compare one or two bytes costs more
        if (m_next[i] != text[i])
            return false;
    m_next += text.size();
    return true;
}

bool LineScan::number(float &value)
{
    skipSpace();
    const char *first = m_next;
    if (first != m_end && *first == '+')
        ++first;
    const char *digits = first;
    if (digits == m_next && digits != m_end && *digits == '-')
        ++digits;
    const bool decimal = digits != m_end && (isDigit(*digits) || *digits == '.') &&
        !(*digits == '0' && digits + 1 != m_end && lower(digits[1]) == 'x');
    if (!decimal)
        return irregularNumber(value);
    const auto [rest, error] = std::from_chars(first, m_end, value);
    if (error != std::errc())
        return irregularNumber(value);
    m_next = skipBareExponent(digits, rest, m_end);
    return true;
}

bool LineScan::numbers(float *values, int count)
{
    for (int i = 0; i < count; ++i)
        if (!number(values[i]))
            return false;
    return true;
}

// Everything that is not a plain decimal number: out of a float's range, hexadecimal, "inf", "nan".
bool LineScan::irregularNumber(float &value)
{
    const char *const first = m_next;
    const char *next = first;
    if (next != m_end && (*next == '+' || *next == '-'))
        ++next;
    if (skipWord(next, m_end, "inf")) {
        // An "i" commits the scan to "infinity".
        if (next != m_end && lower(*next) == 'i' && !skipWord(next, m_end, "inity"))
            return false;
    } else if (!skipWord(next, m_end, "nan")) {
        const bool hexadecimal = skipWord(next, m_end, "0x");
        const char *const digits = next;
        next = skipDigits(next, m_end, hexadecimal);
        if (next == digits || (!hexadecimal && next == digits + 1 && *digits == '.'))
            return false;
    }
    m_next = next;
    value = toFloat(std::string(first, next));
    return true;
}

bool LineScan::integer(int &value)
{
    skipSpace();
    const char *next = m_next;
    const bool negative = next != m_end && *next == '-';
    if (next != m_end && (*next == '-' || *next == '+'))
        ++next;
    if (next == m_end || !isDigit(*next))
        return false;
    constexpr long long kLimit = std::numeric_limits<int>::max();
    long long amount = 0;
    for (; next != m_end && isDigit(*next); ++next)
        if (amount <= kLimit)
            amount = amount * 10 + (*next - '0');
    m_next = next;
    value = int(negative ? -std::min(amount, kLimit + 1) : std::min(amount, kLimit));
    return true;
}

std::string_view LineScan::word()
{
    skipSpace();
    const char *const first = m_next;
    while (m_next != m_end && !isSpace(*m_next) && *m_next != '\0')
        ++m_next;
    return { first, std::size_t(m_next - first) };
}

std::string_view LineScan::field()
{
    while (m_next != m_end && isBlank(*m_next))
        ++m_next;
    const char *const first = m_next;
    while (m_next != m_end && !isBlank(*m_next) && *m_next != '\0')
        ++m_next;
    return { first, std::size_t(m_next - first) };
}

void LineScan::skipSpace()
{
    while (m_next != m_end && isSpace(*m_next))
        ++m_next;
}
