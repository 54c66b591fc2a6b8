#pragma once
#include "timebase/GpsTime.h"

// Days before each month, and the length of the year as the 13th entry, for a
// common and a leap year. Shared by the calendar conversions of this folder.
inline constexpr int kDaysBeforeMonth[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

// Seconds from 1 January 1970 to the GPS epoch of 6 January 1980.
inline constexpr long long kUnixSecondsAtGpsEpoch =
    static_cast<long long>(kDaysUnixToGpsEpoch) * kSecondsPerDay;
