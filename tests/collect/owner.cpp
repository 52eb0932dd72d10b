// An owner that is to be killed: it writes situations of its own and collected ones into one log.
//
//     collect_owner SPOOLS POSITIONS LOGS [once]
#include <zmu/collect/LogCollector.h>
#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr int ownSituation = 1001;
constexpr unsigned int smallestLog = 1048576; // bytes

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    constexpr std::wstring_view spec = L"2~0~2~u||``own %1!u!.`";
    if (id != ownSituation || bufferMax < 1) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    const std::size_t length = spec.copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    SetLastError(zmu::StringFound);
    return static_cast<int>(length);
}

int main(int argc, char** argv)
try {
    if (argc < 4)
        return 2;
    const std::string logs = argv[3];
    ZarnData::setLogVariables(std::wstring(logs.begin(), logs.end()).c_str(), 1, false, smallestLog,
                              0);
    ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML);
    Zarn* monitor = owner.createZarnMonitor();
    if (!monitor)
        return 3;
    std::atomic<bool> isOver = false;
    std::atomic<int> failures = 0;
    std::thread reporter([&] {
        for (unsigned int number = 1; !isOver; ++number) {
            monitor->respondToSituation(ownSituation, nullptr, number);
            failures += monitor->isSelfSatisfied() ? 0 : 1;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    zmu_collect::CollectOptions options;
    options.spools = {argv[1]};
    options.positions = argv[2];
    options.isOnce = argc > 4;
    options.tell = [](const char* what) { std::fprintf(stderr, "%s\n", what); };
    zmu_collect::LogCollector collector;
    const zmu_collect::CollectEnd end = collector.run(monitor, options);
    isOver = true;
    reporter.join();
    ZarnDataZGW::destroyZarnMonitor(monitor);
    std::fprintf(stderr, "%s, %d failures\n", collector.why(), failures.load());
    return end == zmu_collect::CollectEnd::Good && failures == 0 ? 0 : 4;
} catch (int code) {
    return code;
}
