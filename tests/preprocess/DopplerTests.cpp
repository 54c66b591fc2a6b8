#include <cmath>
#include <memory>

#include "positioning/SatelliteService.h"
#include "preprocess/CheckFixture.h"
#include "preprocess/TrvDamage.h"

namespace {

// Calls compare(original, repaired, has a rate) for the first signal of
// every satellite of every epoch; a rate needs the signal in the epoch
// before, or for the first epoch in the second, which lends it its own.
template <typename Compare>
void CompareFirstSignals(const damage::Epochs& original, const std::string& path, Compare&& compare) {
    const damage::Epochs repaired = checktest::ReadEpochs(path);
    ASSERT_EQ(repaired.size(), original.size());
    for (size_t k = 0; k < original.size(); ++k)
        for (const SatelliteId& id : original[k].satelliteList)
            if (const CGnssSignal* before = original[k].GetSignal(id, 0))
                compare(before->doppler, repaired[k].GetSignal(id, 0)->doppler,
                        original[k > 0 ? k - 1 : 1].GetSignal(id, 0) != nullptr);
}

// A short log, since the unit vote takes the range rate from the last
// sample and a one-step rate only arises where every epoch is a sample, in
// files under five minutes. The real log tracks no GLONASS, whose
// wavelengths would need the ephemeris it does not carry.
class DopplerDamage : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (std::string(GetParam()) == "sample") {
            path = checktest::ConvertSample(dir, {.epochs = 200});
        } else {
            SKIP_WITHOUT_SHARED_LOGS();
            path = dir.File("real.trv");
            checktest::ConvertRealLog(GetParam(), path);
        }
        original = checktest::ReadEpochs(path);
    }
    ubxtest::TempDir dir;
    std::string path;
    damage::Epochs original;
};

TEST_P(DopplerDamage, AWrongUnitIsFoundAndUndone) {
    CSatelliteService service(nullptr);
    service.LoadBroadcastEphemeris((path.substr(0, path.size() - 4) + ".epp").c_str(), nullptr, true);
    damage::Epochs epochs = original;
    damage::ScaleDoppler(epochs, [&](const SatelliteId& id) {
        double wavelength = 0.0;
        return service.GetWavelength(id, 0, wavelength) ? -1.0 / wavelength : 1.0;
    });
    auto checks = checktest::Surveyed(path, epochs);
    EXPECT_TRUE(checks->dopplerUnitsWrong);
    EXPECT_FALSE(checks->dopplerSignWrong || checks->dopplerInvalid || checks->dopplerSpoilt);
    checks->RepairDopplerUnits();
    EXPECT_GT(checks->dopplerRepairCount, 0);
    checks.reset();
    CompareFirstSignals(original, path, [](float before, float after, bool) { EXPECT_FLOAT_EQ(after, before); });
}

TEST_P(DopplerDamage, ATurnedSignIsFoundAndUndone) {
    damage::Epochs epochs = original;
    damage::ScaleDoppler(epochs, [](const SatelliteId&) { return -1.0; });
    auto checks = checktest::Surveyed(path, epochs);
    EXPECT_TRUE(checks->dopplerSignWrong);
    EXPECT_FALSE(checks->dopplerUnitsWrong || checks->dopplerInvalid || checks->dopplerSpoilt);
    EXPECT_GT(checks->RepairDopplerSign(), 0);
    checks.reset();
    CompareFirstSignals(original, path, [](float before, float after, bool) { EXPECT_EQ(after, before); });
}

INSTANTIATE_TEST_SUITE_P(Logs, DopplerDamage, ::testing::Values("sample", "f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx"),
                         [](const auto& info) { return info.index == 0 ? "Sample" : "RealF9t"; });

// A Doppler of the sample is the phase rate at its epoch; a recomputed one
// is the range rate over the one-second step before, centred half a step
// earlier. Satellites in medium orbits seen from the ground change their
// Doppler by less than 1 Hz/s, so the two differ by under 0.5 Hz. The
// sample's ranges carry no noise; a real receiver's ~0.3 m would add ~2 Hz.
constexpr double kRecomputedHz = 0.5;

TEST(DopplerRecompute, RangeRatesReplaceZerosOrEveryDoppler) {
    ubxtest::TempDir dir;
    const std::string path = checktest::ConvertSample(dir, {});
    const damage::Epochs original = checktest::ReadEpochs(path);
    damage::Epochs epochs = original;
    damage::ZeroDoppler(epochs);
    auto checks = checktest::Surveyed(path, epochs);
    EXPECT_TRUE(checks->dopplerInvalid);
    EXPECT_FALSE(checks->dopplerUnitsWrong || checks->dopplerSignWrong || checks->dopplerSpoilt);
    EXPECT_GT(checks->RecomputeDopplerSelective(), 0);
    checks.reset();
    // A zero within 10 Hz of the rate stands, and a satellite just risen has
    // no rate yet.
    CompareFirstSignals(original, path, [](float before, float after, bool hasRate) {
        EXPECT_TRUE(after != 0.0f ? std::fabs(after - before) <= kRecomputedHz
                                  : !hasRate || std::fabs(before) <= 10.0 + kRecomputedHz)
            << before << " became " << after;
    });

    // The full recomputation, on the undamaged file, replaces every first
    // signal that has a rate.
    checktest::WriteEpochs(path, original);
    CTrvPreprocessor full;
    ASSERT_TRUE(full.Open(path.c_str(), kTrvReadWrite, false));
    EXPECT_GT(full.RecomputeDopplerFull(), 0);
    full.Close(false);
    CompareFirstSignals(original, path, [](float before, float after, bool hasRate) {
        EXPECT_NEAR(after, before, kRecomputedHz);
        EXPECT_TRUE(!hasRate || after != before);
    });
}

}  // namespace
