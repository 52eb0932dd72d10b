#include <zmu/monitor/Trace.h>

#include <zmu/foundation/Types.h>
#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <utility>

namespace {

thread_local ZarnTraceFunction traceFunction = nullptr;

constexpr std::size_t lineQty = 1024; ///< Elements of a line with its terminator.

/// The text so far; what has no room is dropped.
class Line {
  public:
    void put(wchar_t c)
    {
        if (m_length < lineQty - 1)
            m_text[m_length++] = c;
    }
    void fill(wchar_t c, std::size_t count)
    {
        for (std::size_t i = std::min(count, lineQty); i > 0; --i)
            put(c);
    }
    void put(const wchar_t* text, std::size_t length)
    {
        for (std::size_t i = 0; i < length; ++i)
            put(text[i]);
    }
    const wchar_t* text() const { return m_text; }

  private:
    wchar_t m_text[lineQty] = {};
    std::size_t m_length = 0;
};

/// Arguments that are taken one by one, by whoever has the reference.
struct Arguments {
    va_list list;
};

/// What stands between a percent sign and its conversion.
struct Spec {
    bool isLeft = false, isZero = false, isSharp = false;
    wchar_t sign = 0; ///< Of a number that is not negative.
    int width = 0;
    int precision = -1;
    /// Bytes of an integer; texts are narrow with less than an int and wide with more.
    std::size_t size = sizeof(int);
    bool isLong = false, isHalf = false, isLongDouble = false;
    wchar_t conversion = 0;
};

int readNumber(const wchar_t*& format, Arguments& arguments)
{
    if (*format == L'*') {
        ++format;
        return va_arg(arguments.list, int);
    }
    const int number = zmu::toNumber(format);
    while (zmu::isDigit(*format))
        ++format;
    return number;
}

void readSize(const wchar_t*& format, Spec& spec)
{
    const auto take = [&format](const wchar_t* text) {
        const std::size_t length = std::wcslen(text);
        if (std::wcsncmp(format, text, length) != 0)
            return false;
        format += length;
        return true;
    };
    const auto isOf = [&spec](std::size_t size) { spec.size = size; };
    if (take(L"I64") || take(L"ll") || take(L"q") || take(L"j"))
        isOf(sizeof(zmu::i64));
    else if (take(L"I32"))
        isOf(4);
    else if (take(L"z") || take(L"t") || take(L"I"))
        isOf(sizeof(std::size_t));
    else if (take(L"L"))
        spec.isLongDouble = true;
    else if (take(L"hh"))
        spec.isHalf = true, isOf(1);
    else if (take(L"h"))
        spec.isHalf = true, isOf(2);
    else if (take(L"l"))
        spec.isLong = true, isOf(sizeof(long));
    else if (take(L"w"))
        spec.isLong = true;
}

/// Reads a spec from behind its percent sign; `format` ends up behind the conversion.
Spec readSpec(const wchar_t*& format, Arguments& arguments)
{
    Spec spec;
    for (; *format && std::wcschr(L"-+ #0", *format); ++format) {
        spec.isLeft = spec.isLeft || *format == L'-';
        spec.isZero = spec.isZero || *format == L'0';
        spec.isSharp = spec.isSharp || *format == L'#';
        if (*format == L'+' || (*format == L' ' && !spec.sign))
            spec.sign = *format;
    }
    spec.width = std::clamp(readNumber(format, arguments), -int{lineQty}, int{lineQty});
    if (spec.width < 0) {
        spec.isLeft = true;
        spec.width = -spec.width;
    }
    if (*format == L'.')
        spec.precision = std::min(readNumber(++format, arguments), int{lineQty});
    readSize(format, spec);
    spec.conversion = *format;
    if (*format)
        ++format;
    return spec;
}

/// Puts a text of the spec's width, with `fillers` zeros behind its first `head` elements.
void putPadded(Line& line, const Spec& spec, const wchar_t* text, std::size_t length,
               std::size_t head = 0, std::size_t fillers = 0)
{
    const auto width = static_cast<std::size_t>(spec.width);
    const std::size_t padding = width - std::min(width, length + fillers);
    if (!spec.isLeft)
        line.fill(L' ', padding);
    line.put(text, head);
    line.fill(L'0', fillers);
    line.put(text + head, length - head);
    if (spec.isLeft)
        line.fill(L' ', padding);
}

// ---- Numbers ---------------------------------------------------------------------------------------------

void putInteger(Line& line, const Spec& spec, zmu::u64 magnitude, bool isNegative)
{
    constexpr wchar_t digits[] = L"0123456789abcdef";
    const wchar_t lower = static_cast<wchar_t>(spec.conversion | 0x20);
    const unsigned base = lower == L'x' ? 16 : lower == L'o' ? 8 : 10;
    wchar_t text[32];
    wchar_t* const end = std::end(text);
    wchar_t* begin = end;
    for (zmu::u64 rest = magnitude; rest != 0; rest /= base) {
        const wchar_t digit = digits[rest % base];
        *--begin =
            spec.conversion == L'X' && digit >= L'a' ? static_cast<wchar_t>(digit - 0x20) : digit;
    }
    const auto count = static_cast<std::size_t>(end - begin);
    std::size_t least = static_cast<std::size_t>(std::max(spec.precision, 0));
    if (spec.precision < 0)
        least = 1;
    if (spec.isSharp && base == 8)
        least = std::max(least, count + 1);

    wchar_t* const number = begin;
    if (spec.isSharp && base == 16 && magnitude != 0) {
        *--begin = spec.conversion;
        *--begin = L'0';
    } else if (isNegative || (spec.sign && (lower == L'd' || lower == L'i'))) {
        *--begin = isNegative ? L'-' : spec.sign;
    }
    const auto head = static_cast<std::size_t>(number - begin);
    if (spec.isZero && !spec.isLeft && spec.precision < 0)
        least = std::max(least, static_cast<std::size_t>(spec.width) -
                                    std::min(head, static_cast<std::size_t>(spec.width)));
    putPadded(line, spec, begin, head + count, head, least - std::min(least, count));
}

void putSigned(Line& line, const Spec& spec, Arguments& arguments)
{
    zmu::i64 value =
        spec.size > sizeof(int) ? va_arg(arguments.list, zmu::i64) : va_arg(arguments.list, int);
    if (spec.size < sizeof(int)) { // a smaller number has come as an int
        const auto unused = 8 * (sizeof value - spec.size);
        value = static_cast<zmu::i64>(static_cast<zmu::u64>(value) << unused) >> unused;
    }
    putInteger(line, spec, value < 0 ? 0 - static_cast<zmu::u64>(value) : zmu::u64(value),
               value < 0);
}

void putUnsigned(Line& line, const Spec& spec, Arguments& arguments)
{
    zmu::u64 value = spec.size > sizeof(int) ? va_arg(arguments.list, zmu::u64)
                                             : va_arg(arguments.list, unsigned);
    if (spec.size == 1)
        value = static_cast<unsigned char>(value);
    else if (spec.size == 2)
        value = static_cast<unsigned short>(value);
    putInteger(line, spec, value, false);
}

void putFloat(Line& line, const Spec& spec, Arguments& arguments)
{
    const double value = spec.isLongDouble
                             ? static_cast<double>(va_arg(arguments.list, long double))
                             : va_arg(arguments.list, double);
    wchar_t format[16] = {L'%'};
    wchar_t* next = format + 1;
    if (spec.sign)
        *next++ = spec.sign;
    if (spec.isSharp)
        *next++ = L'#';
    if (spec.isLeft)
        *next++ = L'-';
    else if (spec.isZero)
        *next++ = L'0';
    for (const wchar_t c : {L'*', L'.', L'*', spec.conversion})
        *next++ = c;
    wchar_t text[lineQty];
    const int length = zmu::formatWide(text, lineQty, format, spec.width, spec.precision, value);
    line.put(text, static_cast<std::size_t>(std::max(length, 0)));
}

// ---- Texts -----------------------------------------------------------------------------------------------

std::size_t shownLength(const Spec& spec)
{
    return spec.precision < 0 ? lineQty : static_cast<std::size_t>(spec.precision);
}

void putWide(Line& line, const Spec& spec, const wchar_t* text)
{
    if (!text)
        text = L"(null)";
    putPadded(line, spec, text, wcsnlen(text, shownLength(spec)));
}

/// The system converts, whatever the host's locale is.
void putNarrow(Line& line, const Spec& spec, const char* text)
{
    if (!text)
        return putWide(line, spec, nullptr);
    wchar_t wide[lineQty];
    const std::size_t bytes = strnlen(text, lineQty - 1);
    const int length = bytes == 0 ? 0
                                  : MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(bytes),
                                                        wide, static_cast<int>(lineQty));
    putPadded(line, spec, wide,
              std::min(static_cast<std::size_t>(std::max(length, 0)), shownLength(spec)));
}

void putPointer(Line& line, Spec spec, Arguments& arguments)
{
    spec.conversion = L'x';
    spec.isSharp = true;
    putInteger(line, spec, reinterpret_cast<std::uintptr_t>(va_arg(arguments.list, void*)), false);
}

void putConversion(Line& line, const Spec& spec, Arguments& arguments)
{
    switch (spec.conversion) {
    case L'd':
    case L'i':
        return putSigned(line, spec, arguments);
    case L'u':
    case L'o':
    case L'x':
    case L'X':
        return putUnsigned(line, spec, arguments);
    case L'c':
    case L'C': {
        const auto character = static_cast<wchar_t>(va_arg(arguments.list, int));
        return putPadded(line, spec, &character, 1);
    }
    case L's':
    case L'S':
        if (spec.isHalf || (spec.conversion == L'S' && !spec.isLong))
            return putNarrow(line, spec, va_arg(arguments.list, const char*));
        return putWide(line, spec, va_arg(arguments.list, const wchar_t*));
    case L'e':
    case L'E':
    case L'f':
    case L'F':
    case L'g':
    case L'G':
    case L'a':
    case L'A':
        return putFloat(line, spec, arguments);
    case L'p':
        return putPointer(line, spec, arguments);
    default: // a percent sign, or nothing that could be shown
        if (spec.conversion)
            line.put(spec.conversion);
    }
}

void trace(const wchar_t* format, Arguments& arguments)
{
    if (!format)
        return;
    Line line;
    while (*format) {
        if (*format != L'%') {
            line.put(*format++);
            continue;
        }
        ++format;
        putConversion(line, readSpec(format, arguments), arguments);
    }
    if (traceFunction)
        traceFunction(line.text());
    else
        OutputDebugStringW(line.text());
}

} // namespace

void Zarn_TRACE(const wchar_t* format, ...)
{
    Arguments arguments;
    va_start(arguments.list, format);
    trace(format, arguments);
    va_end(arguments.list);
}

ZarnTraceFunction Zarn_setTraceFunction(ZarnTraceFunction function)
{
    return std::exchange(traceFunction, function);
}

void Zarn_TRACE_W(const wchar_t* format, ...)
{
    Arguments arguments;
    va_start(arguments.list, format);
    trace(format, arguments);
    va_end(arguments.list);
}
