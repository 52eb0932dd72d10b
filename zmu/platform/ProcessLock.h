// A lock that the process has one of, for as long as it lives.
//
//     ProcessLock s_names;
//     const std::lock_guard guard(s_names);
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/platform/Win32.h>

#include <atomic>

namespace zmu {

/// Where a process can be forked: with `section` free in the child since its owner is no thread
/// there, `count` is 0 again. It must live as long as the section, just initialised.
void forgetCountInChild(CRITICAL_SECTION& section, std::atomic<ulong32>& count);

/// A static object of this type is never destroyed, so that whatever ends last may still use it. A
/// process that is forked off finds it free (see Threads.h). It must not be a function's: a fork in
/// the midst of the first call would leave the child waiting for the end of it.
class ProcessLock {
  public:
    ProcessLock() { InitializeCriticalSection(&m_section); }
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;

    void lock() { EnterCriticalSection(&m_section); }
    bool try_lock() { return TryEnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

  private:
    CRITICAL_SECTION m_section;
};

} // namespace zmu
