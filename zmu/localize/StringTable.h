// The library's own resource module entry: the built-in string table.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/localize/ResourceModule.h>

/// Copies the built-in text `id` into `buffer`, in the shape of a resource module's entry. A
/// translator that the host installs translates the table; a text too long for `bufferMax`
/// elements is cut. Last error: 0 on success, 2 for an unknown `id` (`buffer` is left as it was),
/// 87 without a buffer, 8 without memory. Any thread may call.
extern "C" ZMU_API int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax);
