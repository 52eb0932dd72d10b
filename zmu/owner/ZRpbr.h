// The product's brander: what a product's library "zbr4u.dll" ("libzbr4u.so") offers.
//
// The library asks the brander for the product's names when a monitor is prepared. It loads the
// module at run time and uses the four entries below, so that a product can put a module of its own
// in the place of the one that comes along (modules/zbr4u), which shows how one is written:
//
//     ZMU_BRANDER_ENTRY ZRpbr* ZRpbrGetProductBrander() { return ZRpbr::getProductBrander(); }
//
// Texts are asked for by ID: 0 address of the knowledge base, 1 the company's long name, 2 its
// short name, 3 its web site, 16 name of the product, 18 to 20 names of the owners CM, LOGON and
// PW, 29 name of the suite.
#pragma once

#include <zmu/foundation/Types.h>

#if defined(_WIN32)
#define ZMU_BRANDER_ENTRY extern "C" __declspec(dllexport)
#else
#define ZMU_BRANDER_ENTRY extern "C" __attribute__((visibility("default")))
#endif

/// The one brander of a process. The static operations are the module's; others reach them through
/// its entries. One thread at a time, which must neither report to a monitor nor wait for another.
class ZRpbr {
  public:
    /// The brander that is alive, null if none is.
    static ZRpbr* getProductBrander();
    /// Makes the brander, unless it is alive already. `kind` is always 2. Null on failure.
    static ZRpbr* create(int kind);
    /// Status of the last create, 0 for success. One with which a brander was made all the same is
    /// traced.
    static int getSelfDX_Code();
    /// Destroys the brander that is alive.
    static void destroy();

    ZRpbr(const ZRpbr&) = delete;
    ZRpbr& operator=(const ZRpbr&) = delete;

    // The virtual operations are two slots in this order, with no destructor among them, so that
    // compilers agree on them.

    /// Version of this interface: 1.
    virtual int getInterfaceVersion() const = 0;
    /// Copies text `id` into `buffer`, of `capacity` elements, and returns it; empty for an unknown
    /// text or one that does not fit.
    virtual const wchar_t* getBrandText(int id, wchar_t* buffer, zmu::u64 capacity) const = 0;

  protected:
    ZRpbr() = default;
    ~ZRpbr() = default;
};

namespace zmu::brander {

// The entries of a brander's module, with C linkage: each is the static operation of its name.
using GetProductBrander = ZRpbr* (*)();
using Create = ZRpbr* (*)(int kind);
using GetSelfDX_Code = int (*)();
using Destroy = void (*)();

inline constexpr char GetProductBranderEntry[] = "ZRpbrGetProductBrander";
inline constexpr char CreateEntry[] = "ZRpbrCreate";
inline constexpr char GetSelfDX_CodeEntry[] = "ZRpbrGetSelfDX_Code";
inline constexpr char DestroyEntry[] = "ZRpbrDestroy";

} // namespace zmu::brander
