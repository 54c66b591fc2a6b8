// The split of time reversals and repeated epochs: the file keeps exactly
// the rising sequence, the side file exactly the rest, and nothing is lost.
#include <filesystem>

#include "preprocess/CheckFixture.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvDamage.h"

namespace {

using damage::Epochs;

// The motion bit is left out: the runs on the split files may set it.
void ExpectEpochs(const std::string& path, const Epochs& expected) {
    const Epochs got = checktest::ReadEpochs(path);
    ASSERT_EQ(got.size(), expected.size()) << path;
    for (size_t i = 0; i < got.size(); ++i) {
        CGnssEpoch a = got[i], b = expected[i];
        a.flags &= ~uint32_t(kEpochKinematic);
        b.flags &= ~uint32_t(kEpochKinematic);
        ASSERT_EQ(convtest::EpochDifference(a, b), "") << path << " epoch " << i;
    }
}

bool RisesStrictly(const Epochs& epochs) {
    for (size_t i = 1; i < epochs.size(); ++i)
        if (EpochStep(epochs[i - 1], epochs[i]) <= 0.0) return false;
    return true;
}

struct Split {
    CTrvPreprocessor checks;
    int result;
    Split(const std::string& path, bool reversals) {
        EXPECT_TRUE(checks.Open(path.c_str(), kTrvReadWrite, false)) << checks.ErrorText();
        result = reversals ? checks.RepairTimeReversals() : checks.RepairDuplicateEpochs();
    }
};

simulation::SampleLogOptions ShortSample() {
    simulation::SampleLogOptions options;
    options.epochs = 120;
    return options;
}

}  // namespace

TEST(TimeOrderRepair, ABlockMovedBackGoesAsAWholeToTheSideFile) {
    SKIP_WITHOUT_SHARED_LOGS();
    ubxtest::TempDir dir;
    const std::string trv = dir.File("rover.trv");
    ConvertParams params =
        convtest::MakeParams((ubxtest::SharedUbxDir() / "m8p_rover_1hz_gps_glo_tm2_glo255.ubx").string(), trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    const Epochs original = damage::Load(trv);
    Epochs damaged = original;
    damage::MoveBlockLater(damaged, 300, 40, 900);
    damage::Save(trv, damaged);

    Split split(trv, true);
    EXPECT_EQ(split.result, 1);
    EXPECT_EQ(split.checks.timeReversalCount, 40);
    Epochs kept = original, block(original.begin() + 300, original.begin() + 340);
    kept.erase(kept.begin() + 300, kept.begin() + 340);
    ExpectEpochs(trv, kept);
    ExpectEpochs(dir.File("rover(OutOfOrder).trv"), block);
    EXPECT_TRUE(RisesStrictly(checktest::ReadEpochs(trv)));
    EXPECT_TRUE(std::filesystem::exists(dir.File("rover(OutOfOrder).epp")));
    EXPECT_TRUE(std::filesystem::exists(dir.File("rover(OutOfOrder).sta")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("rover(Temp).trv")));
}

TEST(TimeOrderRepair, AnHourAheadIsABlockOnlyWhenTheTimeLineReturns) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, ShortSample());
    Epochs epochs = damage::Load(trv);
    // 40..49 return to the time line; 100 onwards never do: a true gap.
    for (size_t i = 40; i < epochs.size(); i = i == 49 ? 100 : i + 1) epochs[i].rawRcvTime += 7200.0;
    damage::Save(trv, epochs);

    Split split(trv, true);
    EXPECT_EQ(split.checks.timeReversalCount, 10);
    ExpectEpochs(dir.File("sample(OutOfOrder).trv"), Epochs(epochs.begin() + 40, epochs.begin() + 50));
    epochs.erase(epochs.begin() + 40, epochs.begin() + 50);
    ExpectEpochs(trv, epochs);
}

TEST(TimeOrderRepair, FewRepeatsLeaveEachSecondCopyAside) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, ShortSample());
    const Epochs original = damage::Load(trv);
    Epochs epochs = original;
    ASSERT_EQ(damage::RepeatEpochs(epochs, 25), 4);   // 3.2 % of the file
    damage::Save(trv, epochs);

    Split split(trv, false);
    EXPECT_EQ(split.result, 1);
    EXPECT_EQ(split.checks.duplicateEpochCount, 4);
    ExpectEpochs(trv, original);
    ExpectEpochs(dir.File("sample(Duplicates).trv"), {original[24], original[49], original[74], original[99]});
    EXPECT_TRUE(std::filesystem::exists(dir.File("sample(Duplicates).epp")));
}

TEST(TimeOrderRepair, ManyRepeatsKeepTheCopyWhosePhasesCarryOn) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, ShortSample());
    Epochs original = damage::Load(trv);
    // The sample's phases sum to a negative value, which has no phase mark;
    // turned over they have one.
    auto addPhase = [](CGnssEpoch& epoch, double factor, double cycles) {
        for (const SatelliteId& id : epoch.satelliteList) {
            CGnssSignal* signal = PrimarySignal(epoch, id);
            signal->carrierPhase = signal->carrierPhase * factor + cycles;
        }
    };
    const Epochs unmarked = original;
    for (CGnssEpoch& epoch : original) addPhase(epoch, -1.0, 0.0);
    Epochs epochs = original;
    ASSERT_EQ(damage::RepeatEpochs(epochs, 8), 15);   // 11 % of the file
    // Stale phases on the first of a pair, at the start and in the middle.
    epochs.insert(epochs.begin(), epochs.front());
    addPhase(epochs.front(), 1.0, 1e7);
    addPhase(epochs[1 + 9 * 2 + 7], 1.0, 1e7);   // the original of the third pair
    damage::Save(trv, epochs);

    Split split(trv, false);
    EXPECT_EQ(split.checks.duplicateEpochCount, 16);
    ExpectEpochs(trv, original);
    const Epochs side = checktest::ReadEpochs(dir.File("sample(Duplicates).trv"));
    ASSERT_EQ(side.size(), 16u);
    EXPECT_EQ(side[0].rcvTimeMs, original[0].rcvTimeMs);
    EXPECT_EQ(convtest::EpochDifference(side[3], epochs[1 + 9 * 2 + 7]), "");

    // Without phase marks every decision falls the same way; still nothing
    // is lost and the file rises.
    epochs = unmarked;
    damage::RepeatEpochs(epochs, 8);
    damage::Save(trv, epochs);
    Split blind(trv, false);
    const Epochs kept = checktest::ReadEpochs(trv);
    EXPECT_TRUE(RisesStrictly(kept));
    EXPECT_EQ(kept.size() + checktest::ReadEpochs(dir.File("sample(Duplicates).trv")).size(), epochs.size());
}

TEST(TimeOrderRepair, AFileThatCannotBeMadeLeavesTheFileAsItWas) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, ShortSample());
    Epochs epochs = damage::Load(trv);
    damage::MoveBlockLater(epochs, 10, 5, 30);
    damage::Save(trv, epochs);
    std::filesystem::create_directory(dir.File("sample(Temp).trv"));

    Split split(trv, true);
    EXPECT_EQ(split.result, -2);
    EXPECT_NE(std::string(split.checks.ErrorText()).find("(Temp).trv"), std::string::npos);
    split.checks.Close();
    ExpectEpochs(trv, epochs);
    EXPECT_FALSE(std::filesystem::exists(dir.File("sample(OutOfOrder).trv")));
}
