// An exported function of a module, in its own shape.
#pragma once

#include <zmu/platform/Win32.h>

namespace zmu {

/// The function that `module` itself exports as `name`; null with ERROR_PROC_NOT_FOUND when there
/// is none.
template <class Function>
Function entryPoint(HMODULE module, const char* name)
{
    // By way of void*: the platform's type of a function address has another shape.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

} // namespace zmu
