#include "ServedPositions.h"

#include <spool/SealedText.h>

#include <QDateTime>
#include <QRandomGenerator>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zmu_tools::collect {

namespace {

constexpr std::size_t sourcesMax = 100000;
constexpr char title[] = "zmu served positions 2\n";

} // namespace

ServedPositions::ServedPositions(std::string path, zmu::i64 memory)
    : m_path(std::move(path)), m_memory(memory)
{
    m_lock = zmu_spool::lockFile(m_path + ".lock");
    if (m_lock == zmu_spool::noSystemFile)
        throw std::runtime_error(m_path + " is in use by another collector");
    bool isMissing = false;
    try {
        constexpr std::size_t sizeMax = 64 << 20;
        std::string text;
        const std::string why = zmu_spool::readWholeFile(m_path, sizeMax, text, isMissing);
        if (!why.empty() && !isMissing)
            throw std::runtime_error(m_path + " cannot be read: " + why);
        if (!isMissing)
            read(text);
    } catch (...) {
        zmu_spool::unlockFile(m_lock);
        throw;
    }
    if (!isMissing)
        return;
    const quint64 number = QRandomGenerator::system()->generate64();
    m_id = QByteArray::number(number, 16).toStdString();
}

ServedPositions::~ServedPositions()
{
    zmu_spool::unlockFile(m_lock);
}

void ServedPositions::refuse(const std::string& why) const
{
    throw std::runtime_error(
        "the positions of " + m_path + ": " + why +
        ". Bring back an older file, and what is in the logs already is passed over; or remove it, "
        "and this is a collector that the servers do not know: it takes new processes, tells which "
        "ID the old one had when something comes from those that this has taken, and takes them "
        "over if it is started again with --take-over and that ID");
}

void ServedPositions::read(std::string_view text)
{
    if (const std::string why = zmu_spool::unseal(text, title); !why.empty())
        refuse(why);
    std::istringstream lines{std::string(text)};
    std::size_t logsQty = 0;
    lines >> m_id >> m_since >> m_bookmark.place >> m_bookmark.time >> m_bookmark.streamMade >>
        m_bookmark.highest >> logsQty;
    std::string log;
    while (m_logs.size() < logsQty && lines >> log)
        m_logs.push_back(
            QByteArray::fromPercentEncoding(QByteArray::fromStdString(log)).toStdString());
    std::string source;
    for (Last last; lines >> source >> last.sequence >> last.time;)
        m_sources[source] = last;
    if (!lines.eof() || m_logs.size() != logsQty ||
        !std::all_of(m_id.begin(), m_id.end(), [](unsigned char c) { return std::isalnum(c); }))
        refuse("the file is damaged");
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

void ServedPositions::save(const ship::Bookmark& bookmark, zmu::i64 since)
{
    forgetOld();
    m_bookmark = bookmark;
    m_since = since;
    std::ostringstream text;
    text << title << m_id << ' ' << m_since << '\n'
         << m_bookmark.place << ' ' << m_bookmark.time << ' ' << m_bookmark.streamMade << ' '
         << m_bookmark.highest << '\n'
         << m_logs.size();
    for (const std::string& log : m_logs)
        text << ' ' << QByteArray::fromStdString(log).toPercentEncoding("/").toStdString();
    text << '\n';
    for (const auto& [source, last] : m_sources)
        text << source << ' ' << last.sequence << ' ' << last.time << '\n';
    const std::string why = zmu_spool::replaceFile(m_path, zmu_spool::sealed(text.str()));
    if (!why.empty())
        throw std::runtime_error(m_path + " cannot be written: " + why);
}

void ServedPositions::forgetOld()
{
    const zmu::i64 before = QDateTime::currentSecsSinceEpoch() - m_memory;
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
