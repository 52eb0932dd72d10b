// How paths are put together on this platform.
#pragma once

namespace zmu {

/// What stands behind a directory in a path that the library composes.
#if defined(_WIN32)
inline constexpr wchar_t pathSeparator = L'\\';
#else
inline constexpr wchar_t pathSeparator = L'/';
#endif

/// Whether `c` ends a directory's name. A backslash is a letter like any other where the platform's
/// own separator is the slash.
constexpr bool isPathSeparator(wchar_t c)
{
    return c == L'/' || c == pathSeparator;
}

} // namespace zmu
