// The in-place repairs on damaged copies of real and simulated raw files:
// each damage is undone back to the original, and nothing else moves.
#include <filesystem>

#include "positioning/SatelliteService.h"
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
        ConvertParams params = convtest::MakeParams((ubxtest::SharedUbxDir() / realLog).string(), trv);
        params.options.runChecks = 0;
        ConvertCallbacks callbacks{};
        callbacks.structSize = sizeof callbacks;
        EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
        original = damage::Load(trv);
    }
    explicit Repair(const simulation::SampleLogOptions& options)
        : original(damage::Load(checktest::ConvertSample(dir, options, "original"))) {}

    void Open(const Epochs& damaged, bool withEphemeris = true) {
        damage::Save(path, damaged);
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
        EXPECT_EQ(checks.ResultsV3().problemBits, 0u);
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
    CSatelliteService service(nullptr);
    GpsTimeRange range;
    ASSERT_TRUE(service.LoadBroadcastEphemeris(repair.dir.File("original.epp").c_str(), nullptr, true));
    ASSERT_TRUE(service.GetEphemerisTimeRange(range));
    EXPECT_LE(range.first.week, repair.original.front().week);
    EXPECT_GE(range.last.week, repair.original.back().week);
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

// Without the .epp the weeks cannot be found, and the problem bits say why.
TEST(RepairWithoutEphemeris, WeeksFailWithTheirProblemBits) {
    simulation::SampleLogOptions options;
    options.epochs = 20;
    Repair repair(options);
    Epochs damaged = repair.original;
    damage::RemoveWeeks(damaged);
    repair.Open(damaged, false);
    repair.checks.RepairWeeks();
    EXPECT_EQ(repair.checks.weeksComputed, -1);
    EXPECT_EQ(repair.checks.ResultsV3().problemBits, uint32_t(kProblemNoEphemeris | kProblemWeeksUnknown));
    EXPECT_EQ(repair.checks.ephemerisLoaded, 0);
    repair.ExpectAfterClose(damaged);
}

}  // namespace
