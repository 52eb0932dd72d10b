// Message formatting: fills the inserts of a message and breaks its lines, in one pass straight
// into the caller's buffer. It runs for every situation: nothing here allocates (except for the
// buffer that the caller asks for), looks at the locale or calls the printf family.
#include <zmu/foundation/internal/Utf8.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string_view>

using namespace zmu;

namespace {

constexpr DWORD lineWidthMask = 0xFF;
constexpr unsigned onlyHardBreaks = 255; ///< The line width at which nothing wraps.
constexpr unsigned lastSlot = 99;        ///< Inserts and their stars take slots from 1 to here.
constexpr wchar_t lowestOfAll = L'\0' + 1;

// ---- Output ------------------------------------------------------------------------------------

/// The caller's buffer. Writing answers false as soon as something does not fit.
///
/// With a limit on the line, text is wrapped: a character that the line has no room for moves to a
/// new line together with the word before it, and CR LF takes the place of the run of blanks in
/// front of that word. A word longer than a line is cut at the limit. Blanks beyond the limit are
/// not written; blanks at the start of a line are its indentation and no place to wrap.
class Output {
  public:
    Output(wchar_t* buffer, std::size_t capacity, std::size_t lineLimit)
        : m_buffer(buffer), m_end(buffer + capacity), m_position(buffer), m_lineStart(buffer),
          m_lineLimit(lineLimit)
    {}

    std::size_t length() const { return static_cast<std::size_t>(m_position - m_buffer); }
    std::size_t room() const { return static_cast<std::size_t>(m_end - m_position); }
    bool wraps() const { return m_lineLimit != 0; }

    bool put(wchar_t character)
    {
        if (wraps())
            return putWrapped(character);
        return append(character);
    }

    bool put(std::wstring_view text)
    {
        const auto isPlain = [](wchar_t character) { return character >= L' '; };
        for (;;) {
            text.remove_prefix(putWhile(isPlain, text.data(), text.size()));
            if (text.empty())
                return true;
            if (!put(text.front()))
                return false;
            text.remove_prefix(1);
        }
    }

    /// As put(), in one piece: for output that does not wrap, and text that may be long.
    bool putBlock(const wchar_t* text, std::size_t length)
    {
        if (length > room())
            return false;
        std::wmemcpy(m_position, text, length);
        m_position += length;
        return true;
    }

    /// Copies the start of a message's text, which ends at `end`, that needs no second look: up to
    /// an escape, a character below `lowest`, or where the line is full. Returns what is left.
    const wchar_t* putPlain(const wchar_t* text, const wchar_t* end, wchar_t lowest)
    {
        const auto length = static_cast<std::size_t>(end - text);
        if (lowest == lowestOfAll && !wraps()) {
            const wchar_t* const escape = std::wmemchr(text, L'%', length);
            const std::size_t count =
                std::min(room(), escape ? static_cast<std::size_t>(escape - text) : length);
            putBlock(text, count);
            return text + count;
        }
        const auto isPlain = [lowest](wchar_t character) {
            return character != L'%' && character >= lowest;
        };
        return text + putWhile(isPlain, text, length);
    }

    bool fill(wchar_t character, std::size_t count)
    {
        if (count > room())
            return false;
        for (; count != 0; --count) {
            if (!put(character))
                return false;
        }
        return true;
    }

    bool breakLine() { return put(L'\r') && put(L'\n'); }

    bool terminate()
    {
        if (room() == 0)
            return false;
        *m_position = L'\0';
        return true;
    }

  private:
    /// Copies the start of a text of `length`, as far as the characters are plain and the line and
    /// the buffer have room. Returns how many these are. Line breaks and tabs are never plain.
    template <typename IsPlain>
    std::size_t putWhile(IsPlain isPlain, const wchar_t* text, std::size_t length)
    {
        const std::size_t limit = std::min({length, room(), wraps() ? lineRoom() : length});
        wchar_t* const output = m_position;
        std::size_t count = 0;
        for (; count < limit && isPlain(text[count]); ++count)
            output[count] = text[count];
        m_position += count;
        return count;
    }

    bool append(wchar_t character)
    {
        if (m_position == m_end)
            return false;
        *m_position++ = character;
        return true;
    }

    bool putWrapped(wchar_t character)
    {
        switch (character) {
        case L'\r':
        case L'\n':
            if (!append(character))
                return false;
            startLine(m_position);
            return true;
        case L' ':
        case L'\t':
            m_hasSwallowedBlank = lineRoom() == 0;
            return m_hasSwallowedBlank || append(character);
        default:
            if (lineRoom() == 0 && !wrap())
                return false;
            return append(character);
        }
    }

    static bool isBlank(wchar_t character) { return character == L' ' || character == L'\t'; }

    /// Moves the word that is being written to a new line, or cuts it when it fills the line.
    bool wrap()
    {
        wchar_t* word = m_position;
        while (!m_hasSwallowedBlank && word != m_lineStart && !isBlank(word[-1]))
            --word;
        wchar_t* blanks = word;
        while (blanks != m_lineStart && isBlank(blanks[-1]))
            --blanks;
        if (blanks == m_lineStart)
            blanks = word = m_position;
        const auto wordLength = static_cast<std::size_t>(m_position - word);
        if (static_cast<std::size_t>(m_end - blanks) < 2 + wordLength)
            return false;
        std::wmemmove(blanks + 2, word, wordLength);
        blanks[0] = L'\r';
        blanks[1] = L'\n';
        startLine(blanks + 2);
        m_position = m_lineStart + wordLength;
        return true;
    }

    std::size_t lineRoom() const
    {
        return m_lineLimit - static_cast<std::size_t>(m_position - m_lineStart);
    }

    void startLine(wchar_t* start)
    {
        m_lineStart = start;
        m_hasSwallowedBlank = false;
    }

    wchar_t* const m_buffer;
    wchar_t* const m_end;
    wchar_t* m_position;
    wchar_t* m_lineStart;
    const std::size_t m_lineLimit;    ///< Characters of a line, 0 for any number.
    bool m_hasSwallowedBlank = false; ///< Blanks were left out behind a line that is full.
};

// ---- What an insert asks for --------------------------------------------------------------------

enum class Size { Unspecified, Half, Long, Wide, Bits32, Bits64 };

/// What stands between the exclamation marks of an insert; by default a wide string.
struct InsertSpec {
    bool isLeft = false;
    bool hasPlus = false;
    bool hasBlank = false;
    bool isAlternate = false;
    bool isZeroFilled = false;
    bool hasPrecision = false;
    Size size = Size::Unspecified;
    wchar_t conversion = L's'; ///< Null: the insert shows nothing.
    std::uint32_t width = 0;
    std::uint32_t precision = 0;
};

/// The 64-bit slots that a message's inserts are taken from, read one after the other.
class Slots {
  public:
    Slots(const u64* slots, unsigned first) : m_slots(slots), m_next(first) {}

    bool read(u64& value)
    {
        if (!m_slots || m_next > lastSlot)
            return false;
        value = m_slots[m_next++ - 1];
        return true;
    }

  private:
    const u64* m_slots;
    unsigned m_next; ///< Counted from 1.
};

/// Reads what stands between the exclamation marks, and the closing one.
class SpecParser {
  public:
    SpecParser(const wchar_t* text, Slots& slots) : m_text(text), m_slots(slots) {}

    const wchar_t* position() const { return m_text; }

    bool parse(InsertSpec& spec)
    {
        if (skip(L'!')) {
            spec.conversion = L'\0';
            return true;
        }
        if (*m_text <= L'9') { // the letters stand behind all that can come before them
            parseFlags(spec);
            if (!parseWidth(spec) || !parsePrecision(spec))
                return false;
        }
        spec.size = parseSize();
        spec.conversion = *m_text;
        return spec.conversion != L'\0' && (++m_text, skip(L'!'));
    }

  private:
    bool skip(wchar_t character)
    {
        if (*m_text != character)
            return false;
        ++m_text;
        return true;
    }

    void parseFlags(InsertSpec& spec)
    {
        for (;; ++m_text) {
            switch (*m_text) {
            case L'-':
                spec.isLeft = true;
                break;
            case L'+':
                spec.hasPlus = true;
                break;
            case L' ':
                spec.hasBlank = true;
                break;
            case L'#':
                spec.isAlternate = true;
                break;
            case L'0':
                spec.isZeroFilled = true;
                break;
            default:
                return;
            }
        }
    }

    bool parseWidth(InsertSpec& spec)
    {
        if (!skip(L'*')) {
            spec.width = parseNumber();
            return true;
        }
        std::int32_t width = 0;
        if (!readStar(width))
            return false;
        spec.isLeft = spec.isLeft || width < 0;
        spec.width = static_cast<std::uint32_t>(width < 0 ? -static_cast<i64>(width) : width);
        return true;
    }

    bool parsePrecision(InsertSpec& spec)
    {
        if (!skip(L'.'))
            return true;
        spec.hasPrecision = true;
        if (!skip(L'*')) {
            spec.precision = parseNumber();
            return true;
        }
        std::int32_t precision = 0;
        if (!readStar(precision))
            return false;
        spec.hasPrecision = precision >= 0;
        spec.precision = static_cast<std::uint32_t>(precision);
        return true;
    }

    bool readStar(std::int32_t& number)
    {
        u64 slot = 0;
        if (!m_slots.read(slot))
            return false;
        number = static_cast<std::int32_t>(static_cast<std::uint32_t>(slot));
        return true;
    }

    /// A number that is too large for any buffer stays so, whatever its digits.
    std::uint32_t parseNumber()
    {
        u64 number = 0;
        for (; *m_text >= L'0' && *m_text <= L'9'; ++m_text)
            number = std::min<u64>(number * 10 + static_cast<u64>(*m_text - L'0'), INT_MAX);
        return static_cast<std::uint32_t>(number);
    }

    Size parseSize()
    {
        if (skip(L'h'))
            return Size::Half;
        if (skip(L'w'))
            return Size::Wide;
        if (skip(L'l'))
            return skip(L'l') ? Size::Bits64 : Size::Long;
        if (*m_text != L'I')
            return Size::Unspecified;
        if (std::wcsncmp(m_text, L"I64", 3) == 0) {
            m_text += 3;
            return Size::Bits64;
        }
        if (std::wcsncmp(m_text, L"I32", 3) == 0) {
            m_text += 3;
            return Size::Bits32;
        }
        return Size::Unspecified;
    }

    const wchar_t* m_text;
    Slots& m_slots;
};

// ---- Integers ----------------------------------------------------------------------------------

/// Digits of a number, collected from the last to the first.
class Digits {
  public:
    explicit Digits(u64 value)
    {
        for (; value != 0; value /= 10)
            *--m_first = static_cast<wchar_t>(L'0' + value % 10);
    }
    /// In a base that is a power of two.
    Digits(u64 value, unsigned bitsOfDigit, bool isUpper)
    {
        const wchar_t* const figures = isUpper ? L"0123456789ABCDEF" : L"0123456789abcdef";
        for (; value != 0; value >>= bitsOfDigit)
            *--m_first = figures[value & ((1u << bitsOfDigit) - 1)];
    }
    Digits(const Digits&) = delete;
    Digits& operator=(const Digits&) = delete;

    std::wstring_view text() const { return {m_first, length()}; }
    std::size_t length() const { return static_cast<std::size_t>(m_text + capacity - m_first); }

  private:
    static constexpr std::size_t capacity = 22; ///< 64 bits in octal.
    wchar_t m_text[capacity];
    wchar_t* m_first = m_text + capacity;
};

/// Writes `prefix` (a sign, a base) and `digits`, with the zeros and blanks that `spec` asks for.
bool writeNumber(Output& output, const InsertSpec& spec, std::wstring_view prefix,
                 const Digits& digits)
{
    const std::size_t least = spec.hasPrecision ? spec.precision : 1;
    std::size_t zeros = least > digits.length() ? least - digits.length() : 0;
    if (spec.conversion == L'o' && spec.isAlternate && zeros == 0 &&
        (digits.length() == 0 || digits.text().front() != L'0'))
        zeros = 1;

    const std::size_t length = prefix.size() + zeros + digits.length();
    std::size_t padding = spec.width > length ? spec.width - length : 0;
    if (spec.isZeroFilled && !spec.isLeft && !spec.hasPrecision) {
        zeros += padding;
        padding = 0;
    }
    return (spec.isLeft || output.fill(L' ', padding)) && output.put(prefix) &&
           output.fill(L'0', zeros) && output.put(digits.text()) &&
           (!spec.isLeft || output.fill(L' ', padding));
}

bool writeSigned(Output& output, const InsertSpec& spec, u64 slot)
{
    i64 value = static_cast<i64>(slot);
    if (spec.size == Size::Half)
        value = static_cast<std::int16_t>(slot);
    else if (spec.size != Size::Bits64)
        value = static_cast<std::int32_t>(slot);

    const u64 magnitude = value < 0 ? 0 - static_cast<u64>(value) : static_cast<u64>(value);
    const std::wstring_view sign = value < 0       ? L"-"
                                   : spec.hasPlus  ? L"+"
                                   : spec.hasBlank ? L" "
                                                   : L"";
    return writeNumber(output, spec, sign, Digits(magnitude));
}

u64 unsignedValue(const InsertSpec& spec, u64 slot)
{
    if (spec.size == Size::Half)
        return static_cast<std::uint16_t>(slot);
    return spec.size == Size::Bits64 ? slot : static_cast<std::uint32_t>(slot);
}

bool writeUnsigned(Output& output, const InsertSpec& spec, u64 slot)
{
    return writeNumber(output, spec, L"", Digits(unsignedValue(spec, slot)));
}

bool writeOctal(Output& output, const InsertSpec& spec, u64 slot)
{
    return writeNumber(output, spec, L"", Digits(unsignedValue(spec, slot), 3, false));
}

bool writeHex(Output& output, const InsertSpec& spec, u64 slot)
{
    const u64 value = unsignedValue(spec, slot);
    const bool isUpper = spec.conversion == L'X';
    const bool hasPrefix = spec.isAlternate && value != 0;
    const std::wstring_view prefix = !hasPrefix ? L"" : isUpper ? L"0X" : L"0x";
    return writeNumber(output, spec, prefix, Digits(value, 4, isUpper));
}

/// A pointer shows all its digits, whatever precision is asked for.
bool writePointer(Output& output, InsertSpec spec, u64 slot)
{
    spec.hasPrecision = true;
    spec.precision = 2 * sizeof(void*);
    return writeNumber(output, spec, L"", Digits(slot, 4, true));
}

// ---- Strings -----------------------------------------------------------------------------------

/// Gives a wide string's characters one by one; a null pointer reads as "(null)".
class WideReader {
  public:
    explicit WideReader(const wchar_t* text) : m_text(text ? text : L"(null)") {}

    const wchar_t* position() const { return m_text; }

    bool read(wchar_t& character)
    {
        character = *m_text;
        if (character == L'\0')
            return false;
        ++m_text;
        return true;
    }

  private:
    const wchar_t* m_text;
};

/// The same for UTF-8. What is no valid sequence reads as U+FFFD.
class NarrowReader {
  public:
    explicit NarrowReader(const char* text) : m_text(text ? text : "(null)") {}

    bool read(wchar_t& character)
    {
        if (*m_text == '\0')
            return false;
        character = static_cast<wchar_t>(takeUtf8(m_text, nullptr));
        return true;
    }

  private:
    const char* m_text;
};

/// Counts what `reader` would give, up to `limit`, without touching anything behind that.
template <typename Reader>
std::size_t countCharacters(Reader reader, std::size_t limit)
{
    std::size_t count = 0;
    for (wchar_t character; count < limit && reader.read(character);)
        ++count;
    return count;
}

template <typename Reader>
bool copyCharacters(Output& output, Reader reader, std::size_t limit)
{
    wchar_t character;
    for (; limit != 0 && reader.read(character); --limit) {
        if (!output.put(character))
            return false;
    }
    return true;
}

std::size_t countCharacters(const WideReader& reader, std::size_t limit)
{
    return wcsnlen(reader.position(), limit);
}

bool copyCharacters(Output& output, const WideReader& reader, std::size_t limit)
{
    if (output.wraps())
        return output.put({reader.position(), wcsnlen(reader.position(), limit)});
    // One more than fits is enough to see that it does not fit.
    return output.putBlock(reader.position(),
                           wcsnlen(reader.position(), std::min(limit, output.room() + 1)));
}

template <typename Reader>
bool writeString(Output& output, const InsertSpec& spec, const Reader& reader)
{
    const std::size_t limit = spec.hasPrecision ? spec.precision : SIZE_MAX;
    if (spec.width == 0)
        return copyCharacters(output, reader, limit);

    const std::size_t length = countCharacters(reader, std::min<std::size_t>(limit, spec.width));
    const std::size_t padding = spec.width - length;
    return (spec.isLeft || output.fill(L' ', padding)) && copyCharacters(output, reader, limit) &&
           (!spec.isLeft || output.fill(L' ', padding));
}

/// A null character would end the text early for whoever reads it: it shows as nothing.
bool writeCharacter(Output& output, InsertSpec spec, wchar_t character)
{
    const wchar_t text[] = {character, L'\0'};
    spec.hasPrecision = false;
    return writeString(output, spec, WideReader(text));
}

wchar_t wideCharacter(u64 slot)
{
    const auto codePoint = static_cast<std::uint32_t>(slot);
    return static_cast<wchar_t>(codePoint <= lastCodePoint ? codePoint : replacementCharacter);
}

wchar_t narrowCharacter(u64 slot)
{
    const auto byte = static_cast<u8>(slot);
    return static_cast<wchar_t>(byte < 0x80 ? byte : replacementCharacter);
}

// ---- The message -------------------------------------------------------------------------------

/// Copies a message to the output and fills its inserts.
class Formatter {
  public:
    Formatter(const wchar_t* format, const u64* slots, bool keepsBreaks, Output& output)
        : m_text(format), m_end(format + std::wcslen(format)), m_slots(slots),
          m_keepsBreaks(keepsBreaks), m_lowestPlain(keepsBreaks ? lowestOfAll : L' '),
          m_output(output)
    {}

    /// The last error: what stopped the formatting, or ERROR_SUCCESS.
    DWORD run()
    {
        while (m_error == ERROR_SUCCESS) {
            m_text = m_output.putPlain(m_text, m_end, m_lowestPlain);
            if (*m_text == L'\0')
                break;
            if (*m_text == L'%')
                expandEscape();
            else
                copyCharacter();
        }
        return m_error;
    }

  private:
    /// A character that is not plain. A line break of the message's own text becomes a blank unless
    /// breaks are kept. (Those of an insert belong to its value and stay.)
    void copyCharacter()
    {
        const wchar_t character = *m_text++;
        const bool isBreak = !m_keepsBreaks && (character == L'\r' || character == L'\n');
        if (isBreak && character == L'\r' && *m_text == L'\n')
            ++m_text;
        check(m_output.put(isBreak ? L' ' : character));
    }

    void expandEscape()
    {
        const wchar_t letter = m_text[1];
        m_text += 2;
        switch (letter) {
        case L'\0':
            m_error = ERROR_INVALID_PARAMETER;
            break;
        case L'0':
            m_text = m_end;
            break;
        case L'n':
            check(m_output.breakLine());
            break;
        case L'r':
            check(m_output.put(L'\r'));
            break;
        case L't': // In lines of a given width, even of an endless one, a tab starts a new line.
            check(m_keepsBreaks ? m_output.put(L'\t') : m_output.breakLine());
            break;
        case L'b':
            check(m_output.put(L' '));
            break;
        default:
            if (letter >= L'1' && letter <= L'9')
                expandInsert(static_cast<unsigned>(letter - L'0'));
            else
                check(m_output.put(letter));
        }
    }

    void expandInsert(unsigned number)
    {
        if (*m_text >= L'0' && *m_text <= L'9')
            number = number * 10 + static_cast<unsigned>(*m_text++ - L'0');
        Slots slots(m_slots, number);
        InsertSpec spec;
        if (*m_text == L'!') {
            SpecParser parser(m_text + 1, slots);
            if (!parser.parse(spec)) {
                m_error = ERROR_INVALID_PARAMETER;
                return;
            }
            m_text = parser.position();
        }
        u64 slot = 0;
        if (slots.read(slot))
            writeInsert(spec, slot);
        else
            m_error = ERROR_INVALID_PARAMETER;
    }

    void writeInsert(const InsertSpec& spec, u64 slot)
    {
        switch (spec.conversion) {
        case L'\0':
            break;
        case L'd':
        case L'i':
            check(writeSigned(m_output, spec, slot));
            break;
        case L'u':
            check(writeUnsigned(m_output, spec, slot));
            break;
        case L'x':
        case L'X':
            check(writeHex(m_output, spec, slot));
            break;
        case L'o':
            check(writeOctal(m_output, spec, slot));
            break;
        case L'p':
            check(writePointer(m_output, spec, slot));
            break;
        case L'c':
        case L'C':
            check(writeCharacter(m_output, spec,
                                 isNarrow(spec) ? narrowCharacter(slot) : wideCharacter(slot)));
            break;
        case L's':
        case L'S':
            if (isNarrow(spec))
                check(writeString(m_output, spec, NarrowReader(pointer<char>(slot))));
            else
                check(writeString(m_output, spec, WideReader(pointer<wchar_t>(slot))));
            break;
        default:
            m_error = ERROR_INVALID_PARAMETER;
        }
    }

    /// The size decides over a text's width; without one the capital letters are the narrow ones.
    static bool isNarrow(const InsertSpec& spec)
    {
        if (spec.size == Size::Half)
            return true;
        const bool isCapital = spec.conversion == L'S' || spec.conversion == L'C';
        return isCapital && spec.size != Size::Long && spec.size != Size::Wide;
    }

    template <typename Character>
    static const Character* pointer(u64 slot)
    {
        return reinterpret_cast<const Character*>(static_cast<std::uintptr_t>(slot));
    }

    void check(bool fits)
    {
        if (!fits)
            m_error = ERROR_INSUFFICIENT_BUFFER;
    }

    const wchar_t* m_text;
    const wchar_t* const m_end;
    const u64* const m_slots;
    const bool m_keepsBreaks;
    const wchar_t m_lowestPlain;
    Output& m_output;
    DWORD m_error = ERROR_SUCCESS;
};

/// Characters that a line may hold: one less than the width, which is where the break stands.
std::size_t lineLimit(unsigned width)
{
    if (width == 0 || width == onlyHardBreaks)
        return 0;
    return std::max(width - 1, 1u);
}

/// Formats into `buffer`. On failure the buffer holds an empty text and `length` is 0.
DWORD format(const wchar_t* source, unsigned width, const u64* slots, wchar_t* buffer,
             std::size_t capacity, DWORD& length)
{
    Output output(buffer, capacity, lineLimit(width));
    DWORD error = Formatter(source, slots, width == 0, output).run();
    if (error == ERROR_SUCCESS && output.length() == 0)
        error = ERROR_NO_WORK_DONE;
    if (error == ERROR_SUCCESS && !output.terminate())
        error = ERROR_INSUFFICIENT_BUFFER;
    if (error != ERROR_SUCCESS && capacity != 0)
        *buffer = L'\0';
    length = error == ERROR_SUCCESS ? static_cast<DWORD>(output.length()) : 0;
    return error;
}

/// Formats into a buffer of its own, which `buffer` receives on success.
DWORD formatAllocated(const wchar_t* source, unsigned width, const u64* slots, wchar_t*& buffer,
                      std::size_t capacity, DWORD& length)
{
    auto* const memory = static_cast<wchar_t*>(std::malloc(capacity * sizeof(wchar_t)));
    if (!memory && capacity != 0)
        return ERROR_NOT_ENOUGH_MEMORY;
    const DWORD error = format(source, width, slots, memory, capacity, length);
    if (error == ERROR_SUCCESS)
        buffer = memory;
    else
        std::free(memory);
    return error;
}

} // namespace

DWORD FormatMessageW(DWORD flags, const void* source, DWORD, DWORD, wchar_t* output, DWORD size,
                     void* arguments)
{
    constexpr DWORD required = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    if ((flags & required) != required || !source || !output) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }

    const auto* const text = static_cast<const wchar_t*>(source);
    const auto* const slots = static_cast<const u64*>(arguments);
    const unsigned width = flags & lineWidthMask;
    DWORD length = 0;
    DWORD error = ERROR_SUCCESS;
    if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
        auto& buffer = *reinterpret_cast<wchar_t**>(output);
        buffer = nullptr;
        error = formatAllocated(text, width, slots, buffer, size, length);
    } else {
        error = format(text, width, slots, output, size, length);
    }
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return length;
}

void* LocalFree(void* memory)
{
    std::free(memory);
    return nullptr;
}
