// The product's brander as a module that is loaded when it is first asked for, so that the library
// can do without it.
#pragma once

#include <zmu/owner/ZRpbr.h>
#include <zmu/platform/ProcessLock.h>

namespace zmu {

/// The static operations of ZRpbr, which are the module's entries. Under branderLock.
struct BranderModule {
    brander::GetProductBrander getProductBrander = nullptr;
    brander::Create create = nullptr;
    brander::GetSelfDX_Code getSelfDX_Code = nullptr;
    brander::Destroy destroy = nullptr;
};

/// The module, loaded if need be; it stays loaded, as a brander that others have made may live on
/// in it. Null without it, with the system's error: 126 no module, 127 an entry is missing. Not
/// under branderLock: loading waits for whoever loads another module, who may be making an owner.
const BranderModule* loadedBranderModule();

/// What keeps branders to one thread at a time: held over each call of one, and never while
/// waiting for anything else.
ProcessLock& branderLock();

} // namespace zmu
