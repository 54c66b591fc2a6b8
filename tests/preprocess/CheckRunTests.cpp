// The checks as a conversion, Close(true) and an opening that insists on a
// checked file run them: what they tell the host, the flags they settle,
// an abort during them, and the results block they leave.
#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "preprocess/CheckFixture.h"

namespace {

struct HostRecord {
    std::vector<std::string> messages;
    std::vector<std::pair<int, int>> progress;
    bool abortOnChecks = false;
} host;

ConvertCallbacks Callbacks() {
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    callbacks.message = [](double, const char* text) { host.messages.emplace_back(text); };
    callbacks.progress = [](int done, int total) {
        host.progress.emplace_back(done, total);
        // (0, 100) opens the checks; the conversion counts bytes.
        if (host.abortOnChecks && done == 0 && total == 100) ublox2trv::Abort();
    };
    return callbacks;
}

class CheckRunTest : public ::testing::Test {
protected:
    void SetUp() override {
        host = HostRecord();
        options.epochs = 120;
        options.clutter = false;
        simulation::UbxLog log;
        log.Add(simulation::BuildSampleLog(options));
        input = dir.File("log.ubx");
        ASSERT_TRUE(log.Save(input));
        trv = dir.File("out.trv");
    }
    int Convert(int motionMode) {
        ConvertParams params = convtest::MakeParams(input, trv);
        params.options.motionMode = motionMode;
        ConvertCallbacks callbacks = Callbacks();
        return ublox2trv::ConvertFile(&params, &callbacks);
    }
    static int KinematicEpochs(const std::string& path) {
        const auto epochs = checktest::ReadEpochs(path);
        return int(std::count_if(epochs.begin(), epochs.end(),
                                 [](const CGnssEpoch& e) { return (e.flags & kEpochKinematic) != 0; }));
    }

    ubxtest::TempDir dir;
    simulation::SampleLogOptions options;
    std::string input, trv;
};

}  // namespace

TEST_F(CheckRunTest, AConversionRunsTheChecksAndLeavesTheResultsInTheHeader) {
    ASSERT_EQ(Convert(2), 0);
    EXPECT_NE(std::find(host.messages.begin(), host.messages.end(), "Performing pre-processing checks..."),
              host.messages.end());
    // The checks' progress follows the conversion's, from (0, 100) to (100, 100).
    EXPECT_NE(std::find(host.progress.begin(), host.progress.end(), std::make_pair(0, 100)), host.progress.end());
    EXPECT_EQ(host.progress.back(), std::make_pair(100, 100));
    const TrvPreprocessBlockV3 results = checktest::HeaderResults(trv);
    EXPECT_EQ(results.status, kPreprocessDone);
    EXPECT_EQ(+results.problemBits, 0u);
    EXPECT_EQ(+results.dynamicsClass, kDynamicsStatic);
    EXPECT_EQ(+results.constellationBits, kSeenGps | kSeenGlonass | kSeenBeiDou | kSeenGalileo);
    EXPECT_EQ(KinematicEpochs(trv), 0);
}

TEST_F(CheckRunTest, OnlyTheAutomaticMotionOrAnUncheckedOpeningSettleTheFlags) {
    // Kinematic as asked: the static receiver's epochs keep their flag, and
    // an opening that insists on checked data finds them checked.
    ASSERT_EQ(Convert(1), 0);
    EXPECT_EQ(+checktest::HeaderResults(trv).dynamicsClass, kDynamicsStatic);
    CTrvFile file;
    ASSERT_TRUE(file.Open(trv.c_str(), kTrvRead, true));
    EXPECT_EQ(KinematicEpochs(trv), options.epochs);
    // Close(true) runs every check with every repair, the flags included.
    file.Close(true);
    EXPECT_EQ(KinematicEpochs(trv), 0);

    // Unchecked, the same opening checks it once, before it opens.
    ConvertParams params = convtest::MakeParams(input, trv);
    params.options.runChecks = 0;
    params.options.motionMode = 1;
    ConvertCallbacks callbacks = Callbacks();
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    EXPECT_EQ(checktest::HeaderResults(trv).status, kPreprocessNotDone);
    CTrvFile unchecked;
    ASSERT_TRUE(unchecked.Open(trv.c_str(), kTrvRead, true));
    EXPECT_TRUE(unchecked.IsPreprocessed());
    EXPECT_EQ(unchecked.EpochCount(), options.epochs);
    EXPECT_EQ(KinematicEpochs(trv), 0);
}

TEST_F(CheckRunTest, AnAbortDuringTheChecksFailsTheConversion) {
    host.abortOnChecks = true;
    EXPECT_EQ(Convert(2), 1);
    EXPECT_EQ(host.progress.back(), std::make_pair(100, 100));
}

TEST(CheckDriver, AnOlderFormatFileIsRefusedAndLeftAsItIs) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("old.trv");
    CTrvFile file;
    ASSERT_TRUE(file.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 2));
    file.Close();
    std::filesystem::resize_file(path, 4096);
    const std::string before = convtest::ReadText(path);
    CTrvPreprocessor old;
    EXPECT_FALSE(old.Open(path.c_str(), kTrvReadWrite, false));
    EXPECT_STREQ(old.ErrorText(), "TRV version 2 files are not supported yet");
    old.Run(true, true, true);
    EXPECT_EQ(old.ResultsV3().status, kPreprocessNotDone);
    EXPECT_EQ(convtest::ReadText(path), before);
}
