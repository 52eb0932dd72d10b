// Memory that runs out: each allocation of a host's life fails. This is the program's allocator.
#include "Memory.h"

#include "Life.h"
#include "Torture.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

using namespace zmu_torture;

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

constexpr int statusInQt = 99; ///< See isQtMakingObjects.

std::atomic<bool> isOn = false; // whether allocations are counted, and may fail
std::atomic<bool> isSparing = false;
std::atomic<long> count = 0;
std::atomic<long>* sharedCount = nullptr;
Shortage failing;

/// Whether Qt is making its first objects of a thread or of a stream, which it does not survive
/// without memory.
bool isQtMakingObjects()
{
    void* callers[64];
    const int depth = backtrace(callers, 64);
    for (int i = 0; i < depth; ++i) {
        Dl_info function{};
        if (dladdr(callers[i], &function) == 0 || !function.dli_sname)
            continue;
        for (const char* maker : {"_ZN7QThread13currentThreadEv", "_ZN11QTextStreamC1EP9QIODevice",
                                  "_ZN11QTextStreamC2EP9QIODevice"}) {
            if (std::strcmp(function.dli_sname, maker) == 0)
                return true;
        }
    }
    return false;
}

/// Where a debugger stops.
[[gnu::noinline]] void failAllocation()
{
    if (isSparing && isQtMakingObjects())
        _exit(statusInQt);
    errno = ENOMEM;
}

bool mayAllocate()
{
    if (!isOn)
        return true;
    const long number = ++count;
    const bool fails = number >= failing.first && number <= failing.last;
    if (fails)
        failAllocation();
    return !fails;
}

} // namespace

// The C++ library's operator new allocates by malloc.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's are reserved
extern "C" void* malloc(std::size_t size)
{
    return mayAllocate() ? __libc_malloc(size) : nullptr;
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    return mayAllocate() ? __libc_calloc(count, size) : nullptr;
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    return mayAllocate() ? __libc_realloc(memory, size) : nullptr;
}

extern "C" void* memalign(std::size_t alignment, std::size_t size)
{
    return mayAllocate() ? __libc_memalign(alignment, size) : nullptr;
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    *memory = memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

ChildEnd liveWithoutMemory(const Place& place, const Shortage& shortage)
{
    prepareShortage(shortage);
    return liveInChild({place, [](FaultTime time) {
                            if (time == FaultTime::None)
                                keepShortageOut();
                            else
                                letShortageIn(time == FaultTime::Start);
                        }});
}

} // namespace

void zmu_torture::prepareShortage(const Shortage& shortage)
{
    if (!sharedCount)
        sharedCount = &makeShared<std::atomic<long>>();
    failing = shortage;
}

void zmu_torture::letShortageIn(bool sparesQt)
{
    isSparing = sparesQt;
    if (sparesQt)
        isQtMakingObjects(); // which allocates the first time
    isOn = true;
}

void zmu_torture::keepShortageOut()
{
    isOn = false;
    *sharedCount = count.load();
}

bool zmu_torture::hasEndedInQt(const ChildEnd& end)
{
    return end.status == statusInQt;
}

long zmu_torture::allocationsQty()
{
    return *sharedCount;
}

void zmu_torture::failAllocations(Run& run)
{
    constexpr long quickSamples = 40;
    for (const Place::Form form : {Place::Form::None, Place::Form::Full}) {
        const Place place(form);
        run.take(liveWithoutMemory(place, {}), "a life with memory");
        const long qty = allocationsQty();
        const long step = run.isQuick ? 1 + qty / quickSamples : 1;
        int lives = 0;
        int endsInQt = 0;
        for (long n = 1; n <= qty; n += step) {
            for (const long last : {n, LONG_MAX}) {
                const ChildEnd end = liveWithoutMemory(place, {n, last});
                ++lives;
                run.counts.done += place.ledger.sum();
                if (hasEndedInQt(end))
                    ++endsInQt;
                else
                    run.take(end, "allocation " + std::to_string(n) +
                                      (last == n ? ": " : " and on: ") + describeLife(end));
            }
        }
        if (endsInQt > endsInQtMax)
            run.flaw(std::to_string(endsInQt) + " lives ended within Qt");
        run.did << (form == Place::Form::None ? "" : "; with a form and a report in the head ")
                << lives << " lives of " << qty << " allocations, " << endsInQt
                << " ended where Qt makes its first objects";
    }
}
