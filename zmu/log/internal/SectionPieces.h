// A section of a form as an entry needs it: taken apart once, put together each time.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/foundation/internal/Utf16.h>
#include <zmu/monitor/ZarnScratchpad.h>

#include <cstddef>
#include <string_view>

namespace zmu {

/// The pieces of one section's format: text that is the same each time, encoded as the log has it,
/// and the inserts between. What they make is what the formatter would make of the format.
///
/// A format that holds more than pieces can be kept of, or other inserts than the form's variables
/// make, is left to the formatter. All room is in the object: nothing here allocates. Not locked.
class SectionPieces {
  public:
    /// Elements of the longest text that an entry or a tail can have.
    static constexpr std::size_t lengthMax = ZarnScratchpad::Buffer::capacity - 1;
    /// As units of the log.
    using Units = char16_t[lengthMax * utf16UnitsMax];

    /// Takes `format` apart, with `varCount` inserts, unless that was the last one that it was
    /// asked about. False if the format is left to the formatter.
    bool areOf(const wchar_t* format, int varCount);

    /// The text with `values`, value n for insert n+1, in `units`. Returns the number of units; 0
    /// for a text that is empty or about as long as can be, which the formatter judges.
    std::size_t fill(const u64* values, Units& units) const;

  private:
    static constexpr std::size_t formatMax = 1535;
    static constexpr int piecesMax = 64;

    enum class Shows : unsigned char { Nothing, Text, Signed, Unsigned, Hex };

    struct Piece {
        unsigned short length; ///< Elements of the text in front of the insert.
        unsigned short
            unitsEnd;         ///< Where that text ends in m_units; it begins with the last's end.
        unsigned char value;  ///< The insert's index in the values.
        unsigned char digits; ///< The least that a number shows.
        Shows shows;          ///< Nothing behind the last text.
    };

    bool takeApart(std::wstring_view format, int varCount);
    bool addText(std::wstring_view text, Piece& piece);
    static bool readInsert(std::wstring_view& format, int varCount, Piece& piece);

    bool m_isUsable = false;
    int m_varCount = -1;
    wchar_t m_format[formatMax + 1] = {};
    int m_piecesCount = 0;
    Piece m_pieces[piecesMax];
    char16_t m_units[lengthMax * utf16UnitsMax];
};

/// Of the two sections that are written for each situation.
struct EntryPieces {
    SectionPieces body;
    SectionPieces tail;
};

} // namespace zmu
