// Events, mutexes and waiting for them. A handle of this family is a Waitable.
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

/// What threads wait for. Whoever changes it notifies before letting go of `m_gate`: a waiter may
/// destroy the object as soon as it gets hold of that.
class Waitable {
  public:
    Waitable() = default;
    virtual ~Waitable() = default;
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;

    virtual DWORD waitUntil(Moment end) = 0;
    /// One handle less.
    virtual void release() { delete this; }

  protected:
    using Hold = std::unique_lock<std::mutex>;

    std::mutex m_gate;
    std::condition_variable m_change;
};

BOOL refuse(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

// ---- Events --------------------------------------------------------------------------------------------

class Event : public Waitable {
  public:
    explicit Event(bool isSet) : m_isSet(isSet) {}

    void set(bool isSet)
    {
        const Hold hold(m_gate);
        m_isSet = isSet;
        if (isSet)
            m_change.notify_all();
    }

    DWORD waitUntil(Moment end) override
    {
        Hold hold(m_gate);
        // Not wait(): a thread that is cancelled in it would end the process.
        return m_change.wait_until(hold, end, [this] { return m_isSet; }) ? WAIT_OBJECT_0
                                                                          : WAIT_TIMEOUT;
    }

  private:
    bool m_isSet;
};

/// An event with a name, one for all handles that were made with it.
class NamedEvent : public Event {
  public:
    /// Raises std::bad_alloc.
    static NamedEvent* obtain(const char* name, bool isSet, bool& isNew)
    {
        const std::lock_guard hold(s_gate);
        for (NamedEvent* event = s_first; event; event = event->m_next) {
            if (event->m_name == name) {
                ++event->m_handles;
                isNew = false;
                return event;
            }
        }
        isNew = true;
        return s_first = new NamedEvent(name, isSet);
    }

    void release() override
    {
        const std::lock_guard hold(s_gate);
        if (--m_handles != 0)
            return;
        NamedEvent** link = &s_first;
        while (*link != this)
            link = &(*link)->m_next;
        *link = m_next;
        delete this;
    }

  private:
    NamedEvent(const char* name, bool isSet) : Event(isSet), m_name(name), m_next(s_first) {}

    static zmu::ProcessLock s_gate; ///< Guards the list and the counts.
    static NamedEvent* s_first;

    const std::string m_name;
    NamedEvent* m_next;
    unsigned m_handles = 1;
};

zmu::ProcessLock NamedEvent::s_gate;
NamedEvent* NamedEvent::s_first = nullptr;

// ---- Mutexes -------------------------------------------------------------------------------------------

/// When a thread of this process began, in ticks of the system; 0 if that cannot be told. The
/// system gives the numbers of ended threads to others.
u64 startOfThread(pid_t number)
{
    constexpr int startField = 22;
    const zmu::CancellationHold hold;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", number);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return 0;
    char text[1024];
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    text[std::max<ssize_t>(length, 0)] = '\0';
    // The name in parentheses, which is the second field, may hold anything.
    const char* at = std::strrchr(text, ')');
    for (int field = 2; at && field < startField; ++field)
        at = std::strchr(at + 1, ' ');
    return at ? std::strtoull(at, nullptr, 10) : 0;
}

/// The calling thread to the system; asked for once a thread, and again in the child of a fork.
struct ThreadIdentity {
    pid_t process = 0;
    pid_t number = 0;
    u64 start = 0;

    static const ThreadIdentity& ofCaller()
    {
        thread_local ThreadIdentity caller;
        if (caller.process != getpid())
            caller = {getpid(), gettid(), startOfThread(gettid())};
        return caller;
    }
    /// Says nothing of a thread that was lost in a fork: its number may be anybody's here.
    bool hasEnded() const
    {
        if (process != getpid())
            return false;
        if (tgkill(process, number, 0) != 0 && errno == ESRCH)
            return true;
        const u64 startOfHolder = start != 0 ? startOfThread(number) : 0;
        return startOfHolder != 0 && startOfHolder != start;
    }
};

class OwnedMutex : public Waitable {
  public:
    DWORD waitUntil(Moment end) override
    {
        const DWORD self = GetCurrentThreadId();
        Hold hold(m_gate);
        while (m_depth != 0 && m_owner != self) {
            if (m_ownerThread.hasEnded()) {
                take(self);
                return WAIT_ABANDONED;
            }
            // Nobody tells when a thread ends, so a waiter looks for its owner now and then.
            const Moment now = Clock::now();
            if (now >= end)
                return WAIT_TIMEOUT;
            m_change.wait_until(hold, std::min(end, now + std::chrono::milliseconds(250)));
        }
        if (m_depth == 0)
            take(self);
        else
            ++m_depth;
        return WAIT_OBJECT_0;
    }

    bool leave()
    {
        const Hold hold(m_gate);
        if (m_depth == 0 || m_owner != GetCurrentThreadId())
            return false;
        if (--m_depth == 0)
            m_change.notify_one();
        return true;
    }

  private:
    void take(DWORD self)
    {
        m_owner = self;
        m_ownerThread = ThreadIdentity::ofCaller();
        m_depth = 1;
    }

    DWORD m_owner = 0; ///< Means something while the depth is not 0.
    ThreadIdentity m_ownerThread;
    unsigned m_depth = 0; ///< How often the owner has taken it.
};

} // namespace

HANDLE CreateEventA(void* security, BOOL manualReset, BOOL initiallySet, const char* name)
try {
    constexpr std::size_t lengthLimit = 260;
    if (security || !manualReset) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    bool isNew = true;
    Waitable* event = nullptr;
    if (!name || !*name)
        event = new Event(initiallySet != FALSE);
    else if (std::char_traits<char>::length(name) < lengthLimit)
        event = NamedEvent::obtain(name, initiallySet != FALSE, isNew);
    SetLastError(!event  ? ERROR_FILENAME_EXCED_RANGE
                 : isNew ? ERROR_SUCCESS
                         : ERROR_ALREADY_EXISTS);
    return event;
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

BOOL SetEvent(HANDLE event)
{
    if (!event)
        return refuse(ERROR_INVALID_HANDLE);
    static_cast<Event*>(static_cast<Waitable*>(event))->set(true);
    return TRUE;
}

BOOL ResetEvent(HANDLE event)
{
    if (!event)
        return refuse(ERROR_INVALID_HANDLE);
    static_cast<Event*>(static_cast<Waitable*>(event))->set(false);
    return TRUE;
}

HANDLE CreateMutexA(void* security, BOOL initiallyOwned, const char* name)
{
    Waitable* mutex = nullptr;
    if (security || initiallyOwned || name) {
        SetLastError(ERROR_NOT_SUPPORTED);
    } else {
        mutex = new (std::nothrow) OwnedMutex;
        SetLastError(mutex ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY);
    }
    return mutex;
}

BOOL ReleaseMutex(HANDLE mutex)
{
    if (!mutex)
        return refuse(ERROR_INVALID_HANDLE);
    return static_cast<OwnedMutex*>(static_cast<Waitable*>(mutex))->leave()
               ? TRUE
               : refuse(ERROR_NOT_OWNER);
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    if (!object) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    const Moment end = milliseconds == INFINITE
                           ? Moment::max()
                           : Clock::now() + std::chrono::milliseconds(milliseconds);
    return static_cast<Waitable*>(object)->waitUntil(end);
}

BOOL CloseHandle(HANDLE object)
{
    if (!object)
        return refuse(ERROR_INVALID_HANDLE);
    static_cast<Waitable*>(object)->release();
    return TRUE;
}
