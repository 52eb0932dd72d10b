// Strings of an open module, straight into a buffer.
#pragma once

#include <zmu/localize/ResourceModule.h>
#include <zmu/platform/Win32.h>

namespace zmu {

/// Copies string `id` of `module`, which is not null, terminated into the `bufferMax` elements of
/// `buffer`, at least one. The module's own entry is asked first (ResourceModule.h), then its
/// string table. Returns the number of elements; 0 with the calling thread's last error 0 for a
/// string that is empty, or another last error when there is none (2 in a module without an entry).
/// What the entry throws goes through.
int loadString(HMODULE module, unsigned int id, wchar_t* buffer, int bufferMax);

/// The same with `entry`, which is what findStringEntry gives for the module.
int loadString(HMODULE module, LoadStringFunction entry, unsigned int id, wchar_t* buffer,
               int bufferMax);

/// The entry of `module` that serves its strings; null if it has none. Takes longer than a string.
LoadStringFunction findStringEntry(HMODULE module);

} // namespace zmu
