#include "Ledger.h"

#include <Monitors.h>
#include <Strings.h>

#include <zmu/monitor/DxCodes.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <tuple>

using namespace zmu;
using namespace zmu_test;

namespace zmu_torture {

namespace {

constexpr std::string_view tails[] = {"</html>\n", "</body><html>\n"}; // ours, the built-in

/// {lane.number.aaaa}, with letters and a length that depend on the number; made without memory.
class EntryText {
  public:
    static constexpr std::size_t capacity = 320;
    EntryText(int lane, long number)
    {
        m_end = std::to_chars(m_text + 1, std::end(m_text), lane).ptr;
        *m_end++ = '.';
        m_end = std::to_chars(m_end, std::end(m_text), number).ptr;
        *m_end++ = '.';
        m_end = std::fill_n(m_end, (number * 7 + lane) % 240, static_cast<char>('a' + number % 26));
        *m_end++ = '}';
    }
    const char* begin() const { return m_text; }
    const char* end() const { return m_end; }
    std::size_t size() const { return static_cast<std::size_t>(m_end - m_text); }

  private:
    char m_text[capacity] = "{";
    char* m_end;
};

/// Whether the text begins with a whole entry, which is taken off.
bool takeEntry(std::string_view& text, long& lane, long& number)
{
    const char* const end = text.data() + text.size();
    const char* const behindLane = std::from_chars(text.data() + 1, end, lane).ptr;
    if (behindLane == end || std::from_chars(behindLane + 1, end, number).ec != std::errc())
        return false;
    const EntryText expected(static_cast<int>(lane), number);
    if (!text.starts_with(std::string_view(expected.begin(), expected.size())))
        return false;
    text.remove_prefix(expected.size());
    return true;
}

/// A log's bytes as characters: entries have none beyond these.
std::string narrowed(std::string_view bytes)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text += bytes[i + 1] == '\0' ? bytes[i] : '?';
    return text;
}

} // namespace

long Ledger::sum() const
{
    long sum = 0;
    for (const auto& lane : done)
        sum += lane;
    return sum;
}

void Ledger::clear()
{
    for (auto& lane : done)
        lane = 0;
}

bool Ledger::report(Zarn* monitor, int lane)
{
    const EntryText text(lane, done[lane]);
    wchar_t wide[EntryText::capacity] = {};
    std::copy(text.begin(), text.end(), wide);
    const int code = reportText(monitor, wide);
    if (code != dx::Satisfied)
        monitor->forgetSelfDX_Code();
    if (code != dx::Satisfied && code != dx::RolloverFailed)
        return false;
    ++done[lane];
    return true;
}

Place::Place(Form form) : ledger(makeShared<Ledger>())
{
    char name[] = "/tmp/zmu_place_XXXXXX";
    root = mkdtemp(name);
    logs = root + "/logs";
    std::filesystem::create_directory(logs);
    setenv("XDG_CONFIG_DIRS", root.c_str(), 1);
    setLogDirectory(std::wstring(logs.begin(), logs.end()) + L'/');
    if (form == Form::None)
        return;
    std::filesystem::create_directory(logs + "/Templates");
    std::ofstream(logs + "/Templates/bpw_template.html")
        << "^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_OP 1 1 0\n<b>\n</b>\n<i>\n</i>\n"
           "^HEAD\n<html>[PRODUCT_NAME] [SYS_INFO_ENV_OP]\n"
           "^BODY\n<p>[ENTRY_ID] [SITUATION_DSCRP]<br>\n^TAIL\n</html>\n";
}

Place::~Place()
{
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
    munmap(&ledger, sizeof ledger);
}

void Place::clear() const
{
    for (const std::string& file : filesOf(logs))
        std::filesystem::remove(file); // which leaves the folder of the form
    ledger.clear();
}

std::vector<std::string> filesOf(const std::string& folder)
{
    // In the order of their moments, which end the names: without memory a log may not learn what
    // its program is called, so that those of one moment are told apart by when they were written.
    // A first log has no moment.
    constexpr std::size_t momentAndType = 28; // "2026-11-21_03-00-38-742.html"
    std::set<std::tuple<std::string, std::filesystem::file_time_type, std::string>> ordered;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        std::error_code isGone;
        if (!entry.is_regular_file())
            continue;
        if (name.size() < momentAndType)
            ordered.emplace("", std::filesystem::file_time_type(), entry.path());
        else
            ordered.emplace(name.substr(name.size() - momentAndType), entry.last_write_time(isGone),
                            entry.path());
    }
    std::vector<std::string> files;
    for (const auto& [moment, time, file] : ordered)
        files.push_back(file);
    return files;
}

void LogReader::readFolder(const std::string& folder, bool mayBeCut)
{
    for (const std::string& file : filesOf(folder))
        readFile(file, mayBeCut);
}

void LogReader::readFile(const std::string& file, bool mayBeCut)
{
    std::stringstream stream;
    stream << std::ifstream(file, std::ios::binary).rdbuf();
    const std::string bytes = stream.str();
    const std::string characters = narrowed(bytes);
    std::string_view text = characters;
    ++documents;
    if (text.empty() && mayBeCut) {
        ++cut;
        return;
    }
    const auto fail = [&](const std::string& flaw) {
        flaws.push_back(std::filesystem::path(file).filename().string() + ' ' + flaw);
    };
    bool isEnded = false;
    for (const std::string_view tail : tails)
        isEnded = isEnded || text.find(tail) == text.size() - tail.size();
    if (!(bytes.starts_with("\xFF\xFE") && text.starts_with("?<html>")) && !mayBeCut)
        fail("does not begin as a document");
    if (text.find('\0') != text.npos || bytes.size() % 2 != 0)
        fail("has zeros or half a character");
    if (!isEnded && !mayBeCut)
        fail("is no whole document");
    cut += !isEnded;

    for (std::size_t at = 0; (at = text.find('{', at)) != text.npos;) {
        text.remove_prefix(at);
        at = 0;
        long lane = 0;
        long number = 0;
        if (!takeEntry(text, lane, number)) {
            at = 1;
            if (!mayBeCut || text.find('{', at) != text.npos)
                fail("has an entry that is not whole");
            continue;
        }
        Lane& found = m_lanes[static_cast<int>(lane)];
        for (; found.next < number; ++found.next)
            found.missing.push_back(found.next);
        if (found.next > number)
            fail("has entry " + std::to_string(number) + " of lane " + std::to_string(lane) +
                 " again or too late");
        else
            ++found.next;
    }
}

std::vector<long> LogReader::missing(const Ledger& ledger, int lane) const
{
    const auto found = m_lanes.find(lane);
    std::vector<long> numbers;
    long next = 0;
    if (found != m_lanes.end()) {
        numbers = found->second.missing;
        next = found->second.next;
    }
    for (; next < ledger.done[lane]; ++next)
        numbers.push_back(next);
    return numbers;
}

long LogReader::lost(const Ledger& ledger) const
{
    long count = 0;
    for (int lane = 0; lane < Ledger::lanesQty; ++lane)
        count += static_cast<long>(missing(ledger, lane).size());
    return count;
}

} // namespace zmu_torture
