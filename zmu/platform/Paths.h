// How paths are put together on this platform.
#pragma once

namespace zmu {

#if defined(_WIN32)

/// What stands behind a directory in a path that the library composes.
inline constexpr wchar_t pathSeparator = L'\\';
/// Whether `c` ends a directory's name.
constexpr bool isPathSeparator(wchar_t c)
{
    return c == L'/' || c == L'\\';
}
/// Whether a path means the same from every current directory.
constexpr bool isAbsolutePath(const wchar_t* path)
{
    return path[0] && (isPathSeparator(path[0]) ? isPathSeparator(path[1])
                                                : path[1] == L':' && isPathSeparator(path[2]));
}

#else

inline constexpr wchar_t pathSeparator = L'/';
/// A backslash is a letter like any other here.
constexpr bool isPathSeparator(wchar_t c)
{
    return c == L'/';
}
constexpr bool isAbsolutePath(const wchar_t* path)
{
    return isPathSeparator(path[0]);
}

#endif

} // namespace zmu
