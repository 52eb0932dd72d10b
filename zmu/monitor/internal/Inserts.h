// What a message format asks of its insert array.
#pragma once

#include <zmu/monitor/ZarnArguments.h>

#include <cwchar>

namespace zmu {

/// One insert of a format.
struct Insert {
    int slot = 0;                        ///< Number of its slot, from 1; stars come before it.
    SlotKind shows = SlotKind::WideText; ///< What it takes the slot for.
};

/// Reads the insert behind a percent sign and its first digit; `format` ends up behind it.
inline Insert readInsert(const wchar_t*& format)
{
    Insert insert;
    insert.slot = *format++ - L'0';
    if (*format >= L'0' && *format <= L'9')
        insert.slot = insert.slot * 10 + (*format++ - L'0');
    if (*format != L'!')
        return insert;

    bool isHalf = false;
    int longs = 0;
    wchar_t conversion = 0;
    for (++format; *format && *format != L'!'; ++format) {
        insert.slot += *format == L'*';
        isHalf = isHalf || *format == L'h';
        longs += *format == L'l' || *format == L'w';
        conversion = *format;
    }
    if (*format)
        ++format;
    if (conversion != L's' && conversion != L'S')
        insert.shows = SlotKind::Number;
    else if (isHalf || (conversion == L'S' && longs != 1))
        insert.shows = SlotKind::NarrowText;
    return insert;
}

/// Whether each insert of `format` has one of `slotsQty` slots, and shows a text only where
/// `kindOf(slot)` is such a text. The formatter cannot know: a number shown as a text would be read
/// as an address.
template <class KindOf>
bool insertsFit(const wchar_t* format, int slotsQty, KindOf kindOf)
{
    while ((format = std::wcschr(format, L'%'))) {
        ++format;
        if (*format == L'0')
            return true; // ends the output
        if (*format < L'1' || *format > L'9') {
            if (*format)
                ++format;
            continue;
        }
        const Insert insert = readInsert(format);
        if (insert.slot > slotsQty)
            return false;
        if (insert.shows == SlotKind::Number)
            continue;
        const SlotKind held = kindOf(insert.slot);
        if (held != SlotKind::Unknown && held != SlotKind::AnyText && held != insert.shows)
            return false;
    }
    return true;
}

} // namespace zmu
