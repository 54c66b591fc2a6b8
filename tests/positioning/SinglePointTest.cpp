// The single point engine against exact pseudoranges: the truth, the clock
// columns of several constellations, outlier rejection, every failure code
// with its words, and no allocation once warm.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <string>

#include "Scenario.h"
#include "positioning/SinglePoint.h"

namespace {

using scenario::Satellite;

// Counts allocations while armed, for the warm-engine test; the message
// collector keeps still meanwhile.
int allocations = 0;
bool counting = false;

std::vector<std::string> messages;
void Collect(int level, double, const char* text) {
    if (!counting) messages.push_back(std::to_string(level) + " " + text);
}

class SinglePointTest : public ::testing::Test {
protected:
    void SetUp() override {
        scenario::FillStore(store);
        epp = scenario::SaveEpp(store, dir);
        messages.clear();
        ASSERT_TRUE(engine.LoadBroadcastEphemeris(epp.c_str()));
        SinglePointOptions options;
        options.useTroposphere = false;   // the ranges hold no atmosphere
        engine.SetOptions(options);
        scenario::StationEcef(truth);
    }
    std::vector<Satellite> Only(GnssConstellation c, size_t count, double bias = 0.0) {
        std::vector<Satellite> list;
        for (const Satellite& s : scenario::Visible(store, bias))
            if (s.id.constellation == c && list.size() < count) list.push_back(s);
        return list;
    }
    double Error() const { return scenario::Distance(engine.Solution().ecef, truth); }

    ubxtest::TempDir dir;
    CEphemerisStore store;
    std::string epp;
    CSinglePoint engine{Collect, true, true};
    double truth[3];
    char text[512] = {};
};

TEST_F(SinglePointTest, FindsTheStationAndItsClockFromNoStart) {
    const std::vector<Satellite> visible = scenario::Visible(store);
    ASSERT_GE(visible.size(), 10u);
    CGnssEpoch epoch = scenario::Epoch(visible);
    ASSERT_EQ(engine.ComputeEpoch(epoch, true, true, nullptr, text), kSolved) << text;
    EXPECT_LT(Error(), 1e-3);
    const CSinglePointSolution& s = engine.Solution();
    EXPECT_NEAR(s.clocks.GetClock(kGps, true), kSpeedOfLight * scenario::kReceiverClock, 1e-3);
    // Quality by the spread of the a-priori covariance, since the residuals are nil.
    const double spread = std::sqrt(s.covarianceEcef(0, 0) + s.covarianceEcef(1, 1) + s.covarianceEcef(2, 2));
    EXPECT_EQ(s.quality, spread > 12.0 ? 4 : spread > 5.0 ? 3 : 2);
    EXPECT_GT(s.pdop, s.hdop);
    EXPECT_LT(s.overallRms, 1e-3);
    // Written back into the epoch: position, clock and the corrected time.
    EXPECT_EQ(epoch.flags & (kEpochPositionValid | kEpochClockValid), kEpochPositionValid | kEpochClockValid);
    EXPECT_NEAR(epoch.position.latitude, scenario::kStation.latitude, 1e-8);
    EXPECT_NEAR(epoch.position.height, scenario::kStation.height, 1e-3);
    EXPECT_NEAR(epoch.trueRcvTime, scenario::kEpochTime, 1e-11);

    // The next epoch starts from this solution and comes to the same.
    CGnssEpoch again = scenario::Epoch(visible);
    ASSERT_EQ(engine.ComputeEpoch(again, false, false, nullptr, nullptr), kSolved);
    EXPECT_LT(Error(), 1e-3);
    EXPECT_EQ(engine.SolvedEpochs(), 2);
}

TEST_F(SinglePointTest, ElevationMaskLeavesLowSatellitesOutButNeverBelowFour) {
    std::vector<Satellite> visible = scenario::Visible(store);
    CGnssEpoch epoch = scenario::Epoch(visible);
    ASSERT_EQ(engine.ComputeEpoch(epoch, false, false, nullptr, nullptr), kSolved);
    size_t low = 0;
    for (const Satellite& s : visible) low += s.elevation < 10.0 * scenario::kPi / 180.0 ? 1 : 0;
    ASSERT_GT(low, 0u);
    EXPECT_EQ(engine.Solution().usedCount + low, visible.size());
    for (const SatelliteObservation& o : engine.Observations())
        EXPECT_EQ((o.flags & kBelowMask) != 0, o.elevation < 10.0 * scenario::kPi / 180.0);
}

TEST_F(SinglePointTest, ClockColumnsFollowTheSatelliteCounts) {
    const double bias = 12.5;   // metres of Galileo time against GPS time
    std::vector<Satellite> four = Only(kGps, 4);
    std::vector<Satellite> galileo = Only(kGalileo, 2, bias);
    ASSERT_EQ(four.size(), 4u);
    ASSERT_EQ(galileo.size(), 2u);
    std::vector<Satellite> six = four;
    six.insert(six.end(), galileo.begin(), galileo.end());
    CGnssEpoch epoch = scenario::Epoch(six);
    SinglePointOptions options = engine.Options();
    for (double& mask : options.elevationMask) mask = 0.0;
    engine.SetOptions(options);

    // Two Galileo satellites beside four GPS ones earn a clock of their own.
    ASSERT_EQ(engine.ComputeEpoch(epoch, false, false, nullptr, text), kSolved) << text;
    EXPECT_EQ(engine.Solution().unknowns, 5);
    EXPECT_NEAR(engine.Solution().clocks.GetClock(kGalileo, true) - engine.Solution().clocks.GetClock(kGps, true),
                bias, 1e-3);
    EXPECT_LT(Error(), 1e-3);

    // One does not: it keeps the offset the last epoch found.
    std::vector<Satellite> five = four;
    five.push_back(Only(kGalileo, 1, bias)[0]);
    CGnssEpoch single = scenario::Epoch(five);
    ASSERT_EQ(engine.ComputeEpoch(single, false, false, nullptr, text), kSolved) << text;
    EXPECT_EQ(engine.Solution().unknowns, 4);
    EXPECT_LT(Error(), 1e-3);
}

TEST_F(SinglePointTest, AFaultyRangeIsRejectedAndTheRestStillFitsExactly) {
    std::vector<Satellite> visible = scenario::Visible(store);
    CGnssEpoch clean = scenario::Epoch(visible);
    ASSERT_EQ(engine.ComputeEpoch(clean, false, false, nullptr, nullptr), kSolved);

    visible[3].pseudorange += 400.0;
    CGnssEpoch epoch = scenario::Epoch(visible);
    messages.clear();
    ASSERT_EQ(engine.ComputeEpoch(epoch, false, false, nullptr, text), kSolved) << text;
    EXPECT_LT(Error(), 1e-3);
    char name[32];
    bool told = false;
    for (const std::string& m : messages)
        told |= m == std::string("2 ") + visible[3].id.ShortText(name) + " rejected due to large pseudorange residual";
    EXPECT_TRUE(told);
    for (const SatelliteObservation& o : engine.Observations())
        EXPECT_EQ((o.flags & kRejected) == kRejected, o.id == visible[3].id) << o.id.ShortText(name);
}

TEST_F(SinglePointTest, FailuresReturnTheirCodesAndWords) {
    std::vector<Satellite> visible = scenario::Visible(store);

    CGnssEpoch three = scenario::Epoch({visible.begin(), visible.begin() + 3});
    EXPECT_EQ(engine.ComputeEpoch(three, false, false, nullptr, text), kTooFewSatellites);
    EXPECT_STREQ(text, "Can't compute solution, epoch only has 3 satellites");
    CGnssEpoch none = scenario::Epoch({});
    EXPECT_EQ(engine.ComputeEpoch(none, false, false, nullptr, text), kTooFewSatellites);
    EXPECT_STREQ(text, "Can't compute solution, epoch only has 0 satellites");

    CGnssEpoch oldWeek = scenario::Epoch(visible);
    oldWeek.week = 1000;
    EXPECT_EQ(engine.ComputeEpoch(oldWeek, false, false, nullptr, text), kInvalidWeek);
    EXPECT_STREQ(text, "Orbit computation failed because of invalid GPS week number(week 1000)");

    // Satellites the ephemerides do not know.
    std::vector<Satellite> unknown = Only(kGps, 5);
    for (size_t i = 0; i < unknown.size(); ++i) unknown[i].id = SatelliteId(kGps, 25 + static_cast<int>(i));
    CGnssEpoch orphans = scenario::Epoch(unknown);
    EXPECT_EQ(engine.ComputeEpoch(orphans, false, false, nullptr, text), kTooFewEphemerides);
    EXPECT_STREQ(text, "Failed to compute solution, no ephemeris data for any satellite");

    // Exclusions leave three: the words stay in the engine, unsent.
    SinglePointOptions options = engine.Options();
    std::vector<Satellite> five = Only(kGps, 5);
    options.exclusions.ExcludeSatellite(five[0].id);
    options.exclusions.ExcludeSatellite(five[1].id);
    engine.SetOptions(options);
    CGnssEpoch fewer = scenario::Epoch(five);
    messages.clear();
    EXPECT_EQ(engine.ComputeEpoch(fewer, false, false, nullptr, text), kTooFewSatellites);
    EXPECT_STREQ(engine.LastError(), "Can't compute position with 3 satellites");
    EXPECT_TRUE(messages.empty());
}

}  // namespace

// The replacements pair malloc with free themselves; the compiler cannot
// see that they are one pair.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    if (counting) ++allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (counting) ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

TEST_F(SinglePointTest, AWarmEngineDoesNotAllocate) {
    std::vector<Satellite> visible = scenario::Visible(store);
    std::vector<CGnssEpoch> epochs;
    for (int k = 0; k < 4; ++k) epochs.push_back(scenario::Epoch(visible, k));
    visible[2].pseudorange += 300.0;
    epochs.push_back(scenario::Epoch(visible, 4));
    for (CGnssEpoch& epoch : epochs) engine.ComputeEpoch(epoch, true, true, nullptr, text);

    allocations = 0;
    counting = true;
    for (CGnssEpoch& epoch : epochs) engine.ComputeEpoch(epoch, true, true, nullptr, text);
    counting = false;
    EXPECT_EQ(allocations, 0);
}

}  // namespace
