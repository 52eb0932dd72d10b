// What the fuzz targets share: taking arguments off an input, and the places that inputs go to.
//
// A target is one function. It takes what it needs off an Input, calls what it fuzzes, and states
// with FUZZ_CHECK what holds whatever the input was:
//
//     extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
//     {
//         Input input(data, size);
//         std::vector<char> output(input.number<std::size_t>(1, 64));
//         convert(input.text().c_str(), output.data(), output.size());
//         FUZZ_CHECK(isTerminated(output));
//         return 0;
//     }
//
// What is to stay within its bounds is given a std::vector of just that size: the sanitizer sees
// every element outside of it.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/monitor/ZarnArguments.h>
#include <zmu/monitor/ZarnData.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

/// Ends the process with a finding unless `condition` holds.
#define FUZZ_CHECK(condition)                                                                      \
    ((condition) ? void() : zmu_fuzz::reportFinding(#condition, __FILE__, __LINE__))

namespace zmu_fuzz {

using zmu::i64;
using zmu::u64;
using zmu::u8;

[[noreturn]] void reportFinding(const char* what, const char* file, int line);

/// An input, from which texts are taken at the beginning and numbers at the end: a file of text
/// with some bytes behind it is a good one to begin with.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data, size) {}

    bool isEmpty() { return m_data.remaining_bytes() == 0; }
    /// The bytes up to a backslash, which is taken off with the one behind it, a line feed for
    /// instance. Two backslashes are one of the text.
    std::string text(std::size_t max = 4096) { return m_data.ConsumeRandomLengthString(max); }
    /// The same without what a text with a terminator cannot have.
    std::string terminatedText() { return withoutNulls(text()); }
    /// Such a text of UTF-8. Bytes that are none give what wide text may also hold: a half of a
    /// surrogate pair, or an element that is no character.
    std::wstring wideText() { return withoutNulls(widen(text())); }
    std::string rest() { return m_data.ConsumeRemainingBytesAsString(); }
    template <class Number>
    Number number(Number least, Number most)
    {
        return m_data.ConsumeIntegralInRange<Number>(least, most);
    }
    template <class Number>
    Number number()
    {
        return m_data.ConsumeIntegral<Number>();
    }
    bool flag() { return m_data.ConsumeBool(); }

  private:
    template <class Text>
    static Text withoutNulls(Text text)
    {
        std::erase(text, typename Text::value_type());
        return text;
    }
    static std::wstring widen(std::string_view bytes);

    FuzzedDataProvider m_data;
};

template <class Char>
bool isTerminated(const std::vector<Char>& text)
{
    return std::find(text.begin(), text.end(), Char()) != text.end();
}

/// Path of a file in the folder of this process, which is in memory where the system has that.
std::string pathOf(const char* name);
void writeFile(const std::string& path, std::string_view bytes);
std::string readFile(const std::string& path);

/// Arguments for a situation, with their texts.
struct Arguments {
    Arguments() = default;
    explicit Arguments(Input& input);
    void add(std::wstring text);

    std::vector<u64> values;
    std::vector<zmu::SlotKind> kinds; ///< One for each value.
    // Both kinds end in enough zeros to be read as the other one.
    std::deque<std::wstring> wideTexts;
    std::deque<std::string> narrowTexts;
};

/// What became of a situation.
struct Outcome {
    int code = 0;
    std::string entry; ///< As it is in the log; empty for none.
};

/// A data set that a target drives by hand, with its log in the process's folder. What it reports
/// are the strings of zmu_test::strings().
class LoggingData : public ZarnData {
  public:
    /// Without a form the log has the built-in one.
    explicit LoggingData(const wchar_t* formName = nullptr);

    /// Opens the log. False, with a code of the table, where that is refused.
    bool open();
    /// What is in the log, after checking that it is a whole document which goes on from the one
    /// that was there at the last call.
    std::string document();
    /// Where the tail begins in document().
    std::size_t tailPosition() const;
    /// Reports, checks document and code, and ends a situation that has failed.
    Outcome report(int situationID, const Arguments& arguments);

  private:
    std::string m_entries; ///< The last document without its tail.
};

} // namespace zmu_fuzz
