// Where in its spec a situation failed.
#pragma once

#include <string_view>

namespace zmu {

/// From the field of a response spec down to one record or one insert of it. Each stage that a
/// failure passes on its way out adds what it knows.
struct FailurePlace {
    enum class Field : unsigned char { Unknown, Header, Display, Log };

    Field field = Field::Unknown;
    int group = 0;                 ///< Counted from 1 as the spec's author does; 0 is unknown.
    int record = 0;                ///< The same.
    int insert = 0;                ///< The number behind the percent sign.
    const wchar_t* note = nullptr; ///< What is wrong there, where the code does not tell. Static.
    wchar_t excerpt[25] = {};      ///< The beginning of the text there, in one line.

    bool isKnown() const
    {
        return field != Field::Unknown || group || record || insert || note || excerpt[0];
    }
    /// Keeps the beginning of `text` unless an inner stage has kept its own.
    void quote(std::wstring_view text);
};

} // namespace zmu
