// What the monitor asks of the library's attachment hook, which is owner/AttachmentHook.cpp.
#pragma once

namespace zmu {

/// Sees to it that the calling thread's engines are removed from every registered monitor when the
/// thread ends. To be called whenever the thread was given an engine; later calls cost nothing.
void watchThreadEnd();

} // namespace zmu
