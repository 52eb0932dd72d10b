// The situations that are measured, whose strings this program serves as a resource module: one
// text of about 60 characters, with an unsigned and a wide string for inserts.
#pragma once

#include <zmu/monitor/Zarn.h>

namespace zmu_bench {

enum SituationID : int {
    LoggedSituation = 100,    ///< To the log or the proxy, nothing to the display.
    DisplayedSituation = 101, ///< To the display, nothing to the log.
    LargeSituation = 102,     ///< To the log, about two KiB: fills files.
};

inline constexpr wchar_t messageFormat[] =
    L"Session %1!u! was started for the user %2!s! by the scheduler.";
inline constexpr unsigned int sessionNumber = 4711;
inline constexpr wchar_t userName[] = L"operator";

/// Reports LoggedSituation or DisplayedSituation.
inline void report(Zarn& monitor, SituationID situation)
{
    monitor.respondToSituation(situation, nullptr, sessionNumber, userName);
}

/// Reports LargeSituation.
void reportLarge(Zarn& monitor);

} // namespace zmu_bench
