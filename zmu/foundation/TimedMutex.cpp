#include <zmu/foundation/TimedMutex.h>
#include <zmu/platform/Win32.h>

TimedMutex::TimedMutex() : m_handle(CreateMutexA(nullptr, FALSE, nullptr)) {}

TimedMutex::~TimedMutex()
{
    if (m_handle)
        CloseHandle(m_handle);
    m_handle = nullptr;
}

ulong32 TimedMutex::lock()
{
    return WaitForSingleObject(m_handle, INFINITE);
}

ulong32 TimedMutex::lock(unsigned milliseconds)
{
    return WaitForSingleObject(m_handle, milliseconds);
}

bool TimedMutex::unlock()
{
    return ReleaseMutex(m_handle) != FALSE;
}
