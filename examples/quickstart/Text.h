// Text between the host, which is given narrow text, and zmu.
#pragma once

#include <string>

/// To and from the system's narrow code page.
std::wstring toWide(const std::string& text);
std::string toNarrow(const wchar_t* text);
