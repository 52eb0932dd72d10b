// The parsers' way with tokens: a text is cut and counted in one go, and then read token by token.
#pragma once

#include <cwchar>

namespace zmu {

/// The tokens of a text, which is cut in place as nextToken cuts it: the first `tokensMax` of them,
/// and how many there are.
template <int tokensMax>
class TokenList {
  public:
    TokenList(wchar_t* text, wchar_t delimiter)
    {
        wchar_t* token = *text ? text : nullptr;
        while (token && m_count <= tokensMax) {
            if (m_count < tokensMax)
                m_tokens[m_count] = token;
            ++m_count;
            token = std::wcschr(token, delimiter);
            if (token)
                *token++ = L'\0';
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
