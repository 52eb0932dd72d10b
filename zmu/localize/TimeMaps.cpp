// Between the calendars of the C library and of the platform.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/foundation/SystemTime.h>
#include <zmu/platform/Win32.h>

std::tm& ZarnLocalizeHelpers::mapSYSTEMTIME_to_tm(const SYSTEMTIME& time, std::tm& result,
                                                  int isDst)
{
    result = {};
    result.tm_sec = time.wSecond;
    result.tm_min = time.wMinute;
    result.tm_hour = time.wHour;
    result.tm_mday = time.wDay;
    result.tm_mon = time.wMonth - 1;
    result.tm_year = time.wYear - 1900;
    result.tm_wday = time.wDayOfWeek;
    result.tm_isdst = isDst;
    return result;
}

std::tm& ZarnLocalizeHelpers::mapFILETIME_to_tm(const FILETIME& time, std::tm& result, int isDst)
{
    result = {};
    SYSTEMTIME calendar{};
    if (FileTimeToSystemTime(&time, &calendar))
        mapSYSTEMTIME_to_tm(calendar, result, isDst);
    return result;
}

std::tm& ZarnLocalizeHelpers::mapSMTIME_to_tm(long long time, std::tm& result, int isDst)
{
    const zr::SystemTime stamp(time);
    result = {};
    result.tm_sec = stamp.Sec();
    result.tm_min = stamp.Min();
    result.tm_hour = stamp.Hour();
    result.tm_mday = stamp.Day();
    result.tm_mon = stamp.Month() - 1;
    result.tm_year = stamp.Year() - 1900;
    result.tm_isdst = isDst;
    return result;
}

SYSTEMTIME& ZarnLocalizeHelpers::map_tm_to_SYSTEMTIME(const std::tm& time, SYSTEMTIME& result)
{
    result = {};
    result.wYear = static_cast<WORD>(time.tm_year);
    result.wMonth = static_cast<WORD>(time.tm_mon); // from 0: callers expect it so
    result.wDayOfWeek = static_cast<WORD>(time.tm_wday);
    result.wDay = static_cast<WORD>(time.tm_mday);
    result.wHour = static_cast<WORD>(time.tm_hour);
    result.wMinute = static_cast<WORD>(time.tm_min);
    result.wSecond = static_cast<WORD>(time.tm_sec);
    if (result.wYear < 100)
        result.wYear += 100;
    if (result.wYear < 1900)
        result.wYear += 1900;
    return result;
}

FILETIME& ZarnLocalizeHelpers::map_tm_to_FILETIME(const std::tm& time, FILETIME& result)
{
    result = {};
    SYSTEMTIME calendar;
    SystemTimeToFileTime(&map_tm_to_SYSTEMTIME(time, calendar), &result);
    return result;
}
