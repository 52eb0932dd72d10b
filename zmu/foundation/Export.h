// What the shared library shows to its users: ZMU_API marks a class or function that is part of
// the library's interface. Everything else stays hidden in the library.
#pragma once

#if defined(_WIN32)
#if defined(ZMU_BUILDING_LIBRARY)
#define ZMU_API __declspec(dllexport)
#else
#define ZMU_API __declspec(dllimport)
#endif
#else
#define ZMU_API __attribute__((visibility("default")))
#endif
