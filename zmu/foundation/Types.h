// Integer types of the public interface whose width matters.
#pragma once

#include <cstdint>

using u8 = unsigned char;
using u64 = unsigned long long;
using i64 = long long;

/// What Windows calls `unsigned long`: 32 bits on every platform.
#if defined(_WIN32)
using ulong32 = unsigned long;
#else
using ulong32 = std::uint32_t;
#endif
