// The parsers' way with tokens: a text is cut and counted in one go, and then read token by token.
#pragma once

#include <cstddef>
#include <cwchar>

namespace zmu {

struct Token {
    wchar_t* text;
    std::size_t length;
};

/// The tokens of a text, which is cut in place as nextToken cuts it: the first `tokensMax` of them,
/// and how many there are.
template <int tokensMax>
class TokenList {
  public:
    TokenList(wchar_t* text, wchar_t delimiter)
    {
        wchar_t* token = *text ? text : nullptr;
        while (token && m_count <= tokensMax) {
            wchar_t* const end = std::wcschr(token, delimiter);
            if (m_count < tokensMax)
                m_tokens[m_count] = {token, end ? static_cast<std::size_t>(end - token)
                                                : std::wcslen(token)};
            ++m_count;
            if (end)
                *end = L'\0';
            token = end ? end + 1 : nullptr;
        }
    }

    /// Number of tokens; one more than `tokensMax` stands for any number above it.
    int count() const { return m_count; }
    const Token& operator[](int index) const { return m_tokens[index]; }

  private:
    int m_count = 0;
    Token m_tokens[tokensMax];
};

} // namespace zmu
