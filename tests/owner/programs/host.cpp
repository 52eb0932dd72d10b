// A program that reports and ends: `owner_host WAY DIRECTORY`.
#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cwchar>
#include <future>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr int textSituation = 100;
constexpr int endlessSituation = 101; ///< Whoever reports it comes back no more.
std::promise<void> hasEnteredEndless;

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    if (id == endlessSituation) {
        hasEnteredEndless.set_value();
        std::promise<void>().get_future().wait();
    }
    SetLastError(id == textSituation ? zmu::StringFound : zmu::StringUnknown);
    return id == textSituation ? std::swprintf(buffer, std::size_t(bufferMax), L"2~0~2~s~||``%%1`")
                               : 0;
}

namespace {

Zarn* monitor = nullptr;

void report(const wchar_t* text)
{
    monitor->respondToSituation(textSituation, nullptr, text);
    if (!monitor->isSelfSatisfied())
        std::_Exit(3);
}

/// Reports when its thread, or the process, ends.
struct Reporter {
    const wchar_t* text;
    ~Reporter() { report(text); }
};

struct Destroyer {
    ~Destroyer()
    {
        if (!ZarnDataZGW::destroyZarnMonitor(monitor))
            std::_Exit(4);
    }
};

/// Starts a thread that goes on after it has reported, and waits for that.
void startReporter(bool goesOnReporting)
{
    std::promise<void> reported;
    std::thread([&reported, goesOnReporting] {
        report(L"entry");
        reported.set_value();
        while (true) {
            if (goesOnReporting)
                report(L"more");
            else
                std::this_thread::sleep_for(std::chrono::seconds(1));
        }
    }).detach();
    reported.get_future().wait();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const std::string_view way = argv[1];
    const std::string directory = argv[2];
    ZarnData::setLogVariables(std::wstring(directory.begin(), directory.end()).c_str(), 1, true, 20,
                              7);
    int code = 0;
    try {
        monitor =
            ZarnDataZGW(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML).createZarnMonitor();
    } catch (int raised) {
        code = raised;
    }
    if (way == "no brander")
        return code == 4 && ZarnDataZGW::getDX_Code2() == 126 ? 0 : 5;
    if (!monitor)
        return 6;

    if (way == "return") {
        report(L"entry");
    } else if (way == "exit elsewhere") {
        std::thread([] {
            report(L"entry");
            std::exit(0);
        }).join();
    } else if (way == "idle thread") {
        startReporter(false);
    } else if (way == "busy thread") {
        startReporter(true);
    } else if (way == "thread in a situation") {
        report(L"entry");
        std::thread([] { monitor->respondToSituation(endlessSituation, nullptr); }).detach();
        hasEnteredEndless.get_future().wait();
    } else if (way == "late in thread") {
        std::thread([] {
            thread_local Reporter late{L"entry"};
            report(late.text);
        }).join();
    } else if (way == "late in process") {
        static Reporter late{L"entry"};
        report(late.text);
    } else if (way == "host destroys") {
        std::promise<void> reported, destroyed;
        std::thread reporter([&] {
            report(L"entry");
            reported.set_value();
            destroyed.get_future().wait();
        });
        reported.get_future().wait();
        const Destroyer now;
        destroyed.set_value();
        reporter.join();
    } else if (way == "host destroys at exit") {
        static Destroyer late;
        report(L"entry");
    } else {
        return 2;
    }
    return 0;
}
