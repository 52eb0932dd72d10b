#include <zmu/platform/Languages.h>
#include <zmu/platform/Win32.h>

#include <algorithm>

std::string_view zmu::userLanguages(std::span<char> buffer)
{
    wchar_t languages[256];
    ULONG count = 0, size = ULONG(std::size(languages));
    if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, languages, &size))
        return {};
    std::size_t length = 0;
    // One text behind the other, each with a terminator, and an empty one at the end.
    for (const wchar_t* text = languages; *text; ++text) {
        if (length > 0 && length < buffer.size())
            buffer[length++] = ':';
        for (; *text && length < buffer.size(); ++text)
            buffer[length++] = *text < 0x80 ? char(*text) : '?';
        while (*text)
            ++text;
    }
    return {buffer.data(), length};
}
