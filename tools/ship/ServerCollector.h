// Collects from servers: pulls, hands on, then acknowledges.
#pragma once

#include "ServerOptions.h"

#include <spool/SpoolLine.h>

#include <functional>
#include <string>

namespace zmu_tools::ship {

/// A line as it comes from the servers.
struct ServedLine {
    const std::string& source; ///< Of one life of a process, and nobody else's: letters and digits.
    const std::string& owner;  ///< Whose spool file it was, for people.
    const std::string& text;   ///< As it was written, without a line feed.
    const zmu_spool::SpoolLine& line;
    zmu::u64 missing = 0; ///< Numbers of its process before it, which are not to be expected.
    /// It was among the missing of another one, and has come after all.
    bool isLate = false;
};

/// Where lines go.
class Destination {
  public:
    virtual ~Destination() = default;

    /// Stays the same from start to start: a few small letters and digits.
    virtual std::string id() = 0;
    /// The place in the stream that save() was last told, in whatever life; 0 for none.
    virtual zmu::u64 place() = 0;
    /// The last number of a source that was taken, in whatever life; 0 for none.
    virtual zmu::u64 lastOf(const std::string& source) = 0;

    virtual void take(const ServedLine& line) = 0;
    /// Something in the stream that is no line: where it is, and what is wrong.
    virtual void leaveOut(const std::string& what) = 0;
    /// Makes safe what was taken, which is acknowledged then, and keeps the place behind which to
    /// go on.
    virtual void save(zmu::u64 place) = 0;
};

/// `name` is that of the group of collectors that share the work. Goes on while `mayGoOn`; throws
/// ServerError for what servers will not do, and what the destination throws.
void collectFromServers(const ServerOptions& options, const std::string& name,
                        Destination& destination, const std::function<bool()>& mayGoOn);

} // namespace zmu_tools::ship
