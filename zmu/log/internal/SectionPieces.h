// The sections that are written for each situation, taken apart once.
#pragma once

#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/monitor/internal/MessagePieces.h>

#include <cstddef>
#include <cwchar>

namespace zmu {

/// The pieces of one section's format, encoded as the log is. Allocates nothing. Not locked.
class SectionPieces {
  public:
    /// Elements of the longest text that is made of pieces: the longest that an entry or a tail can
    /// have, but for what is written behind it.
    static constexpr std::size_t lengthMax = ZarnScratchpad::Buffer::capacity - stepUnits;
    using Pieces = MessagePieces<char16_t, lengthMax, 64>;
    /// Units of such a text at most, with what is written behind it.
    static constexpr std::size_t unitsMax = lengthMax * Pieces::unitsMax + stepUnits;

    /// Takes `format` apart, with `varCount` inserts, unless that is what it did last. False if the
    /// format is left to the formatter.
    bool areOf(const wchar_t* format, int varCount)
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
        m_isUsable = m_pieces.takeApart({m_format, length}, varCount);
        return m_isUsable;
    }

    /// Writes the text with `values` into `units`, which has room for unitsMax, and returns how
    /// many it takes; 0 leaves it to the formatter.
    std::size_t fill(const u64* values, char16_t* units) const
    {
        return m_pieces.fill(values, units, lengthMax);
    }

  private:
    static constexpr std::size_t formatMax = 1535;

    Pieces m_pieces;
    bool m_isUsable = false;
    int m_varCount = -1;
    wchar_t m_format[formatMax + 1] = {};
};

struct EntryPieces {
    SectionPieces body;
    SectionPieces tail;
};

} // namespace zmu
