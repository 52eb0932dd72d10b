// Calendar time.
#include <zmu/platform/Win32.h>

#include <ctime>

void GetLocalTime(SYSTEMTIME* time)
{
    constexpr int nanosecondsOfMillisecond = 1000000;

    // The calendar of a second is worked out once a thread; situations come in bursts.
    thread_local time_t second = -1;
    thread_local tm local;

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != second) {
        localtime_r(&now.tv_sec, &local);
        second = now.tv_sec;
    }
    const auto field = [](long value) { return static_cast<unsigned short>(value); };
    *time = {field(local.tm_year + 1900), field(local.tm_mon + 1),
             field(local.tm_wday),        field(local.tm_mday),
             field(local.tm_hour),        field(local.tm_min),
             field(local.tm_sec),         field(now.tv_nsec / nanosecondsOfMillisecond)};
}
