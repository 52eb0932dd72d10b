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
