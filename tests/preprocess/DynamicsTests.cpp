// The dynamics class from the positions of a file and the marker files that
// override it; the real logs' classes and flags are pinned with their
// reports.
#include <filesystem>
#include <fstream>
#include <tuple>
#include <vector>

#include "preprocess/CheckFixture.h"
#include "preprocess/TrvDamage.h"

namespace {

using damage::Epochs;

struct Classifier : CTrvPreprocessor {
    using CTrvPreprocessor::lastDynamics;
    explicit Classifier(const std::string& path, double ratio = 0.0) {
        EXPECT_TRUE(Open(path.c_str(), kTrvReadWrite, false)) << ErrorText();
        validCaSeen = 1;   // as the survey finds it
        ClassifyDynamics(ratio);
    }
    uint32_t Class() const { return ResultsV3().dynamicsClass; }
};

}  // namespace

TEST(Dynamics, EachRuleOnAReceiverMovedOnPurpose) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, {.epochs = 120});
    const Epochs still = checktest::ReadEpochs(trv);
    // Metres per second north (zigzag: back and forth) and up, the survey's
    // poor-epoch ratio, and the class the rules give.
    struct Motion { double north; bool zigzag; double up; double ratio; uint32_t expected; };
    const Motion motions[] = {{0.0, false, 0.0, 0.0, 6}, {0.8, true, 0.0, 0.0, 6}, {0.8, false, 0.0, 0.0, 7},
                              {1.5, false, 0.0, 0.0, 7}, {2.2, false, 0.0, 400, 7}, {2.2, false, 0.0, 0.0, 5},
                              {5.0, false, 0.0, 0.0, 1}, {20, false, 0.0, 0.0, 1},  {20, false, 0.0, 400, 7},
                              {60, false, 0.0, 0.0, 2},  {20, false, 2.5, 0.0, 2}};
    for (const Motion& m : motions) {
        Epochs epochs = still;
        for (size_t i = 0; i < epochs.size(); ++i) {
            const double along = m.zigzag ? double(i % 2) : double(i);
            epochs[i].position.latitude += m.north * along / kMetresPerDegree;
            epochs[i].position.height += m.up * double(i);
        }
        checktest::WriteEpochs(trv, epochs);
        Classifier checks(trv, m.ratio);
        EXPECT_EQ(checks.Class(), m.expected) << m.north << (m.zigzag ? " zigzag " : " ") << m.up << " " << m.ratio;
    }

    // Four GPS satellites in lock: every relaxation is tried, and no height
    // ever qualifies.
    Epochs epochs = still;
    for (CGnssEpoch& epoch : epochs)
        for (size_t k = 4; k < epoch.satelliteList.size(); ++k)
            if (CGnssSatellite* gps = epoch.GetSatellite(epoch.satelliteList[k]); gps->id.constellation == kGps)
                gps->GetSignal(0)->lockTime = 0.0f;
    checktest::WriteEpochs(trv, epochs);
    Classifier checks(trv);
    EXPECT_EQ(checks.Class(), kDynamicsUnknown);
    EXPECT_EQ(std::make_tuple(checks.lastDynamics.minSatellites, checks.lastDynamics.minLock), std::make_tuple(4, 3.0));
}

TEST(Dynamics, MarkerFilesOverrideTheClass) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, {.epochs = 120});
    struct Case { uint32_t found; std::vector<const char*> markers; uint32_t expected; };
    const Case cases[] = {{6, {}, 6},       {6, {".imr"}, 7}, {6, {".imr", ".hmr"}, 5}, {6, {".hmr"}, 6},
                          {7, {".hmr"}, 5}, {5, {}, 1},       {5, {".hmr"}, 5},         {0, {".mmr"}, 2},
                          {2, {".dmr"}, 1}, {6, {".mmr", ".dmr"}, 1}};
    CTrvPreprocessor checks;
    ASSERT_TRUE(checks.Open(trv.c_str(), kTrvReadWrite, false));
    for (const Case& c : cases) {
        for (const char* marker : c.markers) std::ofstream(dir.File(std::string("sample") + marker));
        checks.resultsV2.dynamicsClass = checks.resultsV3.dynamicsClass = c.found;
        checks.ApplyMarkerFiles();
        const uint32_t v2 = checks.ResultsV2().dynamicsClass, v3 = checks.ResultsV3().dynamicsClass;   // packed
        EXPECT_EQ(std::make_pair(v2, v3), std::make_pair(c.expected, c.expected)) << c.found << " " << c.markers.size();
        for (const char* marker : c.markers) std::filesystem::remove(dir.File(std::string("sample") + marker));
    }
}
