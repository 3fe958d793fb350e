#include "platform/linux/core/clock.h"

#include <chrono>
#include <cstdint>
#include <ctime>

namespace {

constexpr int64_t SECONDS_FROM_1601_TO_1970 = 11644473600;
constexpr int64_t INTERVALS_PER_SECOND = 10'000'000;
constexpr int64_t INTERVALS_PER_MILLISECOND = 10'000;

} // namespace

void GetSystemTime(SYSTEMTIME* time)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    gmtime_r(&now.tv_sec, &fields);
    time->wYear = static_cast<WORD>(fields.tm_year + 1900);
    time->wMonth = static_cast<WORD>(fields.tm_mon + 1);
    time->wDayOfWeek = static_cast<WORD>(fields.tm_wday);
    time->wDay = static_cast<WORD>(fields.tm_mday);
    time->wHour = static_cast<WORD>(fields.tm_hour);
    time->wMinute = static_cast<WORD>(fields.tm_min);
    time->wSecond = static_cast<WORD>(fields.tm_sec < 60 ? fields.tm_sec : 59);
    time->wMilliseconds = static_cast<WORD>(now.tv_nsec / 1'000'000);
}

DWORD GetTickCount()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime)
{
    namespace chrono = std::chrono;
    const chrono::year_month_day date{
        chrono::year{time->wYear}, chrono::month{time->wMonth}, chrono::day{time->wDay}};
    const int64_t days = chrono::sys_days{date}.time_since_epoch().count();
    const int64_t minutes = days * 1440 + int64_t{time->wHour} * 60 + time->wMinute;
    const int64_t seconds = minutes * 60 + time->wSecond + SECONDS_FROM_1601_TO_1970;
    const int64_t intervals
        = seconds * INTERVALS_PER_SECOND + time->wMilliseconds * INTERVALS_PER_MILLISECOND;
    fileTime->dwLowDateTime = static_cast<DWORD>(intervals);
    fileTime->dwHighDateTime = static_cast<DWORD>(intervals >> 32);
    return TRUE;
}
