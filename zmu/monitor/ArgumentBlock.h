// Where the arguments of a variadic report live while their situation can still read them.
//
// A failed situation keeps its argument cursor, and a later one without arguments may read on
// through it. So the slots are the engine's, not the caller's stack, and reading ends with zeros.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/monitor/ZarnArguments.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace zmu {

class ArgumentBlock {
  public:
    /// Takes over `count` values, at most ArgumentSlotsQty, and fills up with zeros. Returns the
    /// cursor to them.
    char** load(const u64* values, const SlotKind* kinds, std::size_t count)
    {
        count = (std::min)(count, ArgumentSlotsQty);
        const std::size_t end = (std::max)(count, m_count); // all is empty from there on
        std::fill(std::copy_n(values, count, m_slots), m_slots + end, u64{0});
        std::fill(std::copy_n(kinds, count, m_kinds), m_kinds + end, SlotKind::Unknown);
        m_count = count;
        m_cursor = reinterpret_cast<char*>(m_slots);
        return &m_cursor;
    }

    /// Reads the slot under `cursor` and advances it; 0 behind the last slot of the block. `kind`
    /// tells what the slot was packed from, if this block packed it.
    u64 take(char*& cursor, SlotKind& kind) const
    {
        const auto* const begin = reinterpret_cast<const char*>(m_slots);
        const auto* const end = reinterpret_cast<const char*>(m_slots + ArgumentSlotsQty);
        kind = SlotKind::Unknown;
        if (cursor == end)
            return 0;
        if (!std::less<>()(cursor, begin) && std::less<>()(cursor, end))
            kind = m_kinds[static_cast<std::size_t>(cursor - begin) / sizeof(u64)];
        u64 slot;
        std::memcpy(&slot, cursor, sizeof slot);
        cursor += sizeof slot;
        return slot;
    }

  private:
    u64 m_slots[ArgumentSlotsQty] = {};
    SlotKind m_kinds[ArgumentSlotsQty] = {};
    std::size_t m_count = 0; ///< Slots in use.
    char* m_cursor = nullptr;
};

} // namespace zmu
