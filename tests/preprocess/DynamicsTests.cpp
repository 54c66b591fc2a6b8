// The dynamics class from the positions of a file, the marker files that
// override it, and the static/kinematic flags it settles.
#include <filesystem>
#include <fstream>
#include <tuple>
#include <vector>

#include "positioning/SinglePoint.h"
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

// A real log converted, with positions solved as the position repair does
// (5 degree masks), every other epoch flagged kinematic.
std::string SolvedRealLog(const ubxtest::TempDir& dir, const char* log) {
    const std::string trv = dir.File("real.trv");
    ConvertParams params = convtest::MakeParams((ubxtest::SharedUbxDir() / log).string(), trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    CTrvFile file;
    EXPECT_TRUE(file.Open(trv.c_str(), kTrvReadWrite, false));
    CSinglePoint engine(nullptr, false, false);
    SinglePointOptions options;
    for (double& mask : options.elevationMask) mask = 0.08726646259971647;
    engine.SetOptions(options);
    EXPECT_TRUE(engine.LoadBroadcastEphemeris(trv.c_str()));
    CGnssEpoch epoch;
    for (int i = 0; i < file.EpochCount(); ++i) {
        EXPECT_EQ(file.ReadEpochAt(i, epoch), 0);
        engine.ComputeEpoch(epoch, true, true, nullptr, nullptr);
        if (i % 2 == 1) epoch.flags |= kEpochKinematic;
        EXPECT_EQ(file.WriteEpochAt(i, epoch, false), 0);
    }
    return trv;
}

}  // namespace

TEST(Dynamics, RealLogsGetTheClassTheirMotionGivesAndSettleTheFlags) {
    SKIP_WITHOUT_SHARED_LOGS();
    struct Case { const char* log; uint32_t expected; double slow; };
    // No pair is fast in any of them (fast mean 0). The base's slow mean of 0.979 m/s is
    // the noise of single positions; with a heading held over 2 pairs only
    // and net drifts of 12.4 m east and 2.5 m north it stays static (decided
    // at 6 satellites, 4 s of lock; heights 92.0 to 120.6 m, climb run 3).
    // The rovers' slow means of 1.471 m/s (1 Hz; heights 80.7 to 121.6 m,
    // climb run 3) and 1.263 m/s (2 Hz; heights 58.7 to 81.7 m, climb run 3)
    // lie between 1.1 and 2.0: class 7.
    const Case cases[] = {{"m8p_base_1hz_gps_glo_61min.ubx", kDynamicsStatic, 0.979},
                          {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", 7, 1.471},
                          {"m8p_rover_2hz_gps_glo_tm2.ubx", 7, 1.263}};
    for (const Case& c : cases) {
        ubxtest::TempDir dir;
        Classifier checks(SolvedRealLog(dir, c.log));
        EXPECT_EQ(checks.Class(), c.expected) << c.log;
        EXPECT_NEAR(checks.lastDynamics.slowMean, c.slow, 0.0005);
        checks.RewriteMotionFlags();
        const bool kinematic = c.expected != kDynamicsStatic;
        const int count = checks.EpochCount(), odd = count / 2;
        EXPECT_EQ(checks.kinematicToStatic, kinematic ? 0 : odd);
        EXPECT_EQ(checks.staticToKinematic, kinematic ? count - odd : 0);
        for (const CGnssEpoch& epoch : checktest::ReadEpochs(dir.File("real.trv")))
            ASSERT_EQ((epoch.flags & kEpochKinematic) != 0, kinematic) << c.log;
    }
}

TEST(Dynamics, EachRuleOnAReceiverMovedOnPurpose) {
    ubxtest::TempDir dir;
    const std::string trv = checktest::ConvertSample(dir, {.epochs = 120});
    const Epochs still = damage::Load(trv);
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
        damage::Save(trv, epochs);
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
    damage::Save(trv, epochs);
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
