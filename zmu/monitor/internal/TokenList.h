// The parsers' way with tokens: a text is cut and counted in one go, and then read token by token.
#pragma once

#include <zmu/monitor/Tokens.h>

namespace zmu {

/// The tokens of a text, which nextToken cuts in place: the first `tokensMax` of them, and how many
/// there are.
template <int tokensMax>
class TokenList {
  public:
    TokenList(wchar_t* text, const wchar_t* delimiters)
    {
        std::size_t start = 0;
        std::size_t position = 0;
        std::size_t length = static_cast<std::size_t>(-1);
        while (m_count <= tokensMax) {
            wchar_t* const token = nextToken(text, delimiters, start, position, length);
            if (!token)
                break;
            if (m_count < tokensMax)
                m_tokens[m_count] = token;
            ++m_count;
        }
    }

    /// Number of tokens; one more than `tokensMax` stands for any number above it.
    int count() const { return m_count; }
    wchar_t* operator[](int index) const { return m_tokens[index]; }

  private:
    int m_count = 0;
    wchar_t* m_tokens[tokensMax];
};

} // namespace zmu
