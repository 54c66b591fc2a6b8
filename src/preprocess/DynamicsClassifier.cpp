// How the receiver moved, judged from the positions in the file: speeds
// between whole seconds, headings held, climbs and drifts give a class, and
// the class settles the static/kinematic flag of every epoch.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The first pass asks for this geometry and relaxes it while too few pairs
// of positions qualify.
constexpr int kFirstSatellites = 7;
constexpr double kFirstLock = 4.0;          // seconds
constexpr int kLastSatellites = 3;          // reaching this ends the retries
constexpr int kLockFromSatellites = 4;      // from here the lock time relaxes too
constexpr int kPairSatellites = 4;          // geometry of a pair worth judging
constexpr double kPairLock = 4.0;
constexpr double kClimbExtraLock = 6.0;     // heights need a longer lock
constexpr double kEnoughPairs = 50.0;       // percent of the judged pairs

// Height limits before any height is seen: the range is then negative.
constexpr double kNoLowHeight = 99999.0;
constexpr double kNoHighHeight = -99999.0;

constexpr double kMinPairStep = 1.0;        // seconds between the two epochs
constexpr double kSlowFrom = 0.2;           // metres per second; below is noise
constexpr double kFastFrom = 10.0;
constexpr double kFastTo = 250.0;           // beyond is a bad position
constexpr double kSameHeading = 2.0;        // degrees
constexpr double kClimbFrom = 2.0;          // metres per second
constexpr double kClimbTo = 50.0;
constexpr double kDriftStep = 180.0;        // seconds
constexpr double kDriftDistance = 5000.0;   // metres

constexpr double kRareShare = 6.1;          // percent of the pairs
constexpr double kDominance = 4.0;
constexpr double kFlyingMean = 40.0;        // a fast mean that is never dropped

// The receiver's time in absolute seconds, with the roll-over rule of a
// file without weeks.
double Step(double from, double to) {
    double step = to - from;
    if (from <= kSecondsPerWeek && to <= kSecondsPerWeek && step < kRolloverStep) step += kSecondsPerWeek;
    return step;
}

// What one epoch offers to the pass, so that epochs need not be copied.
struct Fix {
    double time = 0.0;
    bool hasPosition = false;
    GeodeticPosition position;
    bool pairGeometry = false;
    bool geometry = false;
    bool heightGeometry = false;
    bool climbGeometry = false;
};

Fix FixOf(const CGnssEpoch& epoch, int minSatellites, double minLock) {
    Fix fix;
    fix.time = AbsoluteEpochTime(epoch);
    fix.hasPosition = (epoch.flags & kEpochPositionValid) != 0;
    fix.position = epoch.position;
    fix.pairGeometry = CTrvPreprocessor::HasGoodGeometry(epoch, kPairSatellites, kPairLock);
    fix.geometry = CTrvPreprocessor::HasGoodGeometry(epoch, minSatellites, minLock);
    fix.heightGeometry = CTrvPreprocessor::HasGoodGeometry(epoch, minSatellites + 1, minLock);
    fix.climbGeometry = CTrvPreprocessor::HasGoodGeometry(epoch, minSatellites + 1, minLock + kClimbExtraLock);
    return fix;
}

// A run of consecutive values that keep some property, and its longest.
struct Run {
    int current = 0;
    int longest = 0;
    void Extend(bool holds) {
        current = holds ? current + 1 : 0;
        longest = std::max(longest, current);
    }
};

// The sums of one pass over the file.
struct MotionPass {
    int goodPairs = 0;
    int countedPairs = 0;
    int noPosition = 0;
    double fastSum = 0.0;
    int fastCount = 0;
    double slowSum = 0.0;
    int slowCount = 0;
    Run heading;
    bool hasHeading = false;
    double lastHeading = 0.0;
    Run rising, falling;
    double netEast = 0.0;
    double netNorth = 0.0;
};

void AddPair(MotionPass& pass, const Fix& from, const Fix& to, double step) {
    double east = 0.0, north = 0.0;
    HorizontalDifference(from.position, to.position, east, north);
    const double distance = std::hypot(east, north);
    const double speed = distance / step;
    ++pass.countedPairs;
    if (speed > kFastFrom && speed < kFastTo) {
        pass.fastSum += speed;
        ++pass.fastCount;
    }
    if (speed > kSlowFrom && speed <= kFastFrom) {
        pass.slowSum += speed;
        ++pass.slowCount;
    }
    if (speed > kSlowFrom) {
        double heading = std::atan2(east, north) * 180.0 / kPi;
        if (heading < 0.0) heading += 360.0;
        double turn = std::fabs(heading - pass.lastHeading);
        turn = std::min(turn, 360.0 - turn);
        pass.heading.Extend(pass.hasHeading && turn <= kSameHeading);
        pass.hasHeading = true;
        pass.lastHeading = heading;
    }
    if (from.climbGeometry && to.climbGeometry) {
        const double climb = (to.position.height - from.position.height) / step;
        pass.rising.Extend(climb >= kClimbFrom && climb <= kClimbTo);
        pass.falling.Extend(-climb >= kClimbFrom && -climb <= kClimbTo);
    }
    // Drift that a standing receiver cannot have: the net movement over
    // short, plausible steps.
    if (step < kDriftStep && distance < kDriftDistance) {
        pass.netEast += east;
        pass.netNorth += north;
    }
}

// One pass over the whole seconds of the file with these limits. The height
// limits carry over between passes; widen says whether this pass may move them.
MotionPass MeasurePass(CTrvFile& file, int minSatellites, double minLock, bool widen, double& low,
                       double& high) {
    MotionPass pass;
    CGnssEpoch epoch;
    file.RewindToFirstEpoch();
    bool haveReference = false;
    Fix reference;
    for (int result; (result = file.ReadNextEpoch(epoch)) >= 0;) {
        if (result != 0 || !IsOnWholeSecond(epoch)) continue;
        const Fix fix = FixOf(epoch, minSatellites, minLock);
        if (!haveReference) {
            haveReference = true;
            reference = fix;
            if (!fix.hasPosition) ++pass.noPosition;
            continue;
        }
        const double step = Step(reference.time, fix.time);
        if (step < kMinPairStep) continue;
        if (reference.pairGeometry && fix.pairGeometry) ++pass.goodPairs;
        if (!fix.hasPosition) {
            ++pass.noPosition;
        } else if (fix.heightGeometry && widen) {
            low = std::min(low, fix.position.height);
            high = std::max(high, fix.position.height);
        }
        if (reference.hasPosition && fix.hasPosition && reference.geometry && fix.geometry)
            AddPair(pass, reference, fix, step);
        reference = fix;
    }
    file.RewindToFirstEpoch();
    return pass;
}

// The mean of one side, or 0 when its pairs are too rare to mean anything.
double MeanOf(double sum, int count, int pairs) {
    if (count == 0 || count * 100.0 <= kRareShare * pairs) return 0.0;
    return sum / count;
}

uint32_t ClassOf(const DynamicsFigures& f, bool validCa) {
    if (!validCa || std::abs(f.noPosition - f.goodPairs) <= 3 || f.heightRange < 0.0) return kDynamicsUnknown;
    const double fast = f.fastMean, slow = f.slowMean, ratio = f.ratio;
    const int run = f.climbRun;
    if (fast > 0.0 && ratio > 2.0 && run < 7 && f.heightRange <= 300.0)
        return slow <= 2.5 && ratio > 300.0 ? 7 : 1;
    if (fast > 0.0 && fast < 40.0 && ratio <= 2.0 && run < 7 && f.heightRange <= 300.0) return 1;
    if (fast == 0.0) {
        if (slow == 0.0) return kDynamicsStatic;
        if (slow <= 1.1)
            return f.headingRun > 5 || f.netEast >= 40.0 || f.netNorth >= 40.0 ? 7 : kDynamicsStatic;
        if (slow <= 2.0) return 7;
        if (slow <= 2.5 && ratio > 300.0) return 7;
        if (slow <= 4.0) {
            const bool lowGround = std::fabs(f.heightLow) <= 200.0 && std::fabs(f.heightHigh) <= 200.0;
            return lowGround && f.heightRange <= 100.0 ? 5 : 1;
        }
        if (ratio <= 2.0 && run < 7 && f.heightRange <= 150.0) return 1;
        if (ratio > 2.0 && run < 7) return 1;
    }
    return 2;
}

}  // namespace

bool CTrvPreprocessor::HasGoodGeometry(const CGnssEpoch& epoch, int minSatellites, double minLock) {
    if ((epoch.flags & kEpochPositionValid) == 0) return false;
    static constexpr GnssConstellation kOrder[] = {kGps, kGlonass, kGalileo, kBeiDou, kQzss};
    bool enough = false;
    for (GnssConstellation constellation : kOrder)
        enough = enough || epoch.CountSatellites(constellation) >= minSatellites;
    if (!enough) return false;
    // Only the first constellation present is judged: its lock times stand
    // for the whole solution.
    for (GnssConstellation constellation : kOrder) {
        if (epoch.CountSatellites(constellation) == 0) continue;
        int locked = 0;
        for (const SatelliteId& id : epoch.satelliteList) {
            if (id.constellation != constellation) continue;
            const CGnssSignal* signal = constellation == kGps
                                            ? PrimarySignal(epoch, id)
                                            : epoch.GetSignal(id, kPrimaryRole);
            if (signal != nullptr && signal->lockTime >= minLock) ++locked;
        }
        return locked >= minSatellites;
    }
    return false;
}

void CTrvPreprocessor::ClassifyDynamics(double poorRatio) {
    DynamicsFigures figures;
    figures.ratio = poorRatio;
    double low = kNoLowHeight, high = kNoHighHeight;
    if (IsOpen()) {
        int minSatellites = kFirstSatellites;
        double minLock = kFirstLock;
        MotionPass pass;
        for (bool first = true;; first = false) {
            // A repeated pass keeps the heights an earlier, stricter one found.
            const bool found = low != kNoLowHeight && high != kNoHighHeight;
            pass = MeasurePass(*this, minSatellites, minLock, first || !found, low, high);
            figures.minSatellites = minSatellites;
            figures.minLock = minLock;
            const bool heightsFound = low != kNoLowHeight && high != kNoHighHeight;
            const double share =
                heightsFound && pass.goodPairs > 0 ? pass.countedPairs * 100.0 / pass.goodPairs : 0.0;
            if (share > kEnoughPairs) break;
            if (--minSatellites == kLockFromSatellites && minLock - 1.0 >= 0.0) minLock -= 1.0;
            if (minSatellites == kLastSatellites) break;
        }
        figures.countedPairs = pass.countedPairs;
        figures.goodPairs = pass.goodPairs;
        figures.noPosition = pass.noPosition;
        figures.fastMean = MeanOf(pass.fastSum, pass.fastCount, pass.countedPairs);
        figures.slowMean = MeanOf(pass.slowSum, pass.slowCount, pass.countedPairs);
        // When one kind of movement dominates, the other is taken for noise;
        // a flying speed is never noise.
        if (figures.fastMean > 0.0 && figures.slowMean > 0.0) {
            if (pass.fastCount >= kDominance * pass.slowCount)
                figures.slowMean = 0.0;
            else if (pass.slowCount >= kDominance * pass.fastCount && figures.fastMean < kFlyingMean)
                figures.fastMean = 0.0;
        }
        figures.climbRun = std::max(pass.rising.longest, pass.falling.longest);
        figures.headingRun = pass.heading.longest;
        figures.netEast = std::fabs(pass.netEast);
        figures.netNorth = std::fabs(pass.netNorth);
    }
    figures.heightLow = low;
    figures.heightHigh = high;
    figures.heightRange = high - low;
    lastDynamics = figures;
    resultsV2.dynamicsClass = resultsV3.dynamicsClass = ClassOf(figures, validCaSeen != 0);
}

void CTrvPreprocessor::ApplyMarkerFiles() {
    // A marker is a file beside the raw file, of any content, by which the
    // user states the platform.
    auto present = [this](const char* extension) {
        char name[kTrvFileNameSize];
        CompanionName(extension, name);
        FILE* marker = std::fopen(name, "rb");
        if (marker != nullptr) std::fclose(marker);
        return marker != nullptr;
    };
    const bool hmr = present(".hmr");
    const bool dmr = present(".dmr");
    uint32_t dynamicsClass = resultsV3.dynamicsClass;
    if (dynamicsClass == kDynamicsStatic && present(".imr")) dynamicsClass = 7;
    if (dynamicsClass == 7 && hmr) dynamicsClass = 5;
    if (present(".mmr")) dynamicsClass = 2;
    if (dmr)
        dynamicsClass = 1;
    else if (dynamicsClass == 5 && !hmr)
        dynamicsClass = 1;
    resultsV2.dynamicsClass = resultsV3.dynamicsClass = dynamicsClass;
}

void CTrvPreprocessor::RewriteMotionFlags() {
    const bool toStatic = resultsV3.dynamicsClass == kDynamicsStatic;
    CGnssEpoch epoch;
    for (int index = 0, count = EpochCount(); index < count; ++index) {
        StepProgress();
        // The header's count may promise more records than the file holds.
        const int read = ReadEpochAt(index, epoch);
        if (read < 0) break;
        if (read != 0) continue;
        const bool kinematic = (epoch.flags & kEpochKinematic) != 0;
        if (kinematic != toStatic) continue;
        if (toStatic) {
            epoch.flags &= ~uint32_t(kEpochKinematic);
            ++kinematicToStatic;
        } else {
            epoch.flags |= kEpochKinematic;
            ++staticToKinematic;
        }
        WriteEpochAt(index, epoch, true);
    }
}
