// Numbers and dates in the user's locale, environment references, the library's own strings, the
// version data of modules, and the box that shows an internal error.
//
//     char text[32];
//     ZarnLocalizeHelpers::convertIntToPunctuatedStrA(1234567, text, sizeof text); // "1,234,567"
//
//     wchar_t version[48];
//     ZarnLocalizeHelpers::extractModuleVerValueSFI_FVer(L"server.dll", version, 48, nullptr,
//                                                        L"StringFileInfo", L'\\');
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/localize/ZarnFormTag.h>
#include <zmu/platform/Host.h>

#include <atomic>
#include <ctime>

/// Static operations; there is nothing in an object. None of them throws: a failure is a neutral
/// result, with an emptied output unless told otherwise. Capacities count elements, the terminator
/// among them. Any thread may call, but see the punctuated numbers.
class ZMU_API ZarnLocalizeHelpers {
  public:
    ZarnLocalizeHelpers();
    /// Does nothing; returns true.
    virtual bool setMemberVarsToDefaults(bool isWhole);
    virtual ~ZarnLocalizeHelpers();

    // ---- Punctuated numbers ----
    //
    // Each call switches the C locale of the whole process to the user's default, and leaves it so.
    // Calls of these operations wait for each other; a host that looks at the locale in another
    // thread meanwhile is not waited for.
    //
    // A mark of the locale (the sign, what separates groups) is the first character of its text.
    // That is one char in most locales, but U+202F in a French one: the character is written whole,
    // in the narrow code page, whatever the locale's own character set is. Where the separator is
    // empty no groups are made.

    /// Writes `value` with the sign and the groups of the locale. Returns the elements written
    /// without the terminator. 0 when `buffer` has fewer than 2 elements, and is then left alone;
    /// 0 and an empty `buffer` when it has too few, when the system does not know the user's
    /// locale, and for a negative value where the locale has no negative sign (as "C" has none).
    /// All of `buffer` that is not in use becomes zero.
    static zmu::u64 convertIntToPunctuatedStrA(zmu::i64 value, char* buffer, zmu::u64 capacity);
    static zmu::u64 convertIntToPunctuatedStrW(zmu::i64 value, wchar_t* buffer, zmu::u64 capacity);

    /// Reads the number at the start of `text`, after white space and a sign of the locale. Reading
    /// ends at `length` elements, at the terminator, or at the first character that is neither a
    /// digit nor the separator, which may stand anywhere. False and 0 without a digit, for a number
    /// beyond 64 bits and for a `length` below 2: a text of one digit is refused. One digit too
    /// many may also wrap around, which is not noticed.
    static bool convertPunctuatedStrToIntA(char* text, zmu::u64 length, zmu::i64& value);
    /// The same, but `text` is terminated and has up to 63 elements, all of which are read; of
    /// `length` only that it is 2 or more counts.
    static bool convertPunctuatedStrToIntW(wchar_t* text, zmu::u64 length, zmu::i64& value);

    // ---- Time ----
    //
    // The calendar of the C library and that of the platform. Every field of the output is written:
    // the ones that nothing is known about become 0. `isDst` goes to tm_isdst as it is.

    /// UTC to UTC. A moment that the calendar does not know gives zeros throughout, also in
    /// tm_isdst.
    static std::tm& mapFILETIME_to_tm(const FILETIME& time, std::tm& result, int isDst);
    static std::tm& mapSYSTEMTIME_to_tm(const SYSTEMTIME& time, std::tm& result, int isDst);
    /// Local time of a moment in seconds since 1 January 1970, UTC. The day of the week stays 0.
    static std::tm& mapSMTIME_to_tm(long long time, std::tm& result, int isDst);
    /// By map_tm_to_SYSTEMTIME, month included; zeros for what is no date then.
    static FILETIME& map_tm_to_FILETIME(const std::tm& time, FILETIME& result);
    /// Copies the fields. The month stays as it is in `time`, counted from 0. A year below 100
    /// gains 100, and one below 1900 then gains 1900: 124 is 2024, and 99 is 2099.
    static SYSTEMTIME& map_tm_to_SYSTEMTIME(const std::tm& time, SYSTEMTIME& result);

    // ---- Environment ----

    /// Replaces each %NAME% of `source` by that environment variable, and again in what that gives,
    /// until a pass leaves the length as it was. An unknown name stays as it is. `destination` and
    /// `scratch` are two arrays of `limit` elements each; `source` may be one of them. Returns
    /// `destination`, with its length in `length`. Null and 0 when an argument is null, `limit` is
    /// below 2, a pass has no room, or names lead back to each other without end.
    static char* expandEnvironmentVarStrsA(char* source, char* destination, char* scratch,
                                           zmu::u64& length, zmu::ulong32 limit);
    static wchar_t* expandEnvironmentVarStrsW(wchar_t* source, wchar_t* destination,
                                              wchar_t* scratch, zmu::u64& length,
                                              zmu::ulong32 limit);

    // ---- The library's own strings ----

    /// The module that intrinsic strings are loaded from, as it was set or learned; may be null.
    static HINSTANCE getSelfResourceModule();
    /// `module`, or if that is null the module of intrinsic strings, which is learned at need.
    static HINSTANCE getSelfResourceModuleSafe(HINSTANCE module);
    /// Returns the value before. Null lets it be learned afresh.
    static HINSTANCE setSelfResourceModule(HINSTANCE module);
    /// Finds the library itself unless a module is set. Whether one is set then.
    static bool learnSelfResourceModule();
    /// Loads intrinsic string `id`, cut to `capacity` elements. A string that exists and is empty
    /// is a success. A failure leaves an empty text also where `capacity` is below 1.
    static bool loadIntrinsicString(unsigned int id, wchar_t* buffer, int capacity);

    // ---- Version data of modules ----
    //
    // A module is named by its handle, by its file, or by a block that was loaded before. A file's
    // name without a path is looked for in the folders of the program, the library and the system;
    // it is read and never loaded. A module whose path has 260 elements or more is not found by its
    // handle.

    /// Loads the version data of a file into a new block; the one that `block` held is deleted.
    /// False and null when there is none. The caller deletes the block.
    static bool extractModuleVerBlock(HINSTANCE module, void*& block);
    static bool extractModuleVerBlock(const wchar_t* file, void*& block);
    /// Deletes a block and makes it null.
    static void deleteModuleVerBlock(void*& block);

    /// Language and code page at the address `translationBlock`, "\VarFileInfo\Translation". False
    /// and zeros when there are none; no default is tried.
    static bool extractModuleVerTranslation(HINSTANCE module, unsigned short& language,
                                            unsigned short& codePage,
                                            const wchar_t* translationBlock);
    static bool extractModuleVerTranslation(const wchar_t* file, unsigned short& language,
                                            unsigned short& codePage,
                                            const wchar_t* translationBlock);
    static bool extractModuleVerTranslation(void*& block, unsigned short& language,
                                            unsigned short& codePage,
                                            const wchar_t* translationBlock);
    /// The same as the key "040904B0", into a `buffer` that must have 16 elements. By block, a
    /// `capacity` below 9 is a failure; by module or file it only tells how much is emptied first.
    static bool extractModuleVerTranslation(HINSTANCE module, wchar_t* buffer, zmu::u64 capacity,
                                            const wchar_t* translationBlock);
    static bool extractModuleVerTranslation(const wchar_t* file, wchar_t* buffer, zmu::u64 capacity,
                                            const wchar_t* translationBlock);
    static bool extractModuleVerTranslation(void*& block, wchar_t* buffer, zmu::u64 capacity,
                                            const wchar_t* translationBlock);

    /// Copies one value, cut to `capacity` elements. `infoBlock` is L"StringFileInfo" and
    /// `separator` a backslash. `translation` is a key, used unchecked; if null or empty it is read
    /// from the module. False when there is no such value.
    static bool extractModuleVerValue(HINSTANCE module, wchar_t* buffer, zmu::u64 capacity,
                                      const wchar_t* valueName, const wchar_t* translation,
                                      const wchar_t* infoBlock, wchar_t separator);
    static bool extractModuleVerValue(const wchar_t* file, wchar_t* buffer, zmu::u64 capacity,
                                      const wchar_t* valueName, const wchar_t* translation,
                                      const wchar_t* infoBlock, wchar_t separator);
    static bool extractModuleVerValue(void*& block, wchar_t* buffer, zmu::u64 capacity,
                                      const wchar_t* valueName, const wchar_t* translation,
                                      const wchar_t* infoBlock, wchar_t separator);

    /// The value whose name is intrinsic string `valueNameId`, 13003 to 13011; else as above.
    static bool extractModuleVerValueSFI_(void*& block, wchar_t* buffer, zmu::u64 capacity,
                                          unsigned int valueNameId, const wchar_t* translation,
                                          const wchar_t* infoBlock, wchar_t separator);

    // One operation for each of the nine values, by module, file and block:
    //
    //     bool extractModuleVerValueSFI_...(module, wchar_t* buffer, u64 capacity,
    //                                       const wchar_t* translation, const wchar_t* infoBlock,
    //                                       wchar_t separator)
#define ZMU_VERSION_VALUE_OF(MODULE, NAME, ID)                                                     \
    static bool extractModuleVerValueSFI_##NAME(MODULE module, wchar_t* buffer, zmu::u64 capacity, \
                                                const wchar_t* translation,                        \
                                                const wchar_t* infoBlock, wchar_t separator)       \
    {                                                                                              \
        return extractModuleVerValueSFI_(module, buffer, capacity, ID, translation, infoBlock,     \
                                         separator);                                               \
    }
#define ZMU_VERSION_VALUE(NAME, ID)                                                                \
    ZMU_VERSION_VALUE_OF(HINSTANCE, NAME, ID)                                                      \
    ZMU_VERSION_VALUE_OF(const wchar_t*, NAME, ID)                                                 \
    ZMU_VERSION_VALUE_OF(void*&, NAME, ID)
    // clang-format off
    ZMU_VERSION_VALUE(CompNm,  13003) ///< CompanyName
    ZMU_VERSION_VALUE(FDscrp,  13004) ///< FileDescription
    ZMU_VERSION_VALUE(FVer,    13005) ///< FileVersion
    ZMU_VERSION_VALUE(IntrnNm, 13006) ///< InternalName
    ZMU_VERSION_VALUE(LegalCN, 13007) ///< LegalCopyright
    ZMU_VERSION_VALUE(LegalTM, 13008) ///< LegalTrademarks
    ZMU_VERSION_VALUE(OrigFNm, 13009) ///< OriginalFilename
    ZMU_VERSION_VALUE(ProdNm,  13010) ///< ProductName
    ZMU_VERSION_VALUE(ProdVer, 13011) ///< ProductVersion
    // clang-format on
#undef ZMU_VERSION_VALUE
#undef ZMU_VERSION_VALUE_OF

    /// The version that a log shows for `tag`, Zarn_FORM_TAG_FILE_VERSION or _PRODUCT_VERSION: that
    /// of "pv.dll", where a product keeps its version in one place, or else that of `module`. False
    /// for any other tag, a capacity below 2, and when neither has one.
    static bool obtainVersionZGW(wchar_t* buffer, zmu::u64 capacity, Zarn_FORM_TAG tag,
                                 HINSTANCE module);

    // ---- Errors ----

    /// Shows "Internal Error VERSION.NUMBER", `detail` and string `errorNumber` (1 or more) of
    /// `module` in a message box of at most 511 characters, and returns the box's answer. The
    /// caption is `caption`, where "%%" stands for "%", or else "PRODUCT Error"; `boxType` is the
    /// box's style. Waits for the answer where there is a display. 0 when the string or the box is
    /// not to be had. `detail`, `parent` and `caption` may be null.
    static int showError(int errorNumber, HINSTANCE module, const wchar_t* detail, HWND parent,
                         const wchar_t* caption, unsigned int boxType);

  protected:
    /// Copies the value at `address`, such as "\StringFileInfo\040904B0\CompanyName".
    static bool extractModuleVerValue_(void*& block, wchar_t* buffer, zmu::u64 capacity,
                                       const wchar_t* address);
    static bool extractModuleVerValueSFI_(HINSTANCE module, wchar_t* buffer, zmu::u64 capacity,
                                          unsigned int valueNameId, const wchar_t* translation,
                                          const wchar_t* infoBlock, wchar_t separator);
    static bool extractModuleVerValueSFI_(const wchar_t* file, wchar_t* buffer, zmu::u64 capacity,
                                          unsigned int valueNameId, const wchar_t* translation,
                                          const wchar_t* infoBlock, wchar_t separator);

  private:
    static std::atomic<HINSTANCE> m_selfResModule;
};
