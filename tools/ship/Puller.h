// Takes messages from the stream, in its order, and acknowledges what has been dealt with.
#pragma once

#include "Bookmark.h"
#include "Connection.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace zmu_tools::ship {

struct Pulled {
    OwnedMessage message;
    std::uint64_t place = 0; ///< In the stream.
    std::int64_t time = 0;   ///< When it came there.
    bool isNew = false;      ///< Nothing of this place has come before.
};

class Puller {
  public:
    /// `durable` is the name under which the servers know this one. `floor` is how far an earlier
    /// life was.
    Puller(Connection& connection, const StreamOptions& options, std::string durable,
           const Bookmark& floor);

    /// Takes what is there, or waits for something a quarter of a second, and has asked for more
    /// when it returns. What has come before and was not acknowledged may come again, and does
    /// after a loss of the connection. False if the servers cannot be asked, which is told.
    bool pull(std::vector<Pulled>& messages);

    /// Has what was not acknowledged, and some of what was, come again. Servers that keep copies
    /// may differ by a few messages after one of them was killed, and then count their places
    /// differently: when another leads, some are passed over.
    void lookAgain() { m_isBegun = false; }

    /// Up to where another puller has acknowledged, in `place` and `time` of a bookmark; no place
    /// if it never has, and no time if the message is not there any more. False, which is told, if
    /// the servers do not say.
    bool findEndOf(const std::string& durable, Bookmark& end);
    /// Begins behind that place at the latest, even if more was acknowledged: the servers forget
    /// that. False, which is told, if they do not.
    bool goBackTo(const Bookmark& end);

    /// Whether the servers say that all is delivered and acknowledged.
    bool isAtEnd() const;
    /// Whether the stream has something later than all that was delivered. The server that delivers
    /// may have been left behind by the others, and takes what it has for all that there is.
    bool isBehind() const;
    /// How far all is dealt with once acknowledge() was called.
    Bookmark bookmarkBefore(std::optional<std::uint64_t> end) const;
    /// All before `end`, or all that was pulled if there is none, has been dealt with.
    void acknowledge(std::optional<std::uint64_t> end);

  private:
    struct Acknowledgement {
        std::uint64_t place = 0; ///< Nothing of a later place came before it.
        std::int64_t time = 0;   ///< When it came into the stream.
        std::string subject;
    };

    enum class Word { Line, RequestOver, Old, Wrong };

    bool begin();
    std::string filter() const;
    natsStatus makeConsumer();
    natsStatus checkFloor(const jsStreamInfo& stream);
    natsStatus findFloor(const jsStreamInfo& stream, bool& isThere);
    natsStatus subscribe();
    bool askForMore();
    std::size_t requestQty() const;
    OwnedMessage next(std::chrono::steady_clock::time_point end);
    Word judge(natsMsg* message);
    Acknowledgement nextPlace(natsMsg* message);
    void fail(natsStatus status);

    Connection& m_connection;
    const StreamOptions& m_options;
    const std::string m_durable;
    Bookmark m_floor;          ///< But for its highest place, which is the next one.
    std::uint64_t m_highest;   ///< The last place that anything came from.
    std::int64_t m_latest = 0; ///< When the latest of what was delivered came into the stream.
    unsigned m_generation = 0;
    unsigned m_lossesQty = 0;
    bool m_isBegun = false;
    std::int64_t m_longest = 65536; ///< Bytes of messages that came lately.
    std::string m_inbox;            ///< Where answers to requests come, each to a word of its own.
    std::uint64_t m_requestsQty = 0;
    std::int64_t m_due = 0; ///< Messages that the last request has yet to bring.
    std::chrono::steady_clock::time_point m_requestEnd;
    unsigned m_silencesQty = 0;    ///< Requests in a row that had no answer at all.
    std::uint64_t m_delivered = 0; ///< The consumer's number of the last message.
    Owned<natsSubscription, natsSubscription_Destroy> m_subscription;
    std::deque<Acknowledgement> m_acknowledgements;
};

} // namespace zmu_tools::ship
