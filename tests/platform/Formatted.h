// Message formatting as the library's callers see it.
#pragma once

#include <System.h>

#include <zmu/monitor/Zarn.h>
#include <zmu/platform/Win32.h>

#include <QString>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

namespace zmu_test {

inline constexpr ulong32 textWithSlots = 0x2400;
inline constexpr ulong32 untouched = 777;

inline u64 slot(const void* text)
{
    return reinterpret_cast<std::uintptr_t>(text);
}

struct Result {
    ulong32 length;
    ulong32 error;
    std::wstring text;
    std::string message; ///< What was formatted, to name a failing case.
};

/// Formats into a buffer of exactly `capacity` elements on the heap, for a sanitizer to watch.
inline Result format(unsigned width, std::size_t capacity, const wchar_t* message, u64* values)
{
    const std::unique_ptr<wchar_t[]> output(new wchar_t[capacity]);
    std::fill_n(output.get(), capacity, L'#');
    SetLastError(untouched);
    Result result{};
    result.message = QString::fromWCharArray(message).toStdString();
    result.length = Zarn::formatMessage(textWithSlots | width, message, output.get(),
                                        static_cast<int>(capacity), values);
    result.error = GetLastError();
    // A failed call of the system's own formatter may leave anything in the buffer.
    if (capacity != 0 && (!isWindows() || result.length != 0))
        result.text = output.get();
    return result;
}

inline void expectText(const Result& result, const std::wstring& text)
{
    EXPECT_EQ(result.text, text) << result.message;
    EXPECT_EQ(result.length, text.size()) << result.message;
    EXPECT_EQ(result.error, untouched) << result.message;
}

inline void expectFailure(const Result& result, ulong32 error)
{
    EXPECT_EQ(result.text, L"") << result.message;
    EXPECT_EQ(result.length, 0u) << result.message;
    EXPECT_EQ(result.error, error) << result.message;
}

} // namespace zmu_test
