#include "ServedPositions.h"

#include <QDateTime>
#include <QRandomGenerator>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zmu_tools::collect {

namespace {

constexpr zmu::i64 week = 7 * 86400;
constexpr std::size_t sourcesMax = 100000;
constexpr char title[] = "zmu-collect-server-1";

} // namespace

ServedPositions::ServedPositions(std::string path) : m_path(std::move(path))
{
    m_lock = zmu_spool::lockFile(m_path + ".lock");
    if (m_lock == zmu_spool::noSystemFile)
        throw std::runtime_error(m_path + " is in use by another collector");
    constexpr std::size_t sizeMax = 64 << 20;
    std::string text;
    bool isMissing = false;
    const std::string why = zmu_spool::readWholeFile(m_path, sizeMax, text, isMissing);
    if (!why.empty() && !isMissing)
        throw std::runtime_error(m_path + " cannot be read: " + why);
    if (!isMissing) {
        read(text);
        return;
    }
    const quint64 number = QRandomGenerator::system()->generate64();
    m_id = QByteArray::number(number, 16).toStdString();
}

ServedPositions::~ServedPositions()
{
    zmu_spool::unlockFile(m_lock);
}

void ServedPositions::read(const std::string& text)
{
    std::istringstream lines(text);
    std::string begin, end;
    std::size_t qty = 0;
    lines >> begin >> m_id >> m_place >> m_since >> qty;
    std::string source;
    for (Last last; m_sources.size() < qty && lines >> source >> last.sequence >> last.time;)
        m_sources[source] = last;
    lines >> end;
    if (begin != title || end != "end" || m_sources.size() != qty ||
        !std::all_of(m_id.begin(), m_id.end(), [](unsigned char c) { return std::isalnum(c); }))
        throw std::runtime_error(m_path +
                                 " is damaged. Without it all that the servers still have is "
                                 "collected once more, by a collector that they do not know");
}

zmu::u64 ServedPositions::lastOf(const std::string& source) const
{
    const auto found = m_sources.find(source);
    return found == m_sources.end() ? 0 : found->second.sequence;
}

void ServedPositions::setLast(const std::string& source, zmu::u64 sequence)
{
    Last& last = m_sources[source];
    last = {std::max(last.sequence, sequence), QDateTime::currentSecsSinceEpoch()};
}

void ServedPositions::save(zmu::u64 place, zmu::i64 since)
{
    forgetOld();
    m_place = place;
    m_since = since;
    std::ostringstream text;
    text << title << ' ' << m_id << ' ' << m_place << ' ' << m_since << ' ' << m_sources.size()
         << '\n';
    for (const auto& [source, last] : m_sources)
        text << source << ' ' << last.sequence << ' ' << last.time << '\n';
    text << "end\n";
    const std::string why = zmu_spool::replaceFile(m_path, text.str());
    if (!why.empty())
        throw std::runtime_error(m_path + " cannot be written: " + why);
}

void ServedPositions::forgetOld()
{
    const zmu::i64 before = QDateTime::currentSecsSinceEpoch() - week;
    std::erase_if(m_sources, [before](const auto& each) { return each.second.time < before; });
    if (m_sources.size() <= sourcesMax)
        return;
    std::vector<std::pair<zmu::i64, std::string>> all;
    for (const auto& [source, last] : m_sources)
        all.emplace_back(last.time, source);
    const std::size_t qty = all.size() - sourcesMax;
    std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(qty), all.end());
    for (std::size_t i = 0; i < qty; ++i)
        m_sources.erase(all[i].second);
}

} // namespace zmu_tools::collect
