// Composing the line of a spool file in the caller's memory, without an allocation.
//
//     char bytes[bytesForLine(length)];
//     char* const text = bytes + frontQty;
//     char* end = putSituation(text, time, thread, situation...);
//     end = putDescription(end, description, length);
//     char* const line = putFront(text, sequence);     // as late as that: it decides the order
//     write(line, end - line);
#pragma once

#include <spool/SpoolLine.h>

namespace zmu_spool {

/// Bytes in front of a text for what putFront writes, at most.
inline constexpr std::size_t frontQty = 32;
/// What putOrigin writes, at most.
inline constexpr std::size_t originQty = 12 * longestName + 128;
/// What putSituation writes beside the origin, at most.
inline constexpr std::size_t situationQty = 192;
/// What an element of a text becomes, at most.
inline constexpr std::size_t escapeQty = 6;

/// Bytes for any line with a description of `length` elements.
constexpr std::size_t bytesForLine(std::size_t length)
{
    return frontQty + originQty + situationQty + length * escapeQty + sizeof "\"}\n";
}

/// Where lines come from: the same for all of a process.
struct Origin {
    wchar_t host[longestName + 1] = {};
    wchar_t program[longestName + 1] = {};
    zmu::u64 process = 0;
    zmu::i64 start = 0;
};

struct Situation {
    zmu::i64 time = 0;
    zmu::u64 thread = 0;
    zmu::i64 instantiator = 0;
    std::uint32_t enablements = 0;
    zmu::i64 id = 0;
};

/// What putTime writes, at most.
inline constexpr std::size_t timeQty = 32;

// Each writes to the bytes at `to` and returns the end.

/// Nanoseconds since 1970 UTC, as ISO 8601 has them: "2026-11-22T06:32:27.123456789Z".
char* putTime(char* to, zmu::i64 nanoseconds);
char* putOrigin(char* to, const Origin& origin);
/// All fields but the first and the last. `origin` is what putOrigin has written.
char* putSituation(char* to, std::string_view origin, const Situation& situation);
/// The last field and the line's end. Control characters are escaped; what is no character, such as
/// half of a surrogate pair, becomes U+FFFD.
char* putDescription(char* to, const wchar_t* text, std::size_t length);
/// Bytes that putDescription will write for the text alone.
std::size_t escapedSize(const wchar_t* text, std::size_t length);

/// Writes the beginning of a line in front of `text`, and returns where that is.
char* putFront(char* text, zmu::u64 sequence);

/// "HOST_PROGRAM_PROCESS_START_NUMBER.spool", of ASCII without blanks and separators. What stands
/// for other characters makes no two names equal that matter: a file is made only if there is none.
inline constexpr char spoolSuffix[] = ".spool";
inline constexpr std::size_t fileNameQty = 2 * longestName + 80;
void composeFileName(char (&name)[fileNameQty], const Origin& origin, unsigned number);
/// The end of such a name, from PROCESS on, with a null behind it, in less than 80 bytes.
void composeFileNumbers(char* to, zmu::u64 process, zmu::i64 start, zmu::u64 number);
/// Whether a file's name is that of a spool file.
constexpr bool isSpoolName(std::string_view name)
{
    return name.ends_with(spoolSuffix) && !name.starts_with('.');
}

} // namespace zmu_spool
