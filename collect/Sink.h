// What is collected, and where it goes.
#pragma once

#include <spool/SpoolLine.h>
#include <zmu/collect/Export.h>

#include <string>
#include <string_view>

namespace zmu_collect {

/// One thing that was read and is to be kept. Its views and `line` are the caller's.
struct Report {
    enum class Kind {
        Situation,  ///< `line`, which `sequence` is the number of.
        Missing,    ///< Numbers `sequence` to `last` of `line`'s process, which came before it.
        PassedOver, ///< Bytes that are no line, behind the number `sequence` of their process.
    };
    Kind kind = Kind::Situation;
    /// The process that it comes from: a text that no other process, and nobody else, can have.
    std::string_view source;
    std::string_view owner; ///< The user whose process it was, for people; empty if not known.
    const zmu_spool::SpoolLine* line = nullptr;
    zmu::u64 sequence = 0;
    zmu::u64 last = 0;            ///< Missing.
    bool mayHaveBeenRead = false; ///< Missing: they may have been collected at an earlier time.
    std::string_view place;  ///< PassedOver: where it was; together with the source it is unique.
    std::string_view what;   ///< PassedOver: what is wrong, and how much was left out.
    std::string_view sample; ///< PassedOver: its first bytes, which may be anything.
};

class ZMU_COLLECT_API Sink {
  public:
    Sink() = default;
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;
    virtual ~Sink() = default;

    /// Keeps a report. False, with why(), if that cannot be done now: try again with the same one,
    /// and nothing of it is written twice.
    virtual bool write(const Report& report) = 0;
    /// Brings what was written to where it survives a loss of power. False, with why().
    virtual bool sync() = 0;
    const std::string& why() const { return m_why; }

  protected:
    std::string m_why;
};

} // namespace zmu_collect
