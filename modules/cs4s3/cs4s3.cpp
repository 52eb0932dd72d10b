// The proxy that comes along: each situation of a process without a log of its own becomes a line
// of the process's spool file. docs/proxy.md tells what is written, and where.
#include "Spool.h"

#include <zmu/localize/ResourceModule.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <memory>

using namespace cs4s3;

namespace {

/// Descriptions of up to so many elements are composed on the stack.
constexpr std::size_t shortQty = 1024;

struct Release {
    void operator()(char* bytes) const { std::free(bytes); }
};

/// Composes and appends the line in `bytes`, which have room for it.
bool report(Spool& spool, char* bytes, std::string_view origin,
            const zmu_spool::Situation& situation, const wchar_t* description, std::size_t length)
{
    char* const text = bytes + zmu_spool::frontQty;
    char* const middle = zmu_spool::putSituation(text, origin, situation);
    return spool.append(text, zmu_spool::putDescription(middle, description, length));
}

bool report(const zmu_spool::Situation& situation, const wchar_t* description)
{
    Spool& spool = Spool::ofProcess();
    const std::string_view origin = spool.origin();
    if (origin.empty())
        return false;
    const std::size_t length = std::wcslen(description);
    if (length <= shortQty) {
        char bytes[zmu_spool::bytesForLine(shortQty)];
        return report(spool, bytes, origin, situation, description, length);
    }
    // What could fit no line is not worth the memory, but its refusal is told like any other.
    const std::size_t taken = std::min(length, zmu_spool::longestLine);
    const std::size_t size =
        zmu_spool::bytesForLine(0) + zmu_spool::escapedSize(description, taken);
    const std::unique_ptr<char, Release> bytes(static_cast<char*>(std::malloc(size)));
    if (bytes)
        return report(spool, bytes.get(), origin, situation, description, taken);
    spool.refuseNext("there is no memory for its text");
    return false;
}

} // namespace

/// Answers 1 for a situation that is in the spool file, 0 for one that is not. Its threads may call
/// at once, and a child of a fork, and whoever ends a process; a signal handler may not.
ZMU_RESOURCE_MODULE_ENTRY int
ProxyRespondToSituation(unsigned int enablements, long long instantiatorID, int negatedSituationID,
                        const wchar_t* /*format*/, const wchar_t* description)
{
    const Undisturbed undisturbed;
    return description && report({.time = presentTime(),
                                  .thread = threadNumber(),
                                  .instantiator = instantiatorID,
                                  .enablements = enablements,
                                  .id = -static_cast<i64>(negatedSituationID)},
                                 description)
               ? 1
               : 0;
}
