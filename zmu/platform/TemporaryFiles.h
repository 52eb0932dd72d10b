// What becomes of temporary files when the process is killed.
#pragma once

namespace zmu {

/// Takes the name off an open temporary file, named by the C library's number for it, where an open
/// file can do without one: then it is gone with the process, however that ends. False where it
/// keeps its name.
bool makeNameless(int file);

/// Removes the files that killed processes have left behind, where makeNameless cannot prevent
/// that. Their paths are `beginning` and six further characters; files in use are spared.
void removeLeftFiles(const wchar_t* beginning);

} // namespace zmu
