// What is wrong with a catalogue, and where.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools {

/// A character of a file; lines and columns count from 1, columns in characters.
struct Place {
    unsigned line = 1;
    unsigned column = 1;

    auto operator<=>(const Place&) const = default;
};

struct Finding {
    std::string file;
    Place place;
    bool isError;
    std::string text;
};

/// "file:line:column: error: text", with what a terminal would obey shown instead.
std::string toText(const Finding& finding);

/// Collects the mistakes of one or more files, so that one run tells them all: of a file that is
/// none at all the first few hundred.
class Findings {
  public:
    /// What is found from now on is in `file`.
    void enter(std::string file) { m_file = std::move(file); }
    void error(Place place, std::string text);
    void warn(Place place, std::string text);
    bool hasErrors() const { return m_errorCount > 0; }
    std::size_t errorCount() const { return m_errorCount; }
    /// "... and 7 more mistakes", if not all are told; empty if they are.
    std::string untold() const;
    /// File by file in the order in which they were entered, each from its beginning to its end.
    std::vector<Finding> sorted() const;

  private:
    std::string m_file;
    std::vector<Finding> m_all;
    std::size_t m_errorCount = 0;
    std::size_t m_warningCount = 0;
};

/// "'a', 'b' and 'c'", or the first of many with the number of the others.
std::string listed(const std::vector<std::string>& names);

/// ", did you mean 'display'?", or nothing if none of `names` comes near.
std::string didYouMean(std::string_view name, const std::vector<std::string>& names);

} // namespace zmu_tools
