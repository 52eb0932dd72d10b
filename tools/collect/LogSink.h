// What is collected, written into a log of the library's: its form, its rollover, its recovery.
//
//     LogSink sink({.folder = "/var/log/zmu", .form = ""});
//     sink.recover(since, lastLog, [&](std::string_view source, zmu::u64 sequence) { ... });
//     while (...)
//         while (!sink.write(report))
//             ... // sink.why(); wait, and try again
//     if (sink.sync())
//         ... // remember how far it is
//
// Each entry has an identity (EntryText.h), by which a sink knows it again in the logs: what was
// written before a kill is not written twice, in whichever order it comes again. A process has one
// sink at a time.
#pragma once

#include "EntryText.h"

#include <tools/ServedStrings.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>

class Zarn;

namespace zmu_tools::collect {

class LogSink : public Sink {
  public:
    struct Options {
        std::string folder; ///< Of the logs. It exists.
        std::string form;   ///< The file of the form; empty for the one that the library finds.
    };

    /// Makes no log yet: that comes with the first entry. Throws std::runtime_error for a folder
    /// that is none.
    explicit LogSink(Options options);
    ~LogSink() override;

    /// Whether what was behind this number of a source may come again.
    using MayComeAgain = std::function<bool(std::string_view source, zmu::u64 sequence)>;
    /// Reads which entries are in the logs of the folder that were written to at `since` or later,
    /// in milliseconds since 1970 UTC, and in the one named `log`. Of those that may come again the
    /// identities are kept, so that write() passes over them. `source` is identitySource() of the
    /// report's. Call it before anything is written. Throws std::runtime_error if a log cannot be
    /// read.
    void recover(zmu::i64 since, const std::string& log, const MayComeAgain& mayComeAgain);
    /// Whether entries are known from logs of which write() has not been told yet.
    bool isRecovering() const { return !m_written.empty(); }
    /// Nothing that was written will come again.
    void endRecovery() { m_written.clear(); }

    bool write(const Report& report) override;
    bool sync() override;
    /// The file name of the log that was written last; empty before the first entry.
    const std::string& logName() const { return m_logName; }

  private:
    class Owner;

    bool open();
    void close();
    bool writePart(const Report& report, const std::wstring& text);
    bool noteLog();
    bool fail(const std::string& why);

    const Options m_options;
    ServedStrings m_strings;
    EntryText m_text;
    std::unordered_set<std::string> m_written; ///< Identities that may come again.
    std::set<std::string> m_unsynced;          ///< Paths of logs.
    std::string m_logName;
    std::wstring m_logPath;
    Zarn* m_monitor = nullptr;
    zmu::ulong32 m_entriesQty = 0; ///< Of the log.
};

} // namespace zmu_tools::collect
