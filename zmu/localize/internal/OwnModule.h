// The library as a module.
#pragma once

namespace zmu {

/// Name under which the library is asked for its own texts.
inline constexpr wchar_t ownModuleName[] = L"zmu.dll";

} // namespace zmu
