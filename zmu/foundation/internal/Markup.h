// Text in HTML: what it says is shown, and nothing else happens.
#pragma once

#include <cstddef>
#include <string_view>

namespace zmu {

/// What stands for a character that means something to HTML; empty for any other.
constexpr std::wstring_view entityOf(wchar_t c)
{
    switch (c) {
    case L'&':
        return L"&amp;";
    case L'<':
        return L"&lt;";
    case L'>':
        return L"&gt;";
    case L'"':
        return L"&quot;";
    case L'\'':
        return L"&#39;";
    default:
        return {};
    }
}

/// Hands the pieces of `text`, escaped, to `put` in turn.
template <class Put>
void escapeMarkup(std::wstring_view text, Put put)
{
    std::size_t plain = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::wstring_view entity = entityOf(text[i]);
        if (entity.empty())
            continue;
        put(text.substr(plain, i - plain));
        put(entity);
        plain = i + 1;
    }
    put(text.substr(plain));
}

} // namespace zmu
