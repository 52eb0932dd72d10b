// Small questions about texts.
#pragma once

namespace zmu {

inline bool isEmpty(const wchar_t* text)
{
    return !text || !*text;
}

} // namespace zmu
