// The in-place repairs on damaged copies of real and simulated raw files:
// each damage is undone back to the original, and nothing else moves.
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "preprocess/CheckFixture.h"
#include "preprocess/TrvDamage.h"

namespace {

using damage::Epochs;

// A converted log kept as it is, and a damaged copy beside the same .epp,
// open for rewrite as the driver has it.
struct Repair {
    ubxtest::TempDir dir;
    std::string trv = dir.File("original.trv");
    std::string path = dir.File("damaged.trv");
    Epochs original;
    CTrvPreprocessor checks;

    explicit Repair(const char* realLog) {
        checktest::ConvertRealLog(realLog, trv);
        original = checktest::ReadEpochs(trv);
    }
    explicit Repair(const simulation::SampleLogOptions& options)
        : original(checktest::ReadEpochs(checktest::ConvertSample(dir, options, "original"))) {}

    void Open(const Epochs& damaged, bool withEphemeris = true) {
        checktest::WriteEpochs(path, damaged);
        if (withEphemeris) std::filesystem::copy_file(dir.File("original.epp"), dir.File("damaged.epp"));
        ASSERT_TRUE(checks.Open(path.c_str(), kTrvReadWrite, false)) << checks.ErrorText();
    }
    void ExpectAfterClose(const Epochs& expected) {
        checks.Close(false);
        const Epochs got = checktest::ReadEpochs(path);
        ASSERT_EQ(got.size(), expected.size());
        for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(convtest::EpochDifference(expected[i], got[i]), "") << i;
    }
    void ExpectWeeksBack() {
        Epochs damaged = original;
        damage::RemoveWeeks(damaged);
        Open(damaged);
        checks.weeksPresent = 0;
        checks.RepairWeeks();
        EXPECT_EQ(checks.weeksComputed, static_cast<int>(original.size()));
        EXPECT_EQ(+checks.ResultsV3().problemBits, 0u);
        ExpectAfterClose(original);
    }
};

TEST(WeekRepair, EveryEpochOfARealLogGetsItsWeekBack) {
    SKIP_WITHOUT_SHARED_LOGS();
    Repair("m8p_base_1hz_gps_glo_61min.ubx").ExpectWeeksBack();
}

// Five minutes before the end of a week: the week found for the first epoch
// is carried over the fall of the time of week.
TEST(WeekRepair, WeeksAreCarriedOverTheEndOfAWeek) {
    simulation::SampleLogOptions options;
    options.startTow = kSecondsPerWeek - 300.0;
    Repair repair(options);
    ASSERT_EQ(repair.original.back().week, repair.original.front().week + 1);
    repair.ExpectWeeksBack();
}

// The longest GPS or GLONASS range of one epoch made 8000 km longer: that
// range alone loses its pseudorange bit (and so its stored value).
TEST(BadCaRepair, TheOneFalseRangeOfARealLogIsDisabled) {
    SKIP_WITHOUT_SHARED_LOGS();
    Repair repair("m8p_base_1hz_gps_glo_61min.ubx");
    Epochs expected = repair.original;
    CGnssEpoch& epoch = expected[expected.size() / 2];
    SatelliteId longest = epoch.satelliteList.front();
    for (const SatelliteId& id : epoch.satelliteList)
        if (epoch.GetSignal(id, 0)->pseudorange > epoch.GetSignal(longest, 0)->pseudorange) longest = id;
    Epochs damaged = expected;
    damage::MoveRange(damaged, expected.size() / 2, longest, 8000000.0);
    CGnssSignal* signal = epoch.GetSatellite(longest)->GetSignal(epoch.GetSignal(longest, 0)->signalId);
    signal->flags &= ~uint32_t(kSigPseudorange);
    signal->pseudorange = 0.0;
    repair.Open(damaged);
    EXPECT_EQ(repair.checks.RepairBadCa(), 1);
    repair.ExpectAfterClose(expected);
}

// Positions and clocks gone, one epoch cut to 3 satellites: every other
// epoch is solved again with its clock; returns the distances from the
// receiver's own positions, horizontal and in height, sorted.
std::pair<std::vector<double>, std::vector<double>> SolveAgain(Repair& repair) {
    Epochs damaged = repair.original;
    damage::RemovePositionsAndClocks(damaged);
    CGnssEpoch& cut = damaged[damaged.size() / 2];
    const CGnssEpoch all = cut;
    cut.Reset();
    cut.flags = all.flags, cut.week = all.week, cut.rcvTimeMs = all.rcvTimeMs, cut.rawRcvTime = all.rawRcvTime;
    for (size_t k = 0; k < 3; ++k) cut.SetSatellite(*all.GetSatellite(all.satelliteList[k]));
    repair.Open(damaged);
    const int count = repair.checks.RecomputePositions(true);
    repair.checks.Close(false);

    const Epochs solved = checktest::ReadEpochs(repair.path);
    EXPECT_EQ(count, static_cast<int>(solved.size()) - 1);
    std::vector<double> horizontal, height;
    constexpr uint32_t kSolvedBits = kEpochPositionValid | kEpochClockValid;
    for (size_t i = 0; i < solved.size(); ++i) {
        const bool isCut = i == solved.size() / 2;
        EXPECT_EQ(solved[i].flags & kSolvedBits, isCut ? 0u : kSolvedBits) << i;
        if ((repair.original[i].flags & kEpochPositionValid) == 0 || isCut) continue;
        double east = 0.0, north = 0.0;
        HorizontalDifference(repair.original[i].position, solved[i].position, east, north);
        horizontal.push_back(std::hypot(east, north));
        height.push_back(std::fabs(repair.original[i].position.height - solved[i].position.height));
    }
    std::sort(horizontal.begin(), horizontal.end());
    std::sort(height.begin(), height.end());
    return {horizontal, height};
}

TEST(PositionRepair, TheSamplesStationIsFoundAgain) {
    Repair repair((simulation::SampleLogOptions()));
    const auto [horizontal, height] = SolveAgain(repair);
    EXPECT_LT(horizontal.back(), 10.0);
    EXPECT_LT(height.back(), 10.0);
}

// At 2 Hz the sample's clock (45 km) drifts between the seconds: the pass
// over whole seconds asks for the pass over the epochs between them.
TEST(PositionRepair, FastDataWithALargeClockIsRepairedBetweenTheSecondsToo) {
    simulation::SampleLogOptions options;
    options.epochs = 40;
    options.interval = 0.5;
    Repair repair(options);
    Epochs damaged = repair.original;
    damage::RemovePositionsAndClocks(damaged);
    repair.Open(damaged);
    EXPECT_EQ(repair.checks.RecomputePositions(true), 20);
    EXPECT_EQ(repair.checks.recomputeAtSubSeconds, 1);
    EXPECT_EQ(repair.checks.RecomputePositions(false), 20);
    repair.checks.Close(false);
    for (const CGnssEpoch& epoch : checktest::ReadEpochs(repair.path)) EXPECT_TRUE(epoch.flags & kEpochClockValid);
}

// The receiver corrects the ionosphere; the repair cannot, since this log's
// .epp has no ionosphere model. Heights lie some 15 m (at most 42 m) above
// the receiver's, as an independent solution without the ionosphere does
// too; 95% agree within 10 m horizontally.
TEST(PositionRepair, PositionsOfARealLogAreSolvedAgainNearTheReceiversOwn) {
    SKIP_WITHOUT_SHARED_LOGS();
    Repair repair("gen9_1hz_gps_gal_coldstart_posllh.ubx");
    const auto [horizontal, height] = SolveAgain(repair);
    EXPECT_LT(horizontal[horizontal.size() * 95 / 100], 10.0);
    EXPECT_LT(horizontal.back(), 15.0);
    EXPECT_LT(height[height.size() / 2], 20.0);
    EXPECT_LT(height.back(), 50.0);
}

// Without the .epp neither repair can start, and both say why.
TEST(RepairWithoutEphemeris, WeeksAndPositionsFailWithTheirProblemBits) {
    simulation::SampleLogOptions options;
    options.epochs = 20;
    Repair repair(options);
    Epochs damaged = repair.original;
    damage::RemoveWeeks(damaged);
    repair.Open(damaged, false);
    repair.checks.RepairWeeks();
    EXPECT_EQ(repair.checks.weeksComputed, -1);
    EXPECT_EQ(+repair.checks.ResultsV3().problemBits, uint32_t(kProblemNoEphemeris | kProblemWeeksUnknown));
    EXPECT_EQ(repair.checks.RecomputePositions(true), -2);
    EXPECT_STREQ(repair.checks.ErrorText(), "Ephemeris file could not be loaded");
    EXPECT_EQ(repair.checks.ephemerisLoaded, 0);
    repair.ExpectAfterClose(damaged);
}

}  // namespace
