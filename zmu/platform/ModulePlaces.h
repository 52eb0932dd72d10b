// Where the platform looks for modules.
#pragma once

#include <string>

namespace zmu {

/// The places in which a module without a path is looked for, in their order, as people are told
/// them. Throws without memory. Any thread.
std::wstring modulePlaces();

} // namespace zmu
