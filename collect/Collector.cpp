#include "Collector.h"

#include <spool/SpoolReader.h>
#include <spool/UserNames.h>

#include <QByteArray>
#include <QDateTime>
#include <QSemaphore>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <utility>

using zmu_spool::Mark;
using zmu_spool::Positions;
using zmu_spool::SpoolFile;
using zmu_spool::SpoolItem;

namespace zmu_collect {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds saveInterval{1000};
constexpr zmu::u64 saveBytes = 0x800000;
constexpr int retryInterval = 1000; // milliseconds

zmu::i64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace

class Collector::Private {
  public:
    Private(Options options, Sink& sink, LogSink* log);

    void run();
    void stop();
    bool isAnythingAmiss() const { return m_isAmiss; }

  private:
    void recover();
    std::string note();
    bool drain();
    void handle(const SpoolItem& item);
    void keep(const Report& report);
    bool isSaveDue();
    void save();
    void saveAtLast();
    bool isAnythingNew() const;
    void removeEnded();
    void tell(const std::string& what);
    template <class Try>
    void insist(const Try& attempt, const char* otherwise);

    const Options m_options;
    Positions m_positions;
    zmu_spool::SpoolReader m_reader;
    zmu_spool::UserNames m_names;
    Sink& m_sink;
    LogSink* const m_log;
    std::atomic<bool> m_isStopped = false;
    QSemaphore m_stop; ///< Available as soon as that is so.
    bool m_isAmiss = false;

    Mark m_mark;          ///< What is written; confirmed when another file's turn comes.
    zmu::i64 m_since = 0; ///< Entries from before that time do not come again.
    std::vector<std::string> m_earlierLogs; ///< Of runs that were killed, while they are of use.
    std::string m_savedLog;      ///< The log that was written when the positions were saved.
    Clock::time_point m_saved;   ///< When that was.
    zmu::u64 m_unsavedQty = 0;   ///< Items since then,
    zmu::u64 m_unsavedBytes = 0; ///< and their bytes.
    zmu_spool::Removals m_ended{m_reader};
};

Collector::Collector(Options options, Sink& sink, LogSink* log)
    : m_private(std::make_unique<Private>(std::move(options), sink, log))
{}

Collector::~Collector() = default;

void Collector::run()
{
    m_private->run();
}

void Collector::stop()
{
    m_private->stop();
}

bool Collector::isAnythingAmiss() const
{
    return m_private->isAnythingAmiss();
}

Collector::Private::Private(Options options, Sink& sink, LogSink* log)
    : m_options(std::move(options)), m_positions(m_options.positions),
      m_reader(m_options.spools, m_positions), m_sink(sink), m_log(log), m_since(now()),
      m_saved(Clock::now())
{
    if (m_log)
        recover();
}

/// Learns what the last run had written and not saved the positions of. Their note is since when
/// that may have been, and into which logs.
void Collector::Private::recover()
{
    if (m_positions.isKept()) {
        const QString note = QString::fromStdString(m_positions.note());
        const qsizetype space = note.indexOf(' ');
        m_since = note.left(space).toLongLong();
        for (const QString& log : note.mid(space + 1).split('\n', Qt::SkipEmptyParts))
            m_earlierLogs.push_back(log.toStdString());
        m_log->recover(m_since, m_earlierLogs, [this](std::string_view source, zmu::u64 sequence) {
            SpoolFile file;
            file.source = QByteArray::fromPercentEncoding({source.data(), qsizetype(source.size())})
                              .toStdString();
            return sequence >= m_positions.sequenceOf(file);
        });
    }
    m_positions.setNote(note());
}

/// For the next run.
std::string Collector::Private::note()
{
    std::string note = std::to_string(m_since) + ' ' + m_log->log();
    for (const std::string& log : m_earlierLogs) {
        if (log != m_log->log())
            note.append("\n").append(log);
    }
    return note;
}

void Collector::Private::run()
{
    saveAtLast(); // so that the positions are older than any entry
    for (;;) {
        const bool isAllRead = drain();
        if (isAllRead && m_log)
            m_log->endRecovery(m_reader.heldBack());
        const bool isOver = (isAllRead && m_options.isOnce) || m_isStopped;
        const auto sinceSave = Clock::now() - m_saved;
        if (m_unsavedQty == 0 || isOver || sinceSave >= saveInterval) {
            if (isAnythingNew())
                saveAtLast();
            removeEnded();
        }
        if (isOver)
            return;
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(saveInterval - sinceSave).count();
        m_reader.wait(m_unsavedQty == 0 ? -1 : std::max<int>(static_cast<int>(left), 0));
    }
}

/// Takes what there is. False if a request to stop came before the end.
bool Collector::Private::drain()
{
    SpoolItem item;
    while (!m_isStopped) {
        if (!m_reader.next(item))
            return true;
        handle(item);
        if (isSaveDue()) {
            saveAtLast();
            removeEnded();
        }
    }
    return false;
}

void Collector::Private::handle(const SpoolItem& item)
{
    if (item.kind == SpoolItem::Kind::Trouble) {
        tell(item.what);
        return;
    }
    const SpoolFile& file = *item.mark.file;
    Report report;
    report.source = file.source;
    report.owner = m_names.of(file.user);
    report.line = item.line;
    std::string place;
    std::string what;
    switch (item.kind) {
    case SpoolItem::Kind::Line:
        if (item.missing != 0) {
            report.kind = Report::Kind::Missing;
            report.sequence = item.line->sequence - item.missing;
            report.last = item.line->sequence - 1;
            report.mayHaveBeenRead = item.mayHaveBeenRead;
            keep(report);
        }
        report.kind = Report::Kind::Situation;
        report.sequence = item.line->sequence;
        keep(report);
        break;
    case SpoolItem::Kind::Fault:
    case SpoolItem::Kind::Torn:
        report.kind = Report::Kind::PassedOver;
        report.sequence = item.mark.sequence;
        place = file.name + ", bytes " + std::to_string(item.begin) + " to " +
                std::to_string(item.mark.position);
        what = item.what;
        if (item.linesQty > 1)
            what = std::to_string(item.linesQty) + " lines, the first of which: " + what;
        report.place = place;
        report.what = what;
        report.sample = item.raw;
        keep(report);
        m_isAmiss = true;
        break;
    default:
        if (!m_options.isKeeping && !m_options.positions.empty())
            m_ended.add(item.mark.file);
    }
    if (m_mark.file && m_mark.file != item.mark.file)
        m_positions.confirm(m_mark);
    m_mark = item.mark;
    ++m_unsavedQty;
    m_unsavedBytes += item.mark.position - item.begin;
}

/// Tries something until it succeeds, or until the end: then throws why it does not.
template <class Try>
void Collector::Private::insist(const Try& attempt, const char* otherwise)
{
    std::string why;
    for (bool isTold = false; !attempt(why); isTold = true) {
        if (m_options.isOnce || m_isStopped)
            throw std::runtime_error(why + otherwise);
        if (!isTold)
            tell(why + "; it is tried again each second");
        if (m_stop.tryAcquire(1, retryInterval))
            m_stop.release();
    }
}

/// Writes a report, as soon as that is possible.
void Collector::Private::keep(const Report& report)
{
    const auto write = [&](std::string& why) {
        const bool isWritten = m_sink.write(report);
        if (!isWritten)
            why = m_sink.why();
        return isWritten;
    };
    insist(write, "; the rest stays in the spools");
    if (const std::string warning = m_log ? m_log->takeWarning() : ""; !warning.empty())
        tell(warning);
}

bool Collector::Private::isSaveDue()
{
    constexpr zmu::u64 clockInterval = 64; // items, since asking for the time costs some
    return m_unsavedBytes >= saveBytes || (m_log && m_log->log() != m_savedLog) ||
           (m_unsavedQty % clockInterval == 0 && Clock::now() - m_saved >= saveInterval);
}

/// Saves, as soon as that is possible. Nothing more is read until then.
void Collector::Private::saveAtLast()
{
    const auto attempt = [this](std::string& why) {
        if (!m_sink.sync()) {
            why = m_sink.why();
            return false;
        }
        try {
            save();
            return true;
        } catch (const std::runtime_error& error) {
            why = error.what();
            return false;
        }
    };
    insist(attempt, "; what was written since is found in the logs by the next run");
}

/// Saves the positions, which are never ahead of what the sink has brought to the disk.
void Collector::Private::save()
{
    const zmu::i64 present = now();
    if (m_mark.file)
        m_positions.confirm(std::exchange(m_mark, {}));
    if (m_log) {
        if (!m_log->isRecovering()) {
            m_since = present;
            m_earlierLogs.clear();
        }
        m_positions.setNote(note());
    }
    m_positions.save();
    if (m_log)
        m_savedLog = m_log->log();
    m_saved = Clock::now();
    m_unsavedQty = 0;
    m_unsavedBytes = 0;
}

/// Whether there is anything to save: a collector at rest writes nothing.
bool Collector::Private::isAnythingNew() const
{
    return m_unsavedQty != 0 || m_positions.isChanged() || (m_log && m_log->log() != m_savedLog);
}

void Collector::Private::removeEnded()
{
    m_ended.attempt([this](const std::string& why) { tell(why); });
}

void Collector::Private::tell(const std::string& what)
{
    m_isAmiss = true;
    if (m_options.tell)
        m_options.tell(what);
}

void Collector::Private::stop()
{
    m_isStopped = true;
    m_reader.wake();
    m_stop.release();
}

} // namespace zmu_collect
