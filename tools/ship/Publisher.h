// Publishes messages until each is in the stream.
#pragma once

#include "Connection.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zmu_tools::ship {

/// Names of the headers of a message, beside the ID that the servers know.
inline constexpr char afterHeader[] = "Zmu-After";
inline constexpr char userHeader[] = "Zmu-User";
inline constexpr char ownerHeader[] = "Zmu-Owner";

struct Outgoing {
    std::string subject;
    std::string id;    ///< A second message with it is none, for as long as servers remember.
    std::string after; ///< The number of the line before, in the same process; empty if unknown.
    std::string owner; ///< Whom the spool file belongs to, for people.
    std::string text;
    std::string user = {}; ///< The same by number, which the ID has, too.
};

class Publisher {
  public:
    /// `mayGoOn` is asked at least every second.
    Publisher(Connection& connection, const StreamOptions& options, std::function<bool()> mayGoOn);

    /// Bytes of the longest text that servers take.
    std::size_t longestText();

    /// Publishes all, in their order, and again those that fail, until the servers have
    /// acknowledged each: then true. False if it may not go on; what was acknowledged by then is
    /// not told. Throws ServerError as ensureStream does.
    bool publish(const std::vector<Outgoing>& messages);

  private:
    bool prepare();
    bool sendAll(const std::vector<Outgoing>& messages);
    bool send(const Outgoing& outgoing, std::size_t index);
    void settle();
    void answered(natsMsg* message, const jsPubAckErr* error);

    Connection& m_connection;
    const StreamOptions& m_options;
    const std::function<bool()> m_mayGoOn;
    Owned<jsCtx, jsCtx_Destroy> m_jetStream;
    unsigned m_generation = 0;
    bool m_isStreamChecked = false;
    std::int64_t m_longestOfStream = 0; ///< Bytes of a message; 0 for no limit.

    std::mutex m_mutex;
    std::condition_variable m_change;
    std::unordered_map<const natsMsg*, std::size_t> m_pending; ///< Indices of what was sent.
    std::vector<char> m_isDone;
    std::size_t m_answersQty = 0;
    std::string m_failure; ///< The first one of a round.
    const Callee<Publisher> m_callee{this};
};

} // namespace zmu_tools::ship
