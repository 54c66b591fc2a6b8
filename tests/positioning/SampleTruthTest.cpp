// Positions from the converted synthetic log against the station it was
// made for: the log holds exact geometry, clocks, troposphere and the
// broadcast ionosphere, so the engine must find the station to a few
// decimetres with the ionosphere modelled, and be off by about the
// ionospheric delay without it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "conversion/Harness.h"
#include "positioning/SinglePoint.h"
#include "rawfile/TrvFile.h"
#include "simulation/SampleLog.h"
#include "simulation/SignalDelays.h"
#include "support/TestPaths.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

class SampleTruthTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = new ubxtest::TempDir;
        options.epochs = 900;
        options.interval = 2.0;
        simulation::UbxLog log;
        log.Add(simulation::BuildSampleLog(options));
        const std::string input = dir->File("sample.ubx");
        log.Save(input);
        trv = dir->File("sample.trv");
        ConvertParams params = convtest::MakeParams(input, trv);
        params.options.runChecks = 0;
        ConvertCallbacks callbacks{};
        callbacks.structSize = sizeof callbacks;
        ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    }
    static void TearDownTestSuite() { delete dir; }

    // The 3D distance from the station of each epoch's solution; a failed
    // epoch counts as infinitely far.
    static std::vector<double> Errors(bool ionosphere) {
        CTrvFile file;
        EXPECT_TRUE(file.Open(trv.c_str(), kTrvRead, false));
        CSinglePoint engine(nullptr, true, false);
        SinglePointOptions spp;
        spp.useIonosphere = ionosphere;
        engine.SetOptions(spp);
        EXPECT_TRUE(engine.LoadBroadcastEphemeris(trv.c_str()));
        double station[3];
        simulation::SampleStation(options, station);
        std::vector<double> errors;
        CGnssEpoch epoch;
        for (int i = 0; i < static_cast<int>(file.EpochIndex().size()); ++i) {
            EXPECT_EQ(file.ReadEpochAt(i, epoch), 0);
            if (engine.ComputeEpoch(epoch, false, false, nullptr, nullptr) != kSolved) {
                errors.push_back(INFINITY);
                continue;
            }
            const double* p = engine.Solution().ecef;
            errors.push_back(std::sqrt((p[0] - station[0]) * (p[0] - station[0]) +
                                       (p[1] - station[1]) * (p[1] - station[1]) +
                                       (p[2] - station[2]) * (p[2] - station[2])));
        }
        std::sort(errors.begin(), errors.end());
        return errors;
    }

    static inline ubxtest::TempDir* dir = nullptr;
    static inline simulation::SampleLogOptions options;
    static inline std::string trv;
};

TEST_F(SampleTruthTest, WithTheIonosphereEveryEpochSolvesWithinHalfAMetre) {
    const std::vector<double> errors = Errors(true);
    ASSERT_EQ(errors.size(), static_cast<size_t>(options.epochs));
    EXPECT_LT(errors.back(), 1e9) << "an epoch failed";
    EXPECT_LT(errors[errors.size() * 95 / 100], 0.5);
    std::printf("median %.3f p95 %.3f max %.3f\n", errors[errors.size() / 2], errors[errors.size() * 95 / 100], errors.back());
}

// The sample's ionosphere, straight above the station at the middle of the
// log, is the scale of the error left when it is not modelled: the slant
// delays of all satellites are one to three times it, and most of their
// common part goes into the clock and the height.
TEST_F(SampleTruthTest, WithoutTheIonosphereTheErrorIsAboutTheIonosphericDelay) {
    const simulation::StationGeodetic station{options.latitude * kPi / 180.0, options.longitude * kPi / 180.0,
                                              options.height};
    const double zenith = simulation::KlobucharDelayL1(
        simulation::SampleIonosphereModel(), options.startTow + options.epochs * options.interval / 2.0, station,
        kPi / 2.0, 0.0);
    const std::vector<double> errors = Errors(false);
    const double median = errors[errors.size() / 2];
    EXPECT_GT(median, 0.5 * zenith);
    EXPECT_LT(median, 3.0 * zenith);
    EXPECT_GT(median, 5.0 * Errors(true)[errors.size() / 2]);
    std::printf("zenith ionosphere %.2f m; median error without it %.2f m\n", zenith, median);
}

}  // namespace
