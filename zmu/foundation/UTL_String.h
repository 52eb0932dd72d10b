// The library's own string: narrow or wide text that code written for either width can take.
//
//     UTL_String path(L"/var/log/");
//     path += UTL_String("report.html");     // stays wide; the narrow text is converted
//     open(path.narrowText());
//
// One representation, that of the string's encoding, is the text. The other one is made anew by
// each call that asks for it, and stays good until the next such call or until the string changes.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_Exception.h>
#include <zmu/platform/Host.h>

#include <cstddef>

/// The representation that holds a string's text.
enum class StringEncoding : zmu::u64 {
    Narrow = 1, ///< char, in the system's narrow code page (UTF-8 outside Windows)
    Wide = 2,   ///< wchar_t
};

/// An owning string. Lengths and positions are u64 and count elements of the string's encoding,
/// without the terminator, unless told otherwise.
///
/// An operation that fails throws UTL_Exception with a zmu::StringFault, and leaves the string as
/// it stood at that moment. Every operation may fail for want of memory, and each one that has to
/// convert may fail in the conversion; only further failures are told below.
///
/// There is no lock. Since asking for the other representation alters the string, two threads may
/// read one string only through the accessor of its own encoding.
class ZMU_API UTL_String {
  public:
    /// What a search returns that finds nothing; as a count, "to the end".
    static constexpr zmu::u64 npos = ~zmu::u64(0);

    // ---- Construction ----

    /// Empty and narrow.
    UTL_String();
    /// A copy of `text` in its encoding; empty and narrow when null.
    UTL_String(const char* text);
    UTL_String(const wchar_t* text);
    UTL_String(const UTL_String& other);
    /// The number in decimal, narrow.
    explicit UTL_String(int value);
    /// Text formatted as by printf. `capacity` is a hard limit in elements, terminator included:
    /// text that does not fit is never cut but throws BadArguments, as does a format that is null
    /// or cannot be filled. Only "%ls" takes wide text and "%hs" narrow text on every platform.
    UTL_String(std::size_t capacity, const char* format, ...);
    UTL_String(std::size_t capacity, const wchar_t* format, ...);
    /// String `id` of the string table of a module that is loaded under `moduleName`, at most
    /// `capacity` elements with the terminator. Throws for a null name or a capacity of 0 (narrow:
    /// BadNarrowArguments, wide: BadArguments), ModuleNotLoaded, or ResourceNotLoaded, also for an
    /// empty string. A module's entry for strings (ResourceModule.h) is not asked.
    UTL_String(const char* moduleName, unsigned id, unsigned capacity);
    UTL_String(const wchar_t* moduleName, unsigned id, unsigned capacity);
    /// String `id` of an open module as by loadFromModule(), wide. Throws ResourceNotLoaded when
    /// there is none; a string that exists and is empty passes.
    UTL_String(HMODULE module, unsigned id, unsigned capacity);

    virtual ~UTL_String();

    // ---- Reading ----

    zmu::u64 length() const { return m_length; }
    /// The text as wide or narrow, terminated, never null.
    const wchar_t* wideText() const;
    const char* narrowText() const;
    operator const wchar_t*() const { return wideText(); }
    operator const char*() const { return narrowText(); }
    /// The number at the start of the text, as by atoi; 0 if there is none.
    int toInt() const;
    /// Elements that the text needs in encoding `target`. Throws BadNarrowArguments for a `target`
    /// that is no encoding.
    zmu::u64 convertedLength(StringEncoding target) const;

    // ---- Changing ----

    /// Releases the text; empty and narrow again.
    void clear();
    /// Takes the source's text and encoding. The assignment of an empty string is clear(). A buffer
    /// of the same encoding is kept if the old text was at least as long.
    UTL_String& operator=(const UTL_String& source);
    /// Appends, in this string's encoding.
    UTL_String& operator+=(const UTL_String& other);
    /// Replaces the text by string `id` of an open module, wide, in at most `capacity` elements
    /// with the terminator. The module's own entry is asked first (ResourceModule.h), then its
    /// string table. Returns the number of elements; 0 with the calling thread's last error 0 for a
    /// string that is empty, or another last error when there is none (2 in a module without an
    /// entry). Throws BadArguments for a null module or a capacity of 0.
    int loadFromModule(HMODULE module, unsigned id, unsigned capacity);
    /// Turns each "/" into a backslash.
    void useBackslashes();
    /// Replaces the text by that of a window, in the encoding asked for, and returns its length. A
    /// null window gives an empty text. Throws BadArguments when the text changes meanwhile, and
    /// UnknownEncoding.
    zmu::u64 loadWindowText(HWND window, StringEncoding encoding);

    // ---- New strings; this one stays as it is ----

    /// Both texts in this string's encoding, with the losses of that conversion.
    UTL_String operator+(const UTL_String& other) const;
    /// At most `count` elements from `start`; empty when `start` is behind the end.
    UTL_String substring(zmu::u64 start, zmu::u64 count) const;
    /// Without the double quotes, if it begins and ends with one.
    UTL_String stripQuotes() const;
    /// The text before the first delimiter that occurs at all, in the order of `delimiters` and not
    /// of the text. The whole text if none occurs; nothing if there are none.
    UTL_String prefixBefore(const UTL_String& delimiters) const;
    /// Without spaces, tabs and line feeds at either end. A carriage return stays.
    UTL_String trimmed() const;
    /// Bytes mapped by the C library's rule. Wide text has no case mapping and gives an empty
    /// string.
    UTL_String toLower() const;
    UTL_String toUpper() const;
    /// With each %NAME% replaced by that environment variable. Throws SystemCallFailed.
    UTL_String expandEnvironment() const;
    /// The system's short form of a path. Throws SystemCallFailed, also when nothing has that name.
    UTL_String shortPath() const;

    // ---- Comparing ----

    /// True for two empty strings or for equal lengths and equal narrow texts, so that wide texts
    /// which differ only in what the narrow code page cannot hold are equal.
    bool operator==(const UTL_String& other) const;
    /// Order by the value of elements, in this string's encoding.
    bool operator<(const UTL_String& other) const;
    bool beginsWith(const UTL_String& other) const;
    bool endsWith(const UTL_String& other) const;
    /// Compares substring(start, limit) of both. `limit` is a count; it is lowered to the shorter
    /// length, which 0 stands for. A `start` above the limit becomes 0.
    bool equalsPart(const UTL_String& other, unsigned limit = 0, unsigned start = 0) const;
    bool equalsPart(const char* other, unsigned limit = 0, unsigned start = 0) const;

    // ---- Searching ----

    /// Lowest index at or above `from`, or npos. An empty `text` is found at `from`. Characters are
    /// searched, and their index counts, in the text of the character's own width.
    zmu::u64 find(const UTL_String& text, zmu::u64 from = 0) const;
    zmu::u64 find(char c, zmu::u64 from = 0) const;
    zmu::u64 find(wchar_t c, zmu::u64 from = 0) const;
    /// Highest index at or above `from`, or npos.
    zmu::u64 findLast(const UTL_String& text, zmu::u64 from = 0) const;
    zmu::u64 findLast(char c, zmu::u64 from = 0) const;
    zmu::u64 findLast(wchar_t c, zmu::u64 from = 0) const;
    /// Whether the narrow text has the form of `pattern`: "?" is any one byte, "*" any run, but a
    /// run at the end of the pattern is empty: "a*" matches "a" and not "ab".
    bool matches(const UTL_String& pattern) const;

  protected:
    /// Makes `elements` (from new[], terminated) the text and owns it from then on.
    void adopt(char* elements, zmu::u64 length);
    void adopt(wchar_t* elements, zmu::u64 length);

    // The buffer that m_encoding names is the text; the other one is what the last conversion left,
    // and is never read as the text. A text of length 0 may have no buffer.
    mutable wchar_t* m_wide = nullptr;
    mutable char* m_narrow = nullptr;
    zmu::u64 m_length = 0;
    zmu::u64 m_encoding = static_cast<zmu::u64>(StringEncoding::Narrow);

  private:
    StringEncoding activeEncoding() const;
    template <class Char>
    Char*& buffer() const;
    template <class Char>
    const Char* activeText() const;
    template <class Char>
    const Char* text() const;
    template <class Body>
    auto withActiveText(Body body) const;
    template <class Char>
    void assign(const Char* text, zmu::u64 length);
    template <class Char>
    void loadFromNamedModule(HMODULE module, unsigned id, unsigned capacity);
    template <class Char>
    void loadWindow(HWND window);
    template <class Char>
    zmu::u64 findElement(Char c, zmu::u64 from) const;
    template <class Char>
    zmu::u64 findLastElement(Char c, zmu::u64 from) const;
    bool holdsAt(zmu::u64 index, const UTL_String& text) const;
    UTL_String mapBytes(int (*map)(int)) const;
};

/// The literal's encoding is the result's.
ZMU_API UTL_String operator+(const char* left, const UTL_String& right);
ZMU_API UTL_String operator+(const wchar_t* left, const UTL_String& right);
