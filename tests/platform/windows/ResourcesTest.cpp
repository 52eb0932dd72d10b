// Modules that keep their strings as resources.
#include <zmu/foundation/UTL_String.h>
#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

namespace {

/// A module that has a string table and no entry of the library's kind.
class Resources : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(table, nullptr) << GetLastError(); }
    ~Resources() override { FreeLibrary(table); }

    const HMODULE table = LoadLibraryW(L"table.dll");
};

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
