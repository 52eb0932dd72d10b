#include "../System.h"
#include "../Traces.h"

#include <zmu/platform/Win32.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace {

QString caught;

/// Debug output is an exception that a debugger handles, or else the system.
LONG CALLBACK catchTrace(EXCEPTION_POINTERS* exception)
{
    constexpr DWORD printNarrow = 0x40010006;
    constexpr DWORD printWide = 0x4001000A; // not every version has it
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == printWide)
        caught += QString::fromWCharArray(
            reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]));
    else if (record.ExceptionCode == printNarrow)
        caught +=
            QString::fromLocal8Bit(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    else
        return EXCEPTION_CONTINUE_SEARCH;
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

namespace zmu_test {

QString userName()
{
    wchar_t name[256];
    DWORD size = 256;
    return GetUserNameW(name, &size) ? QString::fromWCharArray(name) : QString();
}

bool isWindows()
{
    return true;
}

bool runsUnderWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void enterTimeZone(const char* rule)
{
    qputenv("TZ", rule);
    _tzset();
}

i64 heapBytes()
{
    HANDLE heaps[64];
    i64 bytes = 0;
    for (DWORD i = std::min<DWORD>(GetProcessHeaps(64, heaps), 64); i-- > 0;) {
        PROCESS_HEAP_ENTRY entry = {};
        while (HeapWalk(heaps[i], &entry))
            bytes += entry.wFlags & PROCESS_HEAP_ENTRY_BUSY ? entry.cbData : 0;
    }
    return bytes;
}

Traces::Traces() : m_handler(AddVectoredExceptionHandler(1, catchTrace)) {}

Traces::~Traces()
{
    take();
}

QString Traces::take()
{
    if (m_handler)
        RemoveVectoredExceptionHandler(std::exchange(m_handler, nullptr));
    return std::exchange(caught, {});
}

} // namespace zmu_test
