// The message formatter and the checker of inserts that stands in front of it: any format, flags,
// capacity and slots.
#include "Support.h"

#include <zmu/monitor/internal/Inserts.h>
#include <zmu/platform/Win32.h>

#include <array>
#include <cwchar>

using namespace zmu_fuzz;
using zmu::SlotKind;

namespace {

constexpr std::size_t slotsQty = 99;
constexpr DWORD required = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
constexpr wchar_t untouched = L'#';

/// Slots that hold numbers, and texts of either width. Readable ones are texts whatever they are
/// taken for, so that any format may have them.
struct Slots {
    Slots(Input& input, bool areReadable) : arguments(input)
    {
        values.fill(areReadable ? reinterpret_cast<std::uintptr_t>(L"text\0") : 0);
        for (std::size_t i = 0; i < arguments.values.size(); ++i) {
            if (areReadable && arguments.kinds[i] == SlotKind::Number)
                continue;
            values[i] = arguments.values[i];
            kinds[i] = arguments.kinds[i];
        }
    }

    Arguments arguments;
    std::array<u64, slotsQty> values{};
    std::array<SlotKind, slotsQty> kinds{};
};

struct Result {
    DWORD error = ERROR_SUCCESS;
    std::wstring text;
};

Result format(DWORD flags, const wchar_t* source, u64* slots, std::size_t capacity)
{
    std::vector<wchar_t> output(capacity, untouched);
    SetLastError(ERROR_SUCCESS);
    const DWORD length =
        FormatMessageW(flags, source, 0, 0, output.data(), static_cast<DWORD>(capacity), slots);
    Result result{GetLastError(), {}};
    if (length == 0) {
        FUZZ_CHECK(result.error != ERROR_SUCCESS);
        FUZZ_CHECK(capacity == 0 || output[0] == L'\0' || output[0] == untouched);
        return result;
    }
    FUZZ_CHECK(result.error == ERROR_SUCCESS && length < capacity);
    FUZZ_CHECK(std::wcslen(output.data()) == length);
    result.text.assign(output.data(), length);
    return result;
}

std::wstring formatAllocated(DWORD flags, const wchar_t* source, u64* slots, std::size_t capacity)
{
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, source, 0, 0,
                       reinterpret_cast<wchar_t*>(&buffer), static_cast<DWORD>(capacity), slots);
    FUZZ_CHECK((length != 0) == (buffer != nullptr));
    std::wstring text = buffer ? std::wstring(buffer, length) : std::wstring();
    LocalFree(buffer);
    return text;
}

bool linesFit(const std::wstring& text, std::size_t limit)
{
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of(L"\r\n", start), text.size());
        if (end - start > limit)
            return false;
        start = end + 1;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::wstring source = input.wideText();
    const DWORD flags = input.flag() ? required | input.number<u8>() : input.number<DWORD>();
    const auto capacity = input.number<std::size_t>(0, 600);
    const bool isReadable = input.flag();
    Slots slots(input, isReadable);

    const zmu::InsertFault fault =
        zmu::findInsertFault(source.c_str(), static_cast<int>(slotsQty), [&](int slot) {
            return slots.kinds[static_cast<std::size_t>(slot) - 1];
        });
    if (fault.what && !isReadable)
        return 0;
    const Result result = format(flags & ~DWORD(FORMAT_MESSAGE_ALLOCATE_BUFFER), source.c_str(),
                                 slots.values.data(), capacity);
    if ((flags & required) != required) {
        FUZZ_CHECK(result.error == ERROR_INVALID_PARAMETER);
        return 0;
    }
    FUZZ_CHECK(formatAllocated(flags, source.c_str(), slots.values.data(), capacity) ==
               result.text);
    if (result.text.empty())
        return 0;

    const std::size_t width = flags & FORMAT_MESSAGE_MAX_WIDTH_MASK;
    const bool wraps = width != 0 && width != FORMAT_MESSAGE_MAX_WIDTH_MASK;
    const auto again = [&](std::size_t room) {
        return format(flags & ~DWORD(FORMAT_MESSAGE_ALLOCATE_BUFFER), source.c_str(),
                      slots.values.data(), room);
    };
    FUZZ_CHECK(again(2 * capacity).text == result.text);
    if (wraps) {
        FUZZ_CHECK(linesFit(result.text, std::max<std::size_t>(width - 1, 1)));
    } else {
        FUZZ_CHECK(again(result.text.size() + 1).text == result.text);
        FUZZ_CHECK(again(result.text.size()).error == ERROR_INSUFFICIENT_BUFFER);
    }
    return 0;
}
