// The line of a spool file: any bytes read as one, and what a situation makes read again.
#include "Support.h"

#include <spool/SpoolWriter.h>

using namespace zmu_fuzz;
using namespace zmu_spool;

namespace {

bool isUtf8(const std::string& text)
{
    const std::wstring wide = UTL_String(text.c_str()).wideText();
    return std::string(UTL_String(wide.c_str()).narrowText()) == text;
}

void checkReading(const std::string& text)
{
    const std::vector<char> bytes(text.begin(), text.end()); // not terminated
    SpoolLine line;
    const LineFault fault = readSpoolLine({bytes.data(), bytes.size()}, line);
    FUZZ_CHECK(fault.position <= bytes.size());
    FUZZ_CHECK(fault ? !describe(fault).empty() : describe(fault).empty());
    if (fault)
        return;
    FUZZ_CHECK(line.sequence > 0);
    for (const std::string* taken : {&line.host, &line.program, &line.description}) {
        // An escape of six bytes makes three at most, so that nothing grows.
        FUZZ_CHECK(taken->size() <= bytes.size() && taken->find('\0') == taken->npos);
        FUZZ_CHECK(isUtf8(*taken));
    }
    // What is cut short is none, nor what has more.
    FUZZ_CHECK(readSpoolLine(std::string_view(text).substr(0, text.rfind('}')), line));
    FUZZ_CHECK(readSpoolLine(text + "}", line));
}

void copyName(const std::wstring& name, wchar_t (&target)[longestName + 1])
{
    target[name.copy(target, longestName)] = L'\0';
}

void checkWriting(Input& input)
{
    constexpr i64 latest = 9214646400000000000; // 2262
    Origin origin;
    origin.process = input.number<u64>();
    origin.start = input.number(-9214560000000000000, latest - 1); // 1678
    const Situation situation{input.number(-9214560000000000000, latest - 1), input.number<u64>(),
                              input.number<i64>(), input.number<std::uint32_t>(),
                              input.number<i64>()};
    const auto sequence = input.number<u64>(1, ~u64(0));
    copyName(input.wideText(), origin.host);
    copyName(input.wideText(), origin.program);
    const std::wstring text = input.wideText();

    std::vector<char> originText(originQty);
    const char* const originEnd = putOrigin(originText.data(), origin);
    FUZZ_CHECK(originEnd <= originText.data() + originText.size());
    std::vector<char> bytes(frontQty + (originEnd - originText.data()) + situationQty +
                            escapedSize(text.data(), text.size()) + 4);
    char* const begin = bytes.data() + frontQty;
    char* const middle = putSituation(begin, {originText.data(), originEnd}, situation);
    const char* const end = putDescription(middle, text.data(), text.size());
    const char* const front = putFront(begin, sequence);
    FUZZ_CHECK(end[-1] == '\n' && std::find(front, end, '\n') == end - 1);

    SpoolLine line;
    FUZZ_CHECK(!readSpoolLine({front, end - 1}, line));
    FUZZ_CHECK(line.sequence == sequence && line.time == situation.time &&
               line.thread == situation.thread && line.instantiator == situation.instantiator &&
               line.enablements == situation.enablements && line.situation == situation.id &&
               line.process == origin.process && line.start == origin.start);
    char name[fileNameQty];
    composeFileName(name, origin, input.number<unsigned>());
    FUZZ_CHECK(isSpoolName(name) && std::string_view(name).find('/') == std::string_view::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const std::string text = input.text(0x10000);
    checkReading(text);
    checkWriting(input);
    return 0;
}
