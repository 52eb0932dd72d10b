// What is collected, written into a log of the library's: its form, its rollover, its recovery.
//
//     LogSink sink(owner);
//     sink.recover(since, lastLog, [&](std::string_view source, zmu::u64 sequence) { ... });
//     while (...)
//         while (!sink.write(report))
//             ... // sink.why(); wait, and try again
//     if (sink.sync())
//         ... // remember how far it is
//
// Each entry has an identity (EntryText.h), by which a sink knows it again in the logs: what was
// written before a kill is not written twice, in whichever order it comes again.
//
// Others may report to the same monitor meanwhile, from threads of their own, and have its log
// replaced. All calls of a sink are of one thread.
#pragma once

#include "EntryText.h"

#include <zmu/collect/LogCollector.h>

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

class Zarn;

namespace zmu_collect {

/// Whose log a sink writes. Texts are UTF-8.
class ZMU_COLLECT_API LogOwner {
  public:
    LogOwner() = default;
    LogOwner(const LogOwner&) = delete;
    LogOwner& operator=(const LogOwner&) = delete;
    virtual ~LogOwner() = default;

    /// The folder that its logs are in.
    virtual std::string folder() = 0;
    /// The monitor, whose log is begun by now. Null, with `why`, if there is none.
    virtual Zarn* monitor(std::string& why) = 0;
    /// The log is closed: another one is to be begun.
    virtual void beginAnother() = 0;
};

class ZMU_COLLECT_API LogSink : public Sink {
  public:
    /// Asks for no monitor yet: that comes with the first entry. The owner outlives it.
    explicit LogSink(LogOwner& owner, const Situations& situations = {});

    /// Whether what was behind this number of a source may come again.
    using MayComeAgain = std::function<bool(std::string_view source, zmu::u64 sequence)>;
    /// Reads which entries are in the logs that were written to at `since` or later, in
    /// milliseconds since 1970 UTC, and in those named `logs`: in the owner's folder, and in the
    /// folder of each of them that is a path. Of those that may come again the identities are kept,
    /// so that write() passes over them. `source` is identitySource() of the report's. Call it
    /// before anything is written. Throws std::runtime_error if a log cannot be read.
    void recover(zmu::i64 since, const std::vector<std::string>& logs,
                 const MayComeAgain& mayComeAgain);
    /// Whether entries are known from logs of which write() has not been told yet.
    bool isRecovering() const { return !m_written.empty(); }
    /// Nothing that was written will come again, but for that of these processes, which are named
    /// "HOST_PROGRAM_PROCESS_START".
    void endRecovery(const std::vector<std::string>& exceptions = {});

    bool write(const Report& report) override;
    bool sync() override;
    /// What is to be told once, since it endangers what the sink is for; mostly empty.
    std::string takeWarning() { return std::exchange(m_warning, {}); }
    /// The path of the log that was written last; empty before the first entry.
    const std::string& log() const { return m_log; }

  private:
    bool writePart(const Report& report, const EntryPart& part);
    bool respond(Zarn& monitor, const Report& report, const std::wstring& text, int& code);
    void noteLog(Zarn& monitor);
    void prove(const EntryPart& part);
    bool isInLogs(const std::string& identity);
    bool fail(const std::string& why);

    LogOwner& m_owner;
    Situations m_situations;
    EntryText m_text;
    std::unordered_set<std::string> m_written; ///< Identities that may come again.
    std::set<std::string> m_unsynced;          ///< Paths of logs.
    bool m_isReplaced = false;                 ///< The log is another one than at the last sync().
    zmu::i64 m_synced;                         ///< When that was, in milliseconds since 1970 UTC.
    bool m_isInDoubt = false;                  ///< The entry in hand may have been written.
    std::string m_log;
    bool m_isProven = false; ///< That entries are known again was seen, or warned of.
    std::string m_warning;
    std::wstring m_logPath; ///< The same, as the library has it.
};

} // namespace zmu_collect
