// The ends that the platform tells the library of: of a thread, and of the library's own stay in
// the process.
#pragma once

namespace zmu {

/// Sees to it that onThreadDetach is called when the calling thread ends. To be called whenever the
/// thread is about to be given an engine; later calls cost nothing. Throws std::bad_alloc when the
/// system has no room for it.
void watchThreadEnd();

// ---- What is called then, in owner/AttachmentHook.cpp ----------------------------------------------------

/// Called by a thread that ends.
void onThreadDetach();

/// Called when the library is unloaded, or the process ends. `threadsWereStopped`: the system has
/// stopped all other threads wherever they were, and the locks that they held stay held.
void onProcessDetach(bool threadsWereStopped);

} // namespace zmu
