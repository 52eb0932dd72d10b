#include "product.h"

#include <zmu/collect/LogCollector.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <cstdio>
#include <cstring>
#include <thread>

using namespace zmu_collect;

int main(int argc, char** argv)
try {
    if (argc < 3) {
        std::fprintf(stderr, "collecting SPOOLS POSITIONS [--once]\n");
        return 2;
    }
    ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, product::load(), Zarn_LOG_HTML);
    Zarn* monitor = owner.createZarnMonitor();
    if (!monitor)
        return ZarnDataZGW::getDX_Code1();

    CollectOptions options;
    options.spools = {argv[1]};
    options.positions = argv[2];
    options.isOnce = argc > 3 && std::strcmp(argv[3], "--once") == 0;
    options.tell = [](const char* what) { std::fprintf(stderr, "collecting: %s\n", what); };
    LogCollector collector;
    CollectEnd end = CollectEnd::Failed;
    std::thread thread([&] { end = collector.run(monitor, options); });

    // The work of the product, which reports to the same monitor.
    product::sessionStarted(monitor, 7, "Ada");

    if (!options.isOnce) {
        std::printf("Enter ends it.\n");
        std::getchar();
        collector.stop();
    }
    thread.join();
    if (end == CollectEnd::Failed)
        std::fprintf(stderr, "collecting: %s\n", collector.why());
    wchar_t logName[1024] = {};
    if (monitor->getFileLogName(logName, 1024))
        std::printf("%ls\n", logName);
    ZarnDataZGW::destroyZarnMonitor(monitor);
    return end == CollectEnd::Good ? 0 : 1;
} catch (int code) {
    return code; // why there is no owner
}
