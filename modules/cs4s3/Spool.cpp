#include "Spool.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

using namespace cs4s3;

namespace {

constexpr u64 second = 1000; // milliseconds
constexpr u64 minute = 60 * second;
constexpr u64 never = std::numeric_limits<u64>::max();

// ---- The limit of the folder ------------------------------------------------------------------
//
// Processes share the folder and know nothing of each other but their files. By a rule for all of
// them a file does not grow by more than its share, which is told by its size, from one look of its
// writer at the folder to the next. So whoever looks counts for each file that may have a writer
// what that may have been allotted, and not written yet: however many look at once, what they are
// allotted fits into the limit.

constexpr u64 allotmentTime = 20 * second;
/// A writer shows that there is one, unless it has done so within this time, before it looks.
constexpr u64 signTime = 5 * second;
/// Files without a sign for so many seconds have no allotment: longer than both together.
constexpr i64 deadAge = 30;

/// Bytes by which a file of that size may grow. Any line of the library is smaller.
u64 shareOf(u64 size, u64 folderSize)
{
    constexpr u64 smallest = 0x2000;
    constexpr u64 largest = 0x10000;
    return std::max(size / 8, std::clamp(folderSize / 0x10000, smallest, largest));
}

/// What is left of the folder's limit.
class Room final : public FolderUse {
  public:
    Room(u64 limit, std::string_view ownFile)
        : m_limit(limit), m_left(limit), m_own(withoutNumber(ownFile))
    {}

    void add(std::string_view name, u64 size, i64 age) override
    {
        take(size);
        if (age < deadAge && withoutNumber(name) != m_own)
            take(shareOf(size, m_limit));
    }
    u64 left() const { return m_left; }

  private:
    void take(u64 bytes) { m_left -= std::min(bytes, m_left); }
    /// Of all files of a process the same.
    static std::string_view withoutNumber(std::string_view name)
    {
        return name.substr(0, name.rfind('_'));
    }

    const u64 m_limit;
    u64 m_left;
    const std::string_view m_own;
};

// ---- The process ------------------------------------------------------------------------------

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
    if (const u64 process = processNumber(); s_spool.m_process != process)
        s_spool.beginWith(process);
    return s_spool;
}

/// Several threads may come here at once, in a child that was made by a bare system call.
void Spool::beginWith(u64 process)
{
    constexpr u64 isBeginning = u64(1) << 63;
    u64 known = 0;
    if (m_process.compare_exchange_strong(known, process))
        return; // nobody had it
    while (known != process) {
        if (known == (process | isBeginning)) {
            giveWay();
            known = m_process;
        } else if (m_process.compare_exchange_weak(known, process | isBeginning)) {
            beginAnew();
            m_process = process;
            return;
        }
    }
}

void Spool::beginAnew()
{
    SpoolGuard::forget();
    closeFile(m_file);
    m_isDescribed = false;
    m_sequence = 0;
    m_isSettled = false;
    m_filesCount = 0;
    m_size = 0;
    m_sizeAllowed = 0;
    m_nextCheck = 0;
    m_nextAttempt = 0;
    m_toldWhat = nullptr;
    m_nextTelling = 0;
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
    Look ahead;
    bool isTaken = false;
    bool looksAhead = false;
    {
        const SpoolGuard guard;
        if (!guard.isHeld())
            return false;
        const char* const line = zmu_spool::putFront(text, ++m_sequence);
        const auto size = static_cast<std::size_t>(end - line);
        if (size > zmu_spool::longestLine)
            return refuse({"a line would be longer than 16 MiB", 0});
        isTaken = isReadyFor(size) && write(line, size);
        looksAhead =
            isTaken && (m_size >= m_sizeToLookAt || steadyMilliseconds() >= m_timeToLookAt);
        if (looksAhead)
            beginLook(ahead);
    }
    if (looksAhead) {
        u64 room = 0;
        const int error = measure(ahead, room);
        const SpoolGuard guard;
        if (guard.isHeld() && error == 0 && m_allotmentsCount == ahead.number && m_file != noFile)
            endLook(ahead, 0, room);
    }
    return isTaken;
}

void Spool::refuseNext(const char* what)
{
    const SpoolGuard guard;
    if (!guard.isHeld())
        return;
    ++m_sequence;
    refuse({what, 0});
}

bool Spool::write(const char* line, std::size_t size)
{
    int error = 0;
    const std::size_t written = appendTo(m_file, line, size, error);
    if (written == size) {
        m_size += size;
        return true;
    }
    // What is torn is taken away at once. If it stays, it ends its file.
    const bool isTorn = written != 0 && !cutBack(m_file, written);
    if (isTorn || !isForWantOfRoom(error)) {
        const bool isEmpty = m_size == 0 && !isTorn;
        close();
        if (isEmpty)
            removeFile(m_settings.folder, m_fileName);
        m_nextAttempt = steadyMilliseconds() + second;
    }
    return refuse({"the spool file cannot be written", error});
}

/// Whether a line of that size may be written to the file, another one than before if need be.
bool Spool::isReadyFor(std::size_t size)
{
    const u64 now = steadyMilliseconds();
    if (now >= m_nextCheck) {
        m_nextCheck = now + second;
        if (m_file != noFile && !isNamed(m_file))
            close();
    }
    const u64 limit = fileSizeLimit();
    if (m_size != 0 && m_size + size > std::min(limit, m_settings.fileSize))
        close();
    if (size > limit)
        return refuse({"a line is larger than the process may make a file", 0});
    if (m_file != noFile && m_size + size <= m_sizeAllowed && now < m_allotmentEnd)
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
        if (const Obstacle obstacle = settle(); obstacle.isThere())
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

Obstacle Spool::settle()
{
    Settings settings;
    try {
        if (const Obstacle obstacle = obtainSettings(settings); obstacle.isThere())
            return obstacle;
    } catch (...) {
        return {"there is no memory to read the settings", 0};
    }
    if (std::strcmp(settings.folder, m_settings.folder) != 0)
        close(); // whoever collects is not there any more
    m_settings = settings;
    return {};
}

/// Gives the file the share that it may grow by, for a line of `size` bytes at least.
Obstacle Spool::allot(std::size_t size)
{
    m_sizeAllowed = 0;
    ++m_allotmentsCount;
    Look look;
    beginLook(look);
    u64 room = 0;
    if (const int error = measure(look, room))
        return {"the spool folder cannot be listed", error};
    if (room < size)
        return {"the spool folder has reached its limit", 0};
    endLook(look, size, room);
    return {};
}

void Spool::beginLook(Look& look)
{
    m_sizeToLookAt = m_timeToLookAt = never; // by another thread, too
    look.number = m_allotmentsCount;
    look.time = steadyMilliseconds();
    look.size = m_size;
    look.folderSize = m_settings.folderSize;
    std::strcpy(look.folder, m_settings.folder);
    std::strcpy(look.fileName, m_fileName);
    if (look.time >= m_nextSign) {
        m_nextSign = look.time + signTime;
        giveSign(m_file);
    }
}

/// 0 on success.
int Spool::measure(const Look& look, u64& room)
{
    Room left(look.folderSize, look.fileName);
    const int error = measureFolder(look.folder, left);
    room = left.left();
    return error;
}

void Spool::endLook(const Look& look, std::size_t size, u64 room)
{
    const u64 share = std::min(std::max<u64>(shareOf(look.size, look.folderSize), size), room);
    m_sizeAllowed = look.size + share;
    m_allotmentEnd = look.time + allotmentTime;
    m_sizeToLookAt = look.size + share / 2;
    m_timeToLookAt = look.time + allotmentTime / 2;
}

Obstacle Spool::openNext()
{
    constexpr int attempts = 16;
    int error = 0;
    for (int i = 0; i < attempts; ++i) {
        zmu_spool::composeFileName(m_fileName, m_origin, ++m_filesCount);
        m_nextSign = steadyMilliseconds() + signTime; // which the making is
        error = createFile(m_settings.folder, m_fileName, m_file);
        if (error == 0)
            return {};
        if (!isNameTaken(error))
            break;
    }
    return {"no file can be made in the spool folder", error};
}

void Spool::close()
{
    closeFile(m_file);
    m_size = 0;
    m_sizeAllowed = 0;
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
    const bool isSettled = *m_settings.folder != '\0';
    std::snprintf(line, sizeof line,
                  "cs4s3: number %llu of this process was refused: %s%s%s%s%s%s.\n",
                  static_cast<unsigned long long>(m_sequence), obstacle.what, *reason ? ": " : "",
                  reason, isSettled ? "; folder \"" : "", m_settings.folder, isSettled ? "\"" : "");
    tell(line);
    return false;
}
