#include <spool/SpoolWriter.h>

#include <zmu/foundation/internal/Utf8.h>

#include <charconv>
#include <chrono>
#include <cwchar>
#include <limits>

using namespace zmu_spool;
using zmu::i64;
using zmu::u64;

namespace {

template <class Number>
char* putNumber(char* to, Number number)
{
    constexpr int longest = std::numeric_limits<Number>::digits10 + 2; // and a sign
    return std::to_chars(to, to + longest, number).ptr;
}

/// `number` with at least `digits` digits.
char* putPadded(char* to, unsigned number, int digits)
{
    for (int i = digits - 1; i >= 0; --i) {
        to[i] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    return to + digits;
}

char* put(char* to, std::string_view text)
{
    return to + text.copy(to, text.size());
}

/// What can stand in a text as it is, in one byte.
bool isPlain(char32_t point)
{
    return point >= 0x20 && point < 0x7F && point != '"' && point != '\\';
}

/// Takes one code point off `text`. A surrogate pair is one, whatever the width of an element.
char32_t takePoint(const wchar_t*& text, const wchar_t* end)
{
    const auto point = static_cast<char32_t>(*text++);
    if (point >= 0xD800 && point < 0xDC00 && text != end) {
        const auto low = static_cast<char32_t>(*text);
        if (low >= 0xDC00 && low < 0xE000) {
            ++text;
            return 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
        }
    }
    return point;
}

char* putEscaped(char* to, char32_t point)
{
    constexpr char digits[] = "0123456789abcdef";
    if (isPlain(point) || point > 0x9F)
        return zmu::putUtf8(to, point);
    *to++ = '\\';
    switch (point) {
    case '\n':
        *to++ = 'n';
        return to;
    case '\r':
        *to++ = 'r';
        return to;
    case '\t':
        *to++ = 't';
        return to;
    case '"':
    case '\\':
        *to++ = static_cast<char>(point);
        return to;
    default:
        to = put(to, "u00");
        *to++ = digits[point >> 4];
        *to++ = digits[point & 0xF];
        return to;
    }
}

char* putText(char* to, const wchar_t* text, std::size_t length)
{
    for (const wchar_t* const end = text + length; text != end;) {
        if (isPlain(static_cast<char32_t>(*text)))
            *to++ = static_cast<char>(*text++);
        else
            to = putEscaped(to, takePoint(text, end));
    }
    return to;
}

/// What names of files have of a name: a stroke for each other element, and at a dot in front.
char* putPlainName(char* to, const wchar_t* name)
{
    const char* const begin = to;
    for (; *name; ++name) {
        const wchar_t c = *name;
        const bool isKept = (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') ||
                            (c >= L'a' && c <= L'z') || (c == L'.' && to != begin);
        *to++ = isKept ? static_cast<char>(c) : '-';
    }
    return to;
}

} // namespace

char* zmu_spool::putTime(char* to, i64 nanoseconds)
{
    using namespace std::chrono;
    const sys_time<std::chrono::nanoseconds> moment{std::chrono::nanoseconds(nanoseconds)};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    to = putPadded(to, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    *to++ = '-';
    to = putPadded(to, static_cast<unsigned>(date.month()), 2);
    *to++ = '-';
    to = putPadded(to, static_cast<unsigned>(date.day()), 2);
    *to++ = 'T';
    to = putPadded(to, static_cast<unsigned>(time.hours().count()), 2);
    *to++ = ':';
    to = putPadded(to, static_cast<unsigned>(time.minutes().count()), 2);
    *to++ = ':';
    to = putPadded(to, static_cast<unsigned>(time.seconds().count()), 2);
    *to++ = '.';
    to = putPadded(to, static_cast<unsigned>(time.subseconds().count()), 9);
    *to++ = 'Z';
    return to;
}

char* zmu_spool::putOrigin(char* to, const Origin& origin)
{
    to = put(to, R"(,"host":")");
    to = putText(to, origin.host, std::wcslen(origin.host));
    to = put(to, R"(","program":")");
    to = putText(to, origin.program, std::wcslen(origin.program));
    to = put(to, R"(","process":)");
    to = putNumber(to, origin.process);
    to = put(to, R"(,"start":")");
    to = putTime(to, origin.start);
    return put(to, "\"");
}

char* zmu_spool::putSituation(char* to, std::string_view origin, const Situation& situation)
{
    to = put(to, R"(,"time":")");
    to = putTime(to, situation.time);
    to = put(to, "\"");
    to = put(to, origin);
    to = put(to, R"(,"thread":)");
    to = putNumber(to, situation.thread);
    to = put(to, R"(,"instantiator":)");
    to = putNumber(to, situation.instantiator);
    to = put(to, R"(,"enablements":)");
    to = putNumber(to, situation.enablements);
    to = put(to, R"(,"situation":)");
    return putNumber(to, situation.id);
}

char* zmu_spool::putDescription(char* to, const wchar_t* text, std::size_t length)
{
    to = put(to, R"(,"description":")");
    to = putText(to, text, length);
    return put(to, "\"}\n");
}

std::size_t zmu_spool::escapedSize(const wchar_t* text, std::size_t length)
{
    char bytes[escapeQty];
    std::size_t size = 0;
    for (const wchar_t* const end = text + length; text != end;)
        size += static_cast<std::size_t>(putEscaped(bytes, takePoint(text, end)) - bytes);
    return size;
}

char* zmu_spool::putFront(char* text, u64 sequence)
{
    constexpr std::string_view front = R"({"sequence":)";
    char digits[std::numeric_limits<u64>::digits10 + 2];
    const std::string_view number(digits,
                                  static_cast<std::size_t>(putNumber(digits, sequence) - digits));
    char* const begin = text - front.size() - number.size();
    put(put(begin, front), number);
    return begin;
}

void zmu_spool::composeFileName(char (&name)[fileNameQty], const Origin& origin, unsigned number)
{
    char* to = putPlainName(name, origin.host);
    *to++ = '_';
    to = putPlainName(to, origin.program);
    *to++ = '_';
    composeFileNumbers(to, origin.process, origin.start, number);
}

void zmu_spool::composeFileNumbers(char* to, u64 process, i64 start, u64 number)
{
    to = putNumber(to, process);
    *to++ = '_';
    to = putNumber(to, start);
    *to++ = '_';
    constexpr unsigned padded = 1000000;
    to = number < padded ? putPadded(to, static_cast<unsigned>(number), 6) : putNumber(to, number);
    *put(to, spoolSuffix) = '\0';
}
