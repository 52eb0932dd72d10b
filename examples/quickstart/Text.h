// Text between the host, which is given narrow text, and zmu.
#pragma once

#include <cstddef>
#include <string>

/// To and from the system's narrow code page.
std::wstring toWide(const std::string& text);
std::string toNarrow(const wchar_t* text);

/// `text`, or its beginning and an ellipsis: at most `longest` elements, 3 or more. Whatever comes
/// from outside the program is shortened before it becomes an argument, since a situation whose
/// text does not fit is not reported: with all that the form adds, an entry has 1023 elements.
std::wstring shortened(const std::wstring& text, std::size_t longest);

/// The same for a description in the log, which is HTML: the characters that mean something there
/// are written as it wants them.
std::wstring shortenedHtml(const std::wstring& text, std::size_t longest);
