#include <cstdio>

#include "timebase/CalendarTables.h"
#include "timebase/GpsTime.h"

// The calendar here stands on its own, without the platform's time zone, and
// serves 1970 to 2099: in that span every fourth year is a leap year, which
// lets whole four-year cycles be taken off at once.
static constexpr int64_t kSecondsPerCycle = 126230400;  // 1461 days
// Seconds from the start of a cycle to the end of each of its years; the
// third year of a cycle (1972, 1976, ...) is the leap year.
static constexpr int64_t kCycleYearEnds[4] = {31536000, 63072000, 94694400, 126230400};
static constexpr int kLeapYearInCycle = 2;

static UnixCalendar s_calendar;
// The last complaint about an impossible date; kept for a debugger, since
// the callers have no way to take a message.
static char s_lastComplaint[160];

const UnixCalendar* SplitUnixSeconds(int64_t seconds) {
    const int64_t cycles = seconds / kSecondsPerCycle;
    int64_t remaining = seconds - cycles * kSecondsPerCycle;

    int yearInCycle = 0;
    while (yearInCycle < 3 && remaining >= kCycleYearEnds[yearInCycle]) ++yearInCycle;
    if (yearInCycle > 0) remaining -= kCycleYearEnds[yearInCycle - 1];
    const int year = static_cast<int>(1970 + 4 * cycles + yearInCycle);
    const int leap = yearInCycle == kLeapYearInCycle ? 1 : 0;

    const int days = static_cast<int>(remaining / kSecondsPerDay);
    const int secondOfDay = static_cast<int>(remaining % kSecondsPerDay);

    int month = 0;
    while (month < 12 && !(days >= kDaysBeforeMonth[leap][month] &&
                           days < kDaysBeforeMonth[leap][month + 1]))
        ++month;
    if (month == 12) {
        snprintf(s_lastComplaint, sizeof s_lastComplaint,
                 "Bad month, day or year [seconds: %lld, remaining: %d, year: %d, month: %d, days: %d, leap: %d]",
                 static_cast<long long>(seconds), static_cast<int>(remaining), year, month, days,
                 leap);
        month = 0;
    }

    s_calendar.second = secondOfDay % 60;
    s_calendar.minute = secondOfDay / 60 % 60;
    s_calendar.hour = secondOfDay / 3600;
    s_calendar.dayOfMonth = days - kDaysBeforeMonth[leap][month] + 1;
    s_calendar.month = month;
    s_calendar.yearsSince1900 = year - 1900;
    return &s_calendar;
}
