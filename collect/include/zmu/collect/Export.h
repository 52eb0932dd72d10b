// What libzmu_collect shows to its users: ZMU_COLLECT_API marks a class or function of it.
#pragma once

#if defined(_WIN32)
#if defined(ZMU_BUILDING_COLLECT)
#define ZMU_COLLECT_API __declspec(dllexport)
#else
#define ZMU_COLLECT_API __declspec(dllimport)
#endif
#else
#define ZMU_COLLECT_API __attribute__((visibility("default")))
#endif
