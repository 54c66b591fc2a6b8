// The receiver clocks of a solution: one absolute clock for the primary
// constellation, offsets from it for the others.
#include "positioning/ClockSet.h"

#include "rawfile/GnssEpoch.h"

namespace {

bool IsEntry(int constellation) { return constellation >= 0 && constellation < ClockSet::kEntries; }

}  // namespace

double ClockSet::GetClock(int constellation, bool inMetres) const {
    double metres = 0.0;
    if (IsEntry(primary) && (entries[primary].flags & kClockHeld) != 0) metres = entries[primary].clock;
    if (constellation != primary && IsEntry(constellation) && (entries[constellation].flags & kClockHeld) != 0)
        metres += entries[constellation].clock;
    return inMetres ? metres : metres / kSpeedOfLight;
}

void ClockSet::SetClock(int constellation, double value, double stdDev) {
    if (!IsEntry(constellation)) return;
    ClockEntry& entry = entries[constellation];
    entry.flags |= kClockHeld;
    entry.clock = value;
    if (stdDev > 0.0) entry.stdDev = stdDev;
}

void ClockSet::AdjustClock(int constellation, double delta, double stdDev) {
    if (!IsEntry(constellation)) return;
    ClockEntry& entry = entries[constellation];
    // The least squares correction is subtracted: the design rows carry the
    // clock with the sign of the range.
    entry.flags |= kClockHeld;
    entry.clock -= delta;
    if (stdDev > 0.0) entry.stdDev = stdDev;
}

void ClockSet::Reset() {
    time = 0.0;
    for (ClockEntry& entry : entries) entry = ClockEntry{};
}
