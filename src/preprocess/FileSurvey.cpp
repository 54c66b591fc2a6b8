// The one read-only pass over the file that sets every switch of the checks.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <utility>

#include "positioning/SatelliteService.h"
#include "preprocess/CaRangeSet.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

constexpr int kFewestEpochs = 3;
// Files sampled more sparsely than this, seconds, get three flag changes of
// grace before the static/kinematic rewrite counts as a change.
constexpr double kSparseInterval = 10.0;
constexpr int32_t kSparseFlagGrace = -3;
constexpr double kStartOfWeekSlack = 0.0001;   // s
// After this many epochs only whole seconds are looked at: high-rate files
// would otherwise pay for every epoch.
constexpr int kEpochsBeforeWholeSeconds = 100;
// About one sample a minute; a short file samples every epoch instead.
constexpr double kSampleGap = 59.0;
constexpr double kShortFile = 300.0;           // s of data
constexpr double kShortFileGapSlack = 0.01;    // s
// Fewer than 4 satellites this long after the start is a poor epoch, not
// the receiver still acquiring.
constexpr double kAcquisitionTime = 120.0;
constexpr int kResidualSamples = 10;
constexpr double kHighestTrimbleStep = 1.1;    // s
constexpr double kSpoiltResidual = 3.0;        // m/s
constexpr double kSignTurnedResidual = 5.0;    // m/s
constexpr double kZeroDopplerShare = 5.0;      // %
// The unit vote stops when either side has this many; this many less one
// matches make the unit wrong.
constexpr int kUnitVotes = 31;
constexpr int kUnitMatchesNeeded = 30;
constexpr float kLowLockTime = 1.0f;           // s
constexpr double kPoorShare = 50.0;            // % of good observations
constexpr double kSecondSignalShare = 80.0;    // % of the first signal's
constexpr double kGlonassShare = 40.0;         // % of GPS
constexpr double kGlonassShareWithPoorL2 = 10.0;
constexpr double kMixedLow = 0.5;              // % kinematic
constexpr double kMixedHigh = 99.5;
constexpr double kRecomputeShare = 10.0;       // % of samples
constexpr double kPerThousand = 1000.0;

// The survey's row of each signal id, -1 for the signals it does not follow.
constexpr GnssSignalId kHighestSurveyId = 84;
constexpr auto kSurveyRowOf = [] {
    std::array<int8_t, kHighestSurveyId + 1> rows{};
    for (int8_t& row : rows) row = -1;
    for (int k = 0; k < kSurveySignals; ++k) rows[kSurveySignalIds[k]] = static_cast<int8_t>(k);
    return rows;
}();

int SurveyRow(GnssSignalId id) { return id >= 0 && id <= kHighestSurveyId ? kSurveyRowOf[id] : -1; }

uint32_t DetectionMask(GnssSignalId id) {
    const int bit = SignalDetectionBit(id);
    return bit >= 0 ? 1u << bit : 0u;
}

// a as a percentage of b; infinite for no b, so that "below" fails.
double Percent(double a, double b) { return b > 0.0 ? a / b * 100.0 : std::numeric_limits<double>::infinity(); }

// Good and low-lock observations of each followed signal over the samples;
// a signal the survey does not follow reads as never counted.
struct SignalTally {
    int good[kSurveySignals] = {};
    int lowLock[kSurveySignals] = {};

    int Good(GnssSignalId id) const {
        const int row = SurveyRow(id);
        return row >= 0 ? good[row] : 0;
    }
    int All(GnssSignalId id) const {
        const int row = SurveyRow(id);
        return row >= 0 ? good[row] + lowLock[row] : 0;
    }
    // Good observations in percent of all; 0.0 for a signal never counted.
    double GoodShare(GnssSignalId id) const { return All(id) > 0 ? 100.0 * Good(id) / All(id) : 0.0; }
};

// What the signal tallies say about tracking: the problem mask, the problem
// bits and the three band statuses.
class TrackingJudge {
public:
    TrackingJudge(const SignalTally& tally, const uint8_t* seen) : tally(tally), seen(seen) {}

    void Judge(CTrvPreprocessor& checks) {
        JudgeEachSignal();
        JudgeSecondSignals();
        JudgeBands(checks);
        JudgeGlonassAgainstGps();
        checks.resultsV3.signalsWithProblems |= problemMask;
    }
    uint32_t ProblemBits() const { return problemBits; }

private:
    bool Seen(GnssSignalId id) const {
        const int row = SurveyRow(id);
        return row >= 0 && seen[row] != 0;
    }
    void Flag(GnssSignalId id) { problemMask |= DetectionMask(id); }
    bool Flagged(GnssSignalId id) const { return (problemMask & DetectionMask(id)) != 0; }

    // Mostly short locks mean a signal that keeps dropping; a first signal
    // with no good observation at all has a share of 0 and is among them.
    void JudgeEachSignal() {
        for (GnssSignalId id : kSurveySignalIds)
            if (Seen(id) && tally.All(id) > 0 && tally.GoodShare(id) <= kPoorShare) Flag(id);
    }

    // A second signal tracked much less often than the first of its
    // constellation is a tracking problem of its own.
    bool SecondSignalPoor(GnssSignalId reference, GnssSignalId second, int secondGood) {
        if (tally.Good(reference) <= 0 || !Seen(second)) return false;
        if (Percent(secondGood, tally.Good(reference)) > kSecondSignalShare) return false;
        Flag(second);
        return true;
    }
    void SecondSignalsOf(GnssSignalId reference, std::initializer_list<GnssSignalId> seconds) {
        for (GnssSignalId second : seconds) SecondSignalPoor(reference, second, tally.Good(second));
    }

    void JudgeSecondSignals() {
        // GPS L2 counts its two codes together: a receiver tracks one or other.
        if (SecondSignalPoor(0, 2, tally.Good(2) + tally.Good(3))) problemBits |= kProblemL2Significant;
        SecondSignalsOf(0, {1});
        SecondSignalsOf(20, {21, 22});
        SecondSignalsOf(40, {42});
        // B2I only for receivers without the newer BeiDou signals, which
        // replace it.
        if (tally.Good(43) == 0 && tally.Good(44) == 0 && tally.Good(45) == 0) SecondSignalsOf(40, {41});
        SecondSignalsOf(43, {44, 45});
        SecondSignalsOf(60, {61, 62, 63, 64});
        SecondSignalsOf(80, {81, 82, 83, 84});
    }

    void JudgeBands(CTrvPreprocessor& checks) {
        constexpr GnssSignalId kL1Signals[] = {0, 1, 20, 40, 60, 80};
        constexpr GnssSignalId kL2Signals[] = {2, 3, 21, 22, 41, 44, 45, 61, 62, 81};
        bool anyL1 = false, anyGoodL1 = false, poorL1 = false;
        for (GnssSignalId id : kL1Signals) {
            anyL1 = anyL1 || Seen(id);
            anyGoodL1 = anyGoodL1 || tally.Good(id) > 0;
            poorL1 = poorL1 || (Seen(id) && tally.All(id) > 0 && tally.GoodShare(id) <= kPoorShare);
        }
        if (!anyL1) {
            problemBits |= kProblemL1Failure;
            checks.l1Status = kTrackingAbsent;
        } else if (!anyGoodL1) {
            problemBits |= kProblemL1Failure;
            checks.l1Status = kTrackingFailed;
        } else if (poorL1) {
            problemBits |= kProblemL1Significant;
            checks.l1Status = kTrackingProblems;
        }

        if (!Seen(2) && !Seen(3) && !Seen(21)) {
            checks.l2Status = kTrackingAbsent;
        } else {
            bool anyGoodL2 = false;
            for (GnssSignalId id : kL2Signals) anyGoodL2 = anyGoodL2 || tally.Good(id) > 0;
            if (!anyGoodL2) {
                problemBits |= kProblemL2Failure;
                checks.l2Status = kTrackingFailed;
            }
            const double l1Share = tally.GoodShare(0);
            if (l1Share == 0.0 || (Percent(tally.GoodShare(2), l1Share) <= kPoorShare &&
                                   Percent(tally.GoodShare(3), l1Share) <= kPoorShare)) {
                problemBits |= kProblemL2Significant;
                checks.l2Status = kTrackingProblems;
            }
        }
        if (!Seen(4) && !Seen(23) && !Seen(42) && !Seen(62) && !Seen(82)) checks.l5Status = kTrackingAbsent;
    }

    void JudgeGlonassAgainstGps() {
        if (Seen(0) && Seen(20) && Percent(tally.Good(20), tally.Good(0)) < kGlonassShare) Flag(20);
        if (!Seen(2)) return;
        const bool gpsL2Poor = Flagged(2);
        for (GnssSignalId id : {21, 22}) {
            if (!Seen(id)) continue;
            const double againstL2 = Percent(tally.Good(id), tally.Good(2));
            if (againstL2 < kGlonassShare) Flag(id);
            const double againstL1 = Percent(tally.Good(id), tally.Good(0));
            if (gpsL2Poor && (againstL2 < kGlonassShareWithPoorL2 || againstL1 < kGlonassShare)) Flag(id);
        }
    }

    const SignalTally& tally;
    const uint8_t* seen;
    uint32_t problemMask = 0;
    uint32_t problemBits = 0;
};

// The counts of the pass that decide the switches at its end.
struct SurveyCounts {
    int epochs = 0;
    int kinematic = 0;
    int samples = 0;
    int usableSamples = 0;
    int poorEpochs = 0;
    int missingClocks = 0;
    int missingPositions = 0;
    int sameClocks = 0;
    int samePositions = 0;
    int satellites = 0;
    int zeroDopplers = 0;
    int unitMatches = 0;
    int unitMismatches = 0;
    int trimbleResiduals = 0;
    double trimbleResidualSum = 0.0;
    int signResiduals = 0;
    double signResidualSum = 0.0;
};

// The step from the previous epoch as the tests of time order see it. Past
// a roll-over of a file without weeks, and past an epoch that still stood at
// the last instant of a week while its week number had moved on, time does
// not go back.
double SurveyStep(const CGnssEpoch& previous, const CGnssEpoch& current) {
    const double before = AbsoluteEpochTime(previous);
    const double now = AbsoluteEpochTime(current);
    double step = EpochStep(previous, current);
    if (step < kRolloverStep && before > kSecondsPerWeek && now > kSecondsPerWeek) {
        const double toWeekEnd = kSecondsPerWeek - previous.trueRcvTime;
        if (toWeekEnd < kStartOfWeekSlack) step = now - (previous.week * kSecondsPerWeek + toWeekEnd);
    }
    return step;
}

bool SamePosition(const GeodeticPosition& a, const GeodeticPosition& b) {
    return a.latitude == b.latitude && a.longitude == b.longitude && a.height == b.height;
}

// The bad C/A test on one sample; counts a poor epoch for each of the two
// nearest ranges that has just lost lock.
void TestCaRanges(const CGnssEpoch& epoch, CCaRangeSet& ranges, SurveyCounts& counts, uint8_t& badCaFound) {
    const int count = ranges.Collect(epoch);
    if (count < static_cast<int>(kFewestSatellites)) return;
    for (int k = 0; k < 2; ++k)
        if (ranges[k].lockTime == 0.0f) ++counts.poorEpochs;
    const double reference = ranges.Reference();
    for (int k = 0; k < count; ++k)
        if (ranges.IsBeyondLimit(k, reference)) badCaFound = 1;
}

// Receiver clock and position of a sample with enough satellites to have
// them solved: missing, or stuck at the value of the sample before.
void CountSolutionGaps(const CGnssEpoch& current, const CGnssEpoch& sampled, SurveyCounts& counts) {
    const bool hasClock = (current.flags & kEpochClockValid) != 0;
    const bool hasPosition = (current.flags & kEpochPositionValid) != 0;
    if (!hasClock) ++counts.missingClocks;
    if (!hasPosition) ++counts.missingPositions;
    if (hasClock && (sampled.flags & kEpochClockValid) && current.clockOffset == sampled.clockOffset)
        ++counts.sameClocks;
    if (hasPosition && (sampled.flags & kEpochPositionValid) && SamePosition(current.position, sampled.position))
        ++counts.samePositions;
}

void NoteConstellations(const CGnssEpoch& epoch, CTrvPreprocessor& checks) {
    const struct {
        GnssConstellation constellation;
        uint8_t* seen;
        uint16_t bit;
    } constellations[] = {
        {kGps, &checks.gpsSeen, kSeenGps},          {kGlonass, &checks.glonassSeen, kSeenGlonass},
        {kBeiDou, &checks.beidouSeen, kSeenBeiDou}, {kGalileo, &checks.galileoSeen, kSeenGalileo},
        {kQzss, &checks.qzssSeen, kSeenQzss},
    };
    for (const auto& c : constellations) {
        if (epoch.CountSatellites(c.constellation) == 0) continue;
        *c.seen = 1;
        checks.resultsV3.constellationBits |= c.bit;
        // The older block has no GPS bit: GPS was all it knew.
        if (c.bit != kSeenGps) checks.resultsV2.constellationBits |= c.bit;
    }
}

// The range and Doppler of a satellite's first signal in a sample.
void CheckFirstSignal(const CGnssSignal& signal, CTrvPreprocessor& checks, SurveyCounts& counts) {
    if (signal.flags & kSigPseudorange) checks.validCaSeen = 1;
    if (checks.dopplerInvalid) return;
    if (std::fabs(signal.doppler) > kHighestDoppler) checks.dopplerInvalid = 1;
    if ((signal.flags & kSigDoppler) == 0 || signal.doppler == 0.0f) ++counts.zeroDopplers;
}

// Every signal with a range counts as seen, and as a good or a short lock.
void TallySignals(const CGnssSatellite& satellite, CTrvPreprocessor& checks, SignalTally& tally) {
    for (const auto& signal : satellite.signals) {
        if (!signal || (signal->flags & kSigPseudorange) == 0) continue;
        const int row = SurveyRow(signal->signalId);
        if (row < 0) continue;
        checks.signalSeen[row] = 1;
        checks.resultsV3.signalsDetected |= DetectionMask(signal->signalId);
        if (signal->lockTime <= kLowLockTime)
            ++tally.lowLock[row];
        else
            ++tally.good[row];
    }
}

// The switches that the counts of the whole pass decide.
void DecideSwitches(const SurveyCounts& counts, CTrvPreprocessor& checks, bool& mixedFlags) {
    if (counts.epochs > 0) {
        const double kinematicShare = 100.0 * counts.kinematic / counts.epochs;
        mixedFlags = kinematicShare > kMixedLow && kinematicShare < kMixedHigh;
    }
    if (counts.satellites > 0 && 100.0 * counts.zeroDopplers / counts.satellites >= kZeroDopplerShare)
        checks.dopplerInvalid = 1;
    if (counts.unitMatches >= kUnitMatchesNeeded) checks.dopplerUnitsWrong = 1;
    if (counts.samples > 0) {
        const int worst = std::max({counts.missingPositions, counts.missingClocks, counts.samePositions,
                                    counts.sameClocks});
        if (100.0 * worst / counts.samples > kRecomputeShare) checks.recomputeAtSeconds = 1;
    }
    // Positions cannot be solved without the ephemeris.
    if (!checks.ephemerisLoaded) checks.recomputeAtSeconds = 0;
    if (!checks.recomputeAtSeconds) checks.recomputeCount = 0;
    if (counts.trimbleResiduals > 0 && counts.trimbleResidualSum / counts.trimbleResiduals > kSpoiltResidual)
        checks.dopplerSpoilt = 1;
    if (counts.signResiduals > 0 && counts.signResidualSum / counts.signResiduals < kSignTurnedResidual)
        checks.dopplerSignWrong = 1;
}

}  // namespace

bool CTrvPreprocessor::Survey(double& poorRatio, bool& mixedFlags) {
    poorRatio = 0.0;
    mixedFlags = false;

    if (!IsOpen()) {
        openStatus = 0;
        resultsV2.status = resultsV3.status = kPreprocessFailed;
        SetProblem(kProblemTooFewEpochs);
        SetError("Failed to open TRV file");
        return false;
    }
    openStatus = 1;
    if (Mode() != kTrvReadWrite) {
        char name[kTrvFileNameSize];
        std::snprintf(name, sizeof name, "%s", FileName());
        Close(false);
        if (!Open(name, kTrvReadWrite, false)) {
            SetError("Failed to open TRV file in read/write mode");
            openStatus = 3;
            resultsV2.status = resultsV3.status = kPreprocessFailed;
            return false;
        }
    }
    const int epochCount = EpochCount();
    if (epochCount < kFewestEpochs) {
        if (epochCount == 0) {
            SetError("TRV file is empty, unable to proceed with preprocessing checks");
            epochCountStatus = 0;
        } else {
            SetError("TRV file contains fewer than two epochs, this is insufficient for preprocessing checks");
            epochCountStatus = 2;
        }
        resultsV2.status = resultsV3.status = kPreprocessFailed;
        SetProblem(kProblemTooFewEpochs);
        return false;
    }
    epochCountStatus = 1;

    // Two epochs swap roles each step, so that reading never copies one.
    CGnssEpoch pair[2];
    CGnssEpoch* previous = &pair[0];
    CGnssEpoch* current = &pair[1];
    RewindToFirstEpoch();
    if (ReadNextEpoch(*previous) != 0) {
        openStatus = 4;
        resultsV2.status = resultsV3.status = kPreprocessFailed;
        return false;
    }
    inputVersion = Version();
    const double interval = FileInterval();
    if (interval > kSparseInterval) staticToKinematic = kSparseFlagGrace;
    LoadEphemeris();
    const CGnssEpoch first = *previous;
    CGnssEpoch sampled = *previous;
    if (!HasFullWeek(first)) weeksPresent = 0;

    const bool trimble = IsTrimbleData();
    const double sampleGap = epochCount * interval < kShortFile ? interval - kShortFileGapSlack : kSampleGap;
    SurveyCounts counts;
    SignalTally tally;
    CCaRangeSet ranges;
    // Until the first epoch that falls between samples, an epoch at the time
    // of the one before is the receiver settling, not a repeat.
    bool firstPass = true;
    for (; ReadNextEpoch(*current) == 0; std::swap(previous, current)) {
        // The survey fills the first fifth of the progress.
        ++progressCount;
        ReportProgress(progressCount / 5, static_cast<uint32_t>(epochCount));
        ++counts.epochs;
        if (current->flags & kEpochKinematic) ++counts.kinematic;

        const double deltaT = SurveyStep(*previous, *current);
        const bool countsInTimeOrder = PassesGpsTest(*current);
        if (!duplicateEpochs && std::fabs(deltaT) < kSameEpochTime && countsInTimeOrder && !firstPass)
            duplicateEpochs = 1;
        if (!timeReversal && deltaT < -kSameEpochTime && countsInTimeOrder) timeReversal = 1;
        if (!HasFullWeek(*current)) weeksPresent = 0;

        if (!dopplerSpoilt && counts.trimbleResiduals < kResidualSamples && deltaT > 0.0 &&
            deltaT <= kHighestTrimbleStep && trimble) {
            const double residual = DopplerResidual(*current, *previous, false, *service);
            if (residual != 0.0) counts.trimbleResidualSum += residual, ++counts.trimbleResiduals;
        }

        if (!IsOnWholeSecond(*current) && counts.epochs >= kEpochsBeforeWholeSeconds) continue;
        if (!(EpochStep(sampled, *current) > sampleGap)) {
            firstPass = false;
            continue;
        }

        ++counts.samples;
        const bool enoughSatellites = current->satelliteList.size() >= kFewestSatellites;
        if (enoughSatellites) CountSolutionGaps(*current, sampled, counts);

        if (!dopplerSignWrong && counts.signResiduals < kResidualSamples && deltaT > 0.0) {
            const double residual = DopplerResidual(*current, sampled, true, *service);
            if (residual != 0.0) counts.signResidualSum += residual, ++counts.signResiduals;
        }

        if (enoughSatellites) {
            ++counts.usableSamples;
            if (!badCaFound) TestCaRanges(*current, ranges, counts, badCaFound);
        } else if (EpochStep(first, *current) > kAcquisitionTime) {
            ++counts.poorEpochs;
        }

        NoteConstellations(*previous, *this);
        for (const SatelliteId& id : previous->satelliteList) {
            ++counts.satellites;
            if (const CGnssSignal* signal = PrimarySignal(*current, id)) {
                CheckFirstSignal(*signal, *this, counts);
                if (counts.unitMatches < kUnitVotes && counts.unitMismatches < kUnitVotes && id.constellation == kGps) {
                    const int vote = DopplerUnitVote(*current, sampled, id, deltaT);
                    counts.unitMatches += vote > 0;
                    counts.unitMismatches += vote < 0;
                }
            }
            if (const CGnssSatellite* satellite = previous->GetSatellite(id)) TallySignals(*satellite, *this, tally);
        }
        sampled = *current;
    }

    DecideSwitches(counts, *this, mixedFlags);
    TrackingJudge judge(tally, signalSeen);
    judge.Judge(*this);
    SetProblem(judge.ProblemBits());
    if (!validCaSeen) SetProblem(kProblemNoValidCa);

    // A file of poor epochs and no usable sample is as poor as it gets.
    if (counts.usableSamples > 0)
        poorRatio = counts.poorEpochs * kPerThousand / counts.usableSamples;
    else if (counts.poorEpochs > 0)
        poorRatio = std::numeric_limits<double>::infinity();

    // The counts of the repairs that will not run.
    if (weeksPresent) weeksComputed = 0;
    if (!badCaFound) badCaCount = 0;
    if (!duplicateMeasurements) duplicateMeasurementCount = 0;
    if (!dopplerInvalid && !dopplerSpoilt && !dopplerSignWrong) dopplerRepairCount = 0;
    if (!timeReversal) timeReversalCount = 0;
    if (!duplicateEpochs) duplicateEpochCount = 0;
    return true;
}
