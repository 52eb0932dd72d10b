// Numbers with the signs and groups of a locale, written and read.
#include "Support.h"

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <cstdlib>
#include <cwchar>

using namespace zmu_fuzz;
using Helpers = ZarnLocalizeHelpers;

namespace {

void checkWriting(i64 value, std::size_t capacity)
{
    std::vector<char> narrow(capacity, '#');
    std::vector<wchar_t> wide(capacity, L'#');
    const u64 narrowLength = Helpers::convertIntToPunctuatedStrA(value, narrow.data(), capacity);
    const u64 wideLength = Helpers::convertIntToPunctuatedStrW(value, wide.data(), capacity);
    if (capacity < 2) {
        FUZZ_CHECK(narrowLength == 0 && wideLength == 0);
        return;
    }
    FUZZ_CHECK(isTerminated(narrow) && isTerminated(wide));
    FUZZ_CHECK(std::strlen(narrow.data()) == narrowLength);
    FUZZ_CHECK(std::wcslen(wide.data()) == wideLength);
    i64 again = ~value;
    if (narrowLength > 1)
        FUZZ_CHECK(Helpers::convertPunctuatedStrToIntA(narrow.data(), narrowLength, again) &&
                   again == value);
    if (wideLength > 1)
        FUZZ_CHECK(Helpers::convertPunctuatedStrToIntW(wide.data(), wideLength, again) &&
                   again == value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // What the machine does not know of these gives no text at all.
    constexpr const char* locales[] = {"C",           "C.UTF-8",     "en_US.UTF-8", "de_DE.UTF-8",
                                       "fr_FR.UTF-8", "en_IN.UTF-8", "ar_EG.UTF-8", "nowhere"};
    Input input(data, size);
    setenv("LC_ALL", locales[input.number<std::size_t>(0, std::size(locales) - 1)], 1);
    checkWriting(input.number<i64>(), input.number<std::size_t>(0, 64));

    i64 value = 1;
    std::string narrow = input.text();
    std::vector<char> bytes(narrow.begin(), narrow.end()); // not terminated
    if (!Helpers::convertPunctuatedStrToIntA(bytes.data(), bytes.size(), value))
        FUZZ_CHECK(value == 0);
    std::wstring wide = input.wideText();
    std::vector<wchar_t> elements(wide.begin(), wide.end());
    elements.push_back(L'\0');
    if (!Helpers::convertPunctuatedStrToIntW(elements.data(), elements.size(), value))
        FUZZ_CHECK(value == 0);
    return 0;
}
