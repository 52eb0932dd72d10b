// The line of a spool file: one situation that a process without a log of its own has handed over.
//
//     {"sequence":17,"time":"2026-11-22T06:32:27.123456789Z","host":"h7","program":"pw","process":812,
//      "start":"2026-11-22T06:30:01.220000417Z","thread":815,"instantiator":4711,"enablements":2,
//      "situation":1001,"description":"Session 7 of Ada has started."}
//
// in UTF-8, without the line break that is shown here, and with a line feed behind it. A line that
// has none is torn: its process was killed, or its disk was full, in the midst of it.
//
// SpoolWriter.h composes lines. What reads them takes any JSON object with these fields, in any
// order, and passes over others that it does not know.
#pragma once

#include <zmu/foundation/Types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zmu_spool {

/// Bytes of a line with its line feed. Writers refuse longer ones, and readers need not keep them.
inline constexpr std::size_t longestLine = 0x1000000;
/// Elements that a writer gives the name of a host or a program, and bytes that a reader takes.
inline constexpr std::size_t longestName = 128;
inline constexpr std::size_t longestNameBytes = 4 * longestName;

struct SpoolLine {
    /// From 1 on for each situation of its process. A number that is missing stands for a situation
    /// that was refused, as its host was told, or lost.
    zmu::u64 sequence = 0;
    zmu::i64 time = 0;  ///< Of the report, in nanoseconds since 1970 UTC, as the next one.
    zmu::i64 start = 0; ///< Of the process. Together with host and number it is one life of it.
    std::string host;
    std::string program;
    zmu::u64 process = 0;
    zmu::u64 thread = 0;
    zmu::i64 instantiator = 0;
    std::uint32_t enablements = 0;
    zmu::i64 situation = 0; ///< Its ID as it was reported: 1 or more from the library.
    std::string description;
};

/// Why a text is no line of a spool file.
struct LineFault {
    const char* what = nullptr;  ///< Null if it is one.
    std::string_view field = {}; ///< Whose value is wrong, or which is missing; empty if none.
    std::size_t position = 0;    ///< In bytes from the beginning.

    explicit operator bool() const { return what != nullptr; }
};

/// Reads a line, without its line feed, into `line`, whose texts keep their memory from call to
/// call. Never more than its bytes is taken for true: what is torn, foreign, huge or hostile ends
/// in a fault, and `line` is of no use then. Zeros of a text become U+FFFD, and so do halves of
/// surrogate pairs. Throws for a lack of memory only.
LineFault readSpoolLine(std::string_view text, SpoolLine& line);

/// "byte 17: …, field "time"", for whoever has to look into the file.
std::string describe(const LineFault& fault);

} // namespace zmu_spool
