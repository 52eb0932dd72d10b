// References to environment variables, in texts and in the variables themselves.
#include "Support.h"

#include <zmu/foundation/UTL_String.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <cstdlib>
#include <cwchar>

using namespace zmu_fuzz;

namespace {

char* expand(char* source, char* target, char* scratch, u64& length, zmu::ulong32 limit)
{
    return ZarnLocalizeHelpers::expandEnvironmentVarStrsA(source, target, scratch, length, limit);
}

wchar_t* expand(wchar_t* source, wchar_t* target, wchar_t* scratch, u64& length, zmu::ulong32 limit)
{
    return ZarnLocalizeHelpers::expandEnvironmentVarStrsW(source, target, scratch, length, limit);
}

struct Expansion {
    bool isDone = false;
    std::wstring text;
};

/// Expands within arrays of `limit` elements, the source being one of them or not.
template <class Char>
Expansion expanded(std::basic_string<Char> source, zmu::ulong32 limit, int place)
{
    std::vector<Char> target(limit, Char('#'));
    std::vector<Char> scratch(limit, Char('#'));
    Char* text = source.data();
    if (place != 0 && source.size() < limit) {
        text = place == 1 ? target.data() : scratch.data();
        std::copy_n(source.c_str(), source.size() + 1, text);
    }
    u64 length = ~u64(0);
    const Char* const result = expand(text, target.data(), scratch.data(), length, limit);
    FUZZ_CHECK(result ? result == target.data() : length == 0);
    if (!result)
        return {};
    FUZZ_CHECK(isTerminated(target) && std::char_traits<Char>::length(result) == length);
    return {true, {result, result + length}};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::string source = input.terminatedText();
    bool isPlain = source.find('%') == source.npos;
    bool isAscii = true;
    for (const char* const name : {"A", "B", "LONG_NAME"}) {
        const std::string value = input.terminatedText();
        setenv(name, value.c_str(), 1);
        isAscii = isAscii && std::all_of(value.begin(), value.end(), [](char c) { return c > 0; });
    }
    isAscii = isAscii && std::all_of(source.begin(), source.end(), [](char c) { return c > 0; });
    const auto limit = input.number<zmu::ulong32>(0, 400);
    const auto place = input.number(0, 2);

    const Expansion narrow = expanded<char>(source, limit, place);
    FUZZ_CHECK(!narrow.isDone || narrow.text.size() < limit);
    if (isPlain)
        FUZZ_CHECK(narrow.isDone == (limit > 1 && source.size() < limit));
    if (isAscii) {
        const Expansion wide = expanded<wchar_t>({source.begin(), source.end()}, limit, place);
        FUZZ_CHECK(wide.isDone == narrow.isDone && wide.text == narrow.text);
    }
    const UTL_String once = UTL_String(source.c_str()).expandEnvironment();
    FUZZ_CHECK(std::strlen(once.narrowText()) == once.length());
    expanded<wchar_t>(input.wideText(), limit, place);
    return 0;
}
