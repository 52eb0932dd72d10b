#include "Spool.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

using namespace cs4s3;

namespace {

constexpr u64 second = 1000; // milliseconds
constexpr u64 minute = 60 * second;

constinit Spool s_spool;

} // namespace

bool cs4s3::readSize(const char* text, u64& size)
{
    const char* const last = text + std::strlen(text);
    const auto [end, error] = std::from_chars(text, last, size);
    return error == std::errc() && end == last && size != 0;
}

Spool& Spool::ofProcess()
{
    return s_spool;
}

std::string_view Spool::origin()
{
    if (!m_isDescribed.load(std::memory_order_acquire)) {
        const SpoolGuard guard;
        if (!guard.isHeld())
            return {};
        if (!m_isDescribed.load(std::memory_order_relaxed)) {
            describeProcess(m_origin);
            m_originSize = static_cast<std::size_t>(zmu_spool::putOrigin(m_originText, m_origin) -
                                                    m_originText);
            m_isDescribed.store(true, std::memory_order_release);
        }
    }
    return {m_originText, m_originSize};
}

bool Spool::append(char* text, const char* end)
{
    const SpoolGuard guard;
    if (!guard.isHeld())
        return false;
    const char* const line = zmu_spool::putFront(text, ++m_sequence);
    const auto size = static_cast<std::size_t>(end - line);
    if (size > zmu_spool::longestLine)
        return refuse({"a line would be longer than 16 MiB", 0});
    return isReadyFor(size) && write(line, size);
}

bool Spool::write(const char* line, std::size_t size)
{
    int error = 0;
    const std::size_t written = appendTo(m_file, line, size, error);
    if (written == size) {
        m_size += size;
        m_allotment -= size;
        return true;
    }
    // What is torn is taken away at once. If it stays, it ends its file.
    if (!isForWantOfRoom(error) || (written != 0 && !cutBack(m_file, written)))
        close();
    return refuse({"the spool file cannot be written", error});
}

/// Whether a line of that size may be written to the file, another one than before if need be.
bool Spool::isReadyFor(std::size_t size)
{
    const u64 now = steadyMilliseconds();
    if (now >= m_nextLook) {
        m_nextLook = now + second;
        if (m_file != noFile && !isNamed(m_file))
            close();
    }
    const u64 limit = fileSizeLimit();
    if (m_size != 0 && m_size + size > std::min(limit, m_settings.fileSize))
        close();
    if (size > limit)
        return refuse({"a line is larger than the process may make a file", 0});
    if (m_file != noFile && size <= m_allotment && now < m_allotmentEnd)
        return true;
    if (now < m_nextAttempt)
        return false;
    m_nextAttempt = now + second;
    if (!prepare(size))
        return false;
    m_nextAttempt = 0;
    return true;
}

bool Spool::prepare(std::size_t size)
{
    if (!m_isSettled) {
        m_settings = {};
        if (const Obstacle obstacle = obtainSettings(m_settings); obstacle.isThere())
            return refuse(obstacle);
    }
    m_isSettled = false; // unless all goes well
    if (m_file == noFile) {
        if (const Obstacle obstacle = openNext(); obstacle.isThere())
            return refuse(obstacle);
    }
    if (const Obstacle obstacle = allot(size); obstacle.isThere())
        return refuse(obstacle);
    m_isSettled = true;
    return true;
}

/// Gives this process its share of the room that is left in the folder. The less there is, the
/// sooner the folder is measured again: writers that know nothing of each other keep to its limit
/// all the same, but for what each of them writes in between.
Obstacle Spool::allot(std::size_t size)
{
    constexpr u64 smallest = 0x10000;
    FolderUse use;
    if (const int error = measureFolder(m_settings.folder, use))
        return {"the spool folder cannot be listed", error};
    const u64 room = m_settings.folderSize - std::min(use.bytes, m_settings.folderSize);
    const u64 share = std::max(room / std::max<u64>(use.writers, 1), smallest);
    m_allotment = std::min({room, std::max<u64>(share, size), m_settings.fileSize + size});
    m_allotmentEnd = steadyMilliseconds() + minute;
    return m_allotment < size ? Obstacle{"the spool folder has reached its limit", 0} : Obstacle{};
}

Obstacle Spool::openNext()
{
    constexpr int attempts = 16;
    char name[zmu_spool::fileNameQty];
    int error = 0;
    for (int i = 0; i < attempts; ++i) {
        zmu_spool::composeFileName(name, m_origin, ++m_filesCount);
        File file = noFile;
        error = createFile(m_settings.folder, name, file);
        if (error == 0) {
            m_file = file;
            m_size = 0;
            return {};
        }
        if (!isNameTaken(error))
            break;
    }
    return {"no file can be made in the spool folder", error};
}

void Spool::close()
{
    // In this order: a child that is forked off in between must not close a number that has come to
    // mean another file.
    closeFile(m_file.exchange(noFile));
    m_size = 0;
}

void Spool::beginAnew()
{
    closeFile(m_file.exchange(noFile));
    m_isDescribed.store(false, std::memory_order_relaxed);
    m_sequence = 0;
    m_isSettled = false;
    m_filesCount = 0;
    m_size = 0;
    m_allotment = 0;
    m_nextLook = 0;
    m_nextAttempt = 0;
    m_toldWhat = nullptr;
    m_nextTelling = 0;
}

/// Tells an obstacle once, and once a minute for as long as it stays. Always false.
bool Spool::refuse(const Obstacle& obstacle)
{
    const u64 now = steadyMilliseconds();
    const bool isNew = obstacle.what != m_toldWhat || obstacle.error != m_toldError;
    if (!isNew && now < m_nextTelling)
        return false;
    m_toldWhat = obstacle.what;
    m_toldError = obstacle.error;
    m_nextTelling = now + minute;
    char reason[256] = "";
    if (obstacle.error != 0)
        explain(obstacle.error, reason, sizeof reason);
    char line[2048]; // in one piece on a pipe, too
    std::snprintf(line, sizeof line, "cs4s3: situation %llu was refused: %s%s%s; folder \"%s\".\n",
                  static_cast<unsigned long long>(m_sequence), obstacle.what, *reason ? ": " : "",
                  reason, m_settings.folder);
    tell(line);
    return false;
}
