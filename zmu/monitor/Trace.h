// The library's only diagnostics of its own: one formatted line to the debug output channel.
#pragma once

#include <zmu/foundation/Export.h>

/// Formats as wprintf does, at most 1023 characters, and hands the text to the debug output channel
/// (standard error outside Windows). Texts mean the same on every system, whatever the host's
/// locale is: %s, %ls and %ws take wide text, %S and %hs narrow text in the narrow code page (UTF-8
/// outside Windows), which is shown whole; a width or precision counts characters. %c takes a wide
/// character. %n and positions ("%1$d") are not known. Never fails, allocates nothing of its own,
/// and touches no DX code nor the last error. Any thread.
ZMU_API void Zarn_TRACE(const wchar_t* format, ...);
/// The same under its second name.
ZMU_API void Zarn_TRACE_W(const wchar_t* format, ...);

/// Takes a line of the traces.
using ZarnTraceFunction = void (*)(const wchar_t* text);
/// Hands the calling thread's traces to `function` from now on, and no more to the debug output
/// channel; null, as it begins, for the channel. Returns the previous function. It must not throw.
ZMU_API ZarnTraceFunction Zarn_setTraceFunction(ZarnTraceFunction function);
