// What modules keep as resources: string tables, and the version data of the library.
#include <zmu/foundation/UTL_String.h>
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// A module that has a string table and no entry of the library's kind.
class Resources : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(table, nullptr) << GetLastError(); }
    ~Resources() override { FreeLibrary(table); }

    const HMODULE table = LoadLibraryW(L"table.dll");
};

std::wstring versionText(const std::vector<char>& data, const std::wstring& key)
{
    void* text = nullptr;
    UINT length = 0;
    const std::wstring path = L"\\StringFileInfo\\040904B0\\" + key;
    if (!VerQueryValueW(data.data(), path.c_str(), &text, &length) || length == 0)
        return L"(missing)";
    return {static_cast<const wchar_t*>(text), length - 1};
}

} // namespace

TEST_F(Resources, StringTableAnswersWhereThereIsNoEntry)
{
    EXPECT_STREQ(UTL_String(table, 1, 64).wideText(), L"from the table");
    EXPECT_STREQ(UTL_String(table, 2, 64).wideText(), L"\u00dcbergr\u00f6\u00dfe");
    EXPECT_STREQ(UTL_String(table, 1, 5).wideText(), L"from");
    for (const unsigned absent : {3U, 1000U, 70000U})
        EXPECT_THROW(UTL_String(table, absent, 64), UTL_Exception) << absent;
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);

    EXPECT_STREQ(UTL_String(L"table.dll", 1, 64).wideText(), L"from the table");
    EXPECT_STREQ(UTL_String("table.dll", 1, 64).narrowText(), "from the table");
    EXPECT_THROW(UTL_String(L"table.dll", 3, 64), UTL_Exception);
}

TEST_F(Resources, EntryComesBeforeTheStringTable)
{
    const HMODULE both = LoadLibraryW(L"both.dll");
    ASSERT_NE(both, nullptr);
    EXPECT_STREQ(UTL_String(both, 10007, 64).wideText(), L"from the sample");
    EXPECT_STREQ(UTL_String(both, 1, 64).wideText(), L"from the table"); // the entry has none
    EXPECT_TRUE(FreeLibrary(both));
}

TEST_F(Resources, LibraryHasVersionData)
{
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(GetModuleFileNameW(GetModuleHandleW(L"zmu.dll"), path, MAX_PATH), 0U);
    DWORD ignored = 0;
    std::vector<char> data(GetFileVersionInfoSizeW(path, &ignored));
    ASSERT_FALSE(data.empty());
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(data.size()), data.data()));
    const std::pair<const wchar_t*, const wchar_t*> values[] = {
        {L"InternalName", L"zmu"},
        {L"OriginalFilename", L"zmu.dll"},
        {L"ProductName", L"zmu"},
        {L"ProductVersion", L"" ZMU_VERSION},
        {L"FileVersion", L"" ZMU_VERSION}};
    for (const auto& [key, value] : values)
        EXPECT_EQ(versionText(data, key), value) << key;
    for (const wchar_t* key :
         {L"CompanyName", L"FileDescription", L"LegalCopyright", L"LegalTrademarks"}) {
        const std::wstring text = versionText(data, key);
        EXPECT_TRUE(!text.empty() && text != L"(missing)") << key;
    }
}
