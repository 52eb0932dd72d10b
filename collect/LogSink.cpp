#include "LogSink.h"

#include "Strings.h"

#include <spool/SpoolFiles.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Zarn.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace zmu_collect {

namespace {

constexpr zmu::i64 roundedOff = 2000; // milliseconds, of the times that file systems know

zmu::i64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
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

/// The logs of a folder that were written to at `since` or later. Some have the suffix of `like`.
QFileInfoList logsSince(const std::string& folder, zmu::i64 since, const std::string& like)
{
    const QString usual = QStringLiteral(".html");
    const QString suffix = QFileInfo(QString::fromStdString(like)).suffix();
    const QString own = suffix.isEmpty() ? usual : '.' + suffix;
    // QDir makes regular expressions of name filters. What these keep for a thread, which is one of
    // the host's, is freed at its end, and MinGW gives a wrong address to do so.
    QFileInfoList logs = QDir(QString::fromStdString(folder)).entryInfoList(QDir::Files);
    logs.removeIf([&](const QFileInfo& log) {
        const QString name = log.fileName();
        return !(name.endsWith(usual, Qt::CaseInsensitive) ||
                 name.endsWith(own, Qt::CaseInsensitive)) ||
               log.lastModified().toMSecsSinceEpoch() < since;
    });
    return logs;
}

std::string folderOf(const std::string& path)
{
    const QString text = QString::fromStdString(path);
    return text.contains('/') ? QFileInfo(text).path().toStdString() : std::string();
}

} // namespace

LogSink::LogSink(LogOwner& owner, const Situations& situations)
    : m_owner(owner), m_situations(situations), m_synced(now())
{
    if (!m_situations.module)
        m_situations.module = ownModule();
}

void LogSink::recover(zmu::i64 since, const std::vector<std::string>& logs,
                      const MayComeAgain& mayComeAgain)
{
    std::set<QString> paths;
    const auto look = [&](const std::string& folder, const std::string& log) {
        for (const QFileInfo& file : logsSince(folder, since - roundedOff, log))
            paths.insert(file.filePath());
        const QFileInfo last(QDir(QString::fromStdString(folder)),
                             QFileInfo(QString::fromStdString(log)).fileName());
        if (!log.empty() && last.isFile())
            paths.insert(last.filePath());
    };
    look(m_owner.folder(), {});
    for (const std::string& log : logs)
        look(folderOf(log).empty() ? m_owner.folder() : folderOf(log), log);
    for (const QString& path : paths) {
        readIdentities(path, [&](const std::string& identity) {
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

void LogSink::endRecovery(const std::vector<std::string>& exceptions)
{
    std::erase_if(m_written, [&](const std::string& identity) {
        return std::none_of(exceptions.begin(), exceptions.end(), [&](const std::string& process) {
            return isOfProcess(identity, process);
        });
    });
}

// ---- The log ---------------------------------------------------------------------------------------------

bool LogSink::fail(const std::string& why)
{
    m_why = why;
    return false;
}

/// Finds which log it is that is written: anybody's entry may have had it replaced.
void LogSink::noteLog(Zarn& monitor)
{
    constexpr std::size_t pathQty = 1024;
    wchar_t path[pathQty];
    if (!monitor.getFileLogName(path, pathQty)) {
        monitor.forgetSelfDX_Code();
        return;
    }
    if (m_logPath == path)
        return;
    m_isReplaced = m_isReplaced || !m_logPath.empty();
    m_logPath = path;
    m_log = QFileInfo(QString::fromWCharArray(path)).absoluteFilePath().toStdString();
    m_unsynced.insert(m_log);
}

bool LogSink::write(const Report& report)
{
    const std::span<const EntryPart> parts = m_text.compose(report);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!m_written.empty() && m_written.erase(parts[i].identity) != 0)
            continue;
        try {
            if (writePart(report, parts[i]))
                continue;
        } catch (const std::runtime_error& error) {
            fail(error.what());
        }
        for (std::size_t done = 0; done < i; ++done) // of which the next try says nothing
            m_written.insert(parts[done].identity);
        return false;
    }
    return true;
}

bool LogSink::writePart(const Report& report, const EntryPart& part)
{
    Zarn* const monitor = m_owner.monitor(m_why);
    if (!monitor)
        return false;
    if (m_log.empty())
        noteLog(*monitor); // before an entry can have it replaced
    int code = 0;
    if (!(m_isInDoubt && isInLogs(part.identity)) && !respond(*monitor, report, part.text, code)) {
        if (code == zmu::dx::LogNotOpen)
            m_owner.beginAnother();
        // A successor that could not be begun is tried again by the library; the entry is there.
        // So it may be where others left codes, too: the log itself tells.
        m_isInDoubt = code != zmu::dx::RolloverFailed && code != zmu::dx::LogNotOpen;
        if (code != zmu::dx::RolloverFailed && !(m_isInDoubt && isInLogs(part.identity)))
            return fail((m_log.empty() ? m_owner.folder() : m_log) + " cannot be written (WDX" +
                        std::to_string(code) + ": " +
                        QString::fromWCharArray(zmu::describe(code).meaning).toStdString() + ')');
    }
    m_isInDoubt = false;
    noteLog(*monitor);
    if (!m_isProven)
        prove(part);
    return true;
}

/// Sees to it that the first entry is known again, which a response spec may prevent.
void LogSink::prove(const EntryPart& part)
{
    m_isProven = true;
    try {
        if (!isInLogs(part.identity))
            m_warning = m_log + ": the entries do not show their text as it stands, and would come "
                                "twice after a kill. Have the response specs of the situations "
                                "show their argument, and nothing else";
    } catch (const std::runtime_error& error) {
        m_warning = error.what();
        m_warning += "; entries could come twice after a kill";
    }
}

/// Has the library write an entry. False, with the code, if not all of that went well.
bool LogSink::respond(Zarn& monitor, const Report& report, const std::wstring& text, int& code)
{
    const zmu::i64 remote = report.kind == Report::Kind::Situation ? report.line->situation : 0;
    const int situation = report.kind == Report::Kind::Missing      ? m_situations.missing
                          : report.kind == Report::Kind::PassedOver ? m_situations.passedOver
                                                                    : m_situations.collected;
    monitor.recordSituationID_Remote(remote >= 1 && remote <= INT_MAX ? static_cast<int>(remote)
                                                                      : 0);
    zmu::u64 argument = zmu::toArgumentSlot(text.c_str());
    char* cursor = reinterpret_cast<char*>(&argument);
    if (monitor.respondToSituation(situation, &cursor, m_situations.module))
        return true;
    code = monitor.getSelfDX_Code();
    monitor.forgetSelfDX_Code();
    monitor.forgetSituation();
    return false;
}

/// Whether the logs that were written to within the last minute have an entry; if that cannot be
/// told, it stays in doubt.
bool LogSink::isInLogs(const std::string& identity)
{
    constexpr zmu::i64 minute = 60'000; // milliseconds
    std::set<std::string> folders;
    for (const std::string& log : m_unsynced)
        folders.insert(folderOf(log));
    bool isFound = false;
    for (const std::string& folder : folders) {
        for (const QFileInfo& log : logsSince(folder, now() - minute, m_log))
            readIdentities(log.filePath(), [&](const std::string& found) {
                isFound = isFound || found == identity;
            });
    }
    m_isInDoubt = false;
    return isFound;
}

bool LogSink::sync()
{
    const zmu::i64 begin = now();
    if (m_isReplaced) { // more than once, perhaps, between two entries of ours
        for (const QFileInfo& log :
             logsSince(folderOf(m_log), std::min(m_synced, begin) - roundedOff, m_log))
            m_unsynced.insert(log.filePath().toStdString());
    }
    while (!m_unsynced.empty()) {
        std::string path = *m_unsynced.begin();
        const std::string why = zmu_spool::syncFile(path);
        // Of a log that somebody has removed or moved the library takes along what it can.
        if (!why.empty() && QFile::exists(QString::fromStdString(path)))
            return fail(path.append(" cannot be brought to the disk: ").append(why));
        m_unsynced.erase(path);
    }
    if (!m_log.empty())
        m_unsynced.insert(m_log); // for what comes next
    m_isReplaced = false;
    m_synced = begin;
    return true;
}

} // namespace zmu_collect
