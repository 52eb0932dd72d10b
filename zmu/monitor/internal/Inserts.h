// What a message format asks of its insert array.
#pragma once

namespace zmu {

/// Number of the highest slot that `format` reads, 0 for none. The formatter cannot know how many
/// slots it was given, so whoever gives them asks here first.
inline int highestInsert(const wchar_t* format)
{
    int highest = 0;
    while (*format) {
        if (*format++ != L'%')
            continue;
        if (*format == L'0')
            return highest; // ends the output
        if (*format < L'1' || *format > L'9') {
            if (*format)
                ++format;
            continue;
        }
        int insert = *format++ - L'0';
        if (*format >= L'0' && *format <= L'9')
            insert = insert * 10 + (*format++ - L'0');
        if (*format == L'!') {
            for (++format; *format && *format != L'!'; ++format)
                insert += *format == L'*'; // takes a slot of its own, in front of the value's
            if (*format)
                ++format;
        }
        if (insert > highest)
            highest = insert;
    }
    return highest;
}

} // namespace zmu
