// Texts of a TOML file that know where each of their characters stands in it.
#pragma once

#include "Findings.h"

#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools {

/// A string of a TOML file without its quotes and escapes.
struct LocatedText {
    std::string text;
    Place begin;               ///< Of the opening quote.
    std::vector<Place> places; ///< Of each byte, and of the end; one for all if nothing is known.

    Place place(std::size_t offset) const
    {
        return places[offset < places.size() ? offset : places.size() - 1];
    }
};

/// A TOML file, in whose texts places are looked up.
class SourceFile {
  public:
    explicit SourceFile(std::string text);

    std::string_view text() const { return m_text; }
    /// Gives `text`, which stands here as a literal that opens at `begin`, its places. They are all
    /// `begin` if that is no literal of this text.
    LocatedText locate(std::string text, Place begin) const;
    /// Place of the character at `offset`, at most the length of the text.
    Place placeAt(std::size_t offset) const;

  private:
    /// Where a walk through the file can begin.
    struct Mark {
        Place place;
        std::size_t offset;
    };

    std::string m_text;
    std::vector<Mark> m_marks; ///< So close together that a line may be of any length.
};

} // namespace zmu_tools
