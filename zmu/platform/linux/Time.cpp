// Moments and the calendar.
#include <zmu/platform/Clock.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/BriefLock.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <ctime>

namespace {

using namespace std::chrono;

/// The platform's tick, and its day 0.
using Ticks = duration<i64, std::ratio<1, 10'000'000>>;
constexpr sys_days firstDay = year(1601) / January / 1;
constexpr WORD lastYear = 30827;

constexpr int yearOfZero = 1900; ///< The year that a tm_year of 0 is.

BOOL fail()
{
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

/// The C library has a lock of its own there, which would stay held in a process forked off.
bool toLocalTime(time_t moment, tm& local)
{
    const zmu::BriefLock lock;
    return localtime_r(&moment, &local) != nullptr;
}

} // namespace

u64 zmu::steadyMilliseconds()
{
    constexpr u64 ofSecond = 1000;
    constexpr u64 nanoseconds = 1'000'000; // of a millisecond
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<u64>(now.tv_sec) * ofSecond + static_cast<u64>(now.tv_nsec) / nanoseconds;
}

void GetLocalTime(SYSTEMTIME* time)
{
    constexpr int nanosecondsOfMillisecond = 1'000'000;

    // The calendar of a second is worked out once a thread; situations come in bursts.
    thread_local time_t second = -1;
    thread_local tm local;

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != second) {
        toLocalTime(now.tv_sec, local);
        second = now.tv_sec;
    }
    const auto field = [](long value) { return static_cast<WORD>(value); };
    *time = {field(yearOfZero + local.tm_year),
             field(local.tm_mon + 1),
             field(local.tm_wday),
             field(local.tm_mday),
             field(local.tm_hour),
             field(local.tm_min),
             field(local.tm_sec),
             field(now.tv_nsec / nanosecondsOfMillisecond)};
}

BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* calendar)
{
    const auto count = static_cast<i64>(u64(time->dwHighDateTime) << 32 | time->dwLowDateTime);
    if (count < 0)
        return fail();
    const Ticks sinceFirst(count);
    const auto wholeDays = floor<days>(sinceFirst);
    const year_month_day date(firstDay + wholeDays);
    const hh_mm_ss clock(floor<milliseconds>(sinceFirst - wholeDays));
    calendar->wYear = static_cast<WORD>(static_cast<int>(date.year()));
    calendar->wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    calendar->wDayOfWeek = static_cast<WORD>(weekday(firstDay + wholeDays).c_encoding());
    calendar->wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    calendar->wHour = static_cast<WORD>(clock.hours().count());
    calendar->wMinute = static_cast<WORD>(clock.minutes().count());
    calendar->wSecond = static_cast<WORD>(clock.seconds().count());
    calendar->wMilliseconds = static_cast<WORD>(clock.subseconds().count());
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* calendar, FILETIME* time)
{
    const year_month_day date(year(calendar->wYear), month(calendar->wMonth), day(calendar->wDay));
    // The types of the calendar hold no more than 8 bits of month and day.
    if (calendar->wYear < 1601 || calendar->wYear > lastYear || calendar->wMonth > 12 ||
        calendar->wDay > 31 || !date.ok() || calendar->wHour > 23 || calendar->wMinute > 59 ||
        calendar->wSecond > 59 || calendar->wMilliseconds > 999)
        return fail();
    const Ticks sinceFirst = sys_days(date) - firstDay + hours(calendar->wHour) +
                             minutes(calendar->wMinute) + seconds(calendar->wSecond) +
                             milliseconds(calendar->wMilliseconds);
    const auto count = static_cast<u64>(sinceFirst.count());
    time->dwLowDateTime = static_cast<DWORD>(count);
    time->dwHighDateTime = static_cast<DWORD>(count >> 32);
    return TRUE;
}

i64 _time64(i64* time)
{
    const i64 now = std::time(nullptr);
    if (time)
        *time = now;
    return now;
}

int _localtime64_s(std::tm* local, const i64* time)
{
    const auto moment = static_cast<std::time_t>(*time);
    // Whoever adds the 1900 must get a year that an int holds.
    if (moment == *time && toLocalTime(moment, *local) && local->tm_year <= INT_MAX - yearOfZero)
        return 0;
    local->tm_sec = local->tm_min = local->tm_hour = -1;
    local->tm_mday = local->tm_mon = local->tm_year = -1;
    local->tm_wday = local->tm_yday = local->tm_isdst = -1;
    return EINVAL;
}
