// Strings of a module as owned texts.
#pragma once

#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/platform/Win32.h>

namespace zmu {

/// Loads string `id` of `module` into a new text in `*copy`, whose old one is deleted, by way of
/// `scratch`, which is empty afterwards. Returns the length, -1 on any failure.
int loadStringCopy(HMODULE module, unsigned int id, ZarnScratchpad::Buffer& scratch,
                   wchar_t** copy);

} // namespace zmu
