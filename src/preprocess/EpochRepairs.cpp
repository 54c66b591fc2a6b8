// Repairs in place: weeks, identical measurements and bad C/A ranges.
//
// Each pass walks the open file once and rewrites only the epochs it
// changes. A record never changes its length: bits are cleared and values
// replaced, nothing is added or taken away, so the epoch index stays valid
// while the file is rewritten under it.
#include <cstdint>
#include <utility>

#include "positioning/SatelliteService.h"
#include "preprocess/CaRangeSet.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"
#include "timebase/GpsTime.h"

namespace {

// How far, in seconds, a GPS ephemeris's reference time may lie from the
// first epoch for its week to be taken as the file's.
constexpr double kWeekSearchTolerance = 1800.0;
// A jump of the time of week larger than this between two epochs, in
// seconds, is a week change: far more than any gap in a log, far less than
// a week.
constexpr double kWeekChangeJump = 500000.0;
// Both Dopplers of the compared signal must exceed this, in hertz, before
// equal ranges are taken for a frozen channel rather than a still receiver.
constexpr double kMovingDoppler = 10.0;

// Seconds by which the time of week rose from one epoch to the next.
double TimeOfWeekRise(uint32_t previousMs, uint32_t currentMs) {
    return (static_cast<int64_t>(currentMs) - static_cast<int64_t>(previousMs)) * 0.001;
}

}  // namespace

void CTrvPreprocessor::RepairWeeks() {
    if (!LoadEphemeris()) {
        SetProblem(kProblemWeeksUnknown);
        return;
    }
    weeksComputed = 0;

    CGnssEpoch epoch;
    RewindToFirstEpoch();
    if (ReadNextEpoch(epoch) == 0) {
        StepProgress();
        // The week of the first epoch comes from the ephemerides: one whose
        // reference time is close to the epoch's time of week, else the
        // start of what the .epp covers.
        int week = service->FindGpsWeek(epoch.rcvTimeMs * 0.001, kWeekSearchTolerance);
        GpsTimeRange range;
        if (week == 0 && service->GetEphemerisTimeRange(range)) week = range.first.week;

        bool written = true;
        if (!HasFullWeek(epoch) && week != 0) {
            if (week < kWeekRollover) week = ResolveWeekByClock(week);
            epoch.week = static_cast<uint16_t>(week);
            epoch.flags |= kEpochWeekValid;
            written = WriteEpochAt(0, epoch, true) == 0;
            if (written) ++weeksComputed;
        }

        // Every later epoch carries the week on from the one before it.
        int previousWeek = epoch.week;
        uint32_t previousMs = epoch.rcvTimeMs;
        for (int index = 1; written && ReadNextEpoch(epoch) == 0; ++index) {
            StepProgress();
            if (HasFullWeek(epoch)) {
                previousWeek = epoch.week;
            } else {
                int week = previousWeek;
                const double rise = TimeOfWeekRise(previousMs, epoch.rcvTimeMs);
                if (rise > kWeekChangeJump) --week;         // back over the start of the week
                else if (rise < -kWeekChangeJump) ++week;   // on into the next week
                if (week < kWeekRollover) week = ResolveWeekByClock(week);
                previousWeek = week;
                if (week >= kWeekRollover) {
                    epoch.week = static_cast<uint16_t>(week);
                    epoch.flags |= kEpochWeekValid;
                    written = WriteEpochAt(index, epoch, true) == 0;
                    if (written) ++weeksComputed;
                }
            }
            previousMs = epoch.rcvTimeMs;
        }
    }
    if (weeksComputed == 0) SetProblem(kProblemWeeksUnknown);
}

int CTrvPreprocessor::RepairIdenticalMeasurements() {
    int count = 0;
    // Two buffers used in turn, so that the walk copies no epoch.
    CGnssEpoch buffers[2];
    CGnssEpoch* previous = &buffers[0];
    CGnssEpoch* current = &buffers[1];
    RewindToFirstEpoch();
    if (ReadNextEpoch(*previous) != 0) return count;
    StepProgress();
    for (int index = 1; ReadNextEpoch(*current) == 0; ++index) {
        StepProgress();
        // A channel that repeats its range while the satellite moves has
        // stopped measuring; the whole epoch is then a copy of the last one.
        if (EpochStep(*previous, *current) > 0.0 && !current->satelliteList.empty()) {
            const SatelliteId first = current->satelliteList.front();
            const CGnssSignal* now = current->GetSignal(first, kPrimaryRole);
            const CGnssSignal* before = previous->GetSignal(first, kPrimaryRole);
            if (now != nullptr && before != nullptr && (now->flags & kSigPseudorange) != 0 &&
                now->pseudorange == before->pseudorange && now->doppler > kMovingDoppler &&
                before->doppler > kMovingDoppler) {
                for (const SatelliteId& id : current->satelliteList) {
                    CGnssSignal* signal = current->GetSignal(id, kPrimaryRole);
                    if (signal == nullptr) continue;
                    signal->flags &= ~uint32_t(kSigPseudorange);
                    ++count;
                }
                if (WriteEpochAt(index, *current, true) != 0) break;
                ++count;
            }
        }
        std::swap(previous, current);
    }
    return count;
}

int CTrvPreprocessor::RepairBadCa() {
    int count = 0;
    CGnssEpoch epoch;
    CCaRangeSet ranges;
    RewindToFirstEpoch();
    for (int index = 0; ReadNextEpoch(epoch) == 0; ++index) {
        StepProgress();
        if (ranges.Collect(epoch) < 4) continue;
        const double reference = ranges.Reference();
        bool changed = false;
        for (int k = 0; k < ranges.Count(); ++k) {
            if (!ranges.IsBeyondLimit(k, reference)) continue;
            CGnssSignal* signal = epoch.GetSignal(ranges[k].id, kPrimaryRole);
            if (signal == nullptr) continue;
            signal->flags &= ~uint32_t(kSigPseudorange);
            ++count;
            changed = true;
        }
        if (changed && WriteEpochAt(index, epoch, true) != 0) break;
    }
    return count;
}
