// Text of a file without the blanks around it.
#pragma once

#include <string_view>

namespace zmu {

/// `text` without any of `blanks` at its two ends; empty if it has nothing else.
inline std::string_view trim(std::string_view text, std::string_view blanks = " \t\r")
{
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == text.npos)
        return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace zmu
