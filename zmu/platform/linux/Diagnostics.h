// What people are told when nothing can be shown to them.
#pragma once

namespace zmu {

/// Writes "CAPTION: TEXT" to standard error, in one piece as far as that goes. Both may be null.
/// Waits for nobody: what standard error does not take in a moment is dropped. Keeps the last
/// error.
void writeToStandardError(const wchar_t* caption, const wchar_t* text);

} // namespace zmu
