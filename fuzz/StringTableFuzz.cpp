// Strings by their number: the library's own table, and modules whose entry tells lies.
#include "Support.h"

#include <zmu/foundation/UTL_String.h>
#include <zmu/localize/ResourceModule.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <cwchar>
#include <new>

using namespace zmu_fuzz;

namespace {

/// What the program's entry does; it never writes beyond the buffer.
struct {
    std::wstring text;
    bool isTerminated = false;
    int claimed = 0;
    zmu::ulong32 error = 0;
    bool throws = false;
} entry;

void checkTable(unsigned id, int capacity)
{
    constexpr int plenty = 1024;
    std::vector<wchar_t> whole(plenty, L'#');
    std::vector<wchar_t> cut(static_cast<std::size_t>(std::max(capacity, 1)), L'#');
    const bool isThere = ZarnLocalizeHelpers::loadIntrinsicString(id, whole.data(), plenty);
    const bool isCutThere = ZarnLocalizeHelpers::loadIntrinsicString(id, cut.data(), capacity);
    FUZZ_CHECK(isTerminated(whole) && isTerminated(cut));
    FUZZ_CHECK(isThere || !whole[0]);
    FUZZ_CHECK(capacity < 1 ? !isCutThere : isCutThere == isThere);
    FUZZ_CHECK(std::wstring_view(whole.data()).starts_with(cut.data()));
}

void checkModule(unsigned id, unsigned capacity)
{
    try {
        const UTL_String text(GetModuleHandleW(nullptr), id, capacity);
        FUZZ_CHECK(text.length() < capacity && !entry.throws);
        FUZZ_CHECK(std::wcslen(text.wideText()) == text.length());
        FUZZ_CHECK(std::wstring_view(entry.text).starts_with(text.wideText()));
    } catch (const UTL_Exception&) {
        FUZZ_CHECK(capacity == 0 || entry.error != 0);
    } catch (const std::bad_alloc&) {
        FUZZ_CHECK(entry.throws);
    }
}

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int, wchar_t* buffer, int bufferMax)
{
    const std::size_t length = entry.text.copy(buffer, static_cast<std::size_t>(bufferMax));
    if (entry.isTerminated && length < static_cast<std::size_t>(bufferMax))
        buffer[length] = L'\0';
    SetLastError(entry.error);
    if (entry.throws)
        throw std::bad_alloc();
    return entry.claimed;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const auto id = input.flag() ? input.number(10000U, 21000U) : input.number<unsigned>();
    checkTable(id, input.number(-2, 300));
    entry = {input.wideText(), input.flag(),
             input.flag() ? input.number<int>() : static_cast<int>(entry.text.size()),
             input.number<zmu::ulong32>(0, 3), input.number(0, 15) == 0};
    checkModule(id, input.number(0U, 300U));
    return 0;
}
