// The split of time reversals and repeated epochs: the file keeps exactly
// the rising sequence, the side file exactly the rest, and nothing is lost.
#include <filesystem>

#include "preprocess/CheckFixture.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvDamage.h"

namespace {

using damage::Epochs;

// The measurements only: the runs on the split files settle the motion bit
// and solve the positions and clocks that the receiver did not log.
void Measurements(CGnssEpoch& epoch) {
    epoch.flags &= ~uint32_t(kEpochKinematic | kEpochPositionValid | kEpochClockValid);
    epoch.position = GeodeticPosition();
    epoch.clockOffset = 0.0;
    epoch.trueRcvTime = 0.0;
}

std::string MeasurementDifference(CGnssEpoch a, CGnssEpoch b) {
    Measurements(a);
    Measurements(b);
    return convtest::EpochDifference(a, b);
}

void ExpectEpochs(const std::string& path, const Epochs& expected) {
    const Epochs got = checktest::ReadEpochs(path);
    ASSERT_EQ(got.size(), expected.size()) << path;
    for (size_t i = 0; i < got.size(); ++i)
        ASSERT_EQ(MeasurementDifference(got[i], expected[i]), "") << path << " epoch " << i;
}

struct Split {
    CTrvPreprocessor checks;
    int result;
    Split(const std::string& path, bool reversals) {
        EXPECT_TRUE(checks.Open(path.c_str(), kTrvReadWrite, false)) << checks.ErrorText();
        result = reversals ? checks.RepairTimeReversals() : checks.RepairDuplicateEpochs();
    }
};

}  // namespace

TEST(TimeOrderRepair, ABlockMovedBackGoesAsAWholeToTheSideFile) {
    SKIP_WITHOUT_SHARED_LOGS();
    ubxtest::TempDir dir;
    const std::string trv = dir.File("rover.trv");
    checktest::ConvertRealLog("m8p_rover_1hz_gps_glo_tm2_glo255.ubx", trv);
    Epochs kept = checktest::ReadEpochs(trv), damaged = kept;
    damage::MoveBlockLater(damaged, 300, 40, 900);
    checktest::WriteEpochs(trv, damaged);
    Split split(trv, true);
    EXPECT_EQ(split.result, 1);
    EXPECT_EQ(split.checks.timeReversalCount, 40);
    ExpectEpochs(dir.File("rover(OutOfOrder).trv"), Epochs(kept.begin() + 300, kept.begin() + 340));
    kept.erase(kept.begin() + 300, kept.begin() + 340);
    ExpectEpochs(trv, kept);   // the original order, which rises
    for (const char* name : {"rover(OutOfOrder).epp", "rover(OutOfOrder).sta"})
        EXPECT_TRUE(std::filesystem::exists(dir.File(name))) << name;
    EXPECT_FALSE(std::filesystem::exists(dir.File("rover(Temp).trv")));
}

TEST(TimeOrderRepair, AnHourAheadIsABlockOnlyWhenTheTimeLineReturns) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, {.epochs = 120});
    Epochs epochs = checktest::ReadEpochs(trv);
    // 40..49 return to the time line; 100 onwards never do: a true gap.
    for (size_t i = 40; i < epochs.size(); i = i == 49 ? 100 : i + 1) epochs[i].rawRcvTime += 7200.0;
    checktest::WriteEpochs(trv, epochs);
    Split split(trv, true);
    EXPECT_EQ(split.checks.timeReversalCount, 10);
    ExpectEpochs(dir.File("sample(OutOfOrder).trv"), Epochs(epochs.begin() + 40, epochs.begin() + 50));
    epochs.erase(epochs.begin() + 40, epochs.begin() + 50);
    ExpectEpochs(trv, epochs);
}

TEST(TimeOrderRepair, RepeatsGoAsideFewByTimeManyByTheirPhases) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, {.epochs = 120});
    const std::string side = dir.File("sample(Duplicates).trv");
    const Epochs unmarked = checktest::ReadEpochs(trv);
    Epochs epochs = unmarked;
    ASSERT_EQ(damage::RepeatEpochs(epochs, 25), 4);   // 3.2 % of the file: simple split
    checktest::WriteEpochs(trv, epochs);
    Split few(trv, false);
    EXPECT_EQ(few.checks.duplicateEpochCount, 4);
    ExpectEpochs(trv, unmarked);
    ExpectEpochs(side, {unmarked[24], unmarked[49], unmarked[74], unmarked[99]});

    // The sample's phases sum to a negative value, which gives no phase
    // mark; turned over they give one. Stale phases on the first of a pair,
    // at the start and in the middle, make the second the one to keep.
    auto addPhase = [](CGnssEpoch& epoch, double factor, double cycles) {
        for (const SatelliteId& id : epoch.satelliteList) {
            CGnssSignal* signal = PrimarySignal(epoch, id);
            signal->carrierPhase = signal->carrierPhase * factor + cycles;
        }
    };
    Epochs original = unmarked;
    for (CGnssEpoch& epoch : original) addPhase(epoch, -1.0, 0.0);
    epochs = original;
    ASSERT_EQ(damage::RepeatEpochs(epochs, 8), 15);   // 11 %: split by phases
    epochs.insert(epochs.begin(), epochs.front());
    addPhase(epochs.front(), 1.0, 1e7);
    const size_t stale = 1 + 9 * 2 + 7;   // the original of the third pair
    addPhase(epochs[stale], 1.0, 1e7);
    checktest::WriteEpochs(trv, epochs);
    Split many(trv, false);
    EXPECT_EQ(many.checks.duplicateEpochCount, 16);
    ExpectEpochs(trv, original);
    const Epochs aside = checktest::ReadEpochs(side);
    ASSERT_EQ(aside.size(), 16u);
    EXPECT_EQ(MeasurementDifference(aside[0], epochs[0]), "");
    EXPECT_EQ(MeasurementDifference(aside[3], epochs[stale]), "");

    // Without phase marks every decision falls one way; still nothing is
    // lost and the file rises.
    epochs = unmarked;
    damage::RepeatEpochs(epochs, 8);
    checktest::WriteEpochs(trv, epochs);
    Split blind(trv, false);
    const Epochs kept = checktest::ReadEpochs(trv);
    for (size_t i = 1; i < kept.size(); ++i) ASSERT_GT(EpochStep(kept[i - 1], kept[i]), 0.0) << i;
    EXPECT_EQ(kept.size() + checktest::ReadEpochs(side).size(), epochs.size());
}
