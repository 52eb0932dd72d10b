// What the box of an internal error says, read in the box, or where the text goes without a
// display.
#include "ShownBox.h"

#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <gtest/gtest.h>

#include <string>

namespace {

/// Caption and text of the box, if one appears.
QString show(int number, HMODULE module, const std::wstring& detail, const wchar_t* caption)
{
    return zmu_test::saidBy([&] {
        return ZarnLocalizeHelpers::showError(number, module, detail.c_str(), nullptr, caption, 0);
    });
}

TEST(ErrorBox, SaysVersionNumberDetailAndTheModulesWords)
{
    zmu_test::strings() = {{2042, L"Words."}, {6, L""}, {7, std::wstring(600, L'x')}};
    const HMODULE program = GetModuleHandleW(nullptr);
    const HMODULE bare = LoadLibraryW(L"bare.dll");
    ASSERT_NE(bare, nullptr);
    const struct {
        int number;
        HMODULE module;
        const wchar_t* detail;
        const wchar_t* caption;
        const char* shown;
    } cases[] = {
        {2042, program, L"", nullptr, "Example Server Error: Internal Error 4.1.042\n\nWords.\n"},
        {2042, program, L": €", L"", "Example Server Error: Internal Error 4.1.042: €\n\nWords.\n"},
        {2042, program, L"", L"100%% %s of it",
         "100% %s of it: Internal Error 4.1.042\n\nWords.\n"},
        {5, bare, L"", nullptr, "  Error: Internal Error 0.005\n\nwords\n"},
        {2042, nullptr, L"", nullptr, ""},
        {2043, program, L"", nullptr, ""},
        {6, program, L"", nullptr, ""},
        {0, program, L"", nullptr, ""},
        {-5, program, L"", nullptr, ""},
    };
    for (const auto& [number, module, detail, caption, shown] : cases)
        EXPECT_EQ(show(number, module, detail, caption), QString::fromUtf8(shown)) << number;

    // 511 characters; a detail that does not fit is left out, the module's words are cut.
    const QString start = QStringLiteral("Title: Internal Error 4.1.007");
    const auto rest = [](int count) { return "\n\n" + QString(count, 'x') + '\n'; };
    EXPECT_EQ(show(7, program, std::wstring(490, L'd'), L"Title"), start + rest(487));
    EXPECT_EQ(show(7, program, std::wstring(489, L'd'), L"Title"), QString()); // no room for them
    EXPECT_EQ(show(7, program, std::wstring(486, L'd'), L"Title"),
              start + QString(486, 'd') + rest(1));
    EXPECT_TRUE(FreeLibrary(bare));
}

} // namespace
