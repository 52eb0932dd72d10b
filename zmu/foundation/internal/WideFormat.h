// Formatting into a fixed buffer.
#pragma once

#include <cstddef>
#include <cwchar>

namespace zmu {

/// std::swprintf: the elements written, or a negative number when they have no room. C libraries
/// differ in that case; some cut the text and tell how long it would have been.
template <class... Arguments>
int formatWide(wchar_t* output, std::size_t capacity, const wchar_t* form, Arguments... arguments)
{
    const int length = std::swprintf(output, capacity, form, arguments...);
    return length >= 0 && static_cast<std::size_t>(length) < capacity ? length : -1;
}

} // namespace zmu
