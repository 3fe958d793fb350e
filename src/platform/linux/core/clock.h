// The system clock in the two forms of Windows.
#pragma once

#include "platform/linux/core/types.h"

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

// The current time in UTC, with millisecond resolution.
void GetSystemTime(SYSTEMTIME* time);

// Milliseconds of a steady clock; wraps. Only for differences.
DWORD GetTickCount();

// Intervals of 100 ns since 1 January 1601 UTC. The day of the week is ignored.
BOOL SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime);
