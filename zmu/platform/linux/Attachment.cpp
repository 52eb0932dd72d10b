// Ends, as the library notices them by itself:
//
// - A thread that is given an engine leaves a value under a key of the thread library, whose
//   function runs when the thread ends, after all of the thread's own objects are gone: those may
//   still report. (The C++ runtime's own exit functions are no choice: it aborts the process when
//   there is no memory to register one.)
// - Until that function has run the thread holds a reference to the library, so a dlclose that
// comes
//   too early only takes effect when the threads have ended. The reference is given back by the
//   loader's own function, under a second key, since nothing of the library may run by then.
// - A static object stands for the library: it is destroyed when the library is unmapped, or when
//   the process exits. It is made when the library is loaded, so it goes after every static object
//   of a host that was linked with it, which may still report or destroy its monitor itself, and
//   before those of the libraries below.
// - Exit does not stop other threads. While one of them has reported and lives on, its next report
//   may come at any moment, and no lock could keep a monitor from being destroyed under it. The
//   monitors are left alone then: a log is whole after each of its entries, and the system closes
//   it.
#include <zmu/platform/Attachment.h>

#include <atomic>
#include <dlfcn.h>
#include <new>
#include <pthread.h>

namespace {

/// Threads whose end is still to come.
constinit std::atomic<int> s_watchedThreads = 0;

/// A reference to the library; null if the loader gives none.
void* holdLibrary()
{
    static const char ourOwn = 0;
    Dl_info info{};
    return dladdr(&ourOwn, &info) != 0 && info.dli_fname
               ? dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD)
               : nullptr;
}

void atThreadEnd(void* library);

/// The keys, for as long as the library is there.
struct Keys {
    Keys()
    {
        // dlclose takes its argument as such a function does, and its result is nobody's.
        isUsable = pthread_key_create(&end, atThreadEnd) == 0 &&
                   pthread_key_create(&letGo, reinterpret_cast<void (*)(void*)>(
                                                  reinterpret_cast<void*>(dlclose))) == 0;
    }
    ~Keys()
    {
        pthread_key_delete(end);
        pthread_key_delete(letGo); // nobody holds the library any more, or the process ends
    }

    bool isUsable = false;
    pthread_key_t end{};
    pthread_key_t letGo{};
};
Keys keys;

bool isWatched()
{
    return pthread_getspecific(keys.end) != nullptr;
}

void atThreadEnd(void* library)
{
    zmu::onThreadDetach();
    pthread_setspecific(keys.letGo, library); // failing that, the library stays
    // Last: from here on the monitors may be destroyed.
    --s_watchedThreads;
}

/// Of the threads of a process that forks, one lives on in the child.
struct ForkWatch {
    ForkWatch()
    {
        pthread_atfork(nullptr, nullptr, [] { s_watchedThreads = isWatched() ? 1 : 0; });
    }
};
const ForkWatch forkWatch;

struct ProcessEnd {
    ~ProcessEnd()
    {
        // The thread that exits is at its end, too.
        if (s_watchedThreads == (isWatched() ? 1 : 0))
            zmu::onProcessDetach(false);
    }
};
const ProcessEnd processEnd;

} // namespace

void zmu::watchThreadEnd()
{
    if (isWatched())
        return;
    void* const library = keys.isUsable ? holdLibrary() : nullptr;
    if (!library || pthread_setspecific(keys.end, library) != 0) {
        if (library)
            dlclose(library);
        throw std::bad_alloc();
    }
    ++s_watchedThreads;
}
