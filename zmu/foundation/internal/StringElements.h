// What the sources of UTL_String share: arrays of either width, and the string's text in its own.
#pragma once

#include <zmu/foundation/UTL_Exception.h>
#include <zmu/foundation/UTL_String.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

namespace zmu {

template <class Char>
using Elements = std::unique_ptr<Char[]>;

template <class Char>
inline constexpr StringEncoding encodingOf =
    std::is_same_v<Char, char> ? StringEncoding::Narrow : StringEncoding::Wide;

/// The text of every empty string, narrow and wide: four zero bytes.
inline constexpr wchar_t emptyText[4 / sizeof(wchar_t)] = {};

template <class Char>
const Char* emptyTextOf()
{
    return reinterpret_cast<const Char*>(emptyText);
}

/// Room for `length` elements and the terminator, which is set; the others are not.
template <class Char>
Elements<Char> allocate(u64 length)
{
    if (length >= PTRDIFF_MAX / sizeof(Char))
        throw UTL_Exception(StringFault::OutOfMemory);
    Elements<Char> elements(new (std::nothrow) Char[static_cast<std::size_t>(length) + 1]);
    if (!elements)
        throw UTL_Exception(StringFault::OutOfMemory);
    elements[length] = Char();
    return elements;
}

template <class Char>
void copyTo(Char* target, const Char* text, u64 length)
{
    std::char_traits<Char>::move(target, text, static_cast<std::size_t>(length));
}

template <class Char>
Elements<Char> duplicate(const Char* text, u64 length)
{
    Elements<Char> elements = allocate<Char>(length);
    copyTo(elements.get(), text, length);
    return elements;
}

template <class Char>
u64 lengthOf(const Char* text)
{
    return std::char_traits<Char>::length(text);
}

} // namespace zmu

template <>
inline char*& UTL_String::buffer<char>() const
{
    return m_narrow;
}

template <>
inline wchar_t*& UTL_String::buffer<wchar_t>() const
{
    return m_wide;
}

template <>
inline const char* UTL_String::text<char>() const
{
    return narrowText();
}

template <>
inline const wchar_t* UTL_String::text<wchar_t>() const
{
    return wideText();
}

/// The text in the string's own encoding, which must be that of Char.
template <class Char>
const Char* UTL_String::activeText() const
{
    if (m_length == 0)
        return zmu::emptyTextOf<Char>();
    if (!buffer<Char>())
        throw UTL_Exception(zmu::encodingOf<Char> == StringEncoding::Narrow
                                ? zmu::StringFault::NarrowTextMissing
                                : zmu::StringFault::WideTextMissing);
    return buffer<Char>();
}

/// Hands the text in the string's own encoding to `body`, which takes either width.
template <class Body>
auto UTL_String::withActiveText(Body body) const
{
    if (activeEncoding() == StringEncoding::Narrow)
        return body(activeText<char>());
    return body(activeText<wchar_t>());
}
