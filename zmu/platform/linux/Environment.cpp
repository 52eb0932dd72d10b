// Environment variables and paths.
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

using namespace zmu;

namespace {

/// Replaces each %NAME%. An unknown name stays with both of its signs, and so does "5% of %HOME%",
/// where the first two signs enclose one.
std::string expand(std::string_view text)
{
    std::string result;
    while (true) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == text.npos ? text.npos : text.find('%', open + 1);
        if (close == text.npos)
            return result.append(text);
        const std::string name(text.substr(open + 1, close - open - 1));
        const char* value = std::getenv(name.c_str());
        result.append(text.substr(0, value ? open : close + 1));
        if (value)
            result.append(value);
        text.remove_prefix(close + 1);
    }
}

DWORD fail(DWORD error)
{
    SetLastError(error);
    return 0;
}

template <class Char>
bool fits(std::basic_string_view<Char> text, const Char* output, DWORD size)
{
    return output && text.size() < size;
}

template <class Char>
void copyTo(Char* output, std::basic_string_view<Char> text)
{
    output[text.copy(output, text.size())] = Char();
}

/// The answer of the expansion: always the elements needed, with the terminator.
template <class Char>
DWORD deliverExpanded(std::basic_string_view<Char> text, Char* output, DWORD size)
{
    if (fits(text, output, size))
        copyTo(output, text);
    return static_cast<DWORD>(text.size() + 1);
}

/// The answer of the path functions: the elements written, or those needed with the terminator.
template <class Char>
DWORD deliverPath(std::basic_string_view<Char> path, Char* output, DWORD size)
{
    if (!fits(path, output, size))
        return static_cast<DWORD>(path.size() + 1);
    copyTo(output, path);
    return static_cast<DWORD>(path.size());
}

} // namespace

DWORD ExpandEnvironmentStringsA(const char* source, char* output, DWORD size)
{
    if (!source)
        return fail(ERROR_INVALID_PARAMETER);
    return withoutThrowing(
        [&] { return deliverExpanded(std::string_view(expand(source)), output, size); });
}

DWORD ExpandEnvironmentStringsW(const wchar_t* source, wchar_t* output, DWORD size)
{
    if (!source)
        return fail(ERROR_INVALID_PARAMETER);
    return withoutThrowing([&] {
        return deliverExpanded(std::wstring_view(widen(expand(narrow(source)))), output, size);
    });
}

DWORD GetShortPathNameA(const char* path, char* output, DWORD size)
{
    if (!path)
        return fail(ERROR_INVALID_PARAMETER);
    if (access(path, F_OK) != 0)
        return fail(ERROR_FILE_NOT_FOUND);
    return deliverPath(std::string_view(path), output, size);
}

DWORD GetShortPathNameW(const wchar_t* path, wchar_t* output, DWORD size)
{
    if (!path)
        return fail(ERROR_INVALID_PARAMETER);
    return withoutThrowing([&] {
        if (access(narrow(path).c_str(), F_OK) != 0)
            return fail(ERROR_FILE_NOT_FOUND);
        return deliverPath(std::wstring_view(path), output, size);
    });
}

DWORD GetTempPathW(DWORD size, wchar_t* output)
{
    return withoutThrowing([&] {
        const char* directory = std::getenv("TMPDIR");
        std::wstring path = widen(directory && *directory ? directory : "/tmp");
        if (path.back() != L'/')
            path += L'/';
        return deliverPath(std::wstring_view(path), output, size);
    });
}
