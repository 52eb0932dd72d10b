#include "Ship.h"

#include "Names.h"
#include "Publisher.h"

#include <spool/SpoolReader.h>
#include <spool/SpoolWriter.h>
#include <spool/UserNames.h>
#include <tools/Text.h>
#include <tools/platform/Stop.h>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>

using namespace zmu_spool;

namespace zmu_tools::ship {

namespace {

/// Of one batch. Nothing of the next is published before all of it is acknowledged.
constexpr std::size_t batchLines = 8192;
constexpr std::size_t batchBytes = 4 << 20;

std::string usualPositions()
{
    const QString kept = qEnvironmentVariable("STATE_DIRECTORY").section(':', 0, 0);
    const QString folder =
        !kept.isEmpty()
            ? kept
            : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/zmu";
    QDir().mkpath(folder);
    return (folder + "/ship.positions").toStdString();
}

void copyName(std::string_view name, wchar_t (&to)[longestName + 1])
{
    const std::wstring wide = widened(name);
    wide.copy(to, longestName);
}

/// The line with so much of its description that it has `sizeMax` bytes, and how much that left
/// out.
std::string shortened(const SpoolLine& line, std::size_t sizeMax)
{
    Origin origin;
    copyName(line.host, origin.host);
    copyName(line.program, origin.program);
    origin.process = line.process;
    origin.start = line.start;
    char originText[originQty];
    const std::string_view described(
        originText, static_cast<std::size_t>(putOrigin(originText, origin) - originText));
    // Any element may become an escape.
    const std::size_t overhead = bytesForLine(0) + 128 * escapeQty;
    std::wstring text = widened(line.description);
    const std::size_t kept =
        std::min(text.size(), sizeMax > overhead ? (sizeMax - overhead) / escapeQty : 0);
    text = text.substr(0, kept) + L"\u2026 (" + std::to_wstring(text.size() - kept) +
           L" more characters were too long for the servers)";
    std::string bytes(bytesForLine(text.size()), '\0');
    char* const front = bytes.data() + frontQty;
    const char* const end = putDescription(
        putSituation(front, described,
                     {line.time, line.thread, line.instantiator, line.enablements, line.situation}),
        text.data(), text.size());
    const char* const begin = putFront(front, line.sequence);
    return {begin, end - 1}; // without the line feed
}

class Shipper {
  public:
    explicit Shipper(const ShipOptions& options)
        : m_options(options),
          m_positions(options.positions.empty() ? usualPositions() : options.positions),
          m_reader(options.spools, m_positions), m_connection(options.server, "zmu ship"),
          m_publisher(m_connection, options.server.stream, [] { return !StopRequest::isMade(); }),
          m_stop([this] { m_reader.wake(); })
    {}

    void run()
    {
        for (;;) {
            const bool isMore = takeBatch();
            if (!m_batch.empty() && !m_publisher.publish(m_batch))
                return; // without a word on what was taken: it comes again
            for (const Mark& mark : m_marks)
                m_positions.confirm(mark);
            savePositions(); // before a file goes, which cannot be read again
            removeEnded();
            savePositions();
            if (StopRequest::isMade() || (!isMore && m_options.isOnce))
                return;
            if (isMore)
                continue;
            m_reader.wait(-1);
        }
    }

    bool isAnyLeftOut() const { return m_isAnyLeftOut; }

  private:
    /// Whether there may be more at once.
    bool takeBatch()
    {
        m_batch.clear();
        m_marks.clear();
        SpoolItem item;
        for (std::size_t bytes = 0; m_batch.size() < batchLines && bytes < batchBytes;) {
            if (!m_reader.next(item))
                return false;
            switch (item.kind) {
            case SpoolItem::Kind::Line:
                m_batch.push_back(outgoing(item));
                bytes += m_batch.back().text.size();
                break;
            case SpoolItem::Kind::Fault:
            case SpoolItem::Kind::Torn:
                std::fprintf(stderr, "zmu ship: %s, byte %llu: left out: %s\n",
                             harmless(item.mark.file->path()).c_str(),
                             static_cast<unsigned long long>(item.begin),
                             harmless(item.what).c_str());
                m_isAnyLeftOut = true;
                break;
            case SpoolItem::Kind::Ended:
                if (!m_options.isKeeping)
                    m_ended.add(item.mark.file);
                break;
            case SpoolItem::Kind::Trouble:
                std::fprintf(stderr, "zmu ship: %s\n", harmless(item.what).c_str());
                m_isAnyLeftOut = true;
                continue;
            }
            keep(item.mark);
        }
        return true;
    }

    void savePositions()
    {
        if (m_positions.isChanged())
            m_positions.save();
    }

    /// Of each file the last mark counts.
    void keep(const Mark& mark)
    {
        if (!m_marks.empty() && m_marks.back().file == mark.file)
            m_marks.back() = mark;
        else
            m_marks.push_back(mark);
    }

    Outgoing outgoing(const SpoolItem& item)
    {
        const SpoolLine& line = *item.line;
        const std::string& user = item.mark.file->user;
        Outgoing message;
        message.subject = subjectOf(m_options.server.stream.subject, line);
        message.id = sourceOf(line, user) + '.' + std::to_string(line.sequence);
        if (!item.mayHaveBeenRead)
            message.after = std::to_string(line.sequence - 1 - item.missing);
        message.user = user;
        message.owner = harmless(m_names.of(user));
        // Servers take at least this much, so that they are asked for their limit but rarely.
        constexpr std::size_t surelyTaken = 32768;
        if (item.raw.size() > surelyTaken && item.raw.size() > m_publisher.longestText())
            message.text = shortened(line, m_publisher.longestText());
        else
            message.text = item.raw;
        return message;
    }

    void removeEnded()
    {
        m_ended.attempt([](const std::string& why) {
            std::fprintf(stderr, "zmu ship: shipped, but not removed: %s\n", harmless(why).c_str());
        });
    }

    const ShipOptions& m_options;
    Positions m_positions;
    SpoolReader m_reader;
    UserNames m_names;
    Connection m_connection;
    Publisher m_publisher;
    const StopRequest m_stop;
    std::vector<Outgoing> m_batch;
    std::vector<Mark> m_marks;
    Removals m_ended{m_reader};
    bool m_isAnyLeftOut = false;
};

} // namespace

Exit shipSpools(const ShipOptions& options)
{
    Shipper shipper(options);
    shipper.run();
    return options.isOnce && shipper.isAnyLeftOut() ? Exit::Findings : Exit::Good;
}

} // namespace zmu_tools::ship
