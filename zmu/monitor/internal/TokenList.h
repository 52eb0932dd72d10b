// The parsers' way with tokens: a text is taken apart in one go, without being changed.
#pragma once

#include <cstddef>
#include <cwchar>
#include <string_view>

namespace zmu {

/// The tokens of a text, told apart as nextToken does it: the first `tokensMax` of them,
/// and how many there are. An empty text has none, and neither has any without a delimiter. The
/// text must outlive the list.
template <int tokensMax>
class TokenList {
  public:
    TokenList(std::wstring_view text, wchar_t delimiter)
    {
        if (text.empty() || !delimiter)
            return;
        const wchar_t* position = text.data();
        const wchar_t* const end = position + text.size();
        while (m_count <= tokensMax) {
            const auto left = static_cast<std::size_t>(end - position);
            const wchar_t* const cut = std::wmemchr(position, delimiter, left);
            if (m_count < tokensMax)
                m_tokens[m_count] = {position,
                                     cut ? static_cast<std::size_t>(cut - position) : left};
            ++m_count;
            if (!cut)
                break;
            position = cut + 1;
        }
    }

    /// Number of tokens; one more than `tokensMax` stands for any number above it.
    int count() const { return m_count; }
    std::wstring_view operator[](int index) const
    {
        return {m_tokens[index].text, m_tokens[index].length};
    }

    /// Ends each token where it stands in `text`, the one that they were found in.
    void cut(wchar_t* text) const
    {
        for (int i = 0; i < m_count && i < tokensMax; ++i)
            text[m_tokens[i].text - m_tokens[0].text + m_tokens[i].length] = L'\0';
    }

  private:
    /// Not a view, since those that are not used need no value.
    struct Token {
        const wchar_t* text;
        std::size_t length;
    };

    int m_count = 0;
    Token m_tokens[tokensMax];
};

} // namespace zmu
