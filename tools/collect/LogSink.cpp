#include "LogSink.h"

#include <spool/SpoolFiles.h>
#include <tools/Text.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <charconv>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace zmu_tools::collect {

namespace {

// Shown in the log where an entry has no situation of its own.
enum : int { situationOther = 10100, situationMissing = 10101, situationPassedOver = 10102 };

/// One argument, which is the text of the entry.
constexpr wchar_t spec[] = L"2~0~2~s||``%1!s!`";

int ownSituation(Report::Kind kind)
{
    return kind == Report::Kind::Missing      ? situationMissing
           : kind == Report::Kind::PassedOver ? situationPassedOver
                                              : situationOther;
}

/// Calls `take` with the identity of each entry of a log.
template <class Take>
void readIdentities(const QString& path, const Take& take)
{
    constexpr qint64 pieceBytes = 0x80000;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(path.toStdString() +
                                 " cannot be read: " + file.errorString().toStdString());
    std::u16string text; // logs are in UTF-16, of the order that all our systems have
    for (;;) {
        const QByteArray bytes = file.read(pieceBytes);
        if (bytes.isEmpty())
            return;
        const std::size_t before = text.size();
        text.resize(before + static_cast<std::size_t>(bytes.size()) / sizeof(char16_t));
        std::memcpy(text.data() + before, bytes.data(), (text.size() - before) * sizeof(char16_t));
        text.erase(0, markOf(text, take));
    }
}

} // namespace

/// An owner whose log may have a form from elsewhere.
class LogSink::Owner : public ZarnDataZGW {
  public:
    explicit Owner(std::wstring form)
        : ZarnDataZGW(0, true, nullptr, ServedStrings::module(), Zarn_LOG_HTML),
          m_form(std::move(form))
    {}

    bool customizeForOwner() override
    {
        if (!ZarnDataZGW::customizeForOwner())
            return false;
        // To be without a form is none of the things that a trace has to tell.
        std::wstring log(m_dataSet->getFileLogName());
        if (m_form.empty() &&
            QFile::exists(QString::fromWCharArray(m_dataSet->getFileLog()->m_formName)))
            return true;
        return m_dataSet->recordLogFileNomenclature(log.data(), m_form.c_str(), Zarn_LOG_HTML);
    }

  private:
    std::wstring m_form;
};

LogSink::LogSink(Options options) : m_options(std::move(options))
{
    const QFileInfo folder(QString::fromStdString(m_options.folder));
    if (!folder.isDir())
        throw std::runtime_error(m_options.folder + " is no folder for logs");
    for (const int situation : {situationOther, situationMissing, situationPassedOver})
        m_strings[static_cast<unsigned>(situation)] = spec;
    const std::wstring path = QDir::toNativeSeparators(folder.absoluteFilePath()).toStdWString();
    constexpr unsigned sizeLimit = 20U * 1024 * 1024;
    ZarnData::setLogVariables(path.c_str(), 1, false, sizeLimit, 0);
}

LogSink::~LogSink()
{
    close();
}

void LogSink::recover(zmu::i64 since, const std::string& log, const MayComeAgain& mayComeAgain)
{
    const QFileInfoList logs = QDir(QString::fromStdString(m_options.folder))
                                   .entryInfoList({QStringLiteral("*.html")}, QDir::Files);
    for (const QFileInfo& file : logs) {
        if (file.lastModified().toMSecsSinceEpoch() < since && file.fileName().toStdString() != log)
            continue;
        readIdentities(file.filePath(), [&](const std::string& identity) {
            const std::size_t source = identity.rfind('#');
            zmu::u64 sequence = 0;
            if (source == identity.npos ||
                std::from_chars(identity.data() + source + 1, identity.data() + identity.size(),
                                sequence)
                        .ec != std::errc())
                return;
            if (mayComeAgain(std::string_view(identity).substr(0, source), sequence))
                m_written.insert(identity);
        });
    }
}

// ---- The log ---------------------------------------------------------------------------------------------

bool LogSink::fail(const std::string& why)
{
    m_why = why;
    return false;
}

bool LogSink::open()
{
    if (m_monitor)
        return true;
    try {
        Owner owner(widened(m_options.form));
        m_monitor = owner.createZarnMonitor();
    } catch (int) {
        // its codes tell
    }
    if (!m_monitor)
        return fail("no log can be begun in " + m_options.folder + " (ZGW" +
                    std::to_string(ZarnDataZGW::getDX_Code1()) + "/WLE" +
                    std::to_string(ZarnDataZGW::getDX_Code2()) + ')');
    m_entriesQty = 0;
    return noteLog();
}

void LogSink::close()
{
    ZarnDataZGW::destroyZarnMonitor(m_monitor);
}

/// Finds which log it is that is written.
bool LogSink::noteLog()
{
    constexpr std::size_t pathQty = 1024;
    wchar_t path[pathQty];
    if (!m_monitor->getFileLogName(path, pathQty)) {
        m_monitor->forgetSelfDX_Code();
        return fail("the log has no name");
    }
    m_entriesQty = m_monitor->getSituationsCount();
    if (m_logPath == path)
        return true;
    m_logPath = path;
    const QString log = QString::fromWCharArray(path);
    m_logName = QFileInfo(log).fileName().toStdString();
    m_unsynced.insert(log.toStdString());
    return true;
}

bool LogSink::write(const Report& report)
{
    const std::span<const EntryPart> parts = m_text.compose(report);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!m_written.empty() && m_written.erase(parts[i].identity) != 0)
            continue;
        if (open() && writePart(report, parts[i].text))
            continue;
        for (std::size_t done = 0; done < i; ++done) // of which the next try says nothing
            m_written.insert(parts[done].identity);
        return false;
    }
    return true;
}

bool LogSink::writePart(const Report& report, const std::wstring& text)
{
    const zmu::i64 remote = report.kind == Report::Kind::Situation ? report.line->situation : 0;
    if (remote >= 1 && remote <= INT_MAX)
        m_monitor->recordSituationID_Remote(static_cast<int>(remote));
    m_monitor->respondToSituation(ownSituation(report.kind), nullptr, text.c_str());
    const int code = m_monitor->getSelfDX_Code();
    if (code != 0) {
        m_monitor->forgetSelfDX_Code();
        m_monitor->forgetSituation();
    }
    // A successor that could not be begun is tried again by the library; the entry is there.
    if (code != 0 && code != zmu::dx::RolloverFailed) {
        const std::string log = narrowed(m_logPath);
        if (code == zmu::dx::LogNotOpen)
            close(); // and begin another one
        return fail(std::string(log)
                        .append(" cannot be written (WDX")
                        .append(std::to_string(code))
                        .append(": ")
                        .append(narrowed(zmu::describe(code).meaning))
                        .append(")"));
    }
    if (m_monitor->getSituationsCount() == m_entriesQty + 1)
        ++m_entriesQty;
    else
        noteLog();
    return true;
}

bool LogSink::sync()
{
    while (!m_unsynced.empty()) {
        const std::string path = *m_unsynced.begin();
        if (const std::string why = zmu_spool::syncFile(path); !why.empty())
            return fail(path + " cannot be brought to the disk: " + why);
        m_unsynced.erase(m_unsynced.begin());
    }
    if (m_monitor)
        m_unsynced.insert(narrowed(m_logPath)); // for what comes next
    return true;
}

} // namespace zmu_tools::collect
