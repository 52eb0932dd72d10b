// The process's registry of monitors, and what a failed creation leaves.
#include "Reporter.h"

using namespace zmu_test;

namespace {

/// A registered monitor of its own log file; destroyed by the test.
Zarn* makeMonitor(const Folder& folder, int number)
{
    ZarnData settings;
    makeReady(settings, folder.path(("log" + std::to_string(number) + ".html").c_str()));
    return Zarn::create(&settings);
}

} // namespace

TEST(Registry, HoldsTenMonitors)
{
    const Folder folder;
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(makeMonitor(folder, i));

    ZarnData eleventh;
    makeReady(eleventh, folder.path("eleventh.html"));
    EXPECT_EQ(Zarn::create(&eleventh), nullptr);
    EXPECT_EQ(eleventh.getSelfDX_Code(), dx::CreateRefused);
    EXPECT_NE(eleventh.getFileLogName(), nullptr); // refused before anything moved

    EXPECT_EQ(Zarn::destroy(), 10);
    EXPECT_EQ(Zarn::getZarnMonitorsCount(), 0);
    EXPECT_TRUE(Zarn::create(&eleventh)); // there is room now
    EXPECT_EQ(Zarn::destroy(), 1);
    EXPECT_EQ(Zarn::destroy(), 0);
}

TEST(Registry, HolesStayAndTheNewestSlotIsOverwritten)
{
    const Folder folder;
    Zarn* const first = makeMonitor(folder, 0);
    Zarn* const second = makeMonitor(folder, 1);
    Zarn* const third = makeMonitor(folder, 2);
    ASSERT_TRUE(first && second && third);

    Zarn* pointer = first;
    EXPECT_TRUE(Zarn::destroy(&pointer, 0, false));
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(Zarn::getZarnMonitorsCount(), 2);
    EXPECT_EQ(Zarn::getZarnMonitor(0), nullptr);
    EXPECT_EQ(Zarn::getZarnMonitor(1), second);
    EXPECT_EQ(Zarn::getZarnMonitor(2), nullptr); // not below the count
    EXPECT_EQ(Zarn::getZarnMonitor(-1), nullptr);

    Zarn* const fourth = makeMonitor(folder, 3);
    EXPECT_EQ(Zarn::getZarnMonitors()[2], fourth);
    pointer = third;
    EXPECT_FALSE(Zarn::destroy(&pointer, 0, false));
    EXPECT_EQ(pointer, third);
    EXPECT_TRUE(third->isSelfSatisfied()); // lives, unregistered

    Zarn::getZarnMonitors()[7] = third; // destroy looks above the count, too
    EXPECT_EQ(Zarn::destroy(), 3);
    EXPECT_EQ(Zarn::getZarnMonitorsCount(), 0);
}

TEST(Registry, EntryThatNobodyCountedIsCountedDown)
{
    struct Front : Zarn {
        explicit Front(ZarnData* data) : Zarn(data) {}
    };
    const Folder folder;
    auto* data = new ZarnData;
    makeReady(*data, folder.path("log.html"));
    Zarn::getZarnMonitors()[3] = new Front(data);
    EXPECT_EQ(Zarn::destroy(), 1);
    EXPECT_EQ(Zarn::getZarnMonitorsCount(), -1);
    EXPECT_EQ(makeMonitor(folder, 0), nullptr);
    EXPECT_EQ(Zarn::getZarnMonitor(0), nullptr);
}

TEST(Registry, DestroySearchesFromItsStart)
{
    const struct {
        int slot; ///< Where the monitor is.
        int start;
        bool wrap;
        bool found;
    } rows[] = {
        {0, 0, false, true},  {9, 0, false, true},  {0, 0, true, true},   {9, 9, false, true},
        {2, 3, false, false}, {2, 3, true, true},   {3, 3, true, true},   {9, 3, true, true},
        {0, 9, true, true},   {0, -1, true, false}, {0, 10, true, false},
    };
    const Folder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.slot << ' ' << row.start << ' ' << row.wrap);
        Zarn* monitor = makeMonitor(folder, 0);
        ASSERT_TRUE(monitor);
        std::swap(Zarn::getZarnMonitors()[0], Zarn::getZarnMonitors()[row.slot]);
        EXPECT_EQ(Zarn::destroy(&monitor, row.start, row.wrap), row.found);
        EXPECT_EQ(monitor == nullptr, row.found);
        EXPECT_EQ(Zarn::destroy(), row.found ? 0 : 1);
    }
    Zarn* none = nullptr;
    EXPECT_FALSE(Zarn::destroy(nullptr, 0, false));
    EXPECT_FALSE(Zarn::destroy(&none, 0, false)); // never a match of an empty row
}

TEST(Registry, FailedCreationLeavesItsCode)
{
    struct Row {
        const char* what;
        int code;
        Reporter::Change change;
    };
    const Folder elsewhere;
    std::wstring asFolder = elsewhere.path(".");
    const Row rows[] = {
        {"a code is held", dx::RespondUnexpected,
         [](OpenData& data) { data.setSelfDX_Code(dx::RespondUnexpected); }},
        {"the log is a folder", dx::FileNotOpened,
         [&](OpenData& data) {
             data.recordLogFileNomenclature(asFolder.data(), nullptr, Zarn_LOG_HTML);
         }},
        {"the log is open already", dx::OpenFileArguments,
         [](OpenData& data) { EXPECT_TRUE(data.establishLogFile(true)); }},
        {"absurd thread map", dx::InitializeUnexpected,
         [](OpenData& data) { data.sizeMapOfDataForThreads(0xFFFFFFFF); }},
        {"no proxy", dx::ProxyModuleNotLoaded,
         [](OpenData& data) { data.setNonnativeInstantiatorID(7); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const Reporter reporter(row.change);
        EXPECT_EQ(reporter.get(), nullptr);
        EXPECT_EQ(reporter.createCode(), row.code);
        EXPECT_EQ(Zarn::getZarnMonitorsCount(), 0);
    }
    // Refused before anything is moved.
    EXPECT_EQ(Zarn::create(nullptr), nullptr);
    ZarnData unset;
    EXPECT_EQ(Zarn::create(&unset), nullptr);
    EXPECT_EQ(unset.getSelfDX_Code(), dx::CreateRefused);
    ZarnData noCharSet;
    std::wstring name = elsewhere.path("log.html");
    noCharSet.recordLogFileNomenclature(name.data(), nullptr, Zarn_LOG_HTML);
    EXPECT_EQ(Zarn::create(&noCharSet), nullptr);
    EXPECT_EQ(noCharSet.getSelfDX_Code(), dx::CreateRefused);

    EXPECT_TRUE(Reporter().get()); // nothing of this is in the way
}

TEST(Registry, MonitorWithoutDataSetAnswers)
{
    struct Empty : Zarn {
        explicit Empty(ZarnData* data) : Zarn(data) { Zarn::free_Memory(); }
    };
    EXPECT_THROW(Empty(nullptr), bool);
    ZarnData unset;
    EXPECT_THROW(Empty{&unset}, bool); // and `unset` is still the caller's

    const Folder folder;
    auto* data = new ZarnData;
    makeReady(*data, folder.path("log.html"));
    Empty monitor(data); // has deleted it
    wchar_t text[4] = L"###";
    EXPECT_EQ(monitor.getSelfDX_Code(), dx::NoDataSet);
    EXPECT_FALSE(monitor.respondToSituation(100, nullptr, 1));
    EXPECT_EQ(monitor.recordArgument(1, 0), -1);
    EXPECT_TRUE(monitor.isSituationNormal());
    EXPECT_EQ(monitor.getBehaviorCriteria(), ZARN_DEFAULT_BEHAVIOR_CRITERIA);
    EXPECT_FALSE(monitor.getDescriptionForLogFile(text, 4));
    EXPECT_STREQ(text, L"");
    EXPECT_FALSE(monitor.reestablishLogFile(false));
    monitor.forgetSelfDX_Code();
    EXPECT_FALSE(monitor.isSelfSatisfied()); // there is still no data set
}
