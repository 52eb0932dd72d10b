// What a message format asks of its insert array.
#pragma once

#include <zmu/monitor/ZarnArguments.h>

#include <cwchar>

namespace zmu {

/// One insert of a format.
struct Insert {
    int number = 0;                      ///< As the format gives it, from 1.
    int slot = 0;                        ///< Number of its slot, from 1; stars come before it.
    bool isFinished = true;              ///< False if its closing exclamation mark is missing.
    SlotKind shows = SlotKind::WideText; ///< What it takes the slot for.
};

/// Reads the insert that begins with the digit behind a percent sign; `format` ends up behind it.
inline Insert readInsert(const wchar_t*& format)
{
    Insert insert;
    insert.number = *format++ - L'0';
    if (*format >= L'0' && *format <= L'9')
        insert.number = insert.number * 10 + (*format++ - L'0');
    insert.slot = insert.number;
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
    insert.isFinished = *format != L'\0';
    if (insert.isFinished)
        ++format;
    if (conversion != L's' && conversion != L'S')
        insert.shows = SlotKind::Number;
    else if (isHalf || (conversion == L'S' && longs != 1))
        insert.shows = SlotKind::NarrowText;
    return insert;
}

/// The first insert of a format that cannot be filled.
struct InsertFault {
    int insert = 0;                ///< Its number, 0 for a percent sign without one.
    const wchar_t* what = nullptr; ///< What is wrong with it, static; null if every insert fits.
};

/// Finds an insert that has none of `slotsQty` slots, that shows a text where `kindOf(slot)` is not
/// such a text, or that does not end. The formatter knows only of the last: a number shown as a
/// text would be read as an address.
template <class KindOf>
InsertFault findInsertFault(const wchar_t* format, int slotsQty, KindOf kindOf)
{
    while ((format = std::wcschr(format, L'%'))) {
        ++format;
        if (*format == L'0')
            return {}; // ends the output
        if (!*format)
            return {0, L"a percent sign at the end"};
        if (*format < L'1' || *format > L'9') {
            ++format;
            continue;
        }
        const Insert insert = readInsert(format);
        if (insert.slot > slotsQty)
            return {insert.number, L"there is no such filler"};
        if (!insert.isFinished)
            return {insert.number, L"its exclamation mark is not closed"};
        if (insert.shows == SlotKind::Number)
            continue;
        const SlotKind held = kindOf(insert.slot);
        if (held != SlotKind::Unknown && held != SlotKind::AnyText && held != insert.shows)
            return {insert.number, held == SlotKind::Number ? L"its filler is a number, not a text"
                                   : held == SlotKind::WideText
                                       ? L"its filler is wide, and !hs! is for narrow text"
                                       : L"its filler is narrow text, which is for !hs!"};
    }
    return {};
}

/// Whether every insert of `format` can be filled.
template <class KindOf>
bool insertsFit(const wchar_t* format, int slotsQty, KindOf kindOf)
{
    return !findInsertFault(format, slotsQty, kindOf).what;
}

} // namespace zmu
