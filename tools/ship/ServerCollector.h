// Collects from servers: pulls, hands on, then acknowledges.
#pragma once

#include "Bookmark.h"
#include "ServerOptions.h"

#include <spool/SpoolLine.h>

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools::ship {

/// A line as it comes from the servers.
struct ServedLine {
    const std::string& source; ///< Of one life of a process, and nobody else's: letters and digits.
    const std::string& owner;  ///< Whose spool file it was, for people.
    const std::string& text;   ///< As it was written, without a line feed.
    const zmu_spool::SpoolLine& line;
    zmu::u64 missing = 0; ///< Numbers of its process before it, which are not to be expected.
    bool mayHaveBeenRead = false; ///< These may have been collected at an earlier time.
    /// It was among the missing of another one, and has come after all.
    bool isLate = false;
};

/// Something in the stream that is no line of its host. Its texts may be anything.
struct LeftOut {
    zmu::u64 place = 0;      ///< In the stream.
    std::string where;       ///< Its place and subject.
    std::string what;        ///< Why.
    std::string_view sample; ///< Its first bytes.
};

/// Where lines go.
class Destination {
  public:
    virtual ~Destination() = default;

    /// Stays the same from start to start: a few small letters and digits.
    virtual std::string id() = 0;
    /// What save() was last told, in whatever life.
    virtual Bookmark bookmark() = 0;
    /// The last number of a source that was taken, in whatever life; 0 for none.
    virtual zmu::u64 lastOf(const std::string& source) = 0;

    virtual void take(const ServedLine& line) = 0;
    virtual void leaveOut(const LeftOut& leftOut) = 0;
    /// Makes safe what was taken, which is acknowledged then, and keeps how far it is.
    /// `isAllTaken`: nothing comes again that was taken in an earlier life.
    virtual void save(const Bookmark& bookmark, bool isAllTaken) = 0;
};

/// Whom a collector shares the work with.
struct GroupOptions {
    std::string name = "zmu";
    /// IDs of collectors of the group that are gone for good, whose processes become this one's.
    std::vector<std::string> takeOver;
};

/// Goes on while `mayGoOn`, or until there has been nothing more for as long as `patience`, if
/// there is an end to that: all is acknowledged then. Throws ServerError for what servers will not
/// do and for a collector to take over from that is there, and what the destination throws.
void collectFromServers(const ServerOptions& options, const GroupOptions& group,
                        Destination& destination, std::optional<std::chrono::seconds> patience,
                        const std::function<bool()>& mayGoOn);

/// When the last message of a host came into the stream, in nanoseconds since 1970 UTC; 0 if that
/// is not told.
using LastOf = std::function<zmu::i64(const std::string& host)>;

/// Every few seconds gives all hosts of which something is in the stream, while `mayGoOn`.
void watchHosts(
    const ServerOptions& options,
    const std::function<void(const std::set<std::string>& hosts, const LastOf& lastOf)>& take,
    const std::function<bool()>& mayGoOn);

} // namespace zmu_tools::ship
