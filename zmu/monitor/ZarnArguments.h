// Arguments of a situation: how Zarn::respondToSituation packs them into 64-bit slots.
#pragma once

#include <zmu/foundation/Types.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zmu {

/// The greatest number of fillers, hence of arguments that a situation can have.
inline constexpr std::size_t ArgumentSlotsQty = 99;

template <class T>
concept IntegerArgument = std::is_integral_v<T> && sizeof(T) <= 4;

template <class T>
concept StringArgument = std::is_pointer_v<T> &&
    (std::same_as<std::remove_cv_t<std::remove_pointer_t<T>>, char> ||
     std::same_as<std::remove_cv_t<std::remove_pointer_t<T>>, wchar_t>);

/// What a situation can be given: integers of up to 32 bits and string pointers.
template <class T>
concept SituationArgument = IntegerArgument<T> || StringArgument<T>;

/// What a slot was packed from.
enum class SlotKind : unsigned char {
    Unknown, ///< Nothing, or what no spec has put there.
    Number,
    AnyText, ///< A pointer that the caller vouches for, or null.
    NarrowText,
    WideText,
};

template <SituationArgument T>
constexpr SlotKind slotKindOf()
{
    if constexpr (!StringArgument<T>)
        return SlotKind::Number;
    else if constexpr (std::same_as<std::remove_cv_t<std::remove_pointer_t<T>>, char>)
        return SlotKind::NarrowText;
    else
        return SlotKind::WideText;
}

/// Signed integers are widened with their sign, unsigned ones with zeros; a pointer stays as it is.
template <SituationArgument T>
u64 toArgumentSlot(T value)
{
    if constexpr (StringArgument<T>)
        return reinterpret_cast<std::uintptr_t>(value);
    else if constexpr (std::is_signed_v<T>)
        return static_cast<u64>(static_cast<i64>(value));
    else
        return value;
}

} // namespace zmu
