// The status window on a desktop: with a window manager, and beside a window that a person types
// into.
#include "../Dialogs.h"
#include "VirtualScreen.h"

#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/notify/StatusCodes.h>

#include <cstdio>
#include <string>
#include <thread>

namespace {

using namespace zmu_test;
namespace status = zmu::status;

/// What a command says, without the line's end.
std::string said(const std::string& command)
{
    std::string all;
    FILE* const output = popen((command + " 2>/dev/null").c_str(), "r");
    char line[1024];
    while (output && std::fgets(line, sizeof line, output))
        all += line;
    if (output)
        pclose(output);
    return all.substr(0, all.find_last_not_of('\n') + 1);
}

/// The number of a window that is to be seen, in the form of the server's lists.
std::string numberOf(const std::string& name)
{
    std::string number;
    EXPECT_TRUE(becomesTrue([&] {
        number = said("xdotool search --onlyvisible --name '" + name + "' | xargs printf '0x%x'");
        return number.size() > 2 && number != "0x0";
    }));
    return number;
}

class Desktop : public Dialogs {
  protected:
    void SetUp() override
    {
        if (!m_screen.isThere())
            GTEST_SKIP() << noScreen;
        // Alt and the middle button close any window.
        const std::wstring settings = m_folder.write(
            "openbox.xml", "<openbox_config xmlns='http://openbox.org/3.4/rc'><mouse>"
                           "<context name='Client'><mousebind button='A-Middle' action='Press'>"
                           "<action name='Close'/></mousebind></context></mouse></openbox_config>");
        startWithTest(m_manager, "openbox", {"--config-file", QString::fromStdWString(settings)});
        if (!m_manager.waitForStarted() || said("command -v xprop").empty())
            GTEST_SKIP() << "there is no openbox, or no xprop to ask it";
        ASSERT_TRUE(becomesTrue([] {
            return said("xprop -root _NET_SUPPORTING_WM_CHECK").find("0x") != std::string::npos;
        }));
    }
    ~Desktop() override
    {
        ZarnStatusReporter::destroy();
        endProcess(m_manager);
    }

  private:
    Folder m_folder;
    VirtualScreen m_screen;
    QProcess m_manager;
};

TEST_F(Desktop, WindowTakesNoKeysAndStaysOnTopIfAsked)
{
    strings()[2042] = L"Go on?";
    for (const ulong32 styles : {0x10000U, 0U}) {
        int answer = -1;
        std::thread box([&] {
            answer = ZarnLocalizeHelpers::showError(2042, GetModuleHandleW(nullptr), L"", nullptr,
                                                    L"The caption", 4);
        });
        pressIn("The caption", "Tab");
        EXPECT_NE(makeReporter(nullptr, styles), nullptr);
        EXPECT_TRUE(ZarnStatusReporter_MACRO_Appear());
        EXPECT_TRUE(ZarnStatusReporter_MACRO_UpdateDisplay(L"busy"));
        const std::string window = numberOf("Title");
        EXPECT_EQ(said("xdotool getwindowfocus getwindowname"), "The caption");
        // The person has a look at the box, and it says No.
        const std::string caption = numberOf("The caption");
        EXPECT_TRUE(becomesTrue([&] {
            said("xdotool windowraise " + caption);
            return said("xprop -root _NET_CLIENT_LIST_STACKING")
                .ends_with(", " + (styles != 0 ? window : caption));
        }));
        said("xdotool key Return");
        box.join();
        EXPECT_EQ(answer, 7);
        ZarnStatusReporter::destroy();
    }
}

TEST_F(Desktop, WindowThatThePersonClosesIsGone)
{
    const ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    EXPECT_TRUE(reporter->appear());
    const std::string number = numberOf("Title");
    EXPECT_TRUE(becomesTrue([&] {
        said("xdotool mousemove --window " + number + " 20 20 keydown alt click 2 keyup alt");
        return !reporter->isViable();
    }));
    EXPECT_TRUE(areProgramsGone());
    EXPECT_EQ(makeReporter(), nullptr);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::ResourceSecond);
}

TEST_F(Desktop, WindowIsCentredOnItsOwnerWhileThatIsSeen)
{
    auto* const owner = makeDialog(nullptr);
    SetWindowTextW(owner, L"Owner");
    ShowWindow(owner, 5);
    const std::string number = numberOf("Owner");
    RECT area{};
    EXPECT_TRUE(becomesTrue([&] { // the manager may place it after it is seen
        said("xdotool windowmove " + number + " 150 400");
        return GetWindowRect(owner, &area) && area.top >= 380;
    }));
    for (const bool isSeen : {true, false}) {
        if (!isSeen) {
            ShowWindow(owner, 0);
            area = {0, 0, 800, 600};
        }
        ASSERT_NE(makeReporter(nullptr, 0x10000, owner), nullptr);
        RECT window{};
        EXPECT_TRUE(GetWindowRect(ZarnStatusReporter_MACRO_GetDialogWindowHandle(), &window));
        EXPECT_NEAR(window.left + window.right, area.left + area.right, 2) << isSeen;
        EXPECT_NEAR(window.top + window.bottom, area.top + area.bottom, 2) << isSeen;
        ZarnStatusReporter::destroy();
    }
    DestroyWindow(owner);
}

} // namespace
