// UTF-8 into and out of the string classes.
#include "Support.h"

#include <zmu/foundation/UTF8String.h>

#include <cwchar>

using namespace zmu_fuzz;

namespace {

std::string encoded(const UTF8String& text)
{
    constexpr unsigned bytesMax = 6; // of one element
    std::vector<char> bytes(bytesMax * text.convertedLength(StringEncoding::Wide) + 1);
    const int count = text.toUtf8(bytes.data(), static_cast<unsigned>(bytes.size()));
    FUZZ_CHECK(count >= 0);
    return {bytes.data(), static_cast<std::size_t>(count)};
}

/// In a buffer that may be too small.
void checkRoom(const UTF8String& text, const std::string& whole, unsigned room)
{
    std::vector<char> bytes(room);
    const int count = text.toUtf8(bytes.data(), room);
    if (room >= whole.size())
        FUZZ_CHECK(count == static_cast<int>(whole.size()));
    FUZZ_CHECK(count == -1 ||
               whole.starts_with(std::string_view(bytes.data(), static_cast<std::size_t>(count))));
}

bool isText(const std::wstring& text)
{
    return std::all_of(text.begin(), text.end(), [](wchar_t c) {
        return c > 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::string bytes = input.terminatedText();
    const auto room = input.number(0U, 100U);
    try {
        const UTF8String text(bytes.c_str());
        if (std::wcslen(text.wideText()) < text.length())
            return 0; // an overlong form of the terminator
        const std::string again = encoded(text);
        FUZZ_CHECK(again.size() <= bytes.size()); // overlong forms become short ones
        FUZZ_CHECK(std::wcscmp(UTF8String(again.c_str()).wideText(), text.wideText()) == 0);
        checkRoom(text, again, room);
    } catch (const UTL_Exception&) {
        FUZZ_CHECK(!bytes.empty());
    }

    const std::wstring wide = input.wideText();
    const UTF8String text(wide.c_str());
    checkRoom(text, encoded(text), room);
    if (!isText(wide))
        return 0;
    FUZZ_CHECK(UTF8String(encoded(text).c_str()).wideText() == wide);
    FUZZ_CHECK(UTL_String(UTL_String(wide.c_str()).narrowText()).wideText() == wide);
    return 0;
}
