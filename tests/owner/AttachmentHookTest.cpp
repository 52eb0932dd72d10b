#include "Support.h"

#include <zmu/monitor/ZarnDataForThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace zmu_test;

namespace {

std::atomic<int> engines = 0;

class CountedEngine : public ZarnDataForThread {
  public:
    CountedEngine() { ++engines; }
    ~CountedEngine() override { --engines; }
};

} // namespace

TEST(AttachmentHook, ThreadThatEndsLeavesNoEngine)
{
    strings()[100] = L"2~0||``t`";
    const Folder folder;
    ZarnData settings;
    makeReady(settings, folder.path("log.html"));
    settings.setEngineFactory([]() -> ZarnDataForThread* { return new CountedEngine; });
    Zarn* monitor = Zarn::create(&settings);
    ASSERT_TRUE(monitor);

    int withThread = 0;
    std::thread([&] {
        monitor->respondToSituation(100, nullptr);
        withThread = engines;
    }).join();

    EXPECT_EQ(withThread, 2);
    EXPECT_EQ(engines, 1);
    Zarn::destroy(&monitor, 0, false);
    EXPECT_EQ(engines, 0);
}
