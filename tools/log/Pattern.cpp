#include "Pattern.h"

#include <zmu/foundation/internal/Utf16.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/internal/Inserts.h>
#include <zmu/monitor/internal/MessagePieces.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace zmu_tools::logs {

namespace {

constexpr int yearFigures = 4;
constexpr std::size_t numberMax = 20; // figures, with a sign

std::u16string unitsOf(std::wstring_view text)
{
    std::u16string units(text.size() * zmu::utf16UnitsMax, u'\0');
    units.resize(zmu::toUtf16(text.data(), text.size(), units.data()));
    return units;
}

/// What the formatter makes of a text without inserts.
std::u16string formatted(std::wstring_view text)
{
    constexpr zmu::ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    std::wstring output(2 * text.size() + 2, L'\0'); // each line end may become two characters
    zmu::u64 noInserts[1] = {};
    const zmu::ulong32 length =
        Zarn::formatMessage(flags, std::wstring(text).c_str(), output.data(),
                            static_cast<int>(output.size()), noInserts);
    return unitsOf({output.data(), length});
}

bool isTimePart(Zarn_FORM_VAR variable)
{
    switch (variable) {
    case Zarn_FORM_VAR_YEAR:
    case Zarn_FORM_VAR_MONTH:
    case Zarn_FORM_VAR_DAY:
    case Zarn_FORM_VAR_HOURS:
    case Zarn_FORM_VAR_MINUTES:
    case Zarn_FORM_VAR_SECONDS:
    case Zarn_FORM_VAR_MILLISECONDS:
        return true;
    default:
        return false;
    }
}

Hole holeFor(const zmu::PlainInsert& insert, Zarn_FORM_VAR variable)
{
    using Shows = zmu::PlainInsert::Shows;
    if (insert.shows == Shows::Text)
        return {Shape::Text, 0, {variable}};
    if (insert.shows == Shows::Hex)
        return {Shape::Hex, 0, {variable}};
    if (!isTimePart(variable))
        return {Shape::Number, 0, {variable}};
    return {
        Shape::Figures, variable == Zarn_FORM_VAR_YEAR ? yearFigures : insert.least, {variable}};
}

/// The front of `format` up to and with an insert that is not of the plain kinds, whatever it
/// shows. `%0` is the end of the format.
Piece takeOddFront(std::wstring_view& format, std::span<const Zarn_FORM_VAR> variables)
{
    std::size_t escape = format.find(L'%');
    while (escape + 1 < format.size() && (format[escape + 1] < L'0' || format[escape + 1] > L'9'))
        escape = format.find(L'%', escape + 2);
    Piece piece{formatted(format.substr(0, escape)), {}};
    if (escape >= format.size() || escape + 1 >= format.size() || format[escape + 1] == L'0') {
        format = {};
        return piece;
    }
    const std::wstring rest(format.substr(escape + 1));
    const wchar_t* end = rest.c_str();
    const auto slot = static_cast<std::size_t>(zmu::readInsert(end).slot);
    format.remove_prefix(escape + 1 + static_cast<std::size_t>(end - rest.c_str()));
    piece.hole.variables = {slot <= variables.size() ? variables[slot - 1] : Zarn_FORM_VAR_UNKNOWN};
    return piece;
}

/// Whether nothing tells where the first of two neighbours ends and the other one begins.
bool areOne(const Hole& first, const Hole& second)
{
    return first.shape != Shape::Figures &&
           (second.shape != Shape::Figures || first.shape != Shape::Text);
}

Shape shapeOfBoth(Shape first, Shape second)
{
    for (const Shape shape : {Shape::Text, Shape::Hex}) {
        if (first == shape || second == shape)
            return shape;
    }
    return Shape::Number;
}

bool isDecimal(char16_t unit)
{
    return unit >= u'0' && unit <= u'9';
}

bool isOf(Shape shape, char16_t unit)
{
    return isDecimal(unit) || (shape == Shape::Hex && unit >= u'A' && unit <= u'F');
}

/// Units at `at` that a number of this shape can take.
std::size_t numberLength(Shape shape, TextView text, std::size_t at)
{
    const std::size_t end = std::min(text.size(), at + numberMax);
    std::size_t position = at;
    if (shape == Shape::Number && position < end && text[position] == u'-')
        ++position;
    const std::size_t digits = position;
    while (position < end && isOf(shape, text[position]))
        ++position;
    return position == digits ? 0 : position - at;
}

std::u16string withLineEnds(const std::u16string& text, LineEnds lineEnds)
{
    if (lineEnds == LineEnds::AsTheyAre)
        return text;
    std::u16string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            continue;
        if (text[i] == u'\n' && lineEnds == LineEnds::Complete)
            result += u'\r';
        result += text[i];
    }
    return result;
}

} // namespace

std::vector<Piece> piecesOf(std::wstring_view format, std::span<const Zarn_FORM_VAR> variables)
{
    std::vector<Piece> pieces;
    bool isMore = true;
    while (isMore) {
        std::wstring_view rest = format;
        std::wstring_view text;
        zmu::PlainInsert insert;
        Piece piece;
        if (zmu::takeFront(rest, static_cast<int>(variables.size()), text, insert)) {
            piece.text = formatted(text);
            if (insert.shows != zmu::PlainInsert::Shows::Nothing)
                piece.hole = holeFor(insert, variables[insert.value]);
            format = rest;
        } else {
            piece = takeOddFront(format, variables);
        }
        isMore = !piece.hole.variables.empty();
        Hole* const last = pieces.empty() ? nullptr : &pieces.back().hole;
        if (last && isMore && piece.text.empty() && areOne(*last, piece.hole)) {
            last->shape = shapeOfBoth(last->shape, piece.hole.shape);
            last->variables.push_back(piece.hole.variables.front());
        } else {
            pieces.push_back(std::move(piece));
        }
    }
    return pieces;
}

// ---- Needle ----------------------------------------------------------------------------------------------

Needle::Needle(std::u16string text) : m_text(std::move(text)), m_sameAsFront(m_text.size())
{
    std::size_t begin = 0;
    std::size_t end = 0; // of the stretch that is as the front and goes farthest
    for (std::size_t i = 1; i < m_text.size(); ++i) {
        std::size_t same = i < end ? std::min<std::size_t>(m_sameAsFront[i - begin], end - i) : 0;
        while (i + same < m_text.size() && m_text[i + same] == m_text[same])
            ++same;
        m_sameAsFront[i] = static_cast<std::uint32_t>(same);
        if (i + same > end) {
            begin = i;
            end = i + same;
        }
    }
}

bool Scan::isAt(TextView text, std::size_t at)
{
    if (at > m_last) {
        const std::size_t step = at - m_last;
        m_isKnown = step < memoryQty ? m_isKnown << step : 0;
        m_isThere = step < memoryQty ? m_isThere << step : 0;
        m_last = at;
    }
    const std::size_t back = m_last - at;
    if (back >= memoryQty)
        return compare(text, at);
    const std::uint64_t bit = std::uint64_t{1} << back;
    if (!(m_isKnown & bit)) {
        m_isKnown |= bit;
        m_isThere |= compare(text, at) ? bit : 0;
    }
    return m_isThere & bit;
}

bool Scan::compare(TextView text, std::size_t at)
{
    const std::u16string& wanted = m_needle->m_text;
    std::size_t same = 0;
    if (at > m_begin && at < m_end) {
        const std::size_t known = m_needle->m_sameAsFront[at - m_begin];
        if (at + known < m_end)
            return false; // it differs within what was seen already
        same = m_end - at;
    }
    while (same < wanted.size() && at + same < text.size() && text[at + same] == wanted[same])
        ++same;
    if (at + same > m_end) {
        m_begin = at;
        m_end = at + same;
    }
    return same == wanted.size();
}

std::size_t Scan::find(TextView text, std::size_t from)
{
    const std::u16string& wanted = m_needle->m_text;
    if (wanted.empty())
        return from <= text.size() ? from : nowhere;
    for (; from < text.size(); ++from) {
        if (text[from] == wanted[0] && isAt(text, from))
            return from;
    }
    return nowhere;
}

// ---- Pattern ---------------------------------------------------------------------------------------------

Pattern::Pattern(const std::vector<Piece>& pieces, LineEnds lineEnds) : m_segments(1)
{
    for (const Piece& piece : pieces) {
        const bool isLast = piece.hole.variables.empty();
        const bool isText = !isLast && piece.hole.shape == Shape::Text;
        const int hole = isLast ? -1 : static_cast<int>(m_holes.size());
        if (!isLast)
            m_holes.push_back(piece.hole);
        if (!piece.text.empty() || (hole >= 0 && !isText))
            m_segments.back().push_back(
                {Needle(withLineEnds(piece.text, lineEnds)), isText ? -1 : hole});
        if (!isText)
            continue;
        const auto& variables = piece.hole.variables;
        if (std::find(variables.begin(), variables.end(), Zarn_FORM_VAR_SITUATION_DSCRP) !=
            variables.end())
            m_greediest = m_textHoles.size();
        m_textHoles.push_back(hole);
        m_segments.emplace_back();
    }
}

int Pattern::holeOf(Zarn_FORM_VAR variable) const
{
    const auto hole = std::find_if(m_holes.begin(), m_holes.end(), [variable](const Hole& each) {
        return std::find(each.variables.begin(), each.variables.end(), variable) !=
               each.variables.end();
    });
    return hole == m_holes.end() ? -1 : static_cast<int>(hole - m_holes.begin());
}

bool Pattern::hasBeginning() const
{
    return !m_segments.front().empty();
}

bool Pattern::hasStrongBeginning() const
{
    constexpr std::size_t enough = 8;
    std::size_t known = 0;
    bool hasNumber = false;
    for (const Step& step : m_segments.front()) {
        known += step.text.text().size();
        if (step.hole < 0)
            continue;
        const int figures = m_holes[static_cast<std::size_t>(step.hole)].figures;
        known += static_cast<std::size_t>(std::max(figures, 1));
        hasNumber = true;
    }
    return hasNumber && known >= enough;
}

std::size_t Pattern::matchStep(const Step& step, Scan& scan, Scan* next, TextView text,
                               std::size_t at, std::vector<TextView>* values) const
{
    if (at > text.size() || !scan.isAt(text, at))
        return nowhere;
    at += step.text.text().size();
    if (step.hole < 0)
        return at;

    const Hole& hole = m_holes[static_cast<std::size_t>(step.hole)];
    std::size_t length = 0;
    if (hole.shape == Shape::Figures) {
        const auto figures = static_cast<std::size_t>(hole.figures);
        const TextView part = text.substr(at, figures);
        length = part.size() == figures && std::all_of(part.begin(), part.end(), isDecimal)
                     ? figures
                     : 0;
    } else {
        length = numberLength(hole.shape, text, at);
        if (next) { // it may begin with what the number could end with
            std::size_t longest = 0;
            for (std::size_t each = 1; each <= length; ++each)
                longest = next->isAt(text, at + each) ? each : longest;
            length = longest;
        }
    }
    if (length == 0)
        return nowhere;
    if (values)
        (*values)[static_cast<std::size_t>(step.hole)] = text.substr(at, length);
    return at + length;
}

std::size_t Pattern::matchAt(const Segment& segment, TextView text, std::size_t at,
                             std::vector<TextView>* values) const
{
    for (std::size_t i = 0; i < segment.size() && at != nowhere; ++i) {
        Scan scan(segment[i].text);
        std::optional<Scan> next;
        if (i + 1 < segment.size())
            next.emplace(segment[i + 1].text);
        at = matchStep(segment[i], scan, next ? &*next : nullptr, text, at, values);
    }
    return at > text.size() ? nowhere : at;
}

Pattern::Search::Search(const Pattern& pattern, const Segment& segment, TextView text)
    : m_pattern(pattern), m_segment(segment), m_text(text)
{
    m_scans.reserve(segment.size());
    for (const Step& step : segment)
        m_scans.emplace_back(step.text);
}

/// Where the segment ends if it begins at `at`, else nowhere.
std::size_t Pattern::Search::endAt(std::size_t at)
{
    for (std::size_t i = 0; i < m_segment.size() && at != nowhere; ++i)
        at = m_pattern.matchStep(m_segment[i], m_scans[i],
                                 i + 1 < m_segment.size() ? &m_scans[i + 1] : nullptr, m_text, at,
                                 nullptr);
    return at;
}

Pattern::Span Pattern::Search::find(std::size_t from)
{
    if (m_segment.empty())
        return from <= m_text.size() ? Span{from, from} : Span{};
    for (std::size_t at = m_scans.front().find(m_text, from); at != nowhere;
         at = m_scans.front().find(m_text, at + 1)) {
        if (const std::size_t end = endAt(at); end != nowhere)
            return {at, end};
    }
    return {};
}

Pattern::Span Pattern::find(const Segment& segment, TextView text, std::size_t from) const
{
    return Search(*this, segment, text).find(from);
}

Pattern::Span Pattern::findLast(const Segment& segment, TextView text, std::size_t from) const
{
    if (segment.empty())
        return {text.size(), text.size()};
    Search search(*this, segment, text);
    Span last;
    for (Span span = search.find(from); span.isFound(); span = search.find(span.begin + 1))
        last = span;
    return last;
}

Pattern::Span Pattern::findAtEnd(const Segment& segment, TextView text, std::size_t from) const
{
    if (segment.empty())
        return {text.size(), text.size()};
    if (segment.size() == 1 && segment.front().hole < 0) {
        const std::u16string& literal = segment.front().text.text();
        if (from + literal.size() > text.size() || !text.ends_with(literal))
            return {};
        return {text.size() - literal.size(), text.size()};
    }
    Search search(*this, segment, text);
    Span span = search.find(from);
    while (span.isFound() && span.end != text.size())
        span = search.find(span.begin + 1);
    return span;
}

std::size_t Pattern::beginsAt(TextView text, std::size_t at) const
{
    return matchAt(m_segments.front(), text, at, nullptr);
}

std::size_t Pattern::findBeginning(TextView text, std::size_t from) const
{
    return find(m_segments.front(), text, from).begin;
}

std::size_t Pattern::lineBreaks() const
{
    std::size_t count = 0;
    for (const Segment& segment : m_segments) {
        for (const Step& step : segment)
            count +=
                std::size_t(std::count(step.text.text().begin(), step.text.text().end(), u'\n'));
    }
    return count;
}

std::size_t Pattern::fixedLength() const
{
    std::size_t length = 0;
    for (const Segment& segment : m_segments) {
        for (const Step& step : segment)
            length += step.text.text().size();
    }
    return length;
}

std::size_t Pattern::endLengthMax() const
{
    std::size_t length = 0;
    for (const Step& step : m_segments.back())
        length += step.text.text().size() + (step.hole < 0 ? 0 : numberMax);
    return length;
}

bool Pattern::match(TextView text, std::vector<TextView>& values) const
{
    values.assign(m_holes.size(), {});
    const auto fill = [&](std::size_t textHole, std::size_t begin, std::size_t end) {
        values[static_cast<std::size_t>(m_textHoles[textHole])] = text.substr(begin, end - begin);
    };
    std::size_t left = matchAt(m_segments.front(), text, 0, &values);
    if (left == nowhere || m_textHoles.empty())
        return left == text.size();

    // From both sides towards the description, which may hold whatever stands around it.
    Span span = findAtEnd(m_segments.back(), text, left);
    if (!span.isFound())
        return false;
    matchAt(m_segments.back(), text, span.begin, &values);
    std::size_t right = span.begin;
    for (std::size_t i = 0; i < m_greediest; ++i) {
        span = find(m_segments[i + 1], text.substr(0, right), left);
        if (!span.isFound())
            return false;
        matchAt(m_segments[i + 1], text, span.begin, &values);
        fill(i, left, span.begin);
        left = span.end;
    }
    for (std::size_t i = m_textHoles.size() - 1; i > m_greediest; --i) {
        span = findLast(m_segments[i], text.substr(0, right), left);
        if (!span.isFound())
            return false;
        matchAt(m_segments[i], text, span.begin, &values);
        fill(i, span.end, right);
        right = span.begin;
    }
    fill(m_greediest, left, right);
    return true;
}

std::size_t Pattern::matchFront(TextView text, std::vector<TextView>& values) const
{
    values.assign(m_holes.size(), {});
    std::size_t at = matchAt(m_segments.front(), text, 0, &values);
    for (std::size_t i = 0; i < m_textHoles.size() && at != nowhere; ++i) {
        const Span span = find(m_segments[i + 1], text, at);
        if (!span.isFound())
            return nowhere;
        matchAt(m_segments[i + 1], text, span.begin, &values);
        values[static_cast<std::size_t>(m_textHoles[i])] = text.substr(at, span.begin - at);
        at = span.end;
    }
    return at;
}

} // namespace zmu_tools::logs
