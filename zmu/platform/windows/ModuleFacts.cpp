#include <zmu/platform/ModuleFacts.h>

#include <cwchar>
#include <iterator>

namespace zmu::modules {

namespace {

/// A number of the image's header, whose place stands at a fixed one; empty if this is no image.
std::wstring headerNumber(const InputFile& file, u64 place)
{
    constexpr u64 headerPlace = 60;
    DWORD header = 0;
    DWORD mark = 0;
    DWORD number = 0;
    if (!file.read(headerPlace, &header, sizeof header) || !file.read(header, &mark, sizeof mark) ||
        mark != IMAGE_NT_SIGNATURE || !file.read(u64{header} + place, &number, sizeof number))
        return {};
    wchar_t text[16];
    std::swprintf(text, std::size(text), L"0x%08lX", number);
    return text;
}

} // namespace

std::wstring checksum(const InputFile& file)
{
    return headerNumber(file, 88);
}

std::wstring linkTime(const InputFile& file)
{
    return headerNumber(file, 8);
}

Versions versions(const InputFile&, const wchar_t*)
{
    return {};
}

} // namespace zmu::modules
