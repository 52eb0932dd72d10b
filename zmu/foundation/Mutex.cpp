#include <zmu/foundation/Mutex.h>

Mutex::Mutex()
{
    InitializeCriticalSection(&m_section);
}

Mutex::~Mutex()
{
    DeleteCriticalSection(&m_section);
}

int Mutex::lock()
{
    EnterCriticalSection(&m_section);
    countLock();
    return 0;
}

bool Mutex::tryLock()
{
    if (!TryEnterCriticalSection(&m_section))
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
    const ulong32 count = m_lockCount.load(std::memory_order_relaxed);
    if (count == 0)
        return false;
    m_lockCount.store(count - 1, std::memory_order_relaxed);
    LeaveCriticalSection(&m_section);
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
