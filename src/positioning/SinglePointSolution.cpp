// The record of the last good epoch: counts of the satellites, the
// covariances in the Earth-fixed and the local frame, the dilutions of
// precision and the quality number the user sees.
#include "positioning/SinglePointSolution.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;
// Off-diagonal covariances smaller than this are rounding from the rotation.
constexpr double kCovarianceNoise = 1e-10;

// Position spread sqrt(trace) in metres above which the quality worsens by
// 3, 2 and 1 steps.
constexpr double kSpreadPoor = 12.0;
constexpr double kSpreadFair = 5.0;
constexpr double kSpreadGood = 0.5;
// Residual rms in metres above which the quality worsens by 6, 3, 2 and 1.
constexpr double kRmsUnusable = 25.0;
constexpr double kRmsPoor = 10.0;
constexpr double kRmsFair = 5.0;
constexpr double kRmsGood = 1.0;
constexpr int kBestQuality = 2;
constexpr int kWorstQuality = 6;

// Without a clock the position needs three satellites; every clock estimated
// takes one more.
constexpr int kPositionUnknowns = 3;
// The constellations after GPS whose clock entries may add an unknown.
constexpr int kOffsetClockFirst = 1;
constexpr int kOffsetClockLast = 4;

void Saturate(uint8_t& count) {
    if (count < UINT8_MAX) ++count;
}

bool ClockEntryUsed(const ClockEntry& entry) { return (entry.flags & 0xFFu) != 0; }

}  // namespace

void CSinglePointSolution::ComputeQuality() {
    if (valid == 0) {
        quality = kWorstQuality;
        return;
    }
    const double spread =
        std::sqrt(covarianceEcef(0, 0) + covarianceEcef(1, 1) + covarianceEcef(2, 2));
    int spreadSteps = 0;
    if (spread > kSpreadPoor) spreadSteps = 3;
    else if (spread > kSpreadFair) spreadSteps = 2;
    else if (spread > kSpreadGood) spreadSteps = 1;

    int rmsSteps = 0;
    if (overallRms > kRmsUnusable) rmsSteps = 6;
    else if (overallRms > kRmsPoor) rmsSteps = 3;
    else if (overallRms > kRmsFair) rmsSteps = 2;
    else if (overallRms > kRmsGood) rmsSteps = 1;

    // The best sum is 1, but users know 2 as the best quality.
    quality = static_cast<uint8_t>(std::clamp(spreadSteps + 1 + rmsSteps, kBestQuality, kWorstQuality));
}

void CSinglePointSolution::Reset() {
    // Everything goes back to zero but the storage of the satellites, which
    // the next epoch fills again.
    std::vector<SatelliteObservation> kept;
    kept.swap(satellites);
    *this = CSinglePointSolution();
    kept.clear();
    satellites.swap(kept);
}

int CSinglePointSolution::MinimumSatellites() const {
    if (valid == 0) return 0;
    int minimum = ClockEntryUsed(clocks.entries[kGps]) ? kPositionUnknowns + 1 : kPositionUnknowns;
    for (int c = kOffsetClockFirst; c <= kOffsetClockLast; ++c) {
        if (ClockEntryUsed(clocks.entries[c])) ++minimum;
    }
    return minimum;
}

void CSinglePointSolution::SetObservations(const std::vector<SatelliteObservation>& observations) {
    satellites.assign(observations.begin(), observations.end());
    satelliteCount = static_cast<uint8_t>(std::min<size_t>(observations.size(), UINT8_MAX));
    usedCount = 0;
    std::fill(std::begin(satellitesBySystem), std::end(satellitesBySystem), uint8_t{0});
    std::fill(std::begin(usedBySystem), std::end(usedBySystem), uint8_t{0});
    for (const SatelliteObservation& observation : observations) {
        const GnssConstellation c = observation.id.constellation;
        const bool known = c >= 0 && c < ClockSet::kEntries;
        if (known) Saturate(satellitesBySystem[c]);
        if (!observation.Usable()) continue;
        Saturate(usedCount);
        if (known) Saturate(usedBySystem[c]);
    }
}

void CSinglePointSolution::SetCovariance(const CMatrix& inverse, double sigma) {
    covarianceEcef.Clear();
    inverse.CopyTo(covarianceEcef);

    const double lat = outputGeodetic.latitude * kRadiansPerDegree;
    const double lon = outputGeodetic.longitude * kRadiansPerDegree;
    CMatrix3 r;
    r(0, 0) = -std::sin(lon), r(0, 1) = std::cos(lon), r(0, 2) = 0.0;
    r(1, 0) = -std::sin(lat) * std::cos(lon), r(1, 1) = -std::sin(lat) * std::sin(lon), r(1, 2) = std::cos(lat);
    r(2, 0) = std::cos(lat) * std::cos(lon), r(2, 1) = std::cos(lat) * std::sin(lon), r(2, 2) = std::sin(lat);

    // covarianceLocal = R C R^T
    CMatrix3 rc;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) rc(i, j) += r(i, k) * covarianceEcef(k, j);
    covarianceLocal.Clear();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) covarianceLocal(i, j) += rc(i, k) * r(j, k);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double& value = covarianceLocal(i, j);
            if (i == j) value = std::fabs(value);
            else if (std::fabs(value) < kCovarianceNoise) value = 0.0;
        }
    }

    // The dilutions are of the geometry alone, before the scale of the
    // measurements; the clock does not enter them.
    pdop = std::sqrt(covarianceEcef(0, 0) + covarianceEcef(1, 1) + covarianceEcef(2, 2));
    hdop = std::sqrt(covarianceLocal(0, 0) + covarianceLocal(1, 1));
    vdop = std::sqrt(covarianceLocal(2, 2));

    const double scale = sigma * sigma;
    for (double& value : covarianceEcef.m) value *= scale;
    for (double& value : covarianceLocal.m) value *= scale;
    ComputeQuality();
}
