#include <cmath>
#include <ctime>

#include "timebase/GpsTime.h"

// The era of a full week: how many times the 10-bit broadcast week has
// rolled over.
static int EraOf(int fullWeek) { return fullWeek / kWeekRollover; }

// The computer's clock, read as local time, as a full GPS week. The fields
// go straight into the same calendar count that parsing the clock's text
// would reach, so a clock set before 1999 cannot send the resolution back
// into itself.
static int ClockWeek() {
    const time_t now = time(nullptr);
    struct tm local {};
    if (localtime_r(&now, &local) == nullptr) return 0;
    int week = 0;
    double seconds = 0.0;
    CalendarToGps(local.tm_hour, local.tm_min, local.tm_sec, local.tm_mon + 1, local.tm_mday,
                  local.tm_year + 1900, week, seconds);
    return week;
}

int ResolveWeekByClock(int week) {
    if (week == -1) return -1;
    // A broadcast week up to this many weeks ahead of the clock still belongs
    // to the clock's era; beyond it, it is taken as a week of the era before.
    constexpr int kWeeksAheadAccepted = 199;
    // A broadcast week this many weeks or more behind the clock has rolled
    // over into the next era.
    constexpr int kWeeksBehindNextEra = 824;

    const int current = ClockWeek();
    const int w = week % kWeekRollover;
    const int d = current % kWeekRollover - w;
    const int era = EraOf(current);
    if (d < -kWeeksAheadAccepted) return w + kWeekRollover * (era > 0 ? era - 1 : 0);
    if (d >= kWeeksBehindNextEra) return w + kWeekRollover * (era + 1);
    return w + kWeekRollover * era;
}

int ResolveWeekNear(int week, int reference) {
    if (week >= kWeekRollover) return week;
    constexpr int kHalfRollover = kWeekRollover / 2;

    const int d = week - reference % kWeekRollover;
    const int era = EraOf(reference);
    if (d > kHalfRollover && era != 0) return kWeekRollover * (era - 1) + week;
    if (d < -kHalfRollover) return kWeekRollover * (era + 1) + week;
    return kWeekRollover * era + week;
}

int ResolveWeekByTimes(int week, double secondsA, double secondsB) {
    // Two times of week further apart than this lie on either side of a
    // week change.
    constexpr double kWeekChangeGap = 300000.0;
    if (std::fabs(secondsA - secondsB) >= kWeekChangeGap) {
        if (secondsB < secondsA)
            ++week;
        else
            --week;
    }
    if (week < kWeekRollover) week = ResolveWeekByClock(week);
    return week;
}
