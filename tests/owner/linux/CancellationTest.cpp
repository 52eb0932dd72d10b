// Threads that are cancelled, or end, in operations which are no situation.
#include "../OwnerParts.h"

#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <pthread.h>

#include <functional>
#include <memory>
#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

/// Runs `body` in a thread that is cancelled before. Whether it came to its end, and then the
/// thread to its own.
bool outlivesCancellation(std::function<void()> body)
{
    bool isDone = false;
    const std::function<void()> work = [&] {
        pthread_cancel(pthread_self());
        body();
        isDone = true;
        pthread_testcancel();
    };
    pthread_t thread;
    void* result = nullptr;
    const auto run = [](void* context) -> void* {
        (*static_cast<const std::function<void()>*>(context))();
        return nullptr;
    };
    return pthread_create(&thread, nullptr, run, const_cast<std::function<void()>*>(&work)) == 0 &&
           pthread_join(thread, &result) == 0 && isDone && result == PTHREAD_CANCELED;
}

} // namespace

TEST(Cancellation, WaitsForTheEndOfAnOperation)
{
    const Folder folder;
    setLogDirectory(folder.path("."));
    Zarn* monitor = nullptr;
    EXPECT_TRUE(outlivesCancellation([&] { monitor = Owner().createZarnMonitor(); }));
    ASSERT_TRUE(monitor);
    EXPECT_TRUE(outlivesCancellation([&] { reportText(monitor, L"entry"); }));
    EXPECT_TRUE(outlivesCancellation([&] { ZarnDataZGW::destroyZarnMonitor(monitor); }));
    EXPECT_FALSE(monitor);

    monitor = Owner().createZarnMonitor();
    for (int tag = 0; tag < Zarn_FORM_TAGS_QTY; ++tag)
        EXPECT_TRUE(outlivesCancellation([&] {
            UTL_String value;
            Owner::getLogTagValue(value, Zarn_FORM_TAG(tag), ZGW_OWNER_CM, nullptr, nullptr,
                                  nullptr, 0, nullptr);
        })) << tag;
    EXPECT_TRUE(outlivesCancellation([&] {
        UTL_String directory;
        Owner::obtainLogDirectorySpecifier(directory, nullptr);
    }));
    EXPECT_TRUE(outlivesCancellation([] {
        wchar_t domain[64];
        GetAccountDomainW(domain, 64);
    }));
    EXPECT_TRUE(outlivesCancellation([] {
        wchar_t datum[256];
        ZarnSysInfoEnvApp modules;
        while (modules.getNextDataPair(nullptr, datum, 0, 256)) {
        }
    }));
    EXPECT_TRUE(outlivesCancellation([] { EXPECT_EQ(Zarn::destroy(), 1); }));
}

TEST(Cancellation, ThreadMayEndInACustomization)
{
    struct Leaving : Owner {
        bool customizeForOwner() override { pthread_exit(this); }
    };
    const Folder folder;
    setLogDirectory(folder.path("."));
    std::unique_ptr<Leaving> owner;
    std::thread([&] {
        owner = std::make_unique<Leaving>();
        owner->createZarnMonitor();
    }).join();
    EXPECT_TRUE(owner && owner->data());
    EXPECT_EQ(Zarn::destroy(), 0);
}
