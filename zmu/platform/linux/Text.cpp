// The narrow code page, which is UTF-8, and comparisons of wide text.
#include <zmu/foundation/internal/Utf8.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <stdexcept>

using namespace zmu;

namespace {

int fail(DWORD error)
{
    SetLastError(error);
    return 0;
}

bool isConvertible(UINT codePage, const void* source, int sourceLength, const void* output,
                   int outputLength)
{
    return codePage == CP_ACP && source && sourceLength != 0 && sourceLength >= -1 &&
           outputLength >= 0 && (output || outputLength == 0);
}

} // namespace

int MultiByteToWideChar(UINT codePage, DWORD, const char* source, int sourceLength, wchar_t* output,
                        int outputLength)
{
    if (!isConvertible(codePage, source, sourceLength, output, outputLength))
        return fail(ERROR_INVALID_PARAMETER);
    const std::size_t length =
        sourceLength == -1 ? std::strlen(source) + 1 : static_cast<std::size_t>(sourceLength);
    if (length > INT_MAX)
        return fail(ERROR_INVALID_PARAMETER);

    int written = 0;
    for (const char* end = source + length; source != end; ++written) {
        const char32_t point = takeUtf8(source, end);
        if (outputLength == 0)
            continue;
        if (written == outputLength)
            return fail(ERROR_INSUFFICIENT_BUFFER);
        output[written] = static_cast<wchar_t>(point);
    }
    return written;
}

int WideCharToMultiByte(UINT codePage, DWORD, const wchar_t* source, int sourceLength, char* output,
                        int outputLength, const char* defaultCharacter, BOOL* usedDefaultCharacter)
{
    if (!isConvertible(codePage, source, sourceLength, output, outputLength) || defaultCharacter ||
        usedDefaultCharacter)
        return fail(ERROR_INVALID_PARAMETER);
    const std::size_t length =
        sourceLength == -1 ? std::wcslen(source) + 1 : static_cast<std::size_t>(sourceLength);

    int written = 0;
    for (const wchar_t* end = source + length; source != end; ++source) {
        char bytes[4];
        const auto count = static_cast<int>(putUtf8(bytes, static_cast<char32_t>(*source)) - bytes);
        if (written > INT_MAX - count)
            return fail(ERROR_INVALID_PARAMETER);
        if (outputLength != 0) {
            if (count > outputLength - written)
                return fail(ERROR_INSUFFICIENT_BUFFER);
            for (int i = 0; i < count; ++i)
                output[written + i] = bytes[i];
        }
        written += count;
    }
    return written;
}

int _vsnwprintf(wchar_t* output, std::size_t count, const wchar_t* format, va_list arguments)
{
    return std::vswprintf(output, count + 1, format, arguments);
}

std::string zmu::narrow(std::wstring_view text)
{
    constexpr std::size_t bytesMax = 4; // of one element
    if (text.size() > INT_MAX / bytesMax)
        throw std::length_error("text");
    std::string result(bytesMax * text.size(), '\0');
    const int count =
        WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), result.data(),
                            static_cast<int>(result.size()), nullptr, nullptr);
    result.resize(text.empty() ? 0 : static_cast<std::size_t>(count));
    return result;
}

std::wstring zmu::widen(std::string_view text)
{
    if (text.size() > INT_MAX)
        throw std::length_error("text");
    std::wstring result(text.size(), L'\0');
    const int count = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                          result.data(), static_cast<int>(result.size()));
    result.resize(text.empty() ? 0 : static_cast<std::size_t>(count));
    return result;
}

zmu::NarrowPath::NarrowPath(const wchar_t* path)
{
    constexpr std::size_t longestCharacter = 4;
    std::size_t used = 0;
    for (; *path && used < PATH_MAX; ++path) {
        char bytes[longestCharacter];
        const char* const end = putUtf8(bytes, static_cast<char32_t>(*path));
        for (const char* byte = bytes; byte != end && used < PATH_MAX; ++byte)
            m_bytes[used++] = *byte;
    }
    m_bytes[used] = '\0';
}

int _wcsicmp(const wchar_t* left, const wchar_t* right)
{
    return wcscasecmp(left, right);
}
