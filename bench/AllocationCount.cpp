// The C library lets a program replace malloc, and keeps its own under these names. The C++
// library's operator new allocates by malloc.
#include "AllocationCount.h"

#include <cstddef>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);

namespace {

thread_local unsigned long count = 0;

} // namespace

extern "C" void* malloc(std::size_t size)
{
    ++count;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t members, std::size_t size)
{
    ++count;
    return __libc_calloc(members, size);
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    ++count;
    return __libc_realloc(memory, size);
}

unsigned long zmu_bench::allocationCount()
{
    return count;
}
