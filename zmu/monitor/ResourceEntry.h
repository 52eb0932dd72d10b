// What serves the strings of the resource module, looked up once.
#pragma once

#include <zmu/localize/ResourceModule.h>
#include <zmu/platform/Host.h>

namespace zmu {

/// The entry of one module: the loader takes longer to find it than the entry to serve a string.
///
/// It is forgotten when the resource module is set, be it to the same handle, since a module that
/// was unloaded may leave its handle to another. Used under the data set's lock.
class ResourceEntry {
  public:
    /// The entry of `module`, which is not null; null if it has none.
    LoadStringFunction of(HMODULE module);
    void forget() { *this = {}; }

  private:
    HMODULE m_module = nullptr;
    LoadStringFunction m_function = nullptr;
};

} // namespace zmu
