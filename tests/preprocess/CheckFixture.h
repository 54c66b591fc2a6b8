#pragma once
// What the tests of the checks share: a converted synthetic log with its
// .epp and .sta (exact geometry, so that every repair can be compared with
// the undamaged original), raw files written from epochs in hand, and the
// epochs of a file read back.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "conversion/Harness.h"
#include "preprocess/TrvPreprocessor.h"
#include "rawfile/TrvFile.h"
#include "simulation/SampleLog.h"
#include "support/TestPaths.h"

namespace checktest {

// Converts a log into trv (and its .epp and .sta) without the checks.
inline void ConvertUnchecked(const std::string& log, const std::string& trv) {
    ConvertParams params = convtest::MakeParams(log, trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
}

// A real log beside the project, converted without the checks.
inline void ConvertRealLog(const char* log, const std::string& trv) {
    ConvertUnchecked((ubxtest::SharedUbxDir() / log).string(), trv);
}

// Converts the sample log of these options into base.trv/.epp/.sta in dir,
// without the checks; returns the .trv path.
inline std::string ConvertSample(const ubxtest::TempDir& dir, const simulation::SampleLogOptions& options,
                                 const std::string& base = "sample") {
    simulation::UbxLog log;
    log.Add(simulation::BuildSampleLog(options));
    const std::string input = dir.File(base + ".ubx");
    EXPECT_TRUE(log.Save(input));
    const std::string trv = dir.File(base + ".trv");
    ConvertUnchecked(input, trv);
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

// The results block a file's header holds.
inline TrvPreprocessBlockV3 HeaderResults(const std::string& path) {
    CTrvFile file;
    EXPECT_TRUE(file.Open(path.c_str(), kTrvRead, false));
    TrvPreprocessBlockV3 block;
    std::memcpy(&block, file.HeaderImage() + 112, sizeof block);
    return block;
}

// The detection bits of these signals.
inline uint32_t SignalMask(std::initializer_list<GnssSignalId> ids) {
    uint32_t mask = 0;
    for (GnssSignalId id : ids) mask |= 1u << SignalDetectionBit(id);
    return mask;
}

// These epochs in place of the file's, beside its .epp, surveyed.
inline std::unique_ptr<CTrvPreprocessor> Surveyed(const std::string& path, const std::vector<CGnssEpoch>& epochs) {
    WriteEpochs(path, epochs);
    auto checks = std::make_unique<CTrvPreprocessor>();
    EXPECT_TRUE(checks->Open(path.c_str(), kTrvReadWrite, false));
    double poorRatio = 0.0;
    bool mixedFlags = false;
    EXPECT_TRUE(checks->Survey(poorRatio, mixedFlags));
    return checks;
}

}  // namespace checktest
