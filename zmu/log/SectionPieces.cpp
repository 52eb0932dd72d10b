#include <zmu/log/internal/SectionPieces.h>

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/internal/Numbers.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>

using namespace zmu;

namespace {

constexpr std::size_t figuresMax = 11; ///< Of 32 bits, with a sign.

/// Writes a number with at least `least` figures, and returns the end.
template <unsigned base>
char16_t* putFigures(char16_t* output, std::uint32_t value, int least)
{
    char16_t figures[figuresMax];
    char16_t* const end = std::end(figures);
    char16_t* begin = end;
    for (; value != 0 || least > 0; value /= base, --least)
        *--begin = u"0123456789ABCDEF"[value % base];
    return std::copy(begin, end, output);
}

char16_t* putSigned(char16_t* output, std::int32_t value, int least)
{
    if (least == 2 && value >= 0 && value < 100) { // parts of a time, nearly all that there are
        *output++ = static_cast<char16_t>(u'0' + value / 10);
        *output++ = static_cast<char16_t>(u'0' + value % 10);
        return output;
    }
    const auto magnitude = static_cast<std::uint32_t>(value);
    if (value >= 0)
        return putFigures<10>(output, magnitude, least);
    *output++ = u'-';
    return putFigures<10>(output, 0 - magnitude, least - 1);
}

} // namespace

// ---- Taking apart ----------------------------------------------------------------------------------------

bool SectionPieces::areOf(const wchar_t* format, int varCount)
{
    // The text counts, not where it stands: it may have changed in its place.
    if (varCount == m_varCount && std::wcscmp(format, m_format) == 0)
        return m_isUsable;
    const std::size_t length = wcsnlen(format, formatMax + 1);
    if (length > formatMax)
        return false;
    std::wmemcpy(m_format, format, length);
    m_format[length] = L'\0';
    m_varCount = varCount;
    m_isUsable = takeApart({m_format, length}, varCount);
    return m_isUsable;
}

bool SectionPieces::takeApart(std::wstring_view format, int varCount)
{
    m_piecesCount = 0;
    std::size_t read = 0;
    while (true) {
        const std::size_t escape = format.find(L'%', read);
        const bool isLast = escape == format.npos;
        const wchar_t letter = isLast || escape + 1 == format.size() ? L'\0' : format[escape + 1];
        if (!isLast && !(letter >= L'1' && letter <= L'9')) {
            if (!letter || letter == L'0')
                return false; // wrong, or the end of the output
            read = escape + 2;
            continue;
        }
        if (m_piecesCount == piecesMax)
            return false;
        Piece& piece = m_pieces[m_piecesCount];
        piece = {};
        if (!addText(format.substr(0, escape), piece))
            return false;
        ++m_piecesCount;
        if (isLast)
            return true;
        format.remove_prefix(escape + 1);
        if (!readInsert(format, varCount, piece))
            return false;
        read = 0;
    }
}

/// What the formatter makes of a text is up to the system.
bool SectionPieces::addText(std::wstring_view text, Piece& piece)
{
    constexpr ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;

    piece.unitsEnd = m_piecesCount > 0 ? m_pieces[m_piecesCount - 1].unitsEnd : 0;
    if (text.empty())
        return true;
    wchar_t source[formatMax + 1];
    source[text.copy(source, formatMax)] = L'\0';
    wchar_t output[lengthMax + 1];
    u64 noInserts[1] = {};
    const ulong32 length =
        Zarn::formatMessage(flags, source, output, static_cast<int>(std::size(output)), noInserts);
    if (length == 0 || piece.unitsEnd + length * utf16UnitsMax > std::size(m_units))
        return false;
    piece.length = static_cast<unsigned short>(length);
    piece.unitsEnd +=
        static_cast<unsigned short>(toUtf16(output, length, m_units + piece.unitsEnd));
    return true;
}

bool SectionPieces::readInsert(std::wstring_view& format, int varCount, Piece& piece)
{
    struct Row {
        std::wstring_view insert;
        Shows shows;
        unsigned char digits;
    };
    static constexpr Row rows[] = {
        {L"!s!", Shows::Text, 0},     {L"!d!", Shows::Signed, 1},    {L"!02d!", Shows::Signed, 2},
        {L"!03d!", Shows::Signed, 3}, {L"!lu!", Shows::Unsigned, 1}, {L"!X!", Shows::Hex, 1},
    };

    // The formatter reads two figures at most.
    const int number = toNumber(format.substr(0, 2));
    format.remove_prefix(format.size() > 1 && isDigit(format[1]) ? 2 : 1);
    const auto row = std::find_if(std::begin(rows), std::end(rows), [format](const Row& each) {
        return format.starts_with(each.insert);
    });
    if (number > varCount || row == std::end(rows))
        return false;
    format.remove_prefix(row->insert.size());
    piece.value = static_cast<unsigned char>(number - 1);
    piece.shows = row->shows;
    piece.digits = row->digits;
    return true;
}

// ---- Putting together ------------------------------------------------------------------------------------

std::size_t SectionPieces::fill(const u64* values, Units& units) const
{
    char16_t* end = units;
    std::size_t room = lengthMax; // in elements, which may take more units
    const char16_t* text = m_units;
    for (const Piece *piece = m_pieces, *last = m_pieces + m_piecesCount; piece != last; ++piece) {
        if (piece->length > room)
            return 0;
        room -= piece->length;
        const auto textQty = static_cast<std::size_t>(m_units + piece->unitsEnd - text);
        std::memcpy(end, text, textQty * sizeof *text);
        text += textQty;
        end += textQty;
        if (piece->shows == Shows::Nothing)
            continue;

        const u64 value = values[piece->value];
        if (piece->shows == Shows::Text) {
            const auto* const insert =
                reinterpret_cast<const wchar_t*>(static_cast<std::uintptr_t>(value));
            const std::size_t length = wcsnlen(insert, room + 1);
            if (length > room)
                return 0;
            room -= length;
            end += toUtf16(insert, length, end);
            continue;
        }
        if (room < figuresMax)
            return 0; // the formatter knows it exactly
        const char16_t* const begin = end;
        const auto number = static_cast<std::uint32_t>(value);
        if (piece->shows == Shows::Signed)
            end = putSigned(end, static_cast<std::int32_t>(number), piece->digits);
        else if (piece->shows == Shows::Unsigned)
            end = putFigures<10>(end, number, piece->digits);
        else
            end = putFigures<16>(end, number, piece->digits);
        room -= static_cast<std::size_t>(end - begin);
    }
    return static_cast<std::size_t>(end - units);
}
