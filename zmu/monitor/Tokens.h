// The tokeniser of the response spec parsers. It works in place, on wide text.
#pragma once

#include <zmu/foundation/Export.h>

#include <cstddef>

/// Next token of `text`, or null at the end of the list. The state is `start`, `position` and
/// `length`, which begin as 0, 0 and -1. Writes a terminator over each delimiter found; delimiters
/// are not merged, so "a~b~" has three tokens, the last one empty, and an empty text has none.
ZMU_API wchar_t* nextToken(wchar_t* text, const wchar_t* delimiters, std::size_t& start,
                           std::size_t& position, std::size_t& length);

/// Counts the tokens of `text`, which it cuts like nextToken. More than `maximum` (0: no maximum)
/// is false, with a `count` of 0.
ZMU_API bool countTokens(wchar_t* text, const wchar_t* delimiters, int& count, int maximum);

/// First position of `text` that is not white space.
ZMU_API wchar_t* skipWhitespace(wchar_t* text);
