#include "Text.h"

#include <zmu/foundation/UTL_String.h>

std::wstring toWide(const std::string& text)
{
    return UTL_String(text.c_str()).wideText();
}

std::string toNarrow(const wchar_t* text)
{
    return UTL_String(text).narrowText();
}

namespace {

std::wstring toHtml(wchar_t c)
{
    switch (c) {
    case L'<':
        return L"&lt;";
    case L'>':
        return L"&gt;";
    case L'&':
        return L"&amp;";
    case L'"':
        return L"&quot;";
    default:
        return {c < L' ' ? L' ' : c};
    }
}

template <class Convert>
std::wstring convertShortened(const std::wstring& text, std::size_t longest, Convert convert)
{
    const std::wstring ellipsis = L"...";
    std::wstring result;
    std::size_t fitting = 0; // how much of the result leaves room for the ellipsis
    for (const wchar_t c : text) {
        result += convert(c);
        if (result.size() > longest)
            return result.substr(0, fitting) + ellipsis;
        if (result.size() + ellipsis.size() <= longest)
            fitting = result.size();
    }
    return result;
}

} // namespace

std::wstring shortened(const std::wstring& text, std::size_t longest)
{
    return convertShortened(text, longest, [](wchar_t c) { return c; });
}

std::wstring shortenedHtml(const std::wstring& text, std::size_t longest)
{
    return convertShortened(text, longest, toHtml);
}
