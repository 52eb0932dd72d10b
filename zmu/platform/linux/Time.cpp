// Calendar time.
#include <zmu/platform/Win32.h>

#include <ctime>

void GetLocalTime(SYSTEMTIME* time)
{
    constexpr int nanosecondsOfMillisecond = 1000000;

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const auto field = [](long value) { return static_cast<unsigned short>(value); };
    *time = {field(local.tm_year + 1900), field(local.tm_mon + 1),
             field(local.tm_wday),        field(local.tm_mday),
             field(local.tm_hour),        field(local.tm_min),
             field(local.tm_sec),         field(now.tv_nsec / nanosecondsOfMillisecond)};
}
