// How paths are put together on this platform.
#pragma once

#include <string_view>

namespace zmu {

#if defined(_WIN32)

/// What stands behind a directory in a path that the library composes.
inline constexpr wchar_t pathSeparator = L'\\';
/// Whether `c` ends a directory's name.
constexpr bool isPathSeparator(wchar_t c)
{
    return c == L'/' || c == L'\\';
}
/// What stands between the paths of a list.
inline constexpr wchar_t pathListSeparator = L';';
/// Whether looking at a full path may contact a host that the path itself names, or a device.
constexpr bool isHostPath(std::wstring_view path)
{
    return path.size() > 1 && isPathSeparator(path[0]) && isPathSeparator(path[1]);
}
/// Whether a path names its file wherever the process stands.
constexpr bool isFullPath(std::wstring_view path)
{
    const auto isLetter = [](wchar_t c) { return (c | 0x20) >= L'a' && (c | 0x20) <= L'z'; };
    const bool onDrive =
        path.size() > 2 && isLetter(path[0]) && path[1] == L':' && isPathSeparator(path[2]);
    return onDrive || isHostPath(path);
}

#else

inline constexpr wchar_t pathSeparator = L'/';
/// A backslash is a letter like any other here.
constexpr bool isPathSeparator(wchar_t c)
{
    return c == L'/';
}
inline constexpr wchar_t pathListSeparator = L':';
constexpr bool isFullPath(std::wstring_view path)
{
    return path.starts_with(L'/');
}
constexpr bool isHostPath(std::wstring_view)
{
    return false;
}

#endif

} // namespace zmu
