// Integer types of the public interface whose width matters.
//
// They are aliases of the types of <cstdint>, so a host's own alias of the same name and type is no
// conflict. A host whose alias is of another type defines ZMU_NO_GLOBAL_INTEGERS before it includes
// anything of zmu: the four names are then in namespace zmu alone.
#pragma once

#include <cstdint>

namespace zmu {

using u8 = std::uint8_t;
using u64 = std::uint64_t;
using i64 = std::int64_t;

/// What Windows calls `unsigned long`: 32 bits on every platform.
#if defined(_WIN32)
using ulong32 = unsigned long;
#else
using ulong32 = std::uint32_t;
#endif

} // namespace zmu

#if !defined(ZMU_NO_GLOBAL_INTEGERS)
using u8 = zmu::u8;
using u64 = zmu::u64;
using i64 = zmu::i64;
using ulong32 = zmu::ulong32;
#endif
