// Writes the logs that ./dev page opens: `page_logs FOLDER LOG [COUNT]`.
//
// FOLDER is the log directory, with the form in its folder Templates. LOG is
//     some     COUNT entries of all severities, with long words and paths
//     many     COUNT entries as of a busy server
//     hostile  what clients may wish to bring along, COUNT times, and what ends the table
//     series   three files, each with COUNT entries
// The last line that it prints is the path of the log, of the last one in a series.
#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>

namespace {

constexpr unsigned int affixID_Min = 500;
constexpr const wchar_t* affixes[] = {
    L"<b class=\"note\">note</b> ", L"<b class=\"good\">good</b> ",
    L"<b class=\"warning\">warning</b> ", L"<b class=\"fault\">fault</b> "};
constexpr int affixesQty = std::size(affixes);

/// Situations 1000 to 1003 have the severities of the affixes, 1004 has none.
constexpr int firstSituation = 1000;
constexpr const wchar_t* specs[] = {L"2~0~2~s||`0`%1!s!`", L"2~0~2~s||`1`%1!s!`",
                                    L"2~0~2~s||`2`%1!s!`", L"2~0~2~s||`3`%1!s!`",
                                    L"2~0~2~s||``%1!s!`"};

constexpr const wchar_t* hostile[] = {
    L"<script>window.harm = 'script'</script>a script element",
    L"<img src=x onerror=\"window.harm = 'handler'\">a handler",
    L"<a id=\"trap\" href=\"javascript:void(window.harm = 'link')\">a link</a>",
    L"<style>header { display: none !important; }</style>a style element",
    L"<p style=\"position: fixed; inset: 0; background: red\">a style attribute</p>",
    L"<iframe src=\"javascript:parent.harm = 'frame'\"></iframe>a frame",
    L"<iframe srcdoc=\"<script>parent.harm = 'document'</script>\"></iframe>a document",
    L"<svg><script>window.harm = 'svg'</script></svg>a drawing",
    L"<form action=\"https://example.invalid/\"><input name=\"text\"></form>a form",
    L"<base href=\"https://example.invalid/\">a base",
    L"<link rel=\"stylesheet\" href=\"https://example.invalid/style.css\">a style sheet",
    L"<meta http-equiv=\"refresh\" content=\"0; url=about:blank\">a way elsewhere",
};
constexpr const wchar_t* tableBreaker = L"</td></tr></tbody></table></main>what ends the table";

const wchar_t* textOf(unsigned int id)
{
    if (id >= affixID_Min && id < affixID_Min + std::size(affixes))
        return affixes[id - affixID_Min];
    if (id >= firstSituation && id < firstSituation + std::size(specs))
        return specs[id - firstSituation];
    return nullptr;
}

class PageOwner : public ZarnDataZGW {
  public:
    PageOwner() : ZarnDataZGW(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML) {}

    bool customizeForOwner() override
    {
        if (!ZarnDataZGW::customizeForOwner())
            return false;
        m_dataSet->setResourceModule(GetModuleHandleW(nullptr));
        m_dataSet->setDescriptionAffixID_Min(affixID_Min);
        m_dataSet->setDescriptionAffixIDsQty(affixesQty);
        return true;
    }
};

/// What writes entries, as long as all goes well.
struct Writer {
    Zarn* monitor;
    bool isWell = true;

    void report(int severity, const std::wstring& text)
    {
        isWell =
            isWell && monitor->respondToSituation(firstSituation + severity, nullptr, text.c_str());
    }
};

/// `text` with `number` in the place of each '#', and '#' in that of each '@'.
std::wstring numbered(const std::wstring& text, int number)
{
    std::wstring result;
    for (const wchar_t letter : text) {
        if (letter == L'#')
            result += std::to_wstring(number);
        else
            result += letter == L'@' ? L'#' : letter;
    }
    return result;
}

void writeSome(Writer& writer, int count)
{
    for (int i = 0; i < count; ++i) {
        const std::wstring texts[] = {
            L"Session # started: <code>/usr/bin/program --display :#</code>",
            L"Session # ended well.",
            L"A path of session #: <code>/srv/" + std::wstring(120, L'p') + L"/file</code>",
            L"Session # failed.<br>No such file (<a href=\"Codes/WLE.html@2\">WLE2</a>)",
            L"A word of its own: " + std::wstring(90, L'w')};
        writer.report(i % 5, numbered(texts[i % 5], i + 1));
    }
}

void writeMany(Writer& writer, int count)
{
    for (int i = 0; i < count; ++i)
        writer.report(i % 97 == 0   ? 3
                      : i % 31 == 0 ? 2
                                    : i % 2,
                      L"Session " + std::to_wstring(i) + L" of user operator: <code>p" +
                          std::to_wstring(i * 7919 % 65536) + L"</code> opened a window");
}

void writeHostile(Writer& writer, int count)
{
    for (int i = 0; i < count; ++i) {
        for (const wchar_t* text : hostile)
            writer.report(3, text);
    }
    writer.report(3, tableBreaker);
}

void writeSeries(Writer& writer, int count)
{
    writeSome(writer, count);
    for (int successor = 0; successor < 2; ++successor) {
        writer.isWell = writer.isWell && writer.monitor->reestablishLogFile(false);
        writeSome(writer, count);
    }
}

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const wchar_t* const text = textOf(id);
    SetLastError(text ? zmu::StringFound : zmu::StringUnknown);
    return text ? std::swprintf(buffer, static_cast<std::size_t>(bufferMax), L"%ls", text) : 0;
}

int main(int argc, char** argv)
try {
    if (argc < 3) {
        std::fprintf(stderr, "usage: page_logs FOLDER some|many|hostile|series [COUNT]\n");
        return 2;
    }
    const std::string_view log = argv[2];
    const int count = argc > 3 ? std::atoi(argv[3]) : 1;
    const std::string folder = argv[1];
    ZarnData::setLogVariables(std::wstring(folder.begin(), folder.end()).c_str(), 1, true, 75 << 20,
                              7);

    Zarn* monitor = PageOwner().createZarnMonitor();
    if (!monitor)
        return ZarnDataZGW::getDX_Code1();
    Writer writer{monitor};
    const auto write = log == "many"      ? writeMany
                       : log == "hostile" ? writeHostile
                       : log == "series"  ? writeSeries
                                          : writeSome;
    write(writer, count);
    wchar_t logName[1024] = {};
    monitor->getFileLogName(logName, std::size(logName));
    if (!writer.isWell)
        std::fprintf(stderr, "page_logs: code %d\n", monitor->getSelfDX_Code());
    ZarnDataZGW::destroyZarnMonitor(monitor);
    std::printf("%ls\n", logName);
    return writer.isWell ? 0 : 1;
} catch (int code) {
    std::fprintf(stderr, "page_logs: no owner, code %d\n", code);
    return 1;
}
