#include "timebase/GpsTime.h"

// 1/86400 as the double the modified Julian day has always been built with;
// kept literally so that day fractions match earlier output to the last bit.
static constexpr double kDayPerSecond = 1.157407407407407e-05;

void GpsTime::GetMjd(int& day, double& fraction) const {
    const double wholeDays = std::trunc(seconds * kDayPerSecond);
    day = TruncateToInt(week * 7.0 + kMjdOfGpsEpoch + wholeDays);
    fraction = (seconds - wholeDays * kSecondsPerDay) * kDayPerSecond;
}

int TruncateToInt(double value) {
    if (std::isnan(value)) return 0;
    if (value <= static_cast<double>(INT32_MIN)) return INT32_MIN;
    if (value >= static_cast<double>(INT32_MAX)) return INT32_MAX;
    return static_cast<int>(value);
}

double AbsoluteSeconds(double seconds, int week) {
    if (week < kWeekRollover) week = ResolveWeekByClock(week);
    return week * kSecondsPerWeek + seconds;
}

double SecondsOfWeek(double absoluteSeconds) {
    return absoluteSeconds - std::trunc(absoluteSeconds / kSecondsPerWeek) * kSecondsPerWeek;
}

double WrapTimeDifference(double a, double b) {
    // Beyond this a difference is taken to have crossed a week boundary.
    constexpr double kHalfWeekLimit = 500000.0;
    // Bounds the loops, so that a wild or non-finite input cannot hang them.
    constexpr int kMaxSteps = 3000;

    double d = a - b;
    int steps = 0;
    while (d < -kHalfWeekLimit && steps++ < kMaxSteps) d += kSecondsPerWeek;
    while (d > kHalfWeekLimit && steps++ < kMaxSteps) d -= kSecondsPerWeek;
    return d;
}
