// The registry of the process's monitors: a fixed array that is never compacted.
#include <zmu/monitor/Zarn.h>

#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/monitor/internal/Registry.h>

#include <climits>
#include <iterator>
#include <mutex>
#include <new>
#include <utility>

using namespace zmu;

Zarn* Zarn::m_zarnMonitors[10] = {};
int Zarn::m_zarnMonitorsCount = 0;
int Zarn::m_zarnMonitorsQty = std::size(m_zarnMonitors);

namespace {

/// The code of an operation that has no object to hold it.
struct CodeHolder {
    int code = 0;
    bool isSelfSatisfied() const { return code == 0; }
    void setSelfDX_Code(int value) { code = value; }
};

ProcessLock s_entries;

/// Takes a monitor out of its entry, so that a thread that ends does not meet it half destroyed.
/// The count goes down unless it is at `countMin`.
Zarn* takeOut(Zarn*& entry, int& count, int countMin)
{
    const std::lock_guard guard(s_entries);
    if (count > countMin)
        --count;
    return std::exchange(entry, nullptr);
}

} // namespace

ProcessLock& zmu::registryEntries()
{
    return s_entries;
}

Zarn* Zarn::create(ZarnData* dataSet)
{
    const CancellationHold hold;
    ZarnData* newData = nullptr;
    Zarn* monitor = nullptr;
    CodeHolder holder;
    runGuarded(holder, dx::CreateUnexpected, [&] {
        require(m_zarnMonitorsCount >= 0 && m_zarnMonitorsQty >= 0 &&
                    m_zarnMonitorsCount < m_zarnMonitorsQty && dataSet && dataSet->isValid(),
                dx::CreateRefused);
        // What refused an earlier attempt is no reason against this one.
        if (dataSet->getSelfDX_Code() == dx::CreateRefused)
            dataSet->forgetSelfDX_Code();
        newData = new (std::nothrow) ZarnData(0);
        require(newData, dx::CreateNoDataSet);
        requireOrRaiseHeld(newData->assimilateDataSetContents(dataSet), *newData);
        requireOrRaiseHeld(newData->establishLogFile(true), *newData);
        monitor = new (std::nothrow) Zarn(newData);
        require(monitor, dx::CreateNoMonitor);
        newData->setOwner(monitor);
        const std::lock_guard guard(s_entries);
        m_zarnMonitors[m_zarnMonitorsCount++] = monitor;
    });
    if (holder.isSelfSatisfied())
        return monitor;

    if (dataSet)
        dataSet->setSelfDX_Code(holder.code);
    if (!monitor)
        delete newData; // else the monitor owns it
    delete monitor;
    return nullptr;
}

int Zarn::destroy()
{
    const CancellationHold hold;
    int destroyed = 0;
    if (m_zarnMonitorsQty < 1) {
        m_zarnMonitorsCount = 0;
        return destroyed;
    }
    try {
        for (int i = 0; i < m_zarnMonitorsQty; ++i) {
            if (!m_zarnMonitors[i])
                continue;
            if (destroyed < INT_MAX)
                ++destroyed;
            // An entry that nobody counted takes the count below 0, where create refuses.
            delete takeOut(m_zarnMonitors[i], m_zarnMonitorsCount, INT_MIN);
        }
    } catch (...) {
        return -destroyed;
    }
    return destroyed;
}

bool Zarn::destroy(Zarn** monitor, int startIndex, bool wrap)
{
    if (!monitor || !*monitor || m_zarnMonitorsQty < 1 || startIndex < 0 ||
        startIndex >= m_zarnMonitorsQty)
        return false;
    if (startIndex == 0)
        wrap = false;
    const int last = wrap ? startIndex - 1 : m_zarnMonitorsQty - 1;

    int index = startIndex;
    while (m_zarnMonitors[index] != *monitor) {
        if (index == last)
            return false;
        if (++index == m_zarnMonitorsQty)
            index = 0;
    }
    const CancellationHold hold;
    delete takeOut(m_zarnMonitors[index], m_zarnMonitorsCount, 0);
    *monitor = nullptr;
    return true;
}

Zarn* Zarn::getZarnMonitor(int index)
{
    return index >= 0 && index < m_zarnMonitorsCount ? m_zarnMonitors[index] : nullptr;
}

void Zarn::setBehaviorCriteria(u64 criteria)
{
    for (int i = 0; i < m_zarnMonitorsCount; ++i) {
        if (m_zarnMonitors[i] && m_zarnMonitors[i]->m_dataSet)
            m_zarnMonitors[i]->m_dataSet->setBehaviorCriteria(criteria);
    }
}
