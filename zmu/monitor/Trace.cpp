#include <zmu/monitor/Trace.h>
#include <zmu/platform/Win32.h>

#include <cstdarg>
#include <cwchar>
#include <iterator>

namespace {

void trace(const wchar_t* format, va_list arguments)
{
    wchar_t text[1024] = {};
    if (!format)
        return;
    if (std::vswprintf(text, std::size(text), format, arguments) < 1)
        text[std::size(text) - 1] = L'\0';
    OutputDebugStringW(text);
}

} // namespace

void Zarn_TRACE(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    trace(format, arguments);
    va_end(arguments);
}

void Zarn_TRACE_W(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    trace(format, arguments);
    va_end(arguments);
}
