// A log that comes back: what becomes of it when its file is taken away, or its process forks.
//
// The file is looked at once a second. What may have happened to it meanwhile, and what is done:
//
//     deleted        the entries since the last look are copied into a successor from the file,
//                    which is still open
//     moved          its entries are where it went; the next ones go to a successor
//     emptied, cut   the entries since stand behind a hole of zeros: they are copied into a
//                    successor, and the file ends with a tail where the hole began; one that has
//                    nothing left is removed
//
// Until a successor can be made, situations answer 120 and are counted.
#include <zmu/monitor/ZarnData.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/log/internal/LogText.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Clock.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Threads.h>

#include <QTextStream>

#include <algorithm>
#include <climits>
#include <limits>
#include <utility>

using namespace zmu;

namespace {

constexpr u64 interval = 1000; // milliseconds
constexpr int blockBytes = 8192;
constexpr std::size_t pathQty = 1024;

using Block = char16_t[blockBytes / sizeof(char16_t)];

/// Reads up to a block of units; how many there are, -1 where reading fails twice.
int readUnits(int file, int from, int to, Block& block)
{
    const i64 size = std::min(blockBytes, to - from);
    i64 count = readAt(file, from, reinterpret_cast<char*>(block), size);
    if (count < 0)
        count = readAt(file, from, reinterpret_cast<char*>(block), size);
    return count < 0 ? -1 : static_cast<int>(count / static_cast<i64>(sizeof *block));
}

bool isHole(int file, int position)
{
    Block block;
    return readUnits(file, position, position + int{sizeof *block}, block) == 1 && *block == 0;
}

/// Where zeros begin between two places of a file, -1 if nowhere: no text of a log has any. A hole
/// is at least as long as what was written in between, so that of very much not all need be read.
int findHole(int file, int from, int to)
{
    constexpr int blocksMax = 512;
    const int step = std::max(blockBytes, (to - from) / blocksMax / blockBytes * blockBytes);
    Block block;
    for (int start = from; start < to; start += std::min(step, to - start)) {
        const int count = std::max(readUnits(file, start, to, block), 0);
        const char16_t* const zero = std::find(block, block + count, u'\0');
        if (zero != block + count)
            return start + static_cast<int>((zero - block) * static_cast<int>(sizeof *block));
    }
    return -1;
}

/// Where the hole begins that is known to reach as far as `position`.
int findBeginning(int file, int position)
{
    constexpr int unit = sizeof(char16_t);
    int whole = 0; // units that are no hole, and from where on they are
    int hole = position / unit;
    while (whole < hole) {
        const int middle = whole + (hole - whole) / 2;
        if (isHole(file, middle * unit))
            hole = middle;
        else
            whole = middle + 1;
    }
    return hole * unit;
}

} // namespace

bool ZarnData::setLogRecovery(bool comesBack)
{
    const SectionGuard section(*this);
    return section.wasEntered() ? std::exchange(m_logWatch.isOn, comesBack) : m_logWatch.isOn;
}

void ZarnData::countLostSituation()
{
    if (m_logWatch.isOn && m_logWatch.lost < std::numeric_limits<ulong32>::max())
        ++m_logWatch.lost;
}

bool ZarnData::mayReplaceLog() const
{
    return !m_logWatch.isOn || m_logWatch.failTime == 0 ||
           steadyMilliseconds() - m_logWatch.failTime >= interval;
}

void ZarnData::watchNewLog()
{
    m_logWatch.forkCount = forkCount();
    m_logWatch.lookTime = steadyMilliseconds();
    m_logWatch.failTime = 0;
    m_logWatch.seenPosition = m_fileLog.m_tailPosition;
    m_logWatch.entries = 0;
}

void ZarnData::attendToLog()
{
    if (leaveLogOfParent())
        openSuccessor();
    if (!m_logWatch.isOn || m_isNotingSeries)
        return;
    if (!isOpen(m_fileLog.m_logStream)) {
        if (mayReplaceLog())
            openSuccessor();
    } else if (steadyMilliseconds() - m_logWatch.lookTime >= interval) {
        lookAtLog();
    }
    ++m_logWatch.entries; // the one that is about to be written
}

void ZarnData::lookAtLog()
{
    if (!getLogDevice())
        return;
    m_logWatch.lookTime = steadyMilliseconds();
    const LogPlace place = findLog();
    if (place == LogPlace::Here || place == LogPlace::Unsure)
        return;
    Zarn_TRACE(L"ZarnData::attendToLog () opens a new log, since this one was deleted, moved or "
               L"cut from outside: ");
    Zarn_TRACE(L"%ls\n", m_fileLog.m_logName);
    // A file that was moved is as good as before while there is no other.
    if (!openSuccessor() && place == LogPlace::Gone && !closeLogFile())
        m_fileLog.m_logStream = nullptr;
}

bool ZarnData::replaceFullLog()
{
    if (m_logWatch.isOn && getLogDevice() && findLog() == LogPlace::Unsure) {
        m_logWatch.failTime = steadyMilliseconds();
        return false; // what is no longer to be found there could not be taken along
    }
    return openSuccessor();
}

ZarnData::LogPlace ZarnData::findLog()
{
    const int file = getLogDevice()->file();
    const int tail = m_fileLog.m_tailPosition;
    const int seen = std::max(m_logWatch.seenPosition - int{sizeof(char16_t)}, 0);
    const FileIdentity log = identityOf(file);
    if (!log.isThere() || log.links == 0) {
        const bool isKept = keepStrayEntries(file, -1);
        return isKept == log.isThere() ? LogPlace::Gone : LogPlace::Unsure;
    }
    int hole = -1;
    if (log.size < tail)
        hole = static_cast<int>(log.size);
    else if (m_fileLog.m_logStream->encoding() == QStringConverter::Utf16)
        hole = findHole(file, seen, tail);
    if (hole >= 0) {
        const bool isKept = keepStrayEntries(file, hole == seen ? findBeginning(file, seen) : hole);
        return isKept ? LogPlace::Gone : LogPlace::Unsure;
    }
    m_logWatch.seenPosition = tail;
    m_logWatch.entries = 0;
    // A relative name may lead elsewhere by now.
    const bool isHere =
        !isFullPath(m_fileLog.m_logName) || identityOf(m_fileLog.m_logName).isSameFile(log);
    return isHere ? LogPlace::Here : LogPlace::Elsewhere;
}

bool ZarnData::openSuccessor()
{
    WideBuffer<pathQty> oldName;
    const bool isNameWhole = oldName.assign(m_fileLog.m_logName);
    const bool succeeded = reestablishLogFile(false);
    forgetSelfDX_Code(); // the situation in hand goes on, and finds a log or none
    if (!succeeded)
        return false;
    const bool isEmptied = m_logWatch.strayHole == 0;
    takeStrayEntriesAlong();
    if (isEmptied && isNameWhole)
        removeIfEmpty(oldName.c_str());
    return true;
}

// ---- Entries of a log that is gone -----------------------------------------------------------------------

bool ZarnData::keepStrayEntries(int file, int hole)
{
    forgetStrayEntries();
    m_logWatch.strayFile = duplicateFile(file);
    m_logWatch.strayBegin = std::max(m_logWatch.seenPosition, hole);
    m_logWatch.strayEnd = m_fileLog.m_tailPosition;
    m_logWatch.strayHole = hole < 0 ? -1 : hole & ~1; // in the middle of a unit is before it
    m_logWatch.strayEntries = m_logWatch.entries;
    return m_logWatch.strayFile >= 0;
}

void ZarnData::forgetStrayEntries()
{
    zmu::closeFile(std::exchange(m_logWatch.strayFile, -1));
    m_logWatch.strayHole = -1;
}

void ZarnData::takeStrayEntriesAlong()
{
    LogDevice* const device = getLogDevice();
    ZarnDataForThread* const engine = obtainDataForCurrentThread(false);
    if (m_logWatch.strayFile < 0 || !device || !engine)
        return;
    const int begin = m_fileLog.m_tailPosition;
    int end = begin;
    if (copyStrayEntries(end)) {
        m_fileLog.m_tailPosition = end;
        m_fileLog.m_logByteCount += static_cast<u64>(end - begin);
    } else {
        m_logWatch.lost += m_logWatch.strayEntries;
    }
    if (end != begin)
        engine->rewriteTail(m_fileLog);
    mendCutLog();
    forgetStrayEntries();
    m_logWatch.seenPosition = m_fileLog.m_tailPosition;
    forgetSelfDX_Code();
}

bool ZarnData::copyStrayEntries(int& position)
{
    LogDevice& device = *getLogDevice();
    const auto room = static_cast<i64>(logSizeLimit());
    Block block;
    for (int start = m_logWatch.strayBegin; start < m_logWatch.strayEnd; start += blockBytes) {
        const int count = readUnits(m_logWatch.strayFile, start, m_logWatch.strayEnd, block);
        if (count < 0)
            return false;
        const auto size =
            (std::remove(block, block + count, u'\0') - block) * static_cast<int>(sizeof *block);
        if (position + size > room || !device.seek(position) ||
            device.write(reinterpret_cast<const char*>(block), size) != size)
            return false;
        position += static_cast<int>(size);
    }
    return true;
}

/// Makes a document again of what is left of a log that was cut: it ends with the tail of this one.
void ZarnData::mendCutLog()
{
    const int file = m_logWatch.strayFile;
    const int hole = m_logWatch.strayHole;
    if (hole < 0 || !resizeFile(file, hole) || hole == 0)
        return;
    Block tail;
    const int position = m_fileLog.m_tailPosition;
    const int count = readUnits(getLogDevice()->file(), position, position + blockBytes, tail);
    const i64 size = count * i64{sizeof *tail};
    for (int tries = 2; size > 0 && tries > 0; --tries) { // nobody tries again later
        if (writeAt(file, hole, reinterpret_cast<const char*>(tail), size) == size)
            return;
    }
}

// ---- Forks -----------------------------------------------------------------------------------------------

/// What a child finds open is the parent's, who goes on with it. True if there was such a log.
bool ZarnData::leaveLogOfParent()
{
    if (m_logWatch.forkCount == forkCount())
        return false;
    m_logWatch.forkCount = forkCount();
    m_logWatch.failTime = 0;
    m_logWatch.lost = 0;
    forgetStrayEntries();
    m_isNotingSeries = false; // a thread may have been in the midst of that
    m_safeToAllocateMemory = false;
    if (!isOpen(m_fileLog.m_logStream))
        return false;
    if (LogDevice* device = getLogDevice())
        device->drop();
    if (!closeLogFile())
        m_fileLog.m_logStream = nullptr;
    return true;
}
