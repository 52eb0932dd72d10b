// Where the arguments of a variadic report live while their situation can still read them.
//
// A failed situation keeps its argument cursor, and a later one without arguments may read on
// through it. So the slots are the thread's, not the caller's stack, and reading ends with zeros.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/monitor/ZarnArguments.h>

#include <algorithm>
#include <cstring>

namespace zmu {

class ArgumentBlock {
  public:
    static ArgumentBlock& ofThisThread()
    {
        thread_local ArgumentBlock block;
        return block;
    }

    /// Takes over `count` slots, at most ArgumentSlotsQty, and fills up with zeros. The cursor
    /// returned stays good for the thread's life.
    char** load(const u64* slots, std::size_t count)
    {
        u64* rest = std::copy_n(slots, std::min(count, ArgumentSlotsQty), m_slots);
        std::fill(rest, m_slots + ArgumentSlotsQty, u64{0});
        m_cursor = reinterpret_cast<char*>(m_slots);
        return &m_cursor;
    }

    /// Reads the slot under `cursor` and advances it; 0 behind the last slot of the block.
    u64 take(char*& cursor) const
    {
        if (cursor == reinterpret_cast<const char*>(m_slots + ArgumentSlotsQty))
            return 0;
        u64 slot;
        std::memcpy(&slot, cursor, sizeof slot);
        cursor += sizeof slot;
        return slot;
    }

  private:
    u64 m_slots[ArgumentSlotsQty];
    char* m_cursor;
};

} // namespace zmu
