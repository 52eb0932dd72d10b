// Counts the user instructions of a situation: a figure that the load of the machine does not
// touch.
#pragma once

#include <optional>
#include <string>

namespace zmu_bench {

/// The roads that are counted, as the command line names them.
inline constexpr char logRoad[] = "log";
inline constexpr char displayRoad[] = "display";
inline constexpr char proxyRoad[] = "proxy";

/// User instructions of one situation on `road`: `program`, which is this one, runs twice under
/// callgrind, with two numbers of situations, and what the difference has cost is divided by it.
/// Nothing where there is no callgrind. Takes some seconds.
std::optional<double> countInstructions(const char* program, const char* road);

/// Whether the command line is that of such a run, "--situations=ROAD:COUNT". Then the situations
/// are reported, and `status` is what the program is to end with.
bool isCountedRun(int argc, char** argv, int& status);

} // namespace zmu_bench
