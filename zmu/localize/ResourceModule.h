// What a module needs to serve strings to the library: nothing but this header.
//
// A resource module is a shared library, or the program itself, that exports a function of this
// name and shape:
//
//     #include <zmu/localize/ResourceModule.h>
//
//     ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
//     {
//         if (id != 100) {
//             SetLastError(zmu::StringUnknown);
//             return 0;
//         }
//         SetLastError(zmu::StringFound);
//         return swprintf(buffer, bufferMax, L"2~0||``Hello.`");
//     }
//
// It copies string `id`, terminated, into at most `bufferMax` elements of `buffer` and returns the
// number of characters without the terminator. For an unknown `id` it sets the calling thread's
// last error to 2, returns 0 and leaves `buffer` alone. A string that exists and is empty also
// returns 0, with the last error 0. It is called on reporting threads, on several at once.
//
// A program that exports the function itself must be linked so that its symbols are visible
// (CMake: ENABLE_EXPORTS).
#pragma once

#include <zmu/platform/Host.h>

#if defined(_WIN32)
#define ZMU_RESOURCE_MODULE_ENTRY extern "C" __declspec(dllexport)
#else
#define ZMU_RESOURCE_MODULE_ENTRY extern "C" __attribute__((visibility("default")))
#endif

namespace zmu {

/// Shape of a resource module's entry.
using LoadStringFunction = int (*)(unsigned int id, wchar_t* buffer, int bufferMax);

/// What it leaves as the last error.
inline constexpr ulong32 StringFound = 0;
inline constexpr ulong32 StringUnknown = 2;

/// Name under which a module exports it.
inline constexpr char LoadStringEntry[] = "ZRLoadStringW";

} // namespace zmu
