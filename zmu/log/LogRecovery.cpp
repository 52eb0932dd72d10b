// A log that comes back: what becomes of it when its file is taken away, or its process forks.
//
// The file is looked at once a second. What may have happened to it meanwhile, and what is done:
//
//     deleted           the entries since the last look are copied from the file, which is still open,
//                       into a successor
//     moved             its entries are where it went; the next ones go to a successor
//     emptied, cut      entries written since stand behind a hole of zeros: they are copied into a
//                       successor, and the file ends with a tail where the hole began; one that has
//                       nothing left is removed
//
// Until a successor can be made, situations answer 120 and are counted.
#include <zmu/monitor/ZarnData.h>

#include <zmu/foundation/internal/Texts.h>
#include <zmu/foundation/WideBuffer.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/log/internal/LogText.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnDataForThread.h>
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

using Block = char16_t[blockBytes / sizeof(char16_t)];

/// Reads up to a block of units; how many there are.
int readUnits(int file, int from, int to, Block& block)
{
    const i64 size = std::min(blockBytes, to - from);
    const i64 count = readAt(file, from, reinterpret_cast<char*>(block), size);
    return static_cast<int>(std::max<i64>(count, 0) / static_cast<i64>(sizeof *block));
}

bool isHole(int file, int position)
{
    char16_t unit = 1;
    return readAt(file, position, reinterpret_cast<char*>(&unit), sizeof unit) ==
               static_cast<i64>(sizeof unit) &&
           unit == 0;
}

/// Where zeros begin between two places of a file, -1 if nowhere: no text of a log has any. A hole is
/// at least as long as what was written in between, so that of very much not all need be read.
int findHole(int file, int from, int to)
{
    constexpr int blocksMax = 512;
    const int step = std::max(blockBytes, (to - from) / blocksMax / blockBytes * blockBytes);
    Block block;
    for (int start = from; start < to; start += std::min(step, to - start)) {
        const int count = readUnits(file, start, to, block);
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
    if (m_logWatch.forkCount != forkCount())
        leaveLogOfParent();
    if (!m_logWatch.isOn || m_isNotingSeries)
        return;
    const u64 now = steadyMilliseconds();
    if (!isOpen(m_fileLog.m_logStream)) {
        if (mayReplaceLog())
            openSuccessor();
        return;
    }
    ++m_logWatch.entries;
    if (now - m_logWatch.lookTime < interval || !getLogDevice())
        return;
    m_logWatch.lookTime = now;
    WideBuffer<1024> emptied;
    if (!isLogInPlace(emptied)) {
        openSuccessor();
        if (!emptied.isEmpty())
            removeIfEmpty(emptied.c_str());
    }
}
