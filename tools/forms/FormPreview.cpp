#include "FormPreview.h"

#include "QuietTraces.h"

#include <tools/ServedStrings.h>
#include <tools/Text.h>

#include <zmu/Version.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>

#include <QFile>

namespace zmu_tools {

namespace {

struct Sample {
    const wchar_t* spec;
    unsigned int number;
    const wchar_t* text;
};

// clang-format off
constexpr Sample samples[] = {
    {L"2~0~2~u`s||``<b class=\"note\">note</b> Session %1!u! of %2!s! has started.`", 7, L"Ada"},
    {L"2~0~2~u`s||``<b class=\"good\">good</b> Session %1!u! ended with status 0: <code>%2!s!</code>`", 7, L"backup --all"},
    {L"2~0~2~u`s||``<b class=\"warning\">warning</b> %1!u! %% of the disk <i>%2!s!</i> are in use.`", 93, L"/srv"},
    {L"2~0~2~u`s||``<b class=\"fault\">fault</b> Session %1!u! could not start: <code>%2!s!</code><br>There is no such program.`", 8, L"/no/such/program"},
    {L"2~0~2~u`s||``An entry that tells no severity, with a <a href=\"https://example.com/\">link</a>: %2!s!, %1!u!`", 1, L"text of the host's"},
    {L"2~0~2~u`s||``<b class=\"note\">note</b> Markup of others is shown as it is: %2!s!`", 1, L"&lt;b class=&quot;fault&quot;&gt;fault&lt;/b&gt; &amp;amp;"},
    {L"2~0~2~u`s||``<b class=\"note\">note</b> A path without a blank: %2!s!`", 1, L"/srv/projects/a-name-that-is-long/and-another-one-that-is-longer-still/and-so-it-goes-on-for-a-while/until-the-line-has-to-break-somewhere/report-of-the-last-quarter-with-all-figures.txt"},
    {L"2~0~2~u`s||``<b class=\"warning\">warning</b> A long text. %2!s! %2!s!`", 1, L"It goes on for more than one line, so that it shows how lines of an entry follow each other, and how the next entry is told from this one."},
};
// clang-format on

constexpr const wchar_t* tagValues[] = {
    L"https://kb.example.com/",
    L"Example Company Ltd.",
    L"Example",
    L"https://example.com/",
    L"1.2.3.4",
    L"/opt/example",
    L"example.exe",
    L"Example Server",
    L"EXAMPLE",
    L"host-1",
    L"console",
    L"ada",
    L"Example Product",
    L"1.2",
    L"Example Suite",
};
static_assert(std::size(tagValues) == Zarn_FORM_TAGS_QTY);

} // namespace

int writePreview(const std::string& formPath, const std::string& logPath)
{
    constexpr unsigned int firstSituation = 1001;

    const QuietTraces quiet;
    QFile::remove(QString::fromStdString(logPath));
    ServedStrings strings;
    ZarnData settings;
    settings.setCharSetExternal(ZARN_CHARSET_WIDE);
    settings.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
    settings.setResourceModule(ServedStrings::module());
    settings.setSubstituteEntries(true);
    settings.offerFormExtras(true);
    for (int tag = 0; tag < Zarn_FORM_TAGS_QTY; ++tag)
        settings.recordTag(tagValues[tag], static_cast<Zarn_FORM_TAG>(tag));
    std::wstring log = widened(logPath);
    settings.recordLogFileNomenclature(log.data(), widened(formPath).c_str(), Zarn_LOG_HTML);
    Zarn* monitor = Zarn::create(&settings);
    if (!monitor)
        return settings.getSelfDX_Code();

    int code = 0;
    unsigned int id = firstSituation;
    for (const Sample& sample : samples) {
        strings[id] = sample.spec;
        monitor->respondToSituation(static_cast<int>(id), nullptr, sample.number, sample.text);
        if (code == 0)
            code = monitor->getSelfDX_Code();
        ++id;
    }
    Zarn::destroy(&monitor, 0, false);
    return code;
}

} // namespace zmu_tools
