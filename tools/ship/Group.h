// Who of several collectors takes which process.
//
// A process belongs to the collector that has first put its name to it, for good. So all that it
// reports comes into one log, which nobody else writes, and no collector can write again what
// another one has written, whoever is killed when. Collectors that are there share new processes
// between them.
//
// One that is gone for good may be told to leave its processes to another. A collector that was not
// heard of for a while asks anew whose they are, so that two never think of one process as theirs
// for long.
#pragma once

#include "Connection.h"

#include <compare>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace zmu_tools::ship {

using OwnedStore = Owned<kvStore, kvStore_Destroy>;

/// Where a source has passed from one collector to another: what is in the stream up to there was
/// the former one's. The time is what counts, since servers may differ in their places.
struct Junction {
    std::int64_t time = 0; ///< When that message came into the stream; 0 for before all.
    std::uint64_t place = 0;

    auto operator<=>(const Junction&) const = default; // the time comes first
};

class Group {
  public:
    enum class Taker {
        Me,
        Other,
        Nobody,  ///< Somebody else should; see below.
        Unknown, ///< The servers do not answer.
    };
    struct Taking {
        Taker taker = Taker::Unknown;
        Junction begin = {}; ///< Me: what was before is not mine.
    };
    /// A source that somebody takes, as the servers have it.
    struct Taken {
        std::string source;
        Junction begin;
        std::uint64_t revision = 0;
    };

    /// `id` are the letters and digits by which this collector is known in the group of that name,
    /// which is kept by as many servers as its stream.
    Group(Connection& connection, std::string name, std::string id, const StreamOptions& stream);

    /// Says who takes a source, and takes it if nobody has and it falls to this one. With
    /// `isOverdue` whoever it should fall to has not come: it is taken.
    Taking takerOf(const std::string& source, bool isOverdue);

    /// Says that this one is there, and who else is. To be called every few seconds.
    void keepUp();

    /// Finds what another one has taken. False if the servers do not tell, which is told.
    bool findTakenBy(const std::string& id, std::vector<Taken>& all);
    /// Whether another one was heard of lately; true also where the servers do not tell.
    bool isPresent(const std::string& id);
    /// Takes over what another one had taken, from the junction on; what has passed to somebody
    /// else meanwhile stays there. False, which is told, if the servers may still have some as it
    /// was: find it again.
    bool takeOver(const std::vector<Taken>& all, const Junction& begin);

  private:
    bool isReady();
    bool isHeardOf();
    bool findPresent();
    bool open(OwnedStore& store, const std::string& bucket, std::int64_t seconds,
              std::uint64_t bytes);
    bool fallsToMe(const std::string& source) const;
    Taking remember(const std::string& source, const Taking& taking);
    void tellAbsent();

    Connection& m_connection;
    const std::string m_name;
    const std::string m_id;
    const StreamOptions& m_stream;
    unsigned m_generation = 0;
    OwnedStore m_takers;
    OwnedStore m_members;
    std::vector<std::string> m_present; ///< Who is there, this one included.
    std::chrono::steady_clock::time_point m_nextPresence;
    /// When the servers last heard of this one. By a clock that goes on while the machine sleeps.
    std::chrono::system_clock::time_point m_heard;
    std::unordered_map<std::string, Taking> m_known;
    std::map<std::string, std::size_t> m_others; ///< Sources that they have taken, by ID.
    std::set<std::string> m_told;                ///< Of these, who is told to be absent.
    const std::chrono::steady_clock::time_point m_firstTelling;
    std::chrono::steady_clock::time_point m_nextForgetting;
};

} // namespace zmu_tools::ship
