#include <algorithm>
#include <utility>

#include "timebase/GpsTime.h"

// A range end counts as empty while it holds no time at all.
static bool IsEmpty(const GpsTime& t) { return t.week * kSecondsPerWeek + t.seconds == 0.0; }

// Week 0 with a positive time marks a time of week whose week was not known
// when it was recorded.
static bool HasNoWeek(const GpsTime& t) { return t.week == 0 && t.seconds > 0.0; }

void GpsTimeRange::Set(int firstWeek, double firstSeconds, int lastWeek, double lastSeconds) {
    first.Set(firstWeek, firstSeconds);
    last.Set(lastWeek, lastSeconds);
    if (first > last) std::swap(first, last);
}

void GpsTimeRange::Extend(int week, double seconds) {
    if (week <= kWeekRollover && first.week > kWeekRollover) {
        // The new time has no usable week: only its time of week can widen
        // the range, within the weeks already held.
        if (seconds > last.seconds)
            last.seconds = seconds;
        else if (seconds < first.seconds)
            first.seconds = seconds;
        return;
    }

    const GpsTime t(week, seconds);
    if (IsEmpty(first) || first > t)
        first = t;
    else if (HasNoWeek(first))
        first.Set(week, std::min(first.seconds, seconds));

    if (IsEmpty(last)) {
        last = t;
        return;
    }
    if (HasNoWeek(last))
        last.Set(week, std::max(last.seconds, seconds));
    else if (t > last)
        last = t;
}

void GpsTimeRange::GetMiddle(GpsTime& result) const {
    double seconds = (first.seconds + last.seconds) * 0.5;
    if (last.week > first.week) seconds += (last.week - first.week) * kSecondsPerWeek * 0.5;
    result.Set(first.week, seconds);
}
