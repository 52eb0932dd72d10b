#include <spool/Positions.h>

#include <spool/SealedText.h>

#include <QByteArray>

#include <charconv>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <unordered_set>
#include <utility>

using namespace zmu_spool;
using zmu::i64;
using zmu::u64;

namespace {

constexpr std::string_view firstLine = "zmu positions 2\n";
constexpr std::size_t largestFile = 0x2000000;
constexpr i64 hour = 3600;
constexpr i64 week = 168 * hour;

i64 now()
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

/// A text as one word.
std::string encoded(const std::string& text)
{
    return QByteArray::fromStdString(text).toPercentEncoding("/").toStdString();
}

std::string decoded(std::string_view word)
{
    return QByteArray::fromPercentEncoding({word.data(), qsizetype(word.size())}).toStdString();
}

/// Takes what stands before `separator`, and that, off `text`.
std::string_view take(std::string_view& text, char separator)
{
    const std::size_t length = text.find(separator);
    const std::string_view part = text.substr(0, length);
    text.remove_prefix(length == text.npos ? text.size() : length + 1);
    return part;
}

template <class Number>
bool isNumber(std::string_view text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/// The part of a file's name, or of a source, that tells the process.
std::string_view processPart(std::string_view text, bool isFile)
{
    text.remove_prefix(text.rfind('/') + 1);
    return isFile ? text.substr(0, text.rfind('_')) : text;
}

} // namespace

std::string SpoolFile::path() const
{
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

Positions::Positions(std::string path) : m_path(std::move(path))
{
    if (m_path.empty())
        return;
    m_lock = lockFile(m_path + ".lock");
    if (m_lock == noSystemFile)
        fail("another process uses it; end that, or give this one a file of its own");
    try {
        std::string text;
        bool isMissing = false;
        if (const std::string why = readWholeFile(m_path, largestFile, text, isMissing);
            !why.empty())
            fail("it cannot be read: " + why);
        m_isKept = !isMissing;
        if (m_isKept)
            read(text);
    } catch (...) {
        unlockFile(m_lock);
        throw;
    }
}

Positions::~Positions()
{
    unlockFile(m_lock);
}

void Positions::fail(const std::string& what) const
{
    throw std::runtime_error("the positions of " + m_path + ": " + what);
}

void Positions::read(const std::string& text)
{
    const auto refuse = [this](const std::string& why) {
        fail(why +
             ". Nothing is read, since it would not be known what was read "
             "before. Bring back an older file, for which some lines come twice; or remove it, and "
             "all that is in the spools comes once more. One of another version can be removed "
             "when that version has read the spools to their end, with --once");
    };
    std::string_view lines = text;
    if (const std::string why = unseal(lines, firstLine); !why.empty())
        refuse(why);
    const i64 present = now();
    while (!lines.empty()) {
        std::string_view line = take(lines, '\n');
        const std::string_view kind = take(line, ' ');
        if (kind == "note") {
            m_note = decoded(line);
            continue;
        }
        Entry entry;
        if ((kind != "file" && kind != "source") || !isNumber(take(line, ' '), entry.value) ||
            !isNumber(take(line, ' '), entry.time))
            refuse("the file is damaged");
        std::string name = decoded(line);
        // Somebody has removed it; but one that is merely not mounted comes back.
        const bool isStale =
            kind == "file" && entry.time < present - week && SpoolHandle(name).isMissing();
        if (!isStale)
            (kind == "file" ? m_files : m_sources).emplace(std::move(name), entry);
    }
}

u64 Positions::positionOf(const SpoolFile& file) const
{
    const auto entry = m_files.find(file.path());
    return entry == m_files.end() ? 0 : entry->second.value;
}

u64 Positions::sequenceOf(const SpoolFile& file) const
{
    const auto entry = m_sources.find(file.source);
    return entry == m_sources.end() ? 0 : entry->second.value;
}

void Positions::confirm(const Mark& mark)
{
    const i64 present = now();
    m_files[mark.file->path()] = {mark.position, present};
    m_sources[mark.file->source] = {mark.sequence, present};
    m_isChanged = true;
}

void Positions::forget(const SpoolFile& file)
{
    if (m_files.erase(file.path()) == 0)
        return;
    if (const auto entry = m_sources.find(file.source); entry != m_sources.end())
        entry->second.time = now();
    m_isChanged = true;
}

void Positions::setNote(std::string note)
{
    m_isChanged = m_isChanged || note != m_note;
    m_note = std::move(note);
}

/// Forgets processes without a file that were not heard of for an hour, and the oldest of them
/// while they are very many.
void Positions::prune()
{
    constexpr std::size_t many = 4096;
    std::unordered_set<std::string_view> present;
    for (const auto& [path, entry] : m_files)
        present.insert(processPart(path, true));
    const auto forgetBefore = [&](i64 time) {
        return std::erase_if(m_sources, [&](const auto& source) {
            return source.second.time < time && !present.contains(processPart(source.first, false));
        });
    };
    i64 patience = hour;
    while (forgetBefore(now() - patience), m_sources.size() > m_files.size() + many && patience > 0)
        patience /= 2;
}

void Positions::save()
{
    if (!m_isChanged || m_path.empty())
        return;
    prune();
    std::string text(firstLine);
    const auto append = [&text](std::string_view kind, const Entries& entries) {
        for (const auto& [name, entry] : entries) {
            text.append(kind).append(std::to_string(entry.value)).append(" ");
            text.append(std::to_string(entry.time)).append(" ").append(encoded(name)).append("\n");
        }
    };
    if (!m_note.empty())
        text.append("note ").append(encoded(m_note)).append("\n");
    append("file ", m_files);
    append("source ", m_sources);
    if (const std::string why = replaceFile(m_path, sealed(std::move(text))); !why.empty())
        fail("they cannot be written: " + why);
    m_isKept = true;
    m_isChanged = false;
}
