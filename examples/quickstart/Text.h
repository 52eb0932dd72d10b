// Text between the host, which is given narrow text, and zmu.
#pragma once

#include <cstddef>
#include <string>

/// To and from the system's narrow code page.
std::wstring toWide(const std::string& text);
std::string toNarrow(const wchar_t* text);

/// `text` for a description in the log, which is HTML: whatever comes from outside the program
/// passes through here, since it may hold characters that mean something there. At most `longest`
/// elements: an entry has 1023 at most, with all that the form adds to it.
std::wstring toHtml(const std::wstring& text, std::size_t longest);
