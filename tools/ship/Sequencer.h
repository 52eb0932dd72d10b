// Brings what comes from the servers into the order of each process.
//
// A message that failed on its way to the stream is published again, behind those that followed it.
// Each tells the number of the line before it, so what comes too early is kept until that has come.
#pragma once

#include <spool/SpoolLine.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

namespace zmu_tools::ship {

struct Arrival {
    std::string source; ///< As sourceOf names it.
    std::string owner;
    std::string text; ///< The line.
    zmu::u64 sequence = 0;
    std::optional<zmu::u64> after; ///< The number of the line before, if that is known.
    zmu::u64 place = 0;            ///< In the stream.
    zmu::i64 time = 0;             ///< When it came there.
};

class Sequencer {
  public:
    using Clock = std::chrono::steady_clock;
    struct Before {
        zmu::u64 missing = 0;         ///< Numbers that have not come, and are not to be expected.
        bool mayHaveBeenRead = false; ///< Nothing is known of what became of these.
        /// It has come after all, when others were handed on in its place: its number is below the
        /// last one's.
        bool isLate = false;
    };
    /// Takes what is next of its process.
    using Take = std::function<void(const Arrival& arrival, const Before& before)>;
    /// The last number of a source that was taken in an earlier life; 0 for none.
    using Last = std::function<zmu::u64(const std::string& source)>;

    struct Limits {
        std::chrono::seconds patience{300}; ///< With what is not there.
        /// Likewise, where nothing is known of the process: all that was before may have been taken
        /// long ago, unless the first two have changed places on their way.
        std::chrono::seconds firstPatience{20};
        std::size_t bytes = 32 << 20;    ///< Of all that is kept.
        std::size_t sourcesQty = 100000; ///< Known at a time; more forget those that rest.
    };

    Sequencer(Last last, Take take) : Sequencer(std::move(last), std::move(take), Limits()) {}
    Sequencer(Last last, Take take, Limits limits);

    /// Hands on, keeps, or drops what has come already.
    void offer(Arrival arrival, Clock::time_point now);
    /// A source's lines up to this number were somebody else's to take. The first one behind them
    /// tells that they are missing here.
    void pass(const std::string& source, zmu::u64 sequence, Clock::time_point now);
    /// Hands on what has waited long enough, with what is missing before it.
    void expire(Clock::time_point now);

    /// The first place in the stream of what is kept; none if nothing is.
    std::optional<zmu::u64> firstPlace() const;

  private:
    struct Source {
        zmu::u64 last = 0;
        zmu::u64 passedQty = 0;               ///< Numbers up to it that were somebody else's.
        std::map<zmu::u64, Arrival> kept;     ///< By number.
        std::size_t bytes = 0;                ///< Of these.
        std::map<zmu::u64, zmu::u64> givenUp; ///< First and last numbers that may come late.
        Clock::time_point since;              ///< When the first of these came.
        Clock::time_point used;
    };
    using Sources = std::unordered_map<std::string, Source>;

    Source& sourceOf(const std::string& name, Clock::time_point now);
    void handOn(Source& source, const Arrival& arrival);
    void handOnLate(Source& source, const Arrival& arrival);
    void handOnKept(Source& source);
    void giveUp(Source& source);
    void takeOut(Source& source);
    void makeRoom();
    void forgetResting();

    const Last m_last;
    const Take m_take;
    const Limits m_limits;
    Sources m_sources;
    std::set<zmu::u64> m_places;     ///< Of what is kept.
    std::set<std::string> m_waiting; ///< Sources of which something is kept.
    std::size_t m_bytes = 0;
};

} // namespace zmu_tools::ship
