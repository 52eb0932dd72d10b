// Collecting into the log of a monitor that is somebody's.
#include "OwnersCollector.h"

#include <zmu/monitor/DxCodes.h>

#include <atomic>

using namespace zmu_collect;
using namespace zmu_test;

using OwnerCollects = OwnersCollector;

TEST_F(OwnerCollects, BesideSituationsOfTheOwner)
{
    constexpr u64 linesQty = 3000;
    constexpr int ownQty = 1000;
    std::string bytes;
    for (u64 number = 1; number <= linesQty; ++number)
        bytes += spoolLine(number);
    write(spoolName(1), bytes);
    write(spoolName(2), spoolLine(linesQty + 3) + "{}\n");

    const Monitor monitor(folder.path("logs/first.html"));
    u64 before = 0;
    ASSERT_TRUE(monitor->setLogFileByteCountLimit(1048576, before));
    std::atomic<int> failures = 0;
    Run run(monitor.get(), options());
    inThreads(2, ownQty, [&](int thread, int round) {
        const std::wstring text = L"own " + std::to_wstring(thread * ownQty + round) + L'.';
        failures += reportText(monitor.get(), text.c_str()) == zmu::dx::Satisfied ? 0 : 1;
    });
    EXPECT_TRUE(becomesTrue([&] { return folder.files().filter(".spool").isEmpty(); }));
    EXPECT_EQ(run.stop(), CollectEnd::Amiss) << run.collector.why(); // there is a line that is none
    EXPECT_EQ(run.told(), Items());
    EXPECT_EQ(failures, 0);

    const QString text = textOfLogs(logs());
    EXPECT_GT(logs().entryList({"*.html"}).size(), 1) << "none was replaced";
    CollectedNumbers collected(text);
    EXPECT_EQ(collected.gaps, 1);
    ASSERT_EQ(collected.bySource.size(), 1);
    std::vector<u64> expected = numbersTo(linesQty);
    expected.insert(expected.end(), {linesQty + 3, linesQty + 3}); // the latter is the passed over
    EXPECT_TRUE(collected.bySource.begin()->second == expected);
    for (int own = 0; own < 2 * ownQty; ++own)
        EXPECT_EQ(text.count(QStringLiteral("own %1.").arg(own)), 1) << own;
}

TEST_F(OwnerCollects, UntilItIsStoppedForGood)
{
    const Monitor monitor(folder.path("logs/first.html"));
    strings()[2001] = L"2~0~2~s||0``%1!s!`";
    CollectOptions mine = options();
    mine.situations = {.collected = 2001, .missing = 2001, .passedOver = 2001};
    mine.situations.module = GetModuleHandleW(nullptr);
    write(spoolName(1), spoolLine(2));
    Run run(monitor.get(), mine);
    EXPECT_TRUE(becomesTrue([&] { return folder.files().filter(".spool").isEmpty(); }));
    // It waits by now. What comes then is found all the same.
    write(spoolName(2), spoolLine(3));
    EXPECT_TRUE(becomesTrue([&] { return folder.files().filter(".spool").isEmpty(); }));
    EXPECT_EQ(run.stop(), CollectEnd::Good) << run.collector.why();
    EXPECT_EQ(run.told(), Items());
    EXPECT_TRUE(textOfLogs(logs()).contains("SituationID=2001 -->"));
    EXPECT_TRUE(textOfLogs(logs()).contains("SituationID=1001 -->"));

    write(spoolName(3), spoolLine(4));
    EXPECT_EQ(run.collector.run(monitor.get(), mine), CollectEnd::Good);
    EXPECT_EQ(folder.files().filter(".spool").size(), 1);
}

TEST_F(OwnerCollects, OrSaysWhyNot)
{
    const Monitor monitor(folder.path("logs/first.html"));
    LogCollector collector;
    const auto whyOf = [&](Zarn* owner, const CollectOptions& given) {
        EXPECT_EQ(collector.run(owner, given), CollectEnd::Failed);
        return std::string(collector.why());
    };
    CollectOptions changed = options();
    EXPECT_NE(whyOf(nullptr, changed).find("no monitor"), std::string::npos);
    changed.positions.clear();
    EXPECT_NE(whyOf(monitor.get(), changed).find("positions"), std::string::npos);
    changed = options();
    changed.spools.push_back(path("missing"));
    EXPECT_NE(whyOf(monitor.get(), changed).find("missing cannot be read"), std::string::npos);
    folder.write("positions", "damaged");
    EXPECT_NE(whyOf(monitor.get(), options()).find("the file is damaged"), std::string::npos);
    ASSERT_TRUE(QFile::remove(QString::fromStdString(path("positions"))));

    write(spoolName(1), spoolLine(1));
    Run run(monitor.get(), options());
    EXPECT_TRUE(becomesTrue([&] { return folder.files().filter(".spool").isEmpty(); }));
    EXPECT_NE(whyOf(monitor.get(), options()).find("another process uses it"), std::string::npos);
    EXPECT_EQ(run.stop(), CollectEnd::Good);
}

TEST_F(OwnerCollects, AndWarnsOfSpecsWithoutTheText)
{
    const Monitor monitor(folder.path("logs/first.html"));
    strings()[2001] = L"2~0~2~s||0``collected`";
    write(spoolName(1), spoolLine(1) + spoolLine(2));
    CollectOptions once = options();
    once.situations.collected = 2001;
    once.situations.module = GetModuleHandleW(nullptr);
    once.isOnce = true;
    Run run(monitor.get(), once);
    EXPECT_EQ(run.end(), CollectEnd::Amiss);
    ASSERT_EQ(run.told().size(), 1);
    EXPECT_NE(run.told()[0].find("do not show their text"), std::string::npos) << run.told()[0];
}
