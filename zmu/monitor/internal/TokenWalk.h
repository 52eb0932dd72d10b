// The parsers' way with tokens: count them first, then walk.
#pragma once

#include <zmu/monitor/Tokens.h>

#include <cstddef>
#include <cwchar>

namespace zmu {

/// Number of tokens that a walk over `text` will meet. Nothing is cut.
inline int tokensIn(const wchar_t* text, wchar_t delimiter)
{
    if (!*text)
        return 0;
    int count = 1;
    while ((text = std::wcschr(text, delimiter))) {
        ++text;
        ++count;
    }
    return count;
}

class TokenWalk {
  public:
    TokenWalk(wchar_t* text, const wchar_t* delimiters) : m_text(text), m_delimiters(delimiters) {}

    /// Next token, or null at the end.
    wchar_t* next() { return nextToken(m_text, m_delimiters, m_start, m_position, m_length); }

  private:
    wchar_t* m_text;
    const wchar_t* m_delimiters;
    std::size_t m_start = 0;
    std::size_t m_position = 0;
    std::size_t m_length = static_cast<std::size_t>(-1);
};

} // namespace zmu
