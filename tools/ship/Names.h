// What a source is called on the way through a server: words that stand in subjects, IDs of
// messages, keys and names of files.
#pragma once

#include <spool/SpoolLine.h>

#include <string>
#include <string_view>

namespace zmu_tools::ship {

/// `name` as one word of small ASCII letters, digits, '-' and '='. Every other byte is '=' and two
/// digits. Different names give different words, also where case does not count; those that would
/// have more than 100 characters are cut, and end in "==" and a checksum of the whole.
std::string wordOf(std::string_view name);

/// Whether wordOf can have made it, by its letters and its length.
bool isHostWord(std::string_view word);

/// "HOST.USER.PROCESS.START": one life of a process. The user, by number, is who alone could have
/// written it, so that no other user of a machine speaks for it.
std::string sourceOf(const zmu_spool::SpoolLine& line, std::string_view user);

/// Where a line is published: the prefix and its host.
std::string subjectOf(std::string_view prefix, const zmu_spool::SpoolLine& line);

/// Whether `text` can be the first words of a subject: words between dots, none of which stands for
/// others.
bool isSubjectPrefix(std::string_view text);

/// Whether a subject of a stream, with its wildcards, takes all that begins with the words of
/// `prefix`.
bool takesAllOf(std::string_view subject, std::string_view prefix);

} // namespace zmu_tools::ship
