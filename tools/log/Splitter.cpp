#include "Splitter.h"

#include <algorithm>

namespace zmu_tools::logs {

Splitter::Splitter(const Form& form, TextView text, Ending ending)
    : m_form(form), m_text(text), m_ending(ending), m_end(text.size())
{
    if (ending != Ending::Window)
        findTail();
    m_end = std::min(m_tail, m_end);
}

void Splitter::findTail()
{
    std::vector<TextView> values;
    const std::size_t first = m_text.size() - std::min(m_text.size(), entryMax);
    const auto tryAt = [&](std::size_t at) {
        if (m_form.tail.match(m_text.substr(at), values))
            m_tail = at;
    };
    if (m_form.hasTail) {
        for (std::size_t at = m_form.tail.findBeginning(m_text, first);
             at != nowhere && at < m_text.size(); at = m_form.tail.findBeginning(m_text, at + 1))
            tryAt(at);
    } else if (m_form.hasTailLines) {
        std::size_t before = m_text.size(); // the line break in front of the tail, in the end
        for (std::size_t left = m_form.tail.lineBreaks() + 1; left > 0 && before != nowhere; --left)
            before = before > first ? m_text.rfind(u'\n', before - 1) : nowhere;
        const std::size_t at = before + 1; // nowhere + 1 is 0
        const Pattern& body = m_form.body;
        if (at >= first && !(body.hasBeginning() && body.beginsAt(m_text, at) != nowhere))
            tryAt(at);
    }
}

Part Splitter::head(std::size_t at, std::vector<TextView>& values) const
{
    const std::size_t length = m_form.head.matchFront(m_text.substr(at), values);
    if (m_form.hasHead && length != nowhere)
        return {Part::Kind::Head, at, at + length};
    if (m_ending == Ending::Window && m_text.size() < headMax)
        return {Part::Kind::More, at, at};
    const std::size_t entry =
        m_form.body.hasBeginning() ? m_form.body.findBeginning(m_text, at) : nowhere;
    if (entry != nowhere)
        return {Part::Kind::UnknownHead, at, entry};
    return {m_ending == Ending::Live ? Part::Kind::Unsure : Part::Kind::Raw, at, m_text.size()};
}

Part Splitter::next(std::size_t at, std::vector<TextView>& values)
{
    Part part = partAt(at, values);
    std::vector<TextView> others;
    while (part.kind == Part::Kind::Raw) { // one text, however often an entry seems to begin in it
        const Part more = partAt(part.end, others);
        if (more.kind != Part::Kind::Raw && more.kind != Part::Kind::Unsure)
            break;
        part = {more.kind, at, more.end};
    }
    return part;
}

Part Splitter::partAt(std::size_t at, std::vector<TextView>& values)
{
    if (at >= m_end)
        return {Part::Kind::Tail, at, m_text.size()};
    if (m_ending == Ending::Window && m_text.size() - at < 2 * entryMax)
        return {Part::Kind::More, at, at};
    if (m_text[at] == u'\0')
        return {Part::Kind::Zeros, at,
                std::min(m_text.find_first_not_of(u'\0', at), m_text.size())};
    const std::size_t behindBeginning = m_form.body.beginsAt(m_text.substr(0, m_end), at);
    if (behindBeginning == nowhere)
        return rawAt(at);
    const std::size_t end = endOfEntry(at, behindBeginning);
    if (end == nowhere)
        return rawAt(at);
    const bool isEntry = m_form.body.match(m_text.substr(at, end - at), values);
    return {isEntry ? Part::Kind::Entry : Part::Kind::Raw, at, end};
}

/// Where an entry seems to begin; what was found last counts as long as it lies ahead.
std::size_t Splitter::nextBeginning(std::size_t from)
{
    if (!m_form.body.hasBeginning())
        return nowhere;
    if (from < m_soughtFrom || from > m_beginning) {
        m_soughtFrom = from;
        m_beginning = m_form.body.findBeginning(m_text, from);
    }
    return m_beginning;
}

Part Splitter::rawAt(std::size_t at)
{
    std::size_t end = std::min(nextBeginning(at + 1), m_end);
    end = std::min(end, m_text.substr(0, end).find(u'\0', at));
    if (m_ending == Ending::Window)
        end = std::min(end, m_text.size() - entryMax); // an entry may begin there
    const bool isLast = end == m_text.size();
    if (isLast && !m_form.hasTail && m_form.body.beginsAt(m_text, at) == nowhere)
        return {Part::Kind::Tail, at, end};
    return {isLast && m_ending == Ending::Live ? Part::Kind::Unsure : Part::Kind::Raw, at, end};
}

bool Splitter::isBoundary(std::size_t at) const
{
    return at == m_end || m_form.body.beginsAt(m_text.substr(0, m_end), at) != nowhere;
}

std::size_t Splitter::endOfEntry(std::size_t at, std::size_t behindBeginning)
{
    const Pattern& body = m_form.body;
    const std::size_t limit = std::min(m_end, at + entryMax);
    const TextView window = m_text.substr(0, limit);

    // A beginning with numbers is one wherever it stands; any other text could have another one.
    const bool isStrong = body.hasStrongBeginning();
    std::size_t next = isStrong ? body.findBeginning(window, behindBeginning) : nowhere;
    if (next == nowhere && isStrong && limit == m_tail)
        next = m_tail;
    std::vector<TextView> values;
    if (next != nowhere && body.match(m_text.substr(at, next - at), values))
        return next;

    const TextView rest = window.substr(0, next);
    if (!body.hasEnd())
        return nowhere;
    Pattern::Search ends = body.searchEnds(rest);
    const Pattern::Span first = ends.find(std::max(behindBeginning, m_endless));
    const std::size_t known = rest.size() - std::min(rest.size(), body.endLengthMax());
    if (!first.isFound()) {
        m_endless = std::max(m_endless, known);
        return nowhere;
    }
    if (isStrong || isBoundary(first.end))
        return first.end;
    for (Pattern::Span end = ends.find(std::max(first.begin + 1, m_amid)); end.isFound();
         end = ends.find(end.begin + 1)) {
        if (isBoundary(end.end))
            return end.end;
    }
    m_amid = std::max(m_amid, known);
    return first.end;
}

} // namespace zmu_tools::logs
