#include "preprocess/CheckFixture.h"
#include "preprocess/TrvDamage.h"

TEST(FileSurvey, ACleanSampleSetsNoSwitchAndSeesItsSignals) {
    ubxtest::TempDir dir;
    const std::string path = checktest::ConvertSample(dir, {});
    const std::string bytes = convtest::ReadText(path);
    CTrvPreprocessor checks;
    ASSERT_TRUE(checks.Open(path.c_str(), kTrvRead, false));
    double poorRatio = -1.0;
    bool mixedFlags = true;
    ASSERT_TRUE(checks.Survey(poorRatio, mixedFlags));
    EXPECT_EQ(checks.Mode(), kTrvReadWrite);
    checks.Close(false);
    EXPECT_EQ(convtest::ReadText(path), bytes);

    EXPECT_EQ(poorRatio, 0.0);
    EXPECT_FALSE(mixedFlags);
    EXPECT_FALSE(checks.dopplerUnitsWrong || checks.dopplerSpoilt || checks.dopplerInvalid ||
                 checks.dopplerSignWrong || checks.badCaFound || checks.duplicateEpochs || checks.timeReversal);
    for (int32_t count : {checks.badCaCount, checks.dopplerRepairCount, checks.timeReversalCount,
                          checks.duplicateEpochCount, checks.duplicateMeasurementCount, checks.weeksComputed})
        EXPECT_EQ(count, 0);
    EXPECT_TRUE(checks.weeksPresent && checks.validCaSeen && checks.ephemerisLoaded);
    // A u-blox log carries no receiver clock, so the clock repair is asked for.
    EXPECT_TRUE(checks.recomputeAtSeconds);
    EXPECT_EQ(checks.l1Status, kTrackingGood);
    EXPECT_EQ(checks.l2Status, kTrackingGood);
    EXPECT_EQ(+checks.ResultsV3().constellationBits, kSeenGps | kSeenGlonass | kSeenBeiDou | kSeenGalileo);
    EXPECT_EQ(+checks.ResultsV2().constellationBits, uint32_t(kSeenGlonass | kSeenBeiDou | kSeenGalileo));
    // L1 C/A with L2C, GLONASS L1 and L2, BeiDou B1I and B2I, Galileo E1 and E5b.
    EXPECT_EQ(+checks.ResultsV3().signalsDetected, checktest::SignalMask({0, 3, 20, 21, 40, 41, 60, 62}));
    EXPECT_EQ(+checks.ResultsV3().signalsWithProblems | +checks.ResultsV2().problemBits, 0u);
}

TEST(FileSurvey, RepeatsReversalsAndFarRangesAreNoticed) {
    ubxtest::TempDir dir;
    // Under five minutes of data every epoch is a sample.
    const std::string path = checktest::ConvertSample(dir, {.epochs = 200});
    const damage::Epochs original = checktest::ReadEpochs(path);

    damage::Epochs epochs = original;
    damage::RepeatEpochs(epochs, 50);
    auto checks = checktest::Surveyed(path, epochs);
    EXPECT_TRUE(checks->duplicateEpochs);
    EXPECT_FALSE(checks->timeReversal || checks->badCaFound);

    // A repeat in the very first pair is the receiver starting up.
    epochs = original;
    epochs.insert(epochs.begin() + 1, original[0]);
    EXPECT_FALSE(checktest::Surveyed(path, epochs)->duplicateEpochs);

    epochs = original;
    damage::MoveBlockLater(epochs, 100, 10, 150);
    checks = checktest::Surveyed(path, epochs);
    EXPECT_TRUE(checks->timeReversal);
    EXPECT_FALSE(checks->duplicateEpochs);

    epochs = original;
    damage::MoveRange(epochs, 120, epochs[120].satelliteList.front(), 8.0e6);
    EXPECT_TRUE(checktest::Surveyed(path, epochs)->badCaFound);
}

TEST(FileSurvey, WeakTrackingIsAProblemOfItsSignal) {
    ubxtest::TempDir dir;
    const std::string path = checktest::ConvertSample(dir, {.epochs = 200});
    const damage::Epochs original = checktest::ReadEpochs(path);
    // The signals of one id (all for kNoSignal) in every n-th epoch changed.
    auto surveyWith = [&](GnssSignalId only, size_t every, auto change) {
        damage::Epochs epochs = original;
        for (size_t k = 0; k < epochs.size(); k += every)
            for (const SatelliteId& id : epochs[k].satelliteList)
                for (const auto& signal : epochs[k].GetSatellite(id)->signals)
                    if (signal && (only == kNoSignal || signal->signalId == only)) change(*signal);
        return checktest::Surveyed(path, epochs);
    };
    auto shortLock = [](CGnssSignal& signal) { signal.lockTime = 0.5f; };

    auto checks = surveyWith(21, 1, shortLock);
    EXPECT_EQ(+checks->ResultsV3().signalsWithProblems, checktest::SignalMask({21}));
    EXPECT_EQ(checks->l1Status, kTrackingGood);
    EXPECT_EQ(+checks->ResultsV2().problemBits, 0u);

    // GLONASS L2 ranges in only two epochs of three, against L1 in all.
    checks = surveyWith(21, 3, [](CGnssSignal& signal) { signal.flags &= ~uint32_t(kSigPseudorange); });
    EXPECT_EQ(+checks->ResultsV3().signalsWithProblems, checktest::SignalMask({21}));

    checks = surveyWith(kNoSignal, 1, shortLock);
    EXPECT_EQ(+checks->ResultsV3().signalsWithProblems, +checks->ResultsV3().signalsDetected);
    EXPECT_EQ(checks->l1Status, kTrackingFailed);
    EXPECT_EQ(+checks->ResultsV2().problemBits, uint32_t(kProblemL1Failure | kProblemL2Failure | kProblemL2Significant));
    // The newer block tells of tracking by its signal masks alone.
    EXPECT_EQ(+checks->ResultsV3().problemBits, 0u);
}
