// The solution record: clocks as primary plus offset, dilutions and local
// covariance of a geometry whose inverse is known in closed form, the
// quality steps at their edges, and the satellite counts.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "positioning/SinglePointSolution.h"

namespace {

constexpr double kDeg = std::numbers::pi / 180.0;

TEST(ClockSet, OtherConstellationsAreOffsetsFromThePrimary) {
    ClockSet clocks;
    clocks.primary = kGlonass;
    clocks.SetClock(kBeiDou, 15.0, 0.0);
    EXPECT_EQ(clocks.GetClock(kBeiDou, true), 15.0);   // no primary clock yet: the offset alone
    clocks.SetClock(kGlonass, 300.0, 2.0);
    EXPECT_TRUE(clocks.GetClock(kBeiDou, true) == 315.0 && clocks.GetClock(kGlonass, true) == 300.0);
    EXPECT_EQ(clocks.GetClock(kGps, true), 300.0);      // GPS holds no offset
    EXPECT_DOUBLE_EQ(clocks.GetClock(kBeiDou, false), 315.0 / 299792458.0);
    clocks.AdjustClock(kBeiDou, 5.0, 0.5);               // a correction is subtracted
    clocks.AdjustClock(kBeiDou, -1.0, 0.0);              // and the stdDev kept when none is given
    EXPECT_TRUE(clocks.GetClock(kBeiDou, true) == 311.0 && clocks.entries[kBeiDou].stdDev == 0.5);
    clocks.AdjustClock(kGalileo, 2.0, 0.0);
    EXPECT_EQ(clocks.GetClock(kGalileo, true), 298.0);
    clocks.Reset();
    EXPECT_TRUE(clocks.primary == kGlonass && clocks.GetClock(kBeiDou, true) == 0.0);
}

// A zenith satellite, an east-west pair at 30 degrees and a north-south pair
// at 60, with a clock column: in (e, n, u, clock) the normal matrix splits
// into e, n and a (u, clock) block. Built Earth-fixed at 47.3 N 8.5 E, the
// record has to turn it back.
TEST(SolutionRecord, DilutionsAndLocalCovarianceOfAKnownGeometry) {
    const double lat = 47.3 * kDeg, lon = 8.5 * kDeg, sLat = std::sin(lat), cLat = std::cos(lat);
    const double east[3] = {-std::sin(lon), std::cos(lon), 0.0};
    const double north[3] = {-sLat * std::cos(lon), -sLat * std::sin(lon), cLat};
    const double up[3] = {cLat * std::cos(lon), cLat * std::sin(lon), sLat};
    const double sky[5][2] = {{0, 90}, {90, 30}, {270, 30}, {0, 60}, {180, 60}};   // azimuth, elevation
    CMatrix design, normal;
    design.Resize(5, 4, true);
    for (int row = 0; row < 5; ++row) {
        const double az = sky[row][0] * kDeg, el = sky[row][1] * kDeg;
        const double e = std::cos(el) * std::sin(az), n = std::cos(el) * std::cos(az), u = std::sin(el);
        for (int k = 0; k < 3; ++k) design[row][k] = e * east[k] + n * north[k] + u * up[k];
        design[row][3] = 1.0;
    }
    int failedRow = 0;
    ASSERT_EQ(CMatrix::Multiply(normal, design, design, CMatrix::kATransposedB), 0);
    ASSERT_EQ(normal.InvertSymmetric(0, failedRow), 0);
    const double s30 = 0.5, s60 = std::sqrt(0.75), qEast = 1 / (2 * 0.75), qNorth = 1 / (2 * 0.25);
    const double uu = 1 + 2 * s30 * s30 + 2 * s60 * s60, ut = 1 + 2 * s30 + 2 * s60, qUp = 5 / (uu * 5 - ut * ut);

    CSinglePointSolution solution;
    solution.valid = 1;
    solution.outputGeodetic = {47.3, 8.5, 500.0};   // the output position orients the local frame
    solution.SetCovariance(normal, 2.0);
    EXPECT_NEAR(solution.hdop, std::sqrt(qEast + qNorth), 1e-12);
    EXPECT_NEAR(solution.vdop, std::sqrt(qUp), 1e-12);
    EXPECT_NEAR(solution.pdop, std::sqrt(qEast + qNorth + qUp), 1e-12);
    const CMatrix3& local = solution.covarianceLocal;
    EXPECT_NEAR(local(0, 0), 4 * qEast, 1e-11);
    EXPECT_NEAR(local(1, 1), 4 * qNorth, 1e-11);
    EXPECT_NEAR(local(2, 2), 4 * qUp, 1e-11);
    // The rounding of the turn is cleaned away.
    EXPECT_TRUE(local(0, 1) == 0.0 && local(0, 2) == 0.0 && local(1, 2) == 0.0 && local(2, 0) == 0.0);
    EXPECT_NEAR(solution.covarianceEcef(0, 1), 4 * normal[0][1], 1e-12);
    EXPECT_EQ(solution.quality, 3);   // sqrt(trace) 5.4 m: two steps, no residuals yet
}

TEST(SolutionRecord, QualityStepsAtTheirEdges) {
    // trace of the covariance, overall rms, quality
    const double cases[][3] = {
        {0.25, 2, 2}, {0.2501, 2, 3}, {25, 2, 3}, {25.01, 2, 4}, {144, 2, 4}, {144.01, 2, 5}, {1, 1, 2},
        {1, 1.01, 3}, {1, 5, 3}, {1, 5.01, 4}, {1, 10, 4}, {1, 10.01, 5}, {1, 25, 5}, {1, 25.01, 6},
        {0, 0, 2}, {400, 100, 6},
    };
    CSinglePointSolution solution;
    solution.valid = 1;
    for (const auto& c : cases) {
        solution.covarianceEcef(0, 0) = solution.covarianceEcef(2, 2) = c[0] / 2;
        solution.overallRms = c[1];
        solution.ComputeQuality();
        EXPECT_EQ(solution.quality, c[2]) << c[0] << " " << c[1];
    }
    solution.valid = 0;
    solution.ComputeQuality();
    EXPECT_EQ(solution.quality, 6);
}

TEST(SolutionRecord, CountsSatellitesAndClocks) {
    const GnssConstellation systems[] = {kGps, kGps, kGlonass, kGalileo, kGalileo, kBeiDou, kQzss};
    const uint32_t flags[] = {kHasPosition, kBelowMask,     kRejected,    kNoOrbit,
                              kHasResidual, kNoMeasurement, kNewSatellite};
    std::vector<SatelliteObservation> epoch(7);
    for (int i = 0; i < 7; ++i) epoch[i].id = SatelliteId(systems[i], i + 1), epoch[i].flags = flags[i];
    CSinglePointSolution solution;
    solution.SetObservations(epoch);
    EXPECT_TRUE(solution.satellites.size() == 7 && solution.satelliteCount == 7 && solution.usedCount == 3);
    const uint8_t all[6] = {2, 1, 1, 1, 2, 0}, used[6] = {1, 0, 0, 1, 1, 0};
    for (int c = 0; c < 6; ++c)
        EXPECT_TRUE(solution.satellitesBySystem[c] == all[c] && solution.usedBySystem[c] == used[c]) << c;
    solution.SetObservations({epoch[0]});   // counts start again
    EXPECT_TRUE(solution.satelliteCount == 1 && solution.usedCount == 1 && solution.satellitesBySystem[kGalileo] == 0);

    EXPECT_EQ(solution.MinimumSatellites(), 0);   // nothing held
    solution.valid = 1;
    EXPECT_EQ(solution.MinimumSatellites(), 3);
    solution.clocks.SetClock(kGps, 10.0, 0.0);
    EXPECT_EQ(solution.MinimumSatellites(), 4);
    solution.clocks.SetClock(kGlonass, 1.0, 0.0), solution.clocks.SetClock(kGalileo, 1.0, 0.0);
    solution.clocks.SetClock(kSbas, 1.0, 0.0);         // SBAS never earns a clock
    solution.clocks.entries[kBeiDou].flags = 0x100;   // only the low byte of the flags counts
    EXPECT_EQ(solution.MinimumSatellites(), 6);

    solution.pdop = 1.5, solution.quality = 4, solution.week = 2300;
    solution.satellites.reserve(40);
    solution.Reset();
    EXPECT_TRUE(solution.valid == 0 && solution.pdop == 0.0 && solution.quality == 0 && solution.week == 0);
    EXPECT_TRUE(solution.clocks.GetClock(kGalileo, true) == 0.0 && solution.satelliteCount == 0);
    EXPECT_TRUE(solution.satellites.empty() && solution.satellites.capacity() >= 40u);
}

}  // namespace
