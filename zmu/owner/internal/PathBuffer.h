// Paths under construction: in a buffer of fixed size, with separators of the platform.
#pragma once

#include <zmu/foundation/UTL_String.h>
#include <zmu/foundation/WideBuffer.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/internal/OwnerTable.h>
#include <zmu/platform/Paths.h>

#include <algorithm>
#include <string>

namespace zmu {

inline constexpr std::size_t pathQty = 1024; ///< What is below this is a path's length.
/// Takes one element more than a path may have, and a terminator: what is copied into it may be cut
/// at 1024.
using PathBuffer = WideBuffer<pathQty + 1>;

/// Runs `body`; an exception becomes `code`.
template <class Body>
void orRaise(int code, Body body)
{
    try {
        body();
    } catch (...) {
        throw int{code};
    }
}

inline bool endsInSeparator(const PathBuffer& path)
{
    return path.length() > 0 && isPathSeparator(path.c_str()[path.length() - 1]);
}

inline void appendSeparator(PathBuffer& path, int noRoom)
{
    constexpr wchar_t separator[] = {pathSeparator, L'\0'};
    require(path.length() + 1 < pathQty && path.append(separator), noRoom);
}

/// Every separator as the platform writes it.
inline void makeNative(wchar_t* path)
{
    std::replace_if(path, path + std::wcslen(path), isPathSeparator, pathSeparator);
}

inline std::wstring loadText(HINSTANCE module, unsigned int id)
{
    return UTL_String(module, id, text::capacity).wideText();
}

} // namespace zmu
