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

std::wstring toHtml(const std::wstring& text, std::size_t longest)
{
    const std::wstring ellipsis = L"...";
    std::wstring result;
    std::size_t fitting = 0; // how much of the result leaves room for the ellipsis
    for (const wchar_t c : text) {
        switch (c) {
        case L'<':
            result += L"&lt;";
            break;
        case L'>':
            result += L"&gt;";
            break;
        case L'&':
            result += L"&amp;";
            break;
        case L'"':
            result += L"&quot;";
            break;
        default:
            result += c < L' ' ? L' ' : c;
        }
        if (result.size() > longest)
            return result.substr(0, fitting) + ellipsis;
        if (result.size() + ellipsis.size() <= longest)
            fitting = result.size();
    }
    return result;
}
