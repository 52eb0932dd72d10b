// What the calls are made of that `zmu compile` writes for the situations of a catalogue:
//
//     situations::sessionStarted(monitor, 7, "Ada");
//
// A parameter is of one of the types below, one for each kind of argument. It takes what is sure to
// fit and nothing else: a number of another sign or of more bits does not compile, unless it is a
// constant that fits. Nothing here allocates; texts are put into buffers on the caller's stack,
// where one that is too long ends with an ellipsis behind its last whole character.
#pragma once

#include <zmu/catalog/Setup.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Zarn.h>

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zmu::catalog {

// ---- Numbers ---------------------------------------------------------------------------------------------

template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && !Character<T>;

/// Whether Number has each value of the integral type T.
template <class T, class Number>
inline constexpr bool hasAll = std::cmp_greater_equal(+std::numeric_limits<T>::min(),
                                                      std::numeric_limits<Number>::min()) &&
                               std::cmp_less_equal(+std::numeric_limits<T>::max(),
                                                   std::numeric_limits<Number>::max());

/// An enumeration fits if the type below it does. Which that is, it is the compiler that decides
/// for one without `class`: there it is the bytes that count.
template <class T, class Number>
constexpr bool fitsAsEnum()
{
    if constexpr (!std::is_enum_v<T>)
        return false;
    else if constexpr (std::is_convertible_v<T, std::underlying_type_t<T>>)
        return sizeof(T) <= sizeof(Number);
    else
        return hasAll<std::underlying_type_t<T>, Number>;
}

/// An integer or an enumeration each value of which a Number has.
template <class T, class Number>
concept FitsInto = (Integer<T> && hasAll<T, Number>) || fitsAsEnum<T, Number>();

/// An argument of the kinds u32, i32, u64 and i64.
template <class Number>
struct Whole {
    template <FitsInto<Number> T>
    constexpr Whole(T number) : value(static_cast<Number>(number))
    {}
    /// A constant of another type, such as the 7 above.
    template <Integer T>
    requires(!FitsInto<T, Number>) consteval Whole(T number) : value(static_cast<Number>(number))
    {
        if (!std::in_range<Number>(number))
            throw "this constant does not fit the argument";
    }

    Number value;
};
using U32 = Whole<std::uint32_t>;
using I32 = Whole<std::int32_t>;
using U64 = Whole<std::uint64_t>;
using I64 = Whole<std::int64_t>;

/// An argument of the kind f64.
struct F64 {
    template <std::floating_point T>
    requires(sizeof(T) <= sizeof(double)) constexpr F64(T number) : value(number) {}

    double value;
};

// ---- Texts -----------------------------------------------------------------------------------------------

/// What has a text of its own, as std::filesystem::path has.
template <class T>
concept Path = requires(const T& path)
{
    {
        path.native()
        } -> std::convertible_to<std::basic_string_view<typename T::value_type>>;
};

/// A text: narrow is UTF-8, wide is as the platform has it. Null shows as "(null)". It is not
/// copied.
class TextView {
  public:
    constexpr TextView(std::string_view text) : m_narrow(text.data()), m_size(text.size()) {}
    constexpr TextView(std::wstring_view text) : m_wide(text.data()), m_size(text.size()) {}
    constexpr TextView(const char* text)
        : TextView(text ? std::string_view(text) : std::string_view("(null)"))
    {}
    constexpr TextView(const wchar_t* text)
        : TextView(text ? std::wstring_view(text) : std::wstring_view(L"(null)"))
    {}
    TextView(std::u8string_view text)
        : m_narrow(reinterpret_cast<const char*>(text.data())), m_size(text.size())
    {}

    /// Takes the next character off; U+FFFD for what is none. False at the end.
    constexpr bool take(char32_t& character)
    {
        if (m_size == 0 || (!m_wide && !m_narrow))
            return false;
        character = m_wide ? takeWide() : takeNarrow();
        return true;
    }

  private:
    static constexpr char32_t replacement = 0xfffd;

    constexpr char32_t takeWide()
    {
        const char32_t first = static_cast<char32_t>(*m_wide++);
        --m_size;
        if (first < 0xd800 || (first > 0xdfff && first <= 0x10ffff))
            return first;
        if (sizeof(wchar_t) > 2 || first > 0xdbff || m_size == 0)
            return replacement;
        const char32_t second = static_cast<char32_t>(*m_wide);
        if (second < 0xdc00 || second > 0xdfff)
            return replacement;
        ++m_wide;
        --m_size;
        return 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00);
    }
    /// As the library reads UTF-8: one U+FFFD for the bytes that could have begun a character.
    constexpr char32_t takeNarrow()
    {
        const unsigned char lead = takeByte();
        if (lead < 0x80)
            return lead;
        if (lead < 0xc2 || lead > 0xf4)
            return replacement;
        // The range of the second byte keeps out overlong forms, surrogates and what is no
        // character.
        unsigned char least = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
        unsigned char most = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
        const int more = lead < 0xe0 ? 1 : lead < 0xf0 ? 2 : 3;
        char32_t character = lead & (0x3f >> more);
        for (int i = 0; i < more; ++i) {
            const auto next = static_cast<unsigned char>(m_size == 0 ? '\0' : *m_narrow);
            if (next < least || next > most)
                return replacement;
            character = character << 6 | (takeByte() & 0x3f);
            least = 0x80;
            most = 0xbf;
        }
        return character;
    }
    constexpr unsigned char takeByte()
    {
        --m_size;
        return static_cast<unsigned char>(*m_narrow++);
    }

    const char* m_narrow = nullptr;
    const wchar_t* m_wide = nullptr;
    std::size_t m_size;
};

/// An argument of the kind text, from wherever: what means something in HTML is none in the log.
class Text : public TextView {
  public:
    template <class T>
    requires std::convertible_to<const T&, TextView> &&
        (!std::derived_from<T, TextView>)constexpr Text(const T& text)
        : TextView(text)
    {}
    template <class T>
    requires std::convertible_to<const T&, std::string_view> &&
        (!std::convertible_to<const T&, TextView>)constexpr Text(const T& text)
        : TextView(std::string_view(text))
    {}
    template <class T>
    requires std::convertible_to<const T&, std::wstring_view> &&
        (!std::convertible_to<const T&, TextView>)constexpr Text(const T& text)
        : TextView(std::wstring_view(text))
    {}
    template <Path T>
    Text(const T& path) : TextView(std::basic_string_view<typename T::value_type>(path.native()))
    {}
    Text(std::nullptr_t) = delete;
};

/// An argument of the kind html, which the log takes as it is. It is made in so many words, so that
/// no text from outside becomes one: situations::failed(monitor, zmu::catalog::Html("<b>x</b>")).
class Html : public TextView {
  public:
    explicit constexpr Html(std::string_view html) : TextView(html) {}
    explicit constexpr Html(std::wstring_view html) : TextView(html) {}
    explicit constexpr Html(const char* html) : TextView(html) {}
    explicit constexpr Html(const wchar_t* html) : TextView(html) {}
};

// ---- What calls hand over ------------------------------------------------------------------------------

/// A text of at most `Longest` elements.
template <std::size_t Longest>
class Buffer {
  public:
    Buffer() { clear(); }
    const wchar_t* c_str() const { return m_text; }

    /// Appends a character as `form`, or tells that it has no room.
    bool append(std::wstring_view form)
    {
        if (form.size() > Longest - m_size)
            return false;
        for (const wchar_t element : form)
            m_text[m_size++] = element;
        m_text[m_size] = L'\0';
        if (m_size < Longest) // there is room for the ellipsis
            m_cut = m_size;
        return true;
    }
    /// Puts the ellipsis behind what leaves room for it.
    void cut()
    {
        m_size = m_cut;
        m_text[m_size++] = L'\u2026';
        m_text[m_size] = L'\0';
    }
    void clear()
    {
        m_size = m_cut = 0;
        m_text[0] = L'\0';
    }

  private:
    wchar_t m_text[Longest + 1];
    std::size_t m_size;
    std::size_t m_cut;
};

/// A text as it is.
template <std::size_t Longest>
class Plain : public Buffer<Longest> {
  public:
    Plain() = default;
    explicit Plain(TextView text) { assign(text); }
    void assign(TextView text)
    {
        this->clear();
        for (char32_t character = 0; text.take(character);) {
            wchar_t form[2] = {};
            if (!this->append({form, encode(character ? character : U' ', form)}))
                return this->cut();
        }
    }

  protected:
    /// Writes a character into `form` and tells how many elements it takes.
    static std::size_t encode(char32_t character, wchar_t (&form)[2])
    {
        if (sizeof(wchar_t) > 2 || character < 0x10000) {
            form[0] = static_cast<wchar_t>(character);
            return 1;
        }
        form[0] = static_cast<wchar_t>(0xd7c0 + (character >> 10));
        form[1] = static_cast<wchar_t>(0xdc00 + (character & 0x3ff));
        return 2;
    }
};

/// A text made fit for HTML: no markup, no control characters.
template <std::size_t Longest>
class Escaped : public Plain<Longest> {
  public:
    Escaped() = default;
    explicit Escaped(TextView text) { assign(text); }
    void assign(TextView text)
    {
        this->clear();
        for (char32_t character = 0; text.take(character);)
            if (!appendEscaped(character))
                return this->cut();
    }

  private:
    bool appendEscaped(char32_t character)
    {
        switch (character) {
        case U'<':
            return this->append(L"&lt;");
        case U'>':
            return this->append(L"&gt;");
        case U'&':
            return this->append(L"&amp;");
        case U'"':
            return this->append(L"&quot;");
        case U'\'':
            return this->append(L"&#39;");
        default:
            wchar_t form[2] = {};
            const bool isControl = character < U' ' || (character >= 0x7f && character < 0xa0);
            return this->append({form, this->encode(isControl ? U' ' : character, form)});
        }
    }
};

/// A number that a response spec has no room for, as text.
class Digits {
  public:
    constexpr Digits() = default;
    /// In base 8, 10 or 16, with zeros in front up to `width`.
    template <std::integral T>
    Digits(T number, int base, bool isUpper, std::size_t width)
    {
        char text[24];
        const bool isMinus = base == 10 && std::cmp_less(number, 0);
        const auto bits = static_cast<std::uint64_t>(number);
        const auto end =
            std::to_chars(text, text + sizeof text, isMinus ? 0 - bits : bits, base).ptr;
        set(isMinus, {text, end}, width, L'0');
        for (wchar_t* element = m_text; isUpper && *element; ++element)
            if (*element >= L'a' && *element <= L'f')
                *element = static_cast<wchar_t>(*element - L'a' + L'A');
    }
    /// The shortest form that tells the number, or with `precision`, 0 or more, in `format`. What
    /// would be very long in digits alone has an exponent.
    Digits(double number, std::chars_format format, int precision, std::size_t width)
    {
        char text[32];
        std::to_chars_result result{text, std::errc()};
        if (precision < 0) {
            result = std::to_chars(text, text + sizeof text, number);
        } else {
            const bool isLong =
                format == std::chars_format::fixed && !(number > -1e15 && number < 1e15);
            result = std::to_chars(text, text + sizeof text, number,
                                   isLong ? std::chars_format::scientific : format, precision);
        }
        const bool isMinus = text[0] == '-';
        const bool isFinite = std::numeric_limits<double>::lowest() <= number &&
                              number <= std::numeric_limits<double>::max();
        set(isMinus, {text + isMinus, result.ptr}, width, isFinite ? L'0' : L' ');
    }
    const wchar_t* c_str() const { return m_text; }

  private:
    /// Fills up to `width`: behind the sign with zeros, before it with blanks.
    void set(bool isMinus, std::string_view digits, std::size_t width, wchar_t filler)
    {
        wchar_t* element = m_text;
        if (isMinus && filler == L'0')
            *element++ = L'-';
        for (std::size_t i = digits.size() + isMinus; i < width; ++i)
            *element++ = filler;
        if (isMinus && filler != L'0')
            *element++ = L'-';
        for (const char digit : digits)
            *element++ = static_cast<wchar_t>(digit);
        *element = L'\0';
    }

    wchar_t m_text[100] = {}; // no width has more than two digits
};

/// Ends a report: answers its code, and leaves nothing of it for the next one.
inline int settle(Zarn& monitor) noexcept
{
    const int code = monitor.getSelfDX_Code();
    if (code != 0) {
        monitor.forgetSelfDX_Code();
        monitor.forgetSituation();
    }
    return code;
}

/// Reports a situation with its fillers.
template <SituationArgument... Fillers>
int report(Zarn* monitor, int situation, Fillers... fillers) noexcept
{
    if (!monitor)
        return dx::NoDataSet;
    monitor->respondToSituation(situation, nullptr, fillers...);
    return settle(*monitor);
}

/// A filler and its slot among the recorded arguments of its kind.
template <SituationArgument Filler>
struct Recorded {
    Filler value;
    int slot;
};

/// Records the arguments of a situation, and reports it.
template <SituationArgument... Fillers>
int reportRecorded(Zarn* monitor, int situation, Recorded<Fillers>... recorded) noexcept
{
    if (!monitor)
        return dx::NoDataSet;
    (monitor->recordArgument(recorded.value, recorded.slot), ...);
    monitor->recordSituationID(situation);
    monitor->respondToSituation();
    return settle(*monitor);
}

} // namespace zmu::catalog
