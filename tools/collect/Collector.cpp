#include "Collector.h"

#include <tools/Text.h>
#include <tools/platform/Stop.h>

#include <QByteArray>
#include <QDateTime>
#include <QThread>

#include <cstdio>
#include <stdexcept>
#include <utility>

using zmu_spool::Mark;
using zmu_spool::Positions;
using zmu_spool::SpoolFile;
using zmu_spool::SpoolItem;

namespace zmu_tools::collect {

namespace {

constexpr std::chrono::milliseconds saveInterval{1000};
constexpr zmu::u64 saveBytes = 0x800000;
constexpr unsigned long retryInterval = 1000; // milliseconds

zmu::i64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace

Collector::Collector(const std::vector<std::string>& spools, Positions& positions, Sink& sink,
                     LogSink* log, Options options)
    : m_positions(positions), m_reader(spools, positions), m_sink(sink), m_log(log),
      m_options(options), m_since(now()), m_saved(Clock::now())
{
    if (m_log)
        recover();
}

/// Learns what the last run had written and not saved the positions of. Their note is since when
/// that may have been, and into which log.
void Collector::recover()
{
    constexpr zmu::i64 roundedOff = 2000; // of the times that file systems know
    if (m_positions.isKept()) {
        const QByteArray note = QByteArray::fromStdString(m_positions.note());
        const qsizetype space = note.indexOf(' ');
        m_since = note.left(space).toLongLong();
        m_log->recover(m_since - roundedOff, note.mid(space + 1).toStdString(),
                       [this](std::string_view source, zmu::u64 sequence) {
                           SpoolFile file;
                           file.source = QByteArray::fromPercentEncoding(
                                             {source.data(), qsizetype(source.size())})
                                             .toStdString();
                           return sequence >= m_positions.sequenceOf(file);
                       });
    }
    save(); // so that the positions are older than any entry
}

void Collector::run()
{
    for (;;) {
        const bool isAllRead = drain();
        if (isAllRead && m_log)
            m_log->endRecovery();
        const bool isOver = m_options.isOnce || StopRequest::isMade();
        const auto sinceSave = Clock::now() - m_saved;
        if (m_unsavedQty == 0 || isOver || sinceSave >= saveInterval) {
            save();
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
bool Collector::drain()
{
    SpoolItem item;
    while (!StopRequest::isMade()) {
        if (!m_reader.next(item))
            return true;
        handle(item);
        if (isSaveDue()) {
            save();
            removeEnded();
        }
    }
    return false;
}

void Collector::handle(const SpoolItem& item)
{
    if (item.kind == SpoolItem::Kind::Trouble) {
        tell(item.what);
        return;
    }
    const SpoolFile& file = *item.mark.file;
    Report report;
    report.source = file.source;
    report.owner = file.owner;
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
        m_ended.push_back(item.mark.file);
    }
    if (m_mark.file && m_mark.file != item.mark.file)
        m_positions.confirm(m_mark);
    m_mark = item.mark;
    ++m_unsavedQty;
    m_unsavedBytes += item.mark.position - item.begin;
}

/// Writes a report, as soon as that is possible.
void Collector::keep(const Report& report)
{
    for (bool isTold = false; !m_sink.write(report); isTold = true) {
        if (!isTold)
            tell(m_sink.why() + "; it is tried again each second");
        if (m_options.isOnce || StopRequest::isMade())
            throw std::runtime_error(m_sink.why() + "; the rest stays in the spools");
        QThread::msleep(retryInterval);
    }
}

bool Collector::isSaveDue()
{
    constexpr zmu::u64 clockInterval = 64; // items, since asking for the time costs some
    return m_unsavedBytes >= saveBytes || (m_log && m_log->logName() != m_savedLog) ||
           (m_unsavedQty % clockInterval == 0 && Clock::now() - m_saved >= saveInterval);
}

/// Brings the sink to the disk, and then the positions, which are never ahead of it.
void Collector::save()
{
    const zmu::i64 present = now();
    if (!m_sink.sync())
        throw std::runtime_error(m_sink.why());
    if (m_mark.file)
        m_positions.confirm(std::exchange(m_mark, {}));
    if (m_log) {
        m_since = m_log->isRecovering() ? m_since : present;
        m_savedLog = m_log->logName();
        m_positions.setNote(std::to_string(m_since) + ' ' + m_savedLog);
    }
    m_positions.save();
    m_saved = Clock::now();
    m_unsavedQty = 0;
    m_unsavedBytes = 0;
}

void Collector::removeEnded()
{
    for (const auto& file : std::exchange(m_ended, {})) {
        std::string why;
        if (m_options.isRemoving && !m_reader.remove(*file, why))
            tell(why);
    }
}

void Collector::tell(const std::string& what)
{
    m_isAmiss = true;
    std::fprintf(stderr, "zmu: warning: %s\n", harmless(what).c_str());
}

} // namespace zmu_tools::collect
