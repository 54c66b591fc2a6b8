// The report rows from results set by hand: which condition wins, the
// settled words, and the signal lists.
#include <gtest/gtest.h>

#include <string>

#include "preprocess/CheckFixture.h"

namespace {

std::string Row(const CTrvPreprocessor& p, int row) {
    return std::string(p.ResultStatus(row)) + " | " + p.ResultDetail(row);
}

}  // namespace

TEST(CheckReport, TestsThatDidNotRunKeepTheirInitialStatus) {
    CTrvPreprocessor p;
    p.Run(true, true, true);   // no file: the survey cannot start
    EXPECT_EQ(p.ResultsV3().status, kPreprocessNotDone);
    EXPECT_EQ(Row(p, 0), "PASS | TRV file contains > 3 epochs (minimum required for preprocessing)");
    EXPECT_EQ(Row(p, 1), "FAIL | No TRV preprocessing was performed, results invalid");
    EXPECT_EQ(Row(p, 2), "FAIL | Problem detecting input and output TRV Versions");
    EXPECT_EQ(Row(p, 7), "Not Tested | Bad C/A code check was not performed");
    EXPECT_EQ(Row(p, 8), "Not Tested | Position and Clock test was not performed");
    EXPECT_EQ(Row(p, 10), "Not Tested | Zero/Invalid Doppler check not performed");
    EXPECT_EQ(Row(p, 14), "Not Tested | Time reversal check not performed");
    EXPECT_EQ(Row(p, 15), "Not Tested | Duplicate epoch test not performed");
    EXPECT_EQ(Row(p, 16), "PASS | S/K flag was not changed for any epochs");
    EXPECT_EQ(Row(p, 17), "Not Tested | No Test Performed");
}

TEST(CheckReport, CountsAndFailuresReadWithTheirSettledWords) {
    CTrvPreprocessor p;
    p.inputVersion = p.outputVersion = 3;
    p.resultsV3.status = kPreprocessDone;
    p.resultsV3.problemBits = kProblemTooFewEpochs | kProblemNoEphemeris | kProblemNoValidCa;
    p.epochCountStatus = 2;
    p.weeksComputed = 12;
    p.duplicateMeasurements = 1;
    p.duplicateMeasurementCount = 4;
    p.badCaCount = 2;
    p.recomputeCount = -2;
    p.dopplerUnitsWrong = 1;
    p.dopplerRepairCount = 0;
    p.timeReversalCount = 7;
    p.duplicateEpochCount = 0;
    p.staticToKinematic = 3;
    p.kinematicToStatic = 1;   // wins when both changed
    p.BuildReport();
    EXPECT_EQ(Row(p, 0), "FAIL | TRV file is not empty but contains < 3 epochs, insufficient for preprocessing");
    EXPECT_EQ(Row(p, 1), "PASS | TRV preprocessing completed, results below are valid");
    EXPECT_EQ(Row(p, 2), "PASS | Input file: TRV_VERSION_3, Output file: TRV_VERSION_3");
    EXPECT_EQ(Row(p, 4), "PASS | 12 Week Numbers computed and written to TRV");
    EXPECT_EQ(Row(p, 5), "FAIL | No valid C/A code measurements detected, data cannot be processed");
    EXPECT_EQ(Row(p, 6), "Duplicate meas. detected in consecutive epochs! | 4 SVs disabled");
    EXPECT_EQ(Row(p, 7), "Bad C/A code ranges detected! | 2 bad C/A ranges disabled");
    EXPECT_EQ(Row(p, 8), "FAIL | No ephemeris loaded, unable to check position or clock data");
    EXPECT_EQ(Row(p, 9), "Doppler units changed! | Incorrect units on Doppler measurements detected and corrected");
    EXPECT_EQ(Row(p, 10), "PASS | No satellites had Doppler recomputed");
    EXPECT_EQ(Row(p, 14), "Time reversals detected! | 7 time reversals detected - new file written");
    EXPECT_EQ(Row(p, 15), "PASS | No duplicate epochs detected");
    EXPECT_EQ(Row(p, 16), "PASS | All epochs changed from kinematic to static");

    p.resultsV3.status = kPreprocessFailed;
    p.epochCountStatus = 0;
    p.recomputeCount = 5;
    p.BuildReport();
    EXPECT_EQ(Row(p, 0), "FAIL | TRV file is empty, cannot continue with pre-processing checks!");
    EXPECT_EQ(Row(p, 1), "FAIL | TRV preprocessing failed, results invalid");
    EXPECT_EQ(Row(p, 8), "Position/Clock recomputed! | 5 positions or clockshifts recomputed");
}

// The lists, the QZSS quirk and the GALILEO header are pinned with the real
// logs' reports; a problem on a constellation not listed as seen still counts.
TEST(CheckReport, SignalsAndTrackingWithoutSignalsOrWithStrayProblems) {
    CTrvPreprocessor p;
    p.inputVersion = p.outputVersion = 3;
    p.BuildReport();
    EXPECT_EQ(Row(p, 11), "FAIL | No GPS, GLONASS, Galileo, Beidou, or QZSS data detected in file!");
    EXPECT_EQ(Row(p, 12), "FAIL | No GNSS signals detected in file!");
    EXPECT_EQ(Row(p, 13), "FAIL | No signal tracking problems detected as no GNSS signals were tracked!");

    p.resultsV3.constellationBits = kSeenGps;
    p.resultsV3.signalsDetected = checktest::SignalMask({0, 3});
    p.resultsV3.signalsWithProblems = checktest::SignalMask({22});
    p.BuildReport();
    EXPECT_EQ(Row(p, 12), "PASS | GNSS signals detected: GPS: L1 L2C ");
    EXPECT_EQ(Row(p, 13), "FAIL | Problematic tracking detected on GLONASS: L2P ");
}

TEST(CheckReport, TheOlderFormatReportsConstellationsAndTrackingByBits) {
    CTrvPreprocessor p;
    p.inputVersion = 2;
    p.outputVersion = 3;
    p.BuildReport();
    EXPECT_EQ(Row(p, 2), "PASS | Input file: TRV_VERSION_2, Output file: TRV_VERSION_3");
    p.outputVersion = 2;
    p.resultsV2.constellationBits = kSeenGlonass;
    p.resultsV2.problemBits = kProblemL1Significant | kProblemL2Failure;
    p.BuildReport();
    EXPECT_EQ(Row(p, 11), "PASS | GLONASS detected in file");
    EXPECT_EQ(Row(p, 12), "N/A | Individual GNSS signals not detected in TRV_VERSION_2");
    EXPECT_EQ(Row(p, 13), "FAIL | Significant L1 tracking problems");
}
