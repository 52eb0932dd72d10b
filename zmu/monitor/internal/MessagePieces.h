// A message format taken apart once, for texts that are made of it again and again.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/foundation/internal/Utf16.h>
#include <zmu/monitor/ZarnArguments.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace zmu {

/// One insert of a format, as far as it is of the simple kinds that nearly all are.
struct PlainInsert {
    enum class Shows : unsigned char { Nothing, Text, Signed, Unsigned, Hex };

    Shows shows = Shows::Nothing; ///< Nothing behind the last text of a format.
    unsigned char value = 0;      ///< Its index in the values.
    unsigned char least = 0;      ///< Figures that a number has at least.
};

/// Takes the front of `format` up to its first insert into `text`, and that insert. False for a
/// format that is wrong there, or has an insert of another kind, or none of `valuesQty` values.
bool takeFront(std::wstring_view& format, int valuesQty, std::wstring_view& text,
               PlainInsert& insert);

/// What the formatter makes of a text without inserts, in `output` of `capacity` elements: its
/// length, 0 if it has no room. The system may have its own way with line ends.
std::size_t expandPlainText(std::wstring_view text, wchar_t* output, std::size_t capacity);

template <class Unit>
Unit* encode(const wchar_t* text, std::size_t length, Unit* output)
{
    if constexpr (std::is_same_v<Unit, char16_t>)
        return output + toUtf16(text, length, output);
    else
        return std::copy_n(text, length, output);
}

constexpr std::size_t figuresMax = 11; ///< Of 32 bits, with a sign.

/// Writes a number below 100 with two figures.
template <class Unit>
void putPair(Unit* output, std::uint32_t value)
{
    output[0] = static_cast<Unit>(u'0' + value / 10);
    output[1] = static_cast<Unit>(u'0' + value % 10);
}

/// Writes a number with at least `least` figures, and returns the end.
template <class Unit>
Unit* putDecimal(Unit* output, std::uint32_t value, int least)
{
    int count = 1;
    for (std::uint32_t power = 10; value >= power; power *= 10) {
        if (++count == 10)
            break; // the next power is none of 32 bits
    }
    Unit* const end = output + std::max(count, least);
    Unit* position = end;
    for (; position - output >= 2; value /= 100)
        putPair(position -= 2, value % 100);
    if (position != output)
        *output = static_cast<Unit>(u'0' + value);
    return end;
}

template <class Unit>
Unit* putHex(Unit* output, std::uint32_t value, int least)
{
    constexpr int bits = 4; // of a figure
    const int width = static_cast<int>(std::bit_width(value));
    Unit* const end = output + std::max((width + bits - 1) / bits, least);
    for (Unit* position = end; position != output; value >>= bits)
        *--position = static_cast<Unit>(u"0123456789ABCDEF"[value % (1U << bits)]);
    return end;
}

template <class Unit>
Unit* putSigned(Unit* output, std::int32_t value, int least)
{
    auto magnitude = static_cast<std::uint32_t>(value);
    if (least == 2 && magnitude < 100) { // parts of a time, nearly all that there are
        putPair(output, magnitude);
        return output + 2;
    }
    if (value < 0) {
        *output++ = static_cast<Unit>(u'-');
        magnitude = 0 - magnitude;
        --least;
    }
    return putDecimal(output, magnitude, least);
}

/// Text goes over in steps of so many units, mostly in one, also where it ends within a step:
/// behind it, in the pieces as in what is made of them, is room for that.
constexpr std::size_t stepUnits = 8;

template <class Unit>
Unit* putText(Unit* output, const Unit* text, const Unit* end)
{
    constexpr std::ptrdiff_t few = 4 * stepUnits;
    if (end - text > few)
        return std::copy(text, end, output);
    Unit* const outputEnd = output + (end - text);
    do {
        std::memcpy(output, text, stepUnits * sizeof(Unit));
        output += stepUnits;
        text += stepUnits;
    } while (text < end);
    return outputEnd;
}

/// The pieces of one format of line width 0: text that is the same each time, in `Unit`s of the
/// output, and the inserts between. What they make is what the formatter makes of the format. Room
/// for `textQty` elements of text and `piecesQty` inserts; a format that has more, or inserts that
/// are not of the plain kinds, is left to the formatter. Allocates nothing. Not locked.
template <class Unit, std::size_t textQty, int piecesQty>
class MessagePieces {
  public:
    /// Units of one element at most.
    static constexpr std::size_t unitsMax = std::is_same_v<Unit, char16_t> ? utf16UnitsMax : 1;

    /// False if the format is left to the formatter; the pieces are then of no use.
    bool takeApart(std::wstring_view format, int valuesQty)
    {
        m_piecesCount = 0;
        std::size_t unitsCount = 0;
        while (m_piecesCount < piecesQty) {
            Piece& piece = m_pieces[m_piecesCount];
            std::wstring_view text;
            if (!takeFront(format, valuesQty, text, piece.insert))
                return false;
            piece.length = 0;
            if (!text.empty()) {
                wchar_t expanded[textQty + 1];
                const std::size_t length = expandPlainText(text, expanded, textQty + 1);
                if (length == 0 || unitsCount + length * unitsMax > textQty * unitsMax)
                    return false;
                const Unit* const end = encode(expanded, length, m_units + unitsCount);
                unitsCount = static_cast<std::size_t>(end - m_units);
                piece.length = static_cast<unsigned short>(length);
            }
            piece.unitsEnd = static_cast<unsigned short>(unitsCount);
            ++m_piecesCount;
            if (piece.insert.shows == PlainInsert::Shows::Nothing) {
                std::fill_n(m_units + unitsCount, stepUnits, Unit{});
                return true;
            }
        }
        return false;
    }

    /// Whether each insert that shows a text has one: `kindOf(index)` tells what a value is.
    template <class KindOf>
    bool suit(KindOf kindOf) const
    {
        return std::all_of(m_pieces, m_pieces + m_piecesCount, [kindOf](const Piece& piece) {
            if (piece.insert.shows != PlainInsert::Shows::Text)
                return true;
            const SlotKind kind = kindOf(piece.insert.value);
            return kind == SlotKind::WideText || kind == SlotKind::AnyText;
        });
    }

    /// Writes the text with `values`, of at most `room` elements, which may take unitsMax units
    /// each, and zeros behind it, stepUnits at most. Returns the number of units; 0 for a text that
    /// is empty, about as long as can be, or has a null for an insert: these are left to the
    /// formatter.
    std::size_t fill(const u64* values, Unit* output, std::size_t room) const
    {
        Unit* end = output;
        const Unit* text = m_units;
        for (const Piece *piece = m_pieces, *last = piece + m_piecesCount; piece != last; ++piece) {
            if (piece->length > room)
                return 0;
            room -= piece->length;
            end = putText(end, text, m_units + piece->unitsEnd);
            text = m_units + piece->unitsEnd;
            const PlainInsert& insert = piece->insert;
            if (insert.shows == PlainInsert::Shows::Nothing)
                break;

            const u64 value = values[insert.value];
            if (insert.shows == PlainInsert::Shows::Text) {
                const auto* const shown =
                    reinterpret_cast<const wchar_t*>(static_cast<std::uintptr_t>(value));
                if (!shown)
                    return 0;
                const std::size_t length = wcsnlen(shown, room + 1);
                if (length > room)
                    return 0;
                room -= length;
                end = encode(shown, length, end);
                continue;
            }
            if (room < figuresMax)
                return 0;
            const Unit* const begin = end;
            const auto number = static_cast<std::uint32_t>(value);
            if (insert.shows == PlainInsert::Shows::Signed)
                end = putSigned(end, static_cast<std::int32_t>(number), insert.least);
            else if (insert.shows == PlainInsert::Shows::Unsigned)
                end = putDecimal(end, number, insert.least);
            else
                end = putHex(end, number, insert.least);
            room -= static_cast<std::size_t>(end - begin);
        }
        return static_cast<std::size_t>(end - output);
    }

  private:
    struct Piece {
        unsigned short length;   ///< Elements of the text in front of the insert.
        unsigned short unitsEnd; ///< Where it ends in m_units; it begins where the last one ends.
        PlainInsert insert;
    };

    int m_piecesCount = 0;
    Piece m_pieces[piecesQty];
    Unit m_units[textQty * unitsMax + stepUnits];
};

} // namespace zmu
