#pragma once
// What the tests of the checks share: a converted synthetic log with its
// .epp and .sta (exact geometry, so that every repair can be compared with
// the undamaged original), raw files written from epochs in hand, and the
// epochs of a file read back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "conversion/Harness.h"
#include "preprocess/TrvPreprocessor.h"
#include "rawfile/TrvFile.h"
#include "simulation/SampleLog.h"
#include "support/TestPaths.h"

namespace checktest {

// Converts the sample log of these options into base.trv/.epp/.sta in dir,
// without the checks; returns the .trv path.
inline std::string ConvertSample(const ubxtest::TempDir& dir, const simulation::SampleLogOptions& options,
                                 const std::string& base = "sample") {
    simulation::UbxLog log;
    log.Add(simulation::BuildSampleLog(options));
    const std::string input = dir.File(base + ".ubx");
    EXPECT_TRUE(log.Save(input));
    const std::string trv = dir.File(base + ".trv");
    ConvertParams params = convtest::MakeParams(input, trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    return trv;
}

// Every epoch of a file in order; empty when it cannot be opened.
inline std::vector<CGnssEpoch> ReadEpochs(const std::string& path) {
    std::vector<CGnssEpoch> epochs;
    CTrvFile file;
    if (!file.Open(path.c_str(), kTrvRead, false)) return epochs;
    CGnssEpoch epoch;
    while (file.ReadNextEpoch(epoch) == 0) epochs.push_back(epoch);
    return epochs;
}

// A version 3 file of these epochs, as the converter creates them.
inline void WriteEpochs(const std::string& path, const std::vector<CGnssEpoch>& epochs) {
    CTrvFile file;
    ASSERT_TRUE(file.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 0.0, nullptr, 3)) << file.ErrorText();
    for (const CGnssEpoch& epoch : epochs) ASSERT_EQ(file.AppendEpoch(epoch, false), 0) << file.ErrorText();
    file.Close();
}

// The checks on a file as Close(true) runs them, keeping the object so that
// a test can read its results; the file is closed after the run.
struct CheckRun {
    CTrvPreprocessor checks;
    explicit CheckRun(const std::string& path, bool fixStaticKinematic = true, bool fixDuplicates = true,
                      bool fixReversals = true) {
        checks.Open(path.c_str(), kTrvReadWrite, false);
        checks.Run(fixStaticKinematic, fixDuplicates, fixReversals);
        checks.Close(false);
    }
};

}  // namespace checktest
