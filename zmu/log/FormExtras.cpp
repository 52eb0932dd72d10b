#include <zmu/log/internal/FormExtras.h>

#include <zmu/foundation/SystemTime.h>
#include <zmu/foundation/internal/FileNames.h>
#include <zmu/log/internal/LogText.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/platform/Win32.h>

#include <QFileInfo>
#include <QTextStream>
#include <QUrl>

#include <algorithm>
#include <chrono>
#include <cwchar>
#include <iterator>
#include <string_view>
#include <type_traits>

using namespace zmu;

namespace {

/// Stands before a name that was asked for by a comment: no character, so none of a form.
constexpr wchar_t asked = L'\xFFFF';

constexpr std::wstring_view commentBegin = L"<!--";
constexpr std::wstring_view commentEnd = L"-->";

/// The name of the extra that a comment at the beginning of `text` asks for; empty without one.
std::wstring_view nameInComment(std::wstring_view text)
{
    if (!text.starts_with(commentBegin))
        return {};
    text.remove_prefix(commentBegin.size());
    for (const std::wstring_view name : formExtraNames) {
        if (text.starts_with(name) && text.substr(name.size()).starts_with(commentEnd))
            return name;
    }
    return {};
}

} // namespace

void zmu::writeFormExtrasAsVariables(wchar_t* text, wchar_t open, wchar_t close)
{
    std::wstring_view rest = text;
    wchar_t* output = text;
    while (!rest.empty()) {
        const std::wstring_view name = nameInComment(rest);
        if (name.empty()) {
            *output++ = rest.front();
            rest.remove_prefix(1);
            continue;
        }
        rest.remove_prefix(commentBegin.size() + name.size() + commentEnd.size());
        *output++ = open;
        *output++ = asked;
        output += name.copy(output, name.size());
        *output++ = close;
    }
    *output = L'\0';
}

std::size_t zmu::charactersSavedByExtras(std::wstring_view text)
{
    constexpr std::size_t marks = 3; // two brackets and `asked`
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), asked)) *
           (commentBegin.size() + commentEnd.size() - marks);
}

Zarn_FORM_VAR zmu::findFormExtra(const wchar_t* name)
{
    for (int i = 0; *name == asked && i < formExtrasQty; ++i) {
        if (formExtraNames[i] == name + 1)
            return static_cast<Zarn_FORM_VAR>(FORM_EXTRA_NEXT_LOG + i);
    }
    return Zarn_FORM_VAR_UNKNOWN;
}

std::wstring zmu::linkToLog(const wchar_t* from, const wchar_t* to)
{
    const QFileInfo target(toFileName(to));
    const bool isNeighbour = QFileInfo(toFileName(from)).absolutePath() == target.absolutePath();
    // With "./" in front no part of a name reads as a scheme.
    const QByteArray address =
        isNeighbour ? "./" + QUrl::toPercentEncoding(target.fileName())
                    : QUrl::fromLocalFile(target.absoluteFilePath()).toEncoded(QUrl::FullyEncoded);
    const std::wstring reference = QString::fromLatin1(address).toHtmlEscaped().toStdWString();
    const std::wstring name = target.fileName().toHtmlEscaped().toStdWString();
    return L"<a href=\"" + reference + L"\">" + name + L"</a>";
}

std::wstring zmu::linkToExplanations(const wchar_t* log)
{
    const QString page = QStringLiteral("Codes/Situations.html");
    if (!QFileInfo(QFileInfo(toFileName(log)).absolutePath() + '/' + page).isFile())
        return {};
    return L"<a id=\"explanations\" href=\"" + page.toStdWString() + L"\">Explanations</a>";
}

std::wstring zmu::presentTimeZone()
{
    using namespace std::chrono;
    // Not asked of Qt, whose way to the C library's calendar has no lock that a fork waits for.
    const zr::SystemTime now;
    const sys_days today = year(now.Year()) / now.Month() / now.Day();
    const sys_seconds clock = today + hours(now.Hour()) + minutes(now.Min()) + seconds(now.Sec());
    const sys_seconds moment(seconds(static_cast<long long>(now)));
    const hh_mm_ss offset(duration_cast<minutes>(clock - moment));
    wchar_t zone[16] = {};
    std::swprintf(zone, std::size(zone), L"UTC%lc%02d:%02d", offset.is_negative() ? L'-' : L'+',
                  static_cast<int>(offset.hours().count()),
                  static_cast<int>(offset.minutes().count()));
    return zone;
}

// ---- The data set's -------------------------------------------------------------------------------------

// A log does without them where memory is short.

std::wstring& ZarnData::formExtra(int extra)
{
    static_assert(std::extent_v<decltype(m_formExtras)> == formExtrasQty);
    return m_formExtras[extra - FORM_EXTRA_NEXT_LOG];
}

const wchar_t* ZarnData::getFormExtra(int extra) const
{
    const int index = extra - FORM_EXTRA_NEXT_LOG;
    return index >= 0 && index < formExtrasQty ? m_formExtras[index].c_str() : nullptr;
}

void ZarnData::learnFormExtras()
{
    formExtra(FORM_EXTRA_TIME_ZONE).clear();
    formExtra(FORM_EXTRA_EXPLANATIONS).clear();
    if (!m_offersFormExtras)
        return;
    try {
        formExtra(FORM_EXTRA_TIME_ZONE) = presentTimeZone();
        formExtra(FORM_EXTRA_EXPLANATIONS) = linkToExplanations(m_fileLog.m_logName);
    } catch (...) {
    }
}

void ZarnData::linkSuccessor(const wchar_t* successor)
{
    std::wstring& next = formExtra(FORM_EXTRA_NEXT_LOG);
    std::wstring& previous = formExtra(FORM_EXTRA_PREVIOUS_LOG);
    previous.clear();
    if (!m_offersFormExtras || !isOpen(m_fileLog.m_logStream) ||
        _wcsicmp(m_fileLog.m_logName, successor) == 0)
        return;
    try {
        std::wstring back = linkToLog(successor, m_fileLog.m_logName);
        next = linkToLog(m_fileLog.m_logName, successor);
        ZarnDataForThread* engine = obtainDataForCurrentThread(true);
        const auto nextLog = static_cast<Zarn_FORM_VAR>(FORM_EXTRA_NEXT_LOG);
        const bool isShown =
            isVarInLogFileFormSection(nextLog, m_fileLog.m_tailVarCount, m_fileLog.m_tailVars);
        if (engine && isShown && !engine->refreshTail()) {
            next.clear();
            engine->refreshTail(); // the old one, which had room
        }
        previous = std::move(back);
    } catch (...) {
    }
    next.clear();
    forgetSelfDX_Code(); // nobody is kept from the new log by a link that is missing
}
