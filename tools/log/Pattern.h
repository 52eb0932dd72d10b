// A section of a form turned round: from a text that it has written back to its variables.
//
//     const Pattern body(piecesOf(format, variables), LineEnds::AsTheyAre);
//     std::vector<TextView> values;
//     if (body.match(entry, values)) ... // values[i] is what stands for body.holes()[i]
//
// Nothing is tried twice: what is looked for is searched in order, numbers are known by their
// shape, and the time taken is linear in the text.
#pragma once

#include <zmu/log/ZarnForm.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools::logs {

using TextView = std::u16string_view;
inline constexpr std::size_t nowhere = TextView::npos;

/// What stands for a variable.
enum class Shape {
    Text,    ///< Anything, nothing as well.
    Figures, ///< Just so many figures: a part of a time.
    Number,  ///< A decimal number, which may be negative.
    Hex,
};

struct Hole {
    Shape shape = Shape::Text;
    int figures = 0;
    /// More than one where nothing in the text tells where the first one ends.
    std::vector<Zarn_FORM_VAR> variables;
};

/// A text that is the same each time, and the hole behind it.
struct Piece {
    std::u16string text;
    Hole hole; ///< Without variables behind the last text.
};

/// The pieces of a compiled section, whose inserts `variables` fill.
std::vector<Piece> piecesOf(std::wstring_view format, std::span<const Zarn_FORM_VAR> variables);

/// What the line ends of a section have become in a log: on Windows the formatter completes them.
enum class LineEnds { AsTheyAre, LineFeeds, Complete };

/// A text to look for.
class Needle {
  public:
    explicit Needle(std::u16string text);

    const std::u16string& text() const { return m_text; }

  private:
    friend class Scan;

    std::u16string m_text;
    /// By place in the text: how much of what stands there is as at its beginning.
    std::vector<std::uint32_t> m_sameAsFront;
};

/// Looks for a needle in one text, in time linear in both, at places that grow but for some steps
/// back.
class Scan {
  public:
    explicit Scan(const Needle& needle) : m_needle(&needle) {}

    bool isAt(TextView text, std::size_t at);
    /// The first place from `from` on.
    std::size_t find(TextView text, std::size_t from);

  private:
    static constexpr std::size_t memoryQty = 64;

    bool compare(TextView text, std::size_t at);

    const Needle* m_needle;
    // A stretch of the text that is as the needle's beginning.
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    // Of the last places, up to m_last, bit by bit backwards: whether it is known, and what.
    std::size_t m_last = 0;
    std::uint64_t m_isKnown = 0;
    std::uint64_t m_isThere = 0;
};

class Pattern {
  public:
    struct Span {
        std::size_t begin = nowhere;
        std::size_t end = nowhere;
        bool isFound() const { return begin != nowhere; }
    };

    /// A pattern of nothing.
    Pattern() : Pattern({}, LineEnds::AsTheyAre) {}
    Pattern(const std::vector<Piece>& pieces, LineEnds lineEnds);

    const std::vector<Hole>& holes() const { return m_holes; }
    /// The hole that `variable` fills, -1 if there is none.
    int holeOf(Zarn_FORM_VAR variable) const;

    /// Whether its beginning can be told from any other text.
    bool hasBeginning() const;
    /// Whether its beginning has numbers and so much else that no other text looks like it by
    /// chance.
    bool hasStrongBeginning() const;

    /// Where what comes before the first text hole ends if it begins at `at`, else nowhere.
    std::size_t beginsAt(TextView text, std::size_t at) const;
    std::size_t findBeginning(TextView text, std::size_t from) const;
    /// Whether its end can be told from any other text.
    bool hasEnd() const { return !m_segments.back().empty(); }
    /// Units that what comes behind the last text hole has at most.
    std::size_t endLengthMax() const;
    /// Line breaks that are in it whatever its variables are.
    std::size_t lineBreaks() const;
    /// Units that are in it whatever its variables are.
    std::size_t fixedLength() const;

    /// Matches all of `text`. Of several holes the description takes as much as it can. `values`
    /// are views of `text`, by hole.
    bool match(TextView text, std::vector<TextView>& values) const;
    /// Matches the front of `text`, each hole with as little as it can, and tells where that ends.
    std::size_t matchFront(TextView text, std::vector<TextView>& values) const;

  private:
    struct Step {
        Needle text;
        int hole; ///< Of numbers; -1 for none.
    };
    /// What stands between two text holes.
    using Segment = std::vector<Step>;

  public:
    /// Looks for a segment in one text, at places that grow: all of it takes time linear in the
    /// text.
    class Search {
      public:
        Search(const Pattern& pattern, const Segment& segment, TextView text);

        Span find(std::size_t from);

      private:
        std::size_t endAt(std::size_t at);

        const Pattern& m_pattern;
        const Segment& m_segment;
        TextView m_text;
        std::vector<Scan> m_scans; ///< By step.
    };
    /// For what comes behind the last text hole.
    Search searchEnds(TextView text) const { return {*this, m_segments.back(), text}; }

  private:
    std::size_t matchStep(const Step& step, Scan& scan, Scan* next, TextView text, std::size_t at,
                          std::vector<TextView>* values) const;
    std::size_t matchAt(const Segment& segment, TextView text, std::size_t at,
                        std::vector<TextView>* values) const;
    Span find(const Segment& segment, TextView text, std::size_t from) const;
    Span findLast(const Segment& segment, TextView text, std::size_t from) const;
    Span findAtEnd(const Segment& segment, TextView text, std::size_t from) const;

    std::vector<Hole> m_holes;
    std::vector<Segment> m_segments;
    std::vector<int> m_textHoles; ///< Behind each segment but the last.
    std::size_t m_greediest = 0;  ///< Among them, the one of the description.
};

} // namespace zmu_tools::logs
