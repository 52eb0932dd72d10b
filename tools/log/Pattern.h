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

/// A text to look for, in time linear in what it is looked for in.
class Needle {
  public:
    explicit Needle(std::u16string text);

    const std::u16string& text() const { return m_text; }
    std::size_t find(TextView in, std::size_t from) const;

  private:
    std::u16string m_text;
    std::vector<std::size_t> m_border; ///< By length: how much of the beginning is the end, too.
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
    /// The first place for what comes behind the last text hole.
    Span findEnd(TextView text, std::size_t from) const;
    /// Units that such an end has at most.
    std::size_t endLengthMax() const;

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

    std::size_t matchStep(const Step& step, const Step* next, TextView text, std::size_t at,
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
