// The library's only diagnostics of its own: one formatted line to the debug output channel.
#pragma once

#include <zmu/foundation/Export.h>

/// Formats as wprintf does, at most 1023 characters, and hands the text to the debug output
/// channel (standard error outside Windows). Never fails and touches no DX code. Any thread.
ZMU_API void Zarn_TRACE(const wchar_t* format, ...);
/// The same under its second name.
ZMU_API void Zarn_TRACE_W(const wchar_t* format, ...);
