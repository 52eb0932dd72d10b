// What the status dialog shows, and where.
#include "Dialogs.h"

#include <zmu/notify/StatusCodes.h>

#include <chrono>
#include <vector>

namespace {

using namespace zmu_test;
using Clock = std::chrono::steady_clock;

std::vector<unsigned int> s_messages;

class StatusDialog : public Dialogs {
  protected:
    StatusDialog() { s_messages.clear(); }
};

i64 noteMessages(HWND, unsigned int message, u64, i64)
{
    constexpr unsigned int begin = 0x110;
    constexpr unsigned int end = 2;
    if (message == begin || message == end)
        s_messages.push_back(message);
    return 0;
}

TEST_F(StatusDialog, IsHiddenUntilItAppears)
{
    EXPECT_FALSE(ZarnStatusReporter_MACRO_Appear());
    EXPECT_FALSE(ZarnStatusReporter_MACRO_UpdateDisplay(L"nobody"));
    EXPECT_EQ(ZarnStatusReporter_MACRO_GetDialogWindowHandle(), nullptr);
    EXPECT_EQ(ZarnStatusReporter_MACRO_SetWaitingPeriod(5), 0u);

    ASSERT_NE(makeReporter(noteMessages), nullptr) << ZarnStatusReporter::getDX_Code1();
    auto* const dialog = ZarnStatusReporter_MACRO_GetDialogWindowHandle();
    EXPECT_EQ(textOf(dialog), L"Title");
    EXPECT_TRUE(ZarnStatusReporter_MACRO_IsViable());
    EXPECT_FALSE(ZarnStatusReporter_MACRO_IsVisible());
    EXPECT_TRUE(ZarnStatusReporter_MACRO_Appear());
    EXPECT_TRUE(ZarnStatusReporter_MACRO_IsVisible());
    EXPECT_TRUE(ZarnStatusReporter_MACRO_Disappear());
    EXPECT_FALSE(ZarnStatusReporter_MACRO_IsVisible());
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"unseen"));
    EXPECT_EQ(shownText(), L"unseen");
    ZarnStatusReporter::destroy();
    EXPECT_FALSE(IsWindow(dialog));
    EXPECT_EQ(s_messages, (std::vector<unsigned int>{0x110, 2}));
}

TEST_F(StatusDialog, ShowsTextsOfEachKind)
{
    ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    EXPECT_TRUE(reporter->composeTextMessage(L"%d of %ls", 3, L"Größe €"));
    EXPECT_EQ(shownText(), L"");
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay());
    EXPECT_EQ(shownText(), L"3 of Größe €");

    // 2047 characters stay of a longer text; another text leaves them alone.
    EXPECT_TRUE(reporter->composeTextMessage(L"%ls", std::wstring(3000, L'x').c_str()));
    EXPECT_TRUE(reporter->updateDisplay(L"between"));
    EXPECT_TRUE(reporter->updateDisplay());
    EXPECT_EQ(shownText(), std::wstring(2047, L'x'));
    EXPECT_TRUE(reporter->updateDisplay(std::wstring(4000, L'y').c_str()));
    EXPECT_EQ(shownText().size(), 4000u);

    const Folder folder;
    Monitor monitor(folder.path("log.html"));
    EXPECT_TRUE(ZarnStatusReporter::updateDisplay(monitor.get()));
    EXPECT_EQ(shownText(), L"");
    zmu_test::strings()[8] = L"a string";
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(8, GetModuleHandleW(nullptr)));
    EXPECT_EQ(shownText(), L"a string");
}

TEST_F(StatusDialog, WaitsAndFlushesAfterEachText)
{
    ASSERT_NE(makeReporter(), nullptr);
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"no display server"));
    const HMODULE server = LoadLibraryW(L"ds.dll");
    ASSERT_NE(server, nullptr);
    for (int text = 1; text <= 3; ++text)
        EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"flushed"));
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(8, server));
    EXPECT_EQ(shownText(), L"3");
    EXPECT_TRUE(FreeLibrary(server));
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"it has gone"));

    EXPECT_EQ(ZarnStatusReporter_MACRO_SetWaitingPeriod(200), 0u);
    const auto start = Clock::now();
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"slow"));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(190));
    EXPECT_EQ(ZarnStatusReporter_MACRO_SetWaitingPeriod(0), 200u);
}

TEST_F(StatusDialog, LeavesAnAdoptedDialogAlone)
{
    auto* const dialog = makeDialog(noteMessages);
    ASSERT_NE(dialog, nullptr);
    ASSERT_NE(ZarnStatusReporter::create(dialog, textID, noteMessages, program, 0), nullptr);
    EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"adopted"));
    ZarnStatusReporter::destroy();
    EXPECT_TRUE(IsWindow(dialog));
    EXPECT_EQ(textOf(GetDlgItem(dialog, textID)), L"adopted");
    EXPECT_TRUE(DestroyWindow(dialog));
    EXPECT_EQ(s_messages, (std::vector<unsigned int>{0x110, 2}));
}

} // namespace
