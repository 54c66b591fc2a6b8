// The engine's life, its options, and the flow of one epoch.
#include "positioning/SinglePoint.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "datum/Geodesy.h"

namespace {

constexpr int kTextSize = 512;
// The work arrays are sized once for a busy epoch and only grow beyond it.
constexpr int kInitialObservations = 24;
constexpr int kInitialUnknowns = 8;
constexpr int kPositionUnknowns = 3;

// Variance factors by orbit source: none, broadcast, precise, near real time.
constexpr double kSourceWeight[4] = {100000000.0, 5.0, 1.0, 1.0};
// GLONASS ranges count for less.
constexpr double kConstellationVariance[kStoredConstellations] = {1.0, 2.5, 1.0, 1.0, 1.0};
// A satellite not seen in the last epoch is trusted less until a first fix
// has cleared it.
constexpr double kNewSatelliteFactor = 20.0;
// QZSS has no clock column of its own beside GPS.
constexpr uint8_t kInitialWantClock[kOptionConstellations] = {1, 1, 1, 0, 1, 0};

constexpr const char kFailedToCompute[] = "Failed to compute solution";
constexpr const char kWgs84[] = "WGS84";

}  // namespace

void SinglePointState::Reset() { *this = SinglePointState{}; }

CSinglePoint::CSinglePoint(MessageFunction callback, bool reportFailuresFlag, bool checkStandardDeviationFlag)
    : messageCallback(callback),
      reportFailures(reportFailuresFlag),
      checkStandardDeviation(checkStandardDeviationFlag),
      service(std::make_unique<CSatelliteService>(callback)),
      outputEllipse(&kWgs84Datum) {
    usedList.reserve(kInitialObservations * 2);
    rejected.reserve(kInitialObservations * 2);
    groups.reserve(kOptionConstellations);
    merged.reserve(kInitialObservations * 2);
    goodList.reserve(kInitialObservations * 2);
    perConstellation.reserve(kPrnTableSize);
    byElevation.reserve(kInitialObservations * 2);
    observations.reserve(kInitialObservations * 2);
    suspects.reserve(kInitialObservations);
    Reset();
}

CSinglePoint::~CSinglePoint() = default;

void CSinglePoint::Reset() {
    unknowns = kPositionUnknowns + 1;
    for (int32_t& column : clockColumn) column = -1;
    misclosure.Resize(kInitialObservations, true);
    variance.Resize(kInitialObservations, true);
    rightSide.Resize(kInitialUnknowns, true);
    correction.Resize(kInitialUnknowns, true);
    design.Resize(kInitialObservations, kInitialUnknowns, true);
    designTransposedWeighted.Resize(kInitialUnknowns, kInitialObservations, true);
    normal.Resize(kInitialUnknowns, kInitialUnknowns, true);
    current.Reset();
    previous.Reset();
    solution.Reset();
    std::memcpy(wantClock, kInitialWantClock, sizeof wantClock);
    std::memcpy(constellationVariance, kConstellationVariance, sizeof constellationVariance);
    std::memcpy(sourceWeight, kSourceWeight, sizeof sourceWeight);
    newSatelliteFactor = kNewSatelliteFactor;
    maxCorrection = 0.0;
    solvedEpochs = 0;
    for (int32_t& mode : sourceMode) mode = kProductsThenBroadcast;
    for (int c = 0; c < kOptionConstellations; ++c) enabled[c] = c < kStoredConstellations ? 1 : 0;
    SetOptions(SinglePointOptions{});
    std::memset(codeBias, 0, sizeof codeBias);
    suspects.clear();
}

void CSinglePoint::SetOptions(const SinglePointOptions& newOptions) {
    options = newOptions;
    for (int c = 0; c < kStoredConstellations; ++c)
        if (!options.exclusions.IsConstellationExcluded(c)) enabled[c] = 1;
    if (enabled[kGps])
        primaryConstellation = kGps;
    else if (enabled[kBeiDou])
        primaryConstellation = kBeiDou;
    else if (enabled[kGlonass])
        primaryConstellation = kGlonass;
    current.clocks.primary = primaryConstellation;
    SetDatum(kWgs84, options.outputDatum, options.conversion);
}

bool CSinglePoint::SetDatum(const char* fromDatum, const char* toDatum, const char* conversionName) {
    (void)conversionName;
    if (strcasecmp(fromDatum, kWgs84) == 0 && strcasecmp(toDatum, kWgs84) == 0) {
        conversion = nullptr;
        outputEllipse = &kWgs84Datum;
        return true;
    }
    // Only WGS84 is known for now: the output stays on it.
    std::snprintf(lastError, sizeof lastError,
                  "Error: a transformation between %s and %s has not been defined.  Please add the "
                  "transformation via the Datum Manager.",
                  fromDatum, toDatum);
    return false;
}

void CSinglePoint::SetCodeBias(const SatelliteId& id, double metres) {
    if (id.IsValid()) codeBias[id.constellation][id.prn] = metres;
}

bool CSinglePoint::LoadBroadcastEphemeris(const char* path) {
    const bool loaded = service->LoadBroadcastEphemeris(path, lastError, true);
    if (!loaded && messageCallback != nullptr) Deliver(2, 0.0);
    return loaded;
}

void CSinglePoint::Send(int level, double seconds, const char* text) const {
    if (messageCallback != nullptr) messageCallback(level, seconds, text);
}

void CSinglePoint::Deliver(int level, double seconds) {
    Send(level, seconds, lastError);
    if (errorText != nullptr) std::snprintf(errorText, kTextSize, "%s", lastError);
    lastError[0] = '\0';
}

void CSinglePoint::ReportFailure(const char* text, const GpsTime* time) {
    if (!reportFailures || messageCallback == nullptr) return;
    const char* words = text != nullptr && text[0] != '\0' ? text : kFailedToCompute;
    const double seconds = time != nullptr ? time->seconds : current.time.seconds;
    messageCallback(2, seconds, words);
    if (errorText != nullptr && errorText != words) std::snprintf(errorText, kTextSize, "%s", words);
    lastError[0] = '\0';
}

int CSinglePoint::ComputeEpoch(CGnssEpoch& epoch, bool writePosition, bool writeClock,
                               CSinglePointSolution* callerSolution, char* callerErrorText) {
    const size_t n = epoch.satelliteList.size();
    if (n <= 3) {
        if (n == 0) std::snprintf(lastError, sizeof lastError, "Can't compute solution, epoch has no satellites");
        if (n == 1)
            std::snprintf(lastError, sizeof lastError, "Can't compute solution, epoch only has 1 satellite");
        else
            std::snprintf(lastError, sizeof lastError, "Can't compute solution, epoch only has %d satellites",
                          static_cast<int>(n));
        errorText = callerErrorText;
        if (reportFailures) Deliver(2, GpsTime(epoch.week, epoch.rcvTimeMs * 0.001).seconds);
        return kTooFewSatellites;
    }

    const int rc = EstimatePosition(epoch, callerSolution, callerErrorText);
    if (rc != kSolved) return rc;

    const bool good = IsUsablePosition(current.geodetic) && std::fabs(current.overallRms) <= options.residualLimit;
    if (writePosition) {
        if (good) {
            epoch.position = current.geodetic;
            epoch.flags |= kEpochPositionValid;
        } else {
            epoch.position = GeodeticPosition{};
            epoch.flags &= ~static_cast<uint32_t>(kEpochPositionValid);
        }
    }
    if (writeClock) {
        if (good && primaryConstellation == kGps) {
            const double clock = current.clocks.GetClock(kGps, true);
            epoch.flags |= kEpochClockValid;
            epoch.clockOffset = clock;
            const GpsTime time(epoch.week, epoch.rawRcvTime);
            epoch.trueRcvTime = time.seconds - clock / kSpeedOfLight;
            return kSolved;
        }
        epoch.clockOffset = 0.0;
        epoch.flags &= ~static_cast<uint32_t>(kEpochClockValid);
    }
    if (!good) {
        if (reportFailures && messageCallback != nullptr) {
            std::snprintf(lastError, sizeof lastError, "Solution rejected due to large measurement residuals");
            Deliver(2, current.time.seconds);
        }
        return kRejectedOnResiduals;
    }
    return kSolved;
}

int CSinglePoint::EstimatePosition(CGnssEpoch& epoch, CSinglePointSolution* caller, char* callerErrorText) {
    errorText = callerErrorText;
    if (errorText != nullptr) errorText[0] = '\0';
    current.time.Set(epoch.week, epoch.rawRcvTime);
    if (!current.time.IsAtLeast(kWeekRollover)) {
        std::snprintf(lastError, sizeof lastError,
                      "Orbit computation failed because of invalid GPS week number(week %d)", current.time.week);
        Deliver(2, current.time.seconds);
        return kInvalidWeek;
    }

    current.kinematic = (epoch.flags & kEpochKinematic) != 0 ? 1 : 0;
    std::memcpy(wantClock, enabled, sizeof wantClock);
    wantClock[kQzss] = primaryConstellation != kGps ? 1 : 0;

    bool anyNew = false;
    SelectSatellites(epoch, anyNew);
    const int count = static_cast<int>(observations.size());
    if (count < 4) {
        std::snprintf(lastError, sizeof lastError, "Can't compute position with %d satellite%s", count,
                      count > 1 ? "s" : "");
        return kTooFewSatellites;
    }

    double seedEcef[3] = {};
    GeodeticPosition seedGeodetic;
    ClockSet seedClocks;
    seedClocks.primary = primaryConstellation;
    SeedPosition(epoch, caller, seedEcef, seedGeodetic, seedClocks);
    current.geodetic = seedGeodetic;
    std::memcpy(current.ecef, seedEcef, sizeof seedEcef);
    if (seedClocks.primary == current.clocks.primary) current.clocks = seedClocks;
    hasStart = IsUsablePosition(seedGeodetic);

    // Without a start, a first fix from one constellation at a time gives
    // the masks and delays something to stand on.
    for (int c = 0; c < kStoredConstellations && !hasStart; ++c) {
        if (listed[c] <= 4) continue;
        uint8_t savedEnabled[kOptionConstellations], savedWantClock[kOptionConstellations];
        std::memcpy(savedEnabled, enabled, sizeof enabled);
        std::memcpy(savedWantClock, wantClock, sizeof wantClock);
        std::memset(enabled, 0, sizeof enabled);
        std::memset(wantClock, 0, sizeof wantClock);
        enabled[c] = 1;
        wantClock[primaryConstellation] = 1;
        const int rc = Iterate(epoch, usedList, anyNew);
        if (rc == kSolved && IsUsablePosition(current.geodetic)) {
            seedGeodetic = current.geodetic;
            ToCartesian(seedGeodetic, seedEcef, outputEllipse);
            std::memcpy(current.ecef, seedEcef, sizeof seedEcef);
            seedClocks = current.clocks;
            hasStart = true;
        }
        std::memcpy(enabled, savedEnabled, sizeof enabled);
        std::memcpy(wantClock, savedWantClock, sizeof wantClock);
    }

    int rc = Iterate(epoch, usedList, anyNew);
    if (rc != kSolved) {
        ReportFailure(lastError, &current.time);
        return rc;
    }

    if (checkStandardDeviation) {
        const double s = std::sqrt(normal[0][0] + normal[1][1] + normal[2][2]) * options.pseudorangeSigma;
        double t = s * 0.1;
        const int p = used[primaryConstellation];
        if (p < unknowns) t *= (unknowns - p) * 0.2 + 1.0;
        const int nUsed = static_cast<int>(usedList.size());
        if (options.residualLimit < std::fabs(t / (nUsed - unknowns + 1))) {
            std::snprintf(lastError, sizeof lastError, "Solution rejected due to large standard deviation (%.1f m) from %d SVs",
                          s, unknowns);
            Deliver(3, current.time.seconds);
            return kTooFewSatellites;
        }
    }

    // The primary's clock could not be estimated in this epoch.
    if (hasStart && used[primaryConstellation] == 0 && seen[primaryConstellation]) current.clocks = seedClocks;

    FinishSolution();
    previous = current;
    if (caller != nullptr) {
        *caller = solution;
        caller->kinematic = (epoch.flags & kEpochKinematic) != 0 ? 1 : 0;
    }
    ++solvedEpochs;
    return kSolved;
}
