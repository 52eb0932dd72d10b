// Plug-ins: their order, their faults, what they see.
#include "Reporter.h"

#include <stdexcept>
#include <thread>

using namespace zmu_test;

namespace {

std::vector<int> ran;

template <int number>
bool run(const Zarn*)
{
    ran.push_back(number);
    return true;
}

void makeTable(OpenData& data)
{
    ZarnPlugIn* const plugIns = data.createPlugIns(5);
    plugIns[0] = run<0>;
    plugIns[1] = [](const Zarn*) -> bool {
        ran.push_back(1);
        throw std::runtime_error("plug-in");
    };
    // 2 is empty
    plugIns[3] = [](const Zarn*) {
        ran.push_back(3);
        return false;
    };
    plugIns[4] = run<4>;
}

} // namespace

TEST(PlugIns, RunInTheOrderOfTheSpecWhateverOneDoes)
{
    using Order = std::vector<int>;
    const struct {
        const wchar_t* spec;
        Order order;
    } rows[] = {
        {L"2~0~0~~4`0||``t`", {4, 0}},
        {L"2~0~0~~1`2`3`0||``t`", {1, 3, 0}},
        {L"2~0~0~~2||``t`", {}},
        {L"2~0~0~||``t`", {}}, // names none
    };
    const Reporter reporter(makeTable);
    for (const auto& row : rows) {
        ran.clear();
        strings()[100] = row.spec;
        char* noArguments = nullptr;
        EXPECT_TRUE(reporter->respondToSituation(100, &noArguments, nullptr));
        EXPECT_EQ(ran, row.order);
        EXPECT_EQ(reporter->getSelfDX_Code(), 0);
        EXPECT_TRUE(reporter->isSituationNormal());
    }
    ran.clear();
    strings()[100] = L"2~0~0~~4||``%99`"; // cannot be reported
    reporter.report(100);
    EXPECT_EQ(ran, Order{});
}

TEST(PlugIns, SeeTheSituation)
{
    static const Zarn* told;
    strings()[100] = L"2~0~1~u1~0|~``Display.`|``Log %1!u!.`";
    const Reporter reporter([](OpenData& data) {
        *data.createPlugIns(1) = [](const Zarn* monitor) {
            told = monitor;
            wchar_t text[8];
            EXPECT_TRUE(monitor->getDescriptionForLogFile(text, 8));
            EXPECT_STREQ(text, L"Log 12.");
            EXPECT_TRUE(monitor->getDescriptionForDisplay(text, 5));
            EXPECT_STREQ(text, L"Disp");
            EXPECT_FALSE(monitor->getDescriptionForDisplay(text, 0));
            EXPECT_STREQ(text, L"");
            EXPECT_EQ(monitor->getSituationID(), 100);
            EXPECT_EQ(monitor->getArg_UInt(1), 12U);
            EXPECT_EQ(monitor->getDescriptionFillers()[0], 12U);
            EXPECT_EQ(monitor->getDisplayDlgBoxResult(), 3);
            return true;
        };
    });
    shown().answer = 3;
    reporter->recordSituationID(100);
    reporter->recordArgument(12U, 1);
    EXPECT_TRUE(reporter->respondToSituation());
    EXPECT_EQ(told, reporter.get());
}

TEST(PlugIns, TableIsMadeOnceAndBeforeTheEngine)
{
    strings()[100] = L"2~0~0~~0||``t`";
    Established data; // has this thread's engine made
    EXPECT_EQ(data.createPlugIns(0), nullptr);
    EXPECT_EQ(data.createPlugIns(-3), nullptr);
    ZarnPlugIn* const table = data.createPlugIns(1);
    ASSERT_TRUE(table);
    EXPECT_EQ(data.createPlugIns(7), table);
    EXPECT_EQ(data.getPlugInsQty(), 1);
    *table = run<0>;

    data.recordSituationID(100);
    EXPECT_FALSE(data.respondToSituation());
    EXPECT_EQ(data.getSelfDX_Code(), dx::PlugInIdsWithoutTable);
    std::thread([&] {
        data.recordSituationID(100);
        EXPECT_TRUE(data.respondToSituation()); // an engine that was made later
        EXPECT_EQ(ran, std::vector<int>{0});
        data.removeThread();
    }).join();
}
