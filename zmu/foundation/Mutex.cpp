#include <zmu/foundation/Mutex.h>

#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>

#include <memory>

Mutex::Mutex()
{
    auto& section = m_section.make<CRITICAL_SECTION>();
    InitializeCriticalSection(&section);
    zmu::forgetCountInChild(section, m_lockCount);
}

Mutex::~Mutex()
{
    auto& section = m_section.as<CRITICAL_SECTION>();
    DeleteCriticalSection(&section);
    std::destroy_at(&section);
}

int Mutex::lock()
{
    EnterCriticalSection(&m_section.as<CRITICAL_SECTION>());
    countLock();
    return 0;
}

bool Mutex::tryLock()
{
    if (!TryEnterCriticalSection(&m_section.as<CRITICAL_SECTION>()))
        return false;
    countLock();
    return true;
}

void Mutex::countLock()
{
    // Only the holder writes the count, so it needs no atomic increment.
    m_lockCount.store(m_lockCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

bool Mutex::unlock()
{
    const zmu::ulong32 count = m_lockCount.load(std::memory_order_relaxed);
    if (count == 0)
        return false;
    m_lockCount.store(count - 1, std::memory_order_relaxed);
    LeaveCriticalSection(&m_section.as<CRITICAL_SECTION>());
    return true;
}

CriticalSection::~CriticalSection() = default;

Synchronized::Synchronized(Mutex& mutex) : m_mutex(&mutex)
{
    m_mutex->lock();
}

Synchronized::~Synchronized()
{
    m_mutex->unlock();
}
