// The product's brander as a module that is loaded when it is first asked for, so that the library
// can do without it.
#pragma once

#include <zmu/owner/ZRpbr.h>

namespace zmu {

/// The static operations of ZRpbr by way of the module's entries. What needs the module answers
/// null without it, and getSelfDX_Code then tells the system's error: 126 no module, 127 an entry
/// is missing. The module stays loaded: a brander that others have made may live on in it. Under
/// the owners' mutex.
class BranderModule {
  public:
    static ZRpbr* getProductBrander();
    static ZRpbr* create(int kind);
    static int getSelfDX_Code();
    static void destroy();
};

} // namespace zmu
