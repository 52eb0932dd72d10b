// The situations that the quickstart reports: their numbers are the IDs of their response specs in
// strings.cpp. The comment behind each says which arguments it takes, in order.
#pragma once

namespace situation {

enum ID : int {
    AllStart = 1001, // from the cursor: number of sessions
    NotStarted =
        1003, // from the cursor: session, the two commands, reason for the log, as it is, link
    Ended,    // recorded: unsigned 0 session, 1 process; string 0 and 1 the two commands
    Failed,   // the same, and signed 0 the status
    Killed,   // the same, and signed 0 the signal
    AllOver,  // from the cursor: how many ended, failed, could not start

    // Milestones, which the event log knows by these numbers.
    Started = 3317, // from the cursor: process, command as it is, session, command for the log
    Stopped = 3319, // from the cursor: process, command as it is, session
};

} // namespace situation

/// Where the texts that specs put in front of their message begin, and how many there are.
inline constexpr int affixID_Min = 1101;
inline constexpr int affixIDsQty = 8;
