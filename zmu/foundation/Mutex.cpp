#include <zmu/foundation/Mutex.h>

#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>

#include <memory>

Mutex::Mutex()
{
    InitializeCriticalSection(&m_section.make<CRITICAL_SECTION>());
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
    return 0;
}

bool Mutex::tryLock()
{
    return TryEnterCriticalSection(&m_section.as<CRITICAL_SECTION>());
}

bool Mutex::unlock()
{
    auto& section = m_section.as<CRITICAL_SECTION>();
    if (!zmu::isOwner(section))
        return false;
    LeaveCriticalSection(&section);
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
