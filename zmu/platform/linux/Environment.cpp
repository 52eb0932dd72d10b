// Environment variables and paths.
#include <zmu/foundation/internal/Utf8.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

using namespace zmu;

namespace {

/// The value of the variable that `name` says; null for none. An element that no narrow character
/// stands for is in no variable's name.
template <class Char>
const char* valueOf(std::basic_string_view<Char> name)
{
    constexpr std::size_t longestCharacter = 4;
    char bytes[1024];
    std::size_t used = 0;
    for (const Char c : name) {
        if (used + longestCharacter >= sizeof bytes)
            return nullptr;
        if constexpr (sizeof(Char) == 1)
            bytes[used++] = c;
        else
            used += static_cast<std::size_t>(WideCharToMultiByte(
                CP_ACP, 0, &c, 1, bytes + used, longestCharacter, nullptr, nullptr));
    }
    bytes[used] = '\0';
    return std::getenv(bytes);
}

/// Hands each element of the expanded text to `put`, and allocates nothing. Replaces each %NAME%:
/// an unknown name stays with both of its signs, and so does "5% of %HOME%", where the first two
/// signs enclose one.
template <class Char, class Put>
void expand(std::basic_string_view<Char> text, Put put)
{
    while (true) {
        const std::size_t open = text.find(Char('%'));
        const std::size_t close = open == text.npos ? text.npos : text.find(Char('%'), open + 1);
        const char* value =
            close == text.npos ? nullptr : valueOf(text.substr(open + 1, close - open - 1));
        for (const Char c : text.substr(0, value ? open : std::min(close, text.size() - 1) + 1))
            put(c);
        while (value && *value)
            put(static_cast<Char>(sizeof(Char) == 1 ? static_cast<char32_t>(*value++)
                                                    : takeUtf8(value, nullptr)));
        if (close == text.npos)
            return;
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
DWORD deliverExpanded(const Char* source, Char* output, DWORD size)
{
    if (!source)
        return fail(ERROR_INVALID_PARAMETER);
    std::size_t needed = 0;
    expand(std::basic_string_view<Char>(source), [&](Char) { ++needed; });
    if (output && needed < size) {
        Char* const end = output + needed; // another thread may change a variable meanwhile
        expand(std::basic_string_view<Char>(source), [&](Char c) {
            if (output != end)
                *output++ = c;
        });
        *output = Char();
    }
    return static_cast<DWORD>(needed + 1);
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
    return deliverExpanded(source, output, size);
}

DWORD ExpandEnvironmentStringsW(const wchar_t* source, wchar_t* output, DWORD size)
{
    return deliverExpanded(source, output, size);
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
