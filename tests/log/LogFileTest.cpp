#include "Support.h"

#include <gtest/gtest.h>

using namespace zmu_test;

TEST(Log, HoldsHeadEntriesAndOneTail)
{
    const Folder folder;
    strings()[100] = L"2~536870912~2~u`s~||``Session %1!u! of %2!s! started.`";
    Monitor monitor(folder.path("log.html"));
    ASSERT_TRUE(monitor.get()) << monitor.createCode();

    monitor->respondToSituation(100, nullptr, 42U, L"Gr\u00fc\u00dfe \U0001F600");

    EXPECT_EQ(monitor->getSelfDX_Code(), 0);
    EXPECT_EQ(withoutTimes(logText(folder.path("log.html"))),
              u"<html><body>\n<!-- ProductVersion= FileVersion= --><time> The log template file is "
              u"inaccessible, corrupt, or perhaps too large to format; will use default layout "
              u"instead.<br>\n<!-- SituationID=100 --><time> Session 42 of Gr\u00fc\u00dfe "
              u"\U0001F600 started.<br>\n</body><html>\n");
}
