// Positions and receiver clocks solved again where the file's are missing,
// frozen or wrong.
//
// The file's own values win wherever they agree with a fresh single point
// solution to 100 m: the receiver's navigation filter is usually better than
// one epoch of pseudoranges, and only a position or clock that is absent or
// plainly wrong is worth replacing.
#include <cmath>

#include "positioning/SinglePoint.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

// A low mask keeps as many satellites as possible: the repair wants a
// solution in every epoch more than it wants the best one.
constexpr double kRepairElevationMask = 0.08726646259971647;   // 5 degrees
// Horizontal distance and clock difference, metres, within which the file's
// values are kept.
constexpr double kPositionAgreement = 100.0;
constexpr double kClockAgreement = 100.0;
// A receiver clock this far from zero, in metres, drifts visibly between
// the seconds of fast data, so the epochs between them need their own.
constexpr double kDriftingClock = 100.0;
// Below this interval, in seconds, a file has epochs between whole seconds.
constexpr double kHighRateInterval = 1.0;

SinglePointOptions RepairOptions() {
    SinglePointOptions options;
    for (GnssConstellation c = 0; c < kStoredConstellations; ++c) options.elevationMask[c] = kRepairElevationMask;
    return options;
}

// The fields a solve writes into an epoch.
struct EpochFix {
    uint32_t flags;
    GeodeticPosition position;
    double clockOffset;
    double trueRcvTime;

    explicit EpochFix(const CGnssEpoch& epoch)
        : flags(epoch.flags), position(epoch.position), clockOffset(epoch.clockOffset),
          trueRcvTime(epoch.trueRcvTime) {}
    void RestoreInto(CGnssEpoch& epoch) const {
        epoch.flags = flags;
        epoch.position = position;
        epoch.clockOffset = clockOffset;
        epoch.trueRcvTime = trueRcvTime;
    }
};

void TakeSolvedClock(CGnssEpoch& epoch, const EpochFix& solved) {
    epoch.clockOffset = solved.clockOffset;
    epoch.trueRcvTime = solved.trueRcvTime;
    epoch.flags |= kEpochClockValid;
}

}  // namespace

int CTrvPreprocessor::RecomputePositions(bool wholeSeconds) {
    CSinglePoint engine(nullptr, true, true);
    engine.SetOptions(RepairOptions());
    char eppName[kTrvFileNameSize];
    CompanionName(".epp", eppName);
    if (!engine.LoadBroadcastEphemeris(eppName)) {
        ephemerisLoaded = 0;
        SetProblem(kProblemNoEphemeris);
        SetError("Ephemeris file could not be loaded");
        return -2;
    }
    const bool highRate = FileInterval() < kHighRateInterval;

    int count = 0;
    CGnssEpoch epoch;
    char engineText[512] = {};
    RewindToFirstEpoch();
    for (int index = 0; ReadNextEpoch(epoch) == 0; ++index) {
        StepProgress();
        if (IsOnWholeSecond(epoch) != wholeSeconds) continue;
        if (epoch.satelliteList.size() < kFewestSatellites) continue;
        // Solved in place, then the file's own values put back beside the
        // solution: no copy of the whole epoch per epoch.
        const EpochFix own(epoch);
        if (engine.ComputeEpoch(epoch, true, true, nullptr, engineText) != kSolved) continue;
        const EpochFix solved(epoch);
        own.RestoreInto(epoch);
        constexpr uint32_t kSolvedBits = kEpochPositionValid | kEpochClockValid;
        if ((solved.flags & kSolvedBits) != kSolvedBits) continue;

        bool changed = false;
        if ((epoch.flags & kEpochPositionValid) != 0) {
            double east = 0.0, north = 0.0;
            HorizontalDifference(epoch.position, solved.position, east, north);
            if (std::hypot(east, north) > kPositionAgreement) {
                epoch.position = solved.position;
                changed = true;
            }
        } else {
            epoch.position = solved.position;
            epoch.flags |= kEpochPositionValid;
            changed = true;
            if ((epoch.flags & kEpochClockValid) == 0) TakeSolvedClock(epoch, solved);
        }
        if (highRate && std::fabs(epoch.clockOffset) > kDriftingClock) recomputeAtSubSeconds = 1;

        if ((epoch.flags & kEpochClockValid) != 0) {
            if (std::fabs(epoch.clockOffset - solved.clockOffset) > kClockAgreement) {
                TakeSolvedClock(epoch, solved);
                changed = true;
                if (highRate) recomputeAtSubSeconds = 1;
            }
            if (highRate && std::fabs(solved.clockOffset) > kDriftingClock) recomputeAtSubSeconds = 1;
            if (!changed) continue;
        } else {
            TakeSolvedClock(epoch, solved);
            if (highRate && std::fabs(solved.clockOffset) > kDriftingClock) recomputeAtSubSeconds = 1;
        }

        if (WriteEpochAt(index, epoch, true) != 0) break;
        ++count;
    }
    return count;
}
