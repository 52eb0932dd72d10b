// What the foundation classes throw.
//
//     try {
//         path = path.shortPath();
//     } catch (...) {
//         // the path stays as it is
//     }
//
// The library's own callers guard with a catch-all, and answer with their own diagnostic code. The
// number is for whoever looks at the exception in a debugger.
#pragma once

#include <zmu/foundation/Export.h>

namespace zmu {

/// Why a string operation failed: the code of the UTL_Exception that it throws.
enum StringFault : unsigned {
    SystemCallFailed = 1,   ///< A system call failed, with no more exact code.
    BadArguments = 2,       ///< A null or zero argument, or text that does not fit its buffer.
    OutOfMemory = 3,        ///< A buffer could not be allocated.
    BadNarrowArguments = 4, ///< As 2, narrow string of a named module; an unknown encoding asked.
    NarrowTextMissing = 5,  ///< A non-empty narrow string has no narrow buffer.
    WideTextMissing = 6,    ///< A non-empty wide string has no wide buffer.
    ResourceNotLoaded = 7,  ///< The string resource could not be loaded.
    SizeQueryBufferTooSmall = 8,  ///< The size query failed with the last error 122.
    WidenedCountDiffers = 9,      ///< Narrow to wide wrote another count than the one predicted.
    ModuleNotLoaded = 10,         ///< No module of that name is loaded.
    InvalidUtf8 = 11,             ///< The input is no UTF-8 of at most three bytes a character.
    SizeQueryUntranslatable = 12, ///< The size query failed with the last error 1113.
    NarrowSizeQueryFailed = 13,   ///< The wide to narrow size query failed.
    NarrowedCountDiffers = 14,    ///< Wide to narrow wrote another count than the one predicted.
    UnknownEncoding = 15,         ///< The string's own encoding is neither narrow nor wide.
};

} // namespace zmu

/// Thrown by value. Offers neither text nor an accessor; nobody decides anything by the code.
class ZMU_API UTL_Exception {
  public:
    /// `code` says what went wrong; strings throw a zmu::StringFault.
    explicit UTL_Exception(unsigned code) : m_code(code) {}
    UTL_Exception(const UTL_Exception& other) = default;
    UTL_Exception& operator=(const UTL_Exception& other) = default;
    virtual ~UTL_Exception() { m_code = 0; }

  protected:
    unsigned m_code;
};
