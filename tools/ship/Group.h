// Who of several collectors takes which process.
//
// A process belongs to the collector that has first put its name to it, for good. So all that it
// reports comes into one log, which nobody else writes, and no collector can write again what
// another one has written, whoever is killed when. Collectors that are there share new processes
// between them.
#pragma once

#include "Connection.h"

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace zmu_tools::ship {

using OwnedStore = Owned<kvStore, kvStore_Destroy>;

class Group {
  public:
    enum class Taker {
        Me,
        Other,
        Nobody,  ///< Somebody else should; see below.
        Unknown, ///< The servers do not answer.
    };

    /// `id` are the letters and digits by which this collector is known in the group of that name,
    /// which is kept by as many servers as its stream.
    Group(Connection& connection, std::string name, std::string id, const StreamOptions& stream);

    /// Says who takes a source, and takes it if nobody has and it falls to this one. With
    /// `isOverdue` whoever it should fall to has not come: it is taken.
    Taker takerOf(const std::string& source, bool isOverdue);

    /// Says that this one is there, and who else is. To be called every few seconds.
    void keepUp();

  private:
    bool isReady();
    void findPresent();
    bool open(OwnedStore& store, const std::string& bucket, std::int64_t seconds,
              std::uint64_t bytes);
    bool fallsToMe(const std::string& source) const;
    Taker remember(const std::string& source, Taker taker);
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
    std::unordered_map<std::string, Taker> m_known;
    std::map<std::string, std::size_t> m_others; ///< Sources that they have taken, by ID.
    std::set<std::string> m_told;                ///< Of these, who is told to be absent.
    std::chrono::steady_clock::time_point m_nextForgetting;
};

} // namespace zmu_tools::ship
