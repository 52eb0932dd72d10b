// The entries that a collector makes of reports: whatever those hold, a page shows it, runs
// nothing, and each entry is found again by its identity. And logs in which identities are looked
// for: any.
#include "Support.h"

#include <collect/EntryText.h>

#include <cstdlib>

using namespace zmu_fuzz;
using namespace zmu_collect;

namespace {

/// The ASCII of a text, with one byte for anything else, at the same places.
std::string asciiOf(const std::wstring& text)
{
    std::string ascii;
    for (const wchar_t c : text)
        ascii += c < 0x80 ? static_cast<char>(c) : '\x80';
    return ascii;
}

/// Nothing but what harmlessTag() knows is markup, and all of that is closed, innermost first.
void checkMarkup(std::string_view html)
{
    std::vector<std::string_view> open;
    while (!html.empty()) {
        std::string_view name;
        std::size_t length = 1;
        if (html.front() == '<') {
            length = harmlessTag(html, name);
            FUZZ_CHECK(length != 0);
            if (html[1] == '/') {
                FUZZ_CHECK(!open.empty() && open.back() == name);
                open.pop_back();
            } else if (name != "br") {
                open.push_back(name);
            }
        }
        FUZZ_CHECK(html.front() != '>' && html.front() != '"' && html.front() != '\'');
        FUZZ_CHECK(html.front() != '&' || entityLength(html) != 0);
        html.remove_prefix(length);
    }
    FUZZ_CHECK(open.empty());
}

/// A description, then the one element that is no description's.
void checkPart(const EntryPart& part)
{
    FUZZ_CHECK(!part.text.empty() && part.text.size() <= entryMax);
    for (const wchar_t c : part.text)
        FUZZ_CHECK(c >= 0x20 && !(c >= 0x7F && c < 0xA0) && !(c >= 0x202A && c <= 0x202E) &&
                   !(c >= 0x2066 && c <= 0x2069));
    const std::string text = asciiOf(part.text);
    FUZZ_CHECK(part.identity.find_first_of("<>\"'& ") == part.identity.npos);
    const std::string mark = " <i data-zmu=\"" + part.identity + "\">";
    const std::size_t at = text.find(mark);
    FUZZ_CHECK(at != text.npos && text.ends_with("</i>"));
    checkMarkup(std::string_view(text).substr(0, at));
    checkMarkup(
        std::string_view(text).substr(at + mark.size(), text.size() - at - mark.size() - 4));
}

/// In a log that is read in pieces.
void checkFound(std::span<const EntryPart> parts, std::size_t piece)
{
    std::u16string log = u"<html><body>";
    std::vector<std::string> wanted, found;
    for (const EntryPart& part : parts) {
        log.append(part.text.begin(), part.text.end());
        log += u"\r\n<br>";
        wanted.push_back(part.identity);
    }
    std::u16string rest;
    for (std::size_t at = 0; at < log.size(); at += piece) {
        rest += log.substr(at, piece);
        const std::size_t done =
            markOf(rest, [&](const std::string& mark) { found.push_back(mark); });
        FUZZ_CHECK(done <= rest.size());
        rest.erase(0, done);
    }
    FUZZ_CHECK(found == wanted);
}

void checkReport(Input& input)
{
    Report report;
    zmu_spool::SpoolLine line;
    const std::string source = input.text(), owner = input.text(), place = input.text(),
                      what = input.text(), sample = input.text();
    line.host = input.text();
    line.program = input.text();
    const std::string description = input.text(0x10000);
    for (auto i = input.number<unsigned>(1, 8); i != 0; --i)
        line.description += description;
    report.source = source;
    report.owner = owner;
    report.place = place;
    report.what = what;
    report.sample = sample;
    report.kind = static_cast<Report::Kind>(input.number(0, 2));
    report.mayHaveBeenRead = input.flag();
    report.sequence = input.number<u64>(1, ~u64(0));
    report.last = input.number<u64>(report.sequence, ~u64(0));
    line.process = input.number<u64>();
    line.situation = input.number<i64>();
    if (report.kind != Report::Kind::PassedOver)
        report.line = &line;
    const auto piece = input.number<std::size_t>(64, 8192);

    static EntryText text; // which is to remember nothing of the last report
    const std::span<const EntryPart> parts = text.compose(report);
    FUZZ_CHECK(!parts.empty() && parts.size() <= partsMax);
    for (const EntryPart& part : parts)
        checkPart(part);
    checkFound(parts, piece);
}

void checkAnyLog(const std::string& bytes, std::size_t repeatedQty)
{
    std::u16string log;
    for (std::size_t i = 0; i < repeatedQty; ++i)
        log.append(bytes.begin(), bytes.end());
    std::size_t marksQty = 0;
    const std::size_t done = markOf(log, [&marksQty](const std::string&) { ++marksQty; });
    FUZZ_CHECK(done <= log.size() && marksQty <= log.size() / 17);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    checkReport(input);
    const std::string log = input.text();
    constexpr std::size_t longest = 0x4000;
    checkAnyLog(log, log.empty() ? 0 : input.number<std::size_t>(1, longest / log.size()));
    return 0;
}
