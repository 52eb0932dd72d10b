#include <zmu/foundation/Signal.h>
#include <zmu/platform/Win32.h>

Signal::Signal() : m_event(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

Signal::Signal(const char* name, bool initiallySet)
    : m_event(CreateEventA(nullptr, TRUE, initiallySet ? TRUE : FALSE, name))
{}

Signal::~Signal()
{
    if (m_event)
        CloseHandle(m_event);
    m_event = nullptr;
}

bool Signal::set()
{
    return SetEvent(m_event) != FALSE;
}

bool Signal::reset()
{
    return ResetEvent(m_event) != FALSE;
}

ulong32 Signal::wait()
{
    return WaitForSingleObject(m_event, INFINITE);
}

ulong32 Signal::wait(unsigned milliseconds, int)
{
    return milliseconds < INFINITE ? WaitForSingleObject(m_event, milliseconds) : wait();
}
