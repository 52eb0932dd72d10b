// How tests ask for version data.
#pragma once

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

namespace zmu_test {

using Helpers = ZarnLocalizeHelpers;

inline constexpr wchar_t info[] = L"StringFileInfo";

/// A value, or "(none)". A failure must leave nothing in the output.
template <class Module>
std::wstring value(Module&& module, const wchar_t* name, const wchar_t* key = nullptr,
                   u64 capacity = 64)
{
    wchar_t text[65];
    std::wmemset(text, L'#', 65);
    if (Helpers::extractModuleVerValue(module, text, capacity, name, key, info, L'\\'))
        return text;
    EXPECT_EQ(text[0], L'\0');
    EXPECT_EQ(text[capacity], L'#');
    return L"(none)";
}

} // namespace zmu_test
