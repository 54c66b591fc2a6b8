// The solution record: clocks as primary plus offset, dilutions and local
// covariances of a geometry whose inverse is known in closed form, the
// quality steps at their edges, and the satellite counts.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "positioning/SinglePointSolution.h"

namespace {

constexpr double kC = 299792458.0;
constexpr double kDeg = std::numbers::pi / 180.0;

TEST(ClockSet, OtherConstellationsAreOffsetsFromThePrimary) {
    ClockSet clocks;
    clocks.primary = kGlonass;
    EXPECT_EQ(clocks.GetClock(kBeiDou, true), 0.0);
    clocks.SetClock(kBeiDou, 15.0, 0.0);
    EXPECT_EQ(clocks.GetClock(kBeiDou, true), 15.0);   // no primary clock yet: the offset alone
    clocks.SetClock(kGlonass, 300.0, 2.0);
    EXPECT_EQ(clocks.GetClock(kBeiDou, true), 315.0);
    EXPECT_EQ(clocks.GetClock(kGlonass, true), 300.0);
    EXPECT_EQ(clocks.GetClock(kGps, true), 300.0);      // GPS holds no offset
    EXPECT_DOUBLE_EQ(clocks.GetClock(kBeiDou, false), 315.0 / kC);
    EXPECT_EQ(clocks.entries[kBeiDou].stdDev, 0.0);

    clocks.AdjustClock(kBeiDou, 5.0, 0.5);               // a correction is subtracted
    clocks.AdjustClock(kBeiDou, -1.0, 0.0);              // and stdDev kept when none is given
    EXPECT_EQ(clocks.GetClock(kBeiDou, true), 311.0);
    EXPECT_EQ(clocks.entries[kBeiDou].stdDev, 0.5);
    clocks.AdjustClock(kGalileo, 2.0, 0.0);              // an entry never set starts from 0
    EXPECT_EQ(clocks.GetClock(kGalileo, true), 298.0);

    clocks.SetTime(345600.0);
    clocks.Reset();
    EXPECT_TRUE(clocks.primary == kGlonass && clocks.time == 0.0 && clocks.GetClock(kBeiDou, true) == 0.0);
}

// Directions in the local frame: east, north, up components.
struct Direction {
    double azimuth, elevation;
};

// A zenith satellite, an east-west pair at 30 degrees and a north-south pair
// at 60 degrees, with a clock column. The normal matrix in (e, n, u, clock)
// splits into e, n and a (u, clock) block, so its inverse is known in
// closed form; built in the Earth-fixed frame of a receiver at 47.3 N,
// 8.5 E, the solution has to turn it back.
TEST(SolutionRecord, DilutionsAndLocalCovarianceOfAKnownGeometry) {
    const double lat = 47.3 * kDeg, lon = 8.5 * kDeg;
    const double east[3] = {-std::sin(lon), std::cos(lon), 0.0};
    const double north[3] = {-std::sin(lat) * std::cos(lon), -std::sin(lat) * std::sin(lon), std::cos(lat)};
    const double up[3] = {std::cos(lat) * std::cos(lon), std::cos(lat) * std::sin(lon), std::sin(lat)};
    const Direction sky[] = {{0, 90}, {90, 30}, {270, 30}, {0, 60}, {180, 60}};

    CMatrix design, normal;
    design.Resize(5, 4, true);
    for (int row = 0; row < 5; ++row) {
        const double az = sky[row].azimuth * kDeg, el = sky[row].elevation * kDeg;
        const double e = std::cos(el) * std::sin(az), n = std::cos(el) * std::cos(az), u = std::sin(el);
        for (int k = 0; k < 3; ++k) design[row][k] = e * east[k] + n * north[k] + u * up[k];
        design[row][3] = 1.0;
    }
    ASSERT_EQ(CMatrix::Multiply(normal, design, design, CMatrix::kATransposedB), 0);
    int failedRow = 0;
    ASSERT_EQ(normal.InvertSymmetric(0, failedRow), 0);

    const double cE = std::cos(30 * kDeg), sE = std::sin(30 * kDeg), cN = std::cos(60 * kDeg), sN = std::sin(60 * kDeg);
    const double qEast = 1.0 / (2 * cE * cE), qNorth = 1.0 / (2 * cN * cN);
    const double uu = 1 + 2 * sE * sE + 2 * sN * sN, ut = 1 + 2 * sE + 2 * sN, tt = 5;
    const double qUp = tt / (uu * tt - ut * ut);

    CSinglePointSolution solution;
    solution.valid = 1;
    solution.outputGeodetic = {47.3, 8.5, 500.0};
    solution.geodetic = {0.0, 0.0, 0.0};   // only the output position orients the local frame
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
    EXPECT_NEAR(solution.covarianceEcef(0, 0) + solution.covarianceEcef(1, 1) + solution.covarianceEcef(2, 2),
                4 * (qEast + qNorth + qUp), 1e-11);
    EXPECT_NEAR(solution.covarianceEcef(0, 1), 4 * normal[0][1], 1e-12);
    // sqrt(trace) is 5.4 m, above 5 (two steps), with no residuals yet.
    EXPECT_EQ(solution.quality, 3);
}

TEST(SolutionRecord, QualityStepsAtTheirEdges) {
    struct Case {
        double trace, rms;
        int quality;
    };
    const Case cases[] = {
        {0.25, 2.0, 2},   {0.2501, 2.0, 3}, {25.0, 2.0, 3},  {25.01, 2.0, 4},  {144.0, 2.0, 4}, {144.01, 2.0, 5},
        {1.0, 1.0, 2},    {1.0, 1.01, 3},   {1.0, 5.0, 3},   {1.0, 5.01, 4},   {1.0, 10.0, 4},  {1.0, 10.01, 5},
        {1.0, 25.0, 5},   {1.0, 25.01, 6},  {0.0, 0.0, 2},   {400.0, 100.0, 6},
    };
    CSinglePointSolution solution;
    solution.valid = 1;
    for (const Case& c : cases) {
        solution.covarianceEcef.Clear();
        solution.covarianceEcef(0, 0) = c.trace / 2, solution.covarianceEcef(2, 2) = c.trace / 2;
        solution.overallRms = c.rms;
        solution.ComputeQuality();
        EXPECT_EQ(solution.quality, c.quality) << c.trace << " " << c.rms;
    }
    solution.valid = 0;
    solution.ComputeQuality();
    EXPECT_EQ(solution.quality, 6);
}

TEST(SolutionRecord, CountsSatellitesAndClocks) {
    auto record = [](GnssConstellation c, int prn, uint32_t flags) {
        SatelliteObservation o;
        o.id = SatelliteId(c, prn);
        o.flags = flags;
        return o;
    };
    const std::vector<SatelliteObservation> epoch = {
        record(kGps, 1, kHasPosition),    record(kGps, 2, kBelowMask),     record(kGlonass, 3, kRejected),
        record(kGalileo, 4, kNoOrbit),    record(kGalileo, 5, kHasResidual), record(kBeiDou, 6, kNoMeasurement),
        record(kQzss, 2, kNewSatellite),
    };
    CSinglePointSolution solution;
    solution.SetObservations(epoch);
    EXPECT_EQ(solution.satellites.size(), 7u);
    EXPECT_EQ(solution.satelliteCount, 7);
    const uint8_t all[6] = {2, 1, 1, 1, 2, 0}, used[6] = {1, 0, 0, 1, 1, 0};
    for (int c = 0; c < 6; ++c) {
        EXPECT_EQ(solution.satellitesBySystem[c], all[c]) << c;
        EXPECT_EQ(solution.usedBySystem[c], used[c]) << c;
    }
    EXPECT_EQ(solution.usedCount, 3);
    solution.SetObservations({epoch[0]});   // counts start again
    EXPECT_TRUE(solution.satelliteCount == 1 && solution.usedCount == 1 && solution.satellitesBySystem[kGalileo] == 0);

    EXPECT_EQ(solution.MinimumSatellites(), 0);   // nothing held
    solution.valid = 1;
    EXPECT_EQ(solution.MinimumSatellites(), 3);
    solution.clocks.SetClock(kGps, 10.0, 0.0);
    EXPECT_EQ(solution.MinimumSatellites(), 4);
    solution.clocks.SetClock(kGlonass, 1.0, 0.0);
    solution.clocks.SetClock(kGalileo, 1.0, 0.0);
    solution.clocks.SetClock(kSbas, 1.0, 0.0);     // SBAS never earns a clock
    solution.clocks.entries[kBeiDou].flags = 0x100;   // only the low byte of the flags counts
    EXPECT_EQ(solution.MinimumSatellites(), 6);

    solution.pdop = 1.5, solution.overallRms = 3.0, solution.quality = 4, solution.week = 2300;
    solution.satellites.reserve(40);
    solution.Reset();
    EXPECT_TRUE(solution.valid == 0 && solution.pdop == 0.0 && solution.overallRms == 0.0 && solution.quality == 0);
    EXPECT_TRUE(solution.week == 0 && solution.satelliteCount == 0 && solution.clocks.GetClock(kGalileo, true) == 0.0);
    EXPECT_TRUE(solution.satellites.empty() && solution.satellites.capacity() >= 40u);
}

}  // namespace
