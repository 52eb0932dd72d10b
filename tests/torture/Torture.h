// What the scenarios share. A scenario is a function here, and a row of the table in main.cpp.
//
//     void cutTheCable(Run& run)
//     {
//         const Place place;
//         Child child([&] {
//             Zarn* const monitor = openMonitor(place, 4000);
//             while (place.ledger.report(monitor, 0)) {
//             }
//             return 1;
//         });
//         ...
//         run.take(child.wait());
//         run.check(place);
//     }
//
// The process that runs a scenario does not use the library itself: its children do, each anew.
#pragma once

#include "Ledger.h"

#include <Processes.h>
#include <linux/Child.h>

#include <zmu/monitor/Zarn.h>

#include <atomic>
#include <sstream>
#include <string>

namespace zmu_torture {

using zmu_test::Child;
using zmu_test::ChildEnd;

/// What came of a scenario. The counts are shared with its children.
struct Counts {
    std::atomic<long> done;    ///< Entries that were reported as done.
    std::atomic<long> lost;    ///< Those of them that no log has.
    std::atomic<long> crashed; ///< Processes.
    std::atomic<long> hung;
    std::atomic<long> flaws; ///< What else is wrong, told in lines of their own.
};

/// Seconds that a child gets that does much: a machine may be slow, but not dead.
inline constexpr unsigned patience = 900;

class Run {
  public:
    Run(const char* scenario, bool isQuick, int rounds)
        : isQuick(isQuick), m_scenario(scenario), m_rounds(rounds)
    {}

    /// How often to do it: what the user says, else one of these.
    int rounds(int full, int quick) const
    {
        return m_rounds > 0 ? m_rounds : isQuick ? quick : full;
    }
    /// Counts how a child has ended. A status other than 0 is a flaw: `what`.
    void take(const ChildEnd& end, const std::string& what = "a child failed");
    /// Reads the logs of a place and counts. `mayBeCut`: their writer was killed.
    LogReader check(const Place& place, bool mayBeCut = false);
    void count(const Ledger& ledger, const LogReader& logs, long lost);
    void flaw(const std::string& what);

    const bool isQuick;
    Counts& counts = makeShared<Counts>();
    std::ostringstream did; ///< What was done, for the line of the scenario.

  private:
    const char* m_scenario;
    const int m_rounds;
};

struct Scenario {
    const char* name;
    const char* sentence;
    void (*run)(Run& run);
};

/// A monitor whose first log is 0-NUMBER.html of the place, and that comes back. Its logs are
/// replaced at `limit` bytes; 0: at a limit that is not reached. Ends the process on failure.
Zarn* openMonitor(const Place& place, unsigned long limit, int number = 0);

void sleepMs(int milliseconds);

// Crashes.cpp
void killAtAnyMoment(Run& run);
void forkWhileReporting(Run& run);
// Room.cpp
void limitAtEveryByte(Run& run);
void fillTheDisk(Run& run);
// Outside.cpp
void meddleFromOutside(Run& run);
// Memory.cpp
void failAllocations(Run& run);
// Collecting.cpp
void collectWithoutMemory(Run& run);
// Calls.cpp
void failSystemCalls(Run& run);
// Load.cpp
void load(Run& run);

} // namespace zmu_torture
