// A disk without room, for the log and for the positions, and room again.
#include "OwnersCollector.h"

#include <linux/Refusals.h>

#include <sys/mount.h>

using namespace zmu_collect;
using namespace zmu_test;

using OwnerCollects = OwnersCollector;

TEST_F(OwnerCollects, AgainWhenThereIsRoom)
{
    constexpr u64 linesQty = 200;
    const std::string disk = path("logs");
    if (const std::string reason = mountSmallDisk(disk); !reason.empty())
        GTEST_SKIP() << reason;
    {
        const Monitor monitor(folder.path("logs/first.html"));
        CollectOptions here = options();
        here.positions = disk + "/positions";
        write(spoolName(1), spoolLine(1));
        Run run(monitor.get(), here);
        const auto isAllRead = [&] { return folder.files().filter(".spool").isEmpty(); };
        EXPECT_TRUE(becomesTrue(isAllRead));
        fill(disk + "/ballast");
        std::string bytes;
        for (u64 number = 2; number <= linesQty; ++number)
            bytes += spoolLine(number);
        write(spoolName(2), bytes);
        EXPECT_TRUE(becomesTrue([&] { return !run.told().empty(); }));
        EXPECT_NE(run.told()[0].find("it is tried again each second"), std::string::npos)
            << run.told()[0];
        ASSERT_TRUE(QFile::remove(QString::fromStdString(disk + "/ballast")));
        EXPECT_TRUE(becomesTrue(isAllRead));
        EXPECT_EQ(run.stop(), CollectEnd::Amiss) << run.collector.why();
        const CollectedNumbers collected(textOfLogs(logs()));
        ASSERT_EQ(collected.bySource.size(), 1);
        EXPECT_TRUE(collected.bySource.begin()->second == numbersTo(linesQty));
        EXPECT_EQ(reportText(monitor.get(), L"own"), 0);

        // Who is told to stop meanwhile does so, and says what becomes of the rest.
        Run last(monitor.get(), here);
        write(spoolName(3), spoolLine(linesQty + 1));
        EXPECT_TRUE(becomesTrue(isAllRead));
        fill(disk + "/ballast");
        write(spoolName(4), spoolLine(linesQty + 2, std::string(8000, 'x')));
        EXPECT_TRUE(becomesTrue([&] { return !last.told().empty(); }));
        EXPECT_EQ(last.stop(), CollectEnd::Failed);
        EXPECT_NE(std::string(last.collector.why()).find(disk), std::string::npos)
            << last.collector.why();
    }
    umount(disk.c_str());
}
