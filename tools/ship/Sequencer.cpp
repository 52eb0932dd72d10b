#include "Sequencer.h"

#include <algorithm>
#include <utility>
#include <vector>

using zmu::u64;

namespace zmu_tools::ship {

Sequencer::Sequencer(Last last, Take take, Limits limits)
    : m_last(std::move(last)), m_take(std::move(take)), m_limits(limits)
{}

void Sequencer::offer(Arrival arrival, Clock::time_point now)
{
    Source& source = sourceOf(arrival.source, now);
    if (arrival.sequence <= source.last) {
        handOnLate(source, arrival);
        return;
    }
    if (source.kept.contains(arrival.sequence))
        return; // it came before
    if (!arrival.after || *arrival.after <= source.last) {
        handOn(source, arrival);
        handOnKept(source);
        return;
    }
    if (source.kept.empty()) {
        source.since = now;
        m_waiting.insert(arrival.source);
    }
    source.bytes += arrival.text.size();
    m_bytes += arrival.text.size();
    m_places.insert(arrival.place);
    source.kept.emplace(arrival.sequence, std::move(arrival));
    makeRoom();
}

void Sequencer::pass(const std::string& source, u64 sequence, Clock::time_point now)
{
    Source& passed = sourceOf(source, now);
    if (sequence <= passed.last)
        return;
    passed.passedQty += sequence - passed.last;
    passed.last = sequence;
    handOnKept(passed);
}

void Sequencer::expire(Clock::time_point now)
{
    const std::set<std::string> waiting = m_waiting;
    for (const std::string& name : waiting) {
        Source& source = m_sources.at(name);
        while (!source.kept.empty() &&
               now - source.since >=
                   (source.last == 0 ? m_limits.firstPatience : m_limits.patience))
            giveUp(source);
    }
}

std::optional<u64> Sequencer::firstPlace() const
{
    return m_places.empty() ? std::nullopt : std::optional(*m_places.begin());
}

Sequencer::Source& Sequencer::sourceOf(const std::string& name, Clock::time_point now)
{
    auto found = m_sources.find(name);
    if (found == m_sources.end()) {
        if (m_sources.size() >= m_limits.sourcesQty)
            forgetResting();
        found = m_sources.try_emplace(name).first;
        found->second.last = m_last(name);
    }
    found->second.used = now;
    return found->second;
}

void Sequencer::handOn(Source& source, const Arrival& arrival)
{
    // Without a word on what was before nothing is known to be missing in front of the first.
    const bool isKnown = source.last != 0 || arrival.after;
    const u64 passedQty = std::exchange(source.passedQty, 0);
    m_take(arrival, {.missing = isKnown ? arrival.sequence - 1 - source.last + passedQty : 0,
                     .mayHaveBeenRead =
                         passedQty != 0 || (source.last == 0 && arrival.after.value_or(0) != 0)});
    source.last = arrival.sequence;
}

/// One that was given up is handed on all the same. Any other has come before.
void Sequencer::handOnLate(Source& source, const Arrival& arrival)
{
    auto gap = source.givenUp.upper_bound(arrival.sequence);
    if (gap == source.givenUp.begin() || (--gap)->second < arrival.sequence)
        return;
    const u64 first = gap->first, last = gap->second;
    source.givenUp.erase(gap);
    if (first < arrival.sequence)
        source.givenUp[first] = arrival.sequence - 1;
    if (arrival.sequence < last)
        source.givenUp[arrival.sequence + 1] = last;
    m_take(arrival, {.isLate = true});
}

/// Those whose turn it is.
void Sequencer::handOnKept(Source& source)
{
    while (!source.kept.empty()) {
        const Arrival& first = source.kept.begin()->second;
        if (first.sequence > source.last) {
            if (first.after > source.last)
                return;
            handOn(source, first);
        }
        takeOut(source);
    }
}

/// Waits no longer for what is missing before the first.
void Sequencer::giveUp(Source& source)
{
    constexpr std::size_t gapsQty = 64;
    const Arrival& first = source.kept.begin()->second;
    if (source.givenUp.size() == gapsQty)
        source.givenUp.erase(source.givenUp.begin());
    source.givenUp[source.last + 1] = first.sequence - 1;
    handOn(source, first);
    takeOut(source);
    handOnKept(source);
}

/// Forgets the first that is kept.
void Sequencer::takeOut(Source& source)
{
    const Arrival& first = source.kept.begin()->second;
    source.bytes -= first.text.size();
    m_bytes -= first.text.size();
    m_places.erase(first.place);
    if (source.kept.size() == 1)
        m_waiting.erase(first.source);
    source.kept.erase(source.kept.begin());
}

/// Whoever has the most kept waits no longer: one that sends numbers without an end costs nobody
/// else.
void Sequencer::makeRoom()
{
    while (m_bytes > m_limits.bytes) {
        const auto largest = std::max_element(
            m_waiting.begin(), m_waiting.end(), [this](const auto& one, const auto& other) {
                return m_sources.at(one).bytes < m_sources.at(other).bytes;
            });
        giveUp(m_sources.at(*largest));
    }
}

/// A tenth of those of which nothing is kept: the ones that were idle for longest.
void Sequencer::forgetResting()
{
    std::vector<std::pair<Clock::time_point, std::string>> resting;
    for (const auto& [name, source] : m_sources) {
        if (source.kept.empty())
            resting.emplace_back(source.used, name);
    }
    const std::size_t qty = std::min(resting.size(), m_limits.sourcesQty / 10 + 1);
    std::partial_sort(resting.begin(), resting.begin() + static_cast<std::ptrdiff_t>(qty),
                      resting.end());
    for (std::size_t i = 0; i < qty; ++i)
        m_sources.erase(resting[i].second);
}

} // namespace zmu_tools::ship
