// Finding, loading and asking modules.
#include <System.h>

#include <zmu/foundation/UTL_String.h>
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr unsigned sharedID = 10007; ///< A string that the library and the sample module have.

TEST(Modules, LookUpNeitherLoadsNorAddsReferences)
{
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126u);
    const HMODULE module = LoadLibraryW(L"sample.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(LoadLibraryW(L"sample.dll"), module);
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(GetModuleHandleW(L"sample.dll"), nullptr);

    SetLastError(0);
    EXPECT_FALSE(FreeLibrary(nullptr));
    EXPECT_NE(GetLastError(), 0u);
}

TEST(Modules, OnlyTheModulesOwnEntryAnswers)
{
    const HMODULE library = GetModuleHandleW(L"zmu.dll");
    EXPECT_STREQ(UTL_String(library, sharedID, 64).wideText(), L"Unknown");

    const HMODULE sample = LoadLibraryW(L"sample.dll");
    ASSERT_NE(sample, nullptr);
    EXPECT_STREQ(UTL_String(sample, sharedID, 64).wideText(), L"from the sample");
    EXPECT_THROW(UTL_String(sample, sharedID + 1, 64), UTL_Exception);
    EXPECT_THROW(UTL_String("sample.dll", sharedID, 64), UTL_Exception);

    // Both reach the library's entry through what they depend on.
    const HMODULE plain = LoadLibraryW(L"plain.dll");
    ASSERT_NE(plain, nullptr);
    EXPECT_THROW(UTL_String(plain, sharedID, 64), UTL_Exception);
    const HMODULE program = GetModuleHandleW(nullptr);
    EXPECT_EQ(GetModuleHandleW(L"platform_test.exe"), program);
    EXPECT_THROW(UTL_String(program, sharedID, 64), UTL_Exception);
    EXPECT_TRUE(FreeLibrary(plain));
    EXPECT_TRUE(FreeLibrary(sample));
}

TEST(Modules, NamesThatNoModuleHas)
{
    std::vector<std::wstring> names = {L"no such module.dll", L"no such program.exe"};
    if (zmu_test::isWindows()) {
        names.emplace_back(L"C:\\no\\such\\module.dll");
    } else {
        for (const wchar_t* name :
             {L"", L".dll", L".exe", L"ZMU.dll", L"zmu.exe", L"zmu", L"/", L"./libzmu.so.0"})
            names.emplace_back(name);
        names.emplace_back(5000, L'x');
        names.push_back(std::wstring(1, wchar_t(0xD800)) + L".dll");
        names.push_back(std::wstring(3, wchar_t(-1)) + L".dll");
    }
    for (const std::wstring& name : names) {
        for (const auto lookUp : {GetModuleHandleW, LoadLibraryW}) {
            SetLastError(0);
            EXPECT_EQ(lookUp(name.c_str()), nullptr) << "name " << &name - &names[0];
            EXPECT_EQ(GetLastError(), 126u) << "name " << &name - &names[0];
        }
    }
    EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
}

} // namespace
