// The satellite service: broadcast states exactly as the store gives them,
// light time and the Earth's turn checked by an independent computation,
// the choice among sources with its capped warnings, the relativistic term
// of products, wavelengths and the week search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "Scenario.h"
#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "ephemeris/EphemerisStore.h"
#include "positioning/SatelliteService.h"

namespace {

std::vector<std::string> notes;
void Note(int level, double, const char* text) { notes.push_back(std::to_string(level) + " " + text); }

// An orbit product that answers every other call, at a fixed state.
class CAlternatingProduct : public IOrbitProduct {
public:
    void Reset() override {}
    bool ComputeClock(const SatelliteId&, const GpsTime&, double& bias, char*) override {
        ++calls;
        bias = 1e-4;
        return answer;
    }
    bool ComputeOrbit(const SatelliteId&, const GpsTime&, const double*, double, double position[3],
                      double velocity[3], char*) override {
        Fill(position, velocity);
        const bool result = answer;
        answer = !answer;
        return result;
    }
    bool ComputeOrbitAndClock(const SatelliteId& id, const GpsTime& t, const double* rx, double range,
                              double position[3], double velocity[3], double& clock, char* text) override {
        clock = 0.0;
        return ComputeOrbit(id, t, rx, range, position, velocity, text);
    }
    static void Fill(double position[3], double velocity[3]) {
        const double p[3] = {15e6, 10e6, 18e6}, v[3] = {-1500.0, 2500.0, 300.0};
        for (int k = 0; k < 3; ++k) position[k] = p[k], velocity[k] = v[k];
    }
    bool answer = true;
    int calls = 0;
};

class SatelliteServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        scenario::FillStore(store);
        epp = scenario::SaveEpp(store, dir);
        notes.clear();
        scenario::StationEcef(station);
    }
    ubxtest::TempDir dir;
    CEphemerisStore store;
    std::string epp;
    double station[3];
    const GpsTime time{scenario::kWeek, scenario::kEpochTime};
};

TEST_F(SatelliteServiceTest, BroadcastStatesAreTheStoresToTheLastBit) {
    CSatelliteService service(Note);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    CEphemerisStore reference;
    ASSERT_TRUE(LoadEphemerisFile(reference, epp.c_str(), true));
    for (const SatelliteId id : {SatelliteId(kGps, 3), SatelliteId(kGps, 17), SatelliteId(kGalileo, 5)}) {
        double p1[3], v1[3], c1 = 0.0, p2[3], v2[3], c2 = 0.0;
        ASSERT_TRUE(service.ComputeSatellite(id, time, station, 2.2e7, p1, v1, c1, kBroadcastOnly, nullptr));
        ASSERT_TRUE(reference.ComputeSatelliteState(id, time, station, 2.2e7, p2, v2, c2));
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(p1[k], p2[k]);
            EXPECT_EQ(v1[k], v2[k]);
        }
        EXPECT_EQ(c1, c2);
        EXPECT_EQ(service.OrbitSourceUsed(), kBroadcastOrbit);
    }
    for (const std::string& n : notes) EXPECT_NE(n[0], '2') << n;
}

// Written out again here: the satellite where it stood when the signal
// left, found by iterating the flight time, then turned with the Earth by
// the flight time.
// The ephemerides reach from two hours before their first reference time
// to two hours after the last; the antenna tables cover those whole days.
TEST_F(SatelliteServiceTest, AntennaTablesCoverTheWholeDaysOfTheEphemerides) {
    CSatelliteService service(Note);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    const GpsTimeRange& range = service.Antenna()->LoadedRange();
    EXPECT_EQ(range.first.week, scenario::kWeek);
    EXPECT_EQ(range.first.seconds, 3 * 86400.0);   // 22:00 of day 3 is the first moment
    EXPECT_EQ(range.last.seconds, 5 * 86400.0);    // 04:00 of day 4 the last
    EXPECT_NE(std::find(notes.begin(), notes.end(), "3 Loaded manufact.atx after broadcast ephemeris"), notes.end());
}

TEST_F(SatelliteServiceTest, LightTimeAndEarthRotationAgreeWithAnIndependentComputation) {
    CSatelliteService service(nullptr);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    const double earthRate = 7.2921151467e-05;
    for (const SatelliteId id : {SatelliteId(kGps, 5), SatelliteId(kGps, 20), SatelliteId(kGalileo, 2)}) {
        const GNSS::IEphemeris& e = *store.GetRecords(id).front();
        const double clock = e.ComputeClockBias(time) + e.GetClockRateTerm(time);
        double tau = 0.075, position[3] = {}, velocity[3];
        for (int i = 0; i < 10; ++i) {
            double p[3];
            ASSERT_TRUE(e.ComputePositionVelocity(time - (tau + clock), 0.0, p, velocity));
            const double theta = earthRate * tau;
            position[0] = p[0] * std::cos(theta) + p[1] * std::sin(theta);
            position[1] = p[1] * std::cos(theta) - p[0] * std::sin(theta);
            position[2] = p[2];
            tau = scenario::Distance(position, station) / kSpeedOfLight;
        }
        double got[3], v[3], c = 0.0;
        ASSERT_TRUE(service.ComputeSatellite(id, time, station, 2.2e7, got, v, c, kBroadcastOnly, nullptr));
        EXPECT_LT(scenario::Distance(got, position), 1e-3) << id.prn;
    }
}

TEST_F(SatelliteServiceTest, SourceChangesAreToldFiveTimesAtMostPerSatellite) {
    CSatelliteService service(Note);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    auto product = std::make_unique<CAlternatingProduct>();
    CAlternatingProduct& fake = *product;
    service.preciseOrbit = std::move(product);
    notes.clear();

    const SatelliteId id(kGps, 7);
    double p[3], v[3], c = 0.0;
    // The product answers: precise orbit as assumed at first, but its clock
    // comes from the orbit, not from a clock product: one clock warning.
    ASSERT_TRUE(service.ComputeSatellite(id, time, station, 2.2e7, p, v, c, kProductsThenBroadcast, nullptr));
    EXPECT_EQ(service.OrbitSourceUsed(), kPreciseOrbit);
    EXPECT_EQ(service.ClockSourceUsed(), kClockFromPreciseOrbit);
    // Products have no relativistic term in their clock.
    EXPECT_NEAR(c, 1e-4 * kSpeedOfLight - 2.0 * (15e6 * -1500.0 + 10e6 * 2500.0 + 18e6 * 300.0) / kSpeedOfLight,
                1e-9);
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0], "3 G07: satellite clock bias was computed from precise orbit data");

    // Then broadcast, product, broadcast ...: each change is told until five.
    for (int i = 0; i < 12; ++i)
        ASSERT_TRUE(service.ComputeSatellite(id, time, station, 2.2e7, p, v, c, kProductsThenBroadcast, nullptr));
    int orbitNotes = 0, clockNotes = 0;
    for (const std::string& n : notes) (n.find("position") != std::string::npos ? orbitNotes : clockNotes)++;
    EXPECT_EQ(orbitNotes, 5);
    EXPECT_EQ(clockNotes, 5);
    EXPECT_EQ(notes[1], "3 G07: satellite position was computed from broadcast ephemeris data");
    EXPECT_NE(std::find(notes.begin(), notes.end(),
                        "3 G07: satellite clock bias was computed from precise orbit data, no more clock warnings "
                        "will be issued for for this satellite"),
              notes.end());
    bool closing = false;
    for (const std::string& n : notes)
        closing |= n.find(", no more orbit related problems will be issued for this satellite") != std::string::npos;
    EXPECT_TRUE(closing);

    // An invalid week asks no source.
    const int before = fake.calls;
    char text[512];
    EXPECT_FALSE(service.ComputeSatellite(id, GpsTime(1023, 1.0), station, 2.2e7, p, v, c, kProductsThenBroadcast,
                                          text));
    EXPECT_STREQ(text, "Orbit computation failed because of invalid GPS week number(week 1023)");
    EXPECT_EQ(fake.calls, before);
    EXPECT_FALSE(service.ComputeSatellite(id, time, station, 2.2e7, p, v, c, 4, nullptr));
}

TEST_F(SatelliteServiceTest, FailuresReadWithTheSatelliteInFront) {
    CSatelliteService service(Note);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    char text[512];
    double p[3], v[3], c = 0.0;
    EXPECT_FALSE(service.ComputeSatellite(SatelliteId(kGps, 30), time, station, 2.2e7, p, v, c, kBroadcastOnly, text));
    EXPECT_STREQ(text, "G30 GPS PRN30 has no broadcast ephemeris data");
    // Told once per satellite by the store; the next failure has no words.
    EXPECT_FALSE(service.ComputeSatellite(SatelliteId(kGps, 30), time, station, 2.2e7, p, v, c, kBroadcastOnly, text));
    EXPECT_STREQ(text, "");
}

TEST_F(SatelliteServiceTest, WavelengthsWeeksAndTheIonosphereWithoutAStore) {
    CSatelliteService empty(nullptr);
    double wavelength = 0.0, delay = 1.0;
    EXPECT_FALSE(empty.GetWavelength(SatelliteId(kGlonass, 3), 0, wavelength));
    EXPECT_FALSE(empty.IonosphereDelay(time, scenario::kStation, 1.0, 0.0, delay, nullptr));
    EXPECT_EQ(empty.FindGpsWeek(scenario::kToe, 1800.0), 0);
    char text[512];
    EXPECT_FALSE(empty.IonosphereDelay(time, scenario::kStation, 1.0, 0.0, delay, text));
    EXPECT_STREQ(text, "No broadcast ephemeris/ionospheric model was loaded.");

    CSatelliteService service(nullptr);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(epp.c_str(), nullptr, true));
    EXPECT_TRUE(service.GetWavelength(SatelliteId(kGps, 1), 2, wavelength));
    EXPECT_DOUBLE_EQ(wavelength, kSpeedOfLight / 1176.45e6);
    EXPECT_TRUE(service.GetWavelength(SatelliteId(kBeiDou, 1), 0, wavelength));
    EXPECT_DOUBLE_EQ(wavelength, kSpeedOfLight / 1561.098e6);
    EXPECT_FALSE(service.GetWavelength(SatelliteId(kQzss, 1), 4, wavelength));
    EXPECT_FALSE(service.GetWavelength(SatelliteId(kGlonass, 3), 0, wavelength)) << "no GLONASS record";
    EXPECT_EQ(service.FindGpsWeek(scenario::kToe + 1799.0, 1800.0), scenario::kWeek);
    EXPECT_EQ(service.FindGpsWeek(scenario::kToe + 1800.0, 1800.0), 0);
}

TEST_F(SatelliteServiceTest, GlonassWavelengthFollowsTheChannel) {
    GloEphemerisRecord r{};
    r.prn = 4, r.tb = 45000, r.channel = -3, r.gpsWeek = scenario::kWeek, r.gpsSeconds = scenario::kToe;
    r.position[0] = 20000.0, r.position[1] = 10000.0, r.position[2] = 8000.0;
    store.AddGlonass(r);
    const std::string path = scenario::SaveEpp(store, dir);
    CSatelliteService service(nullptr);
    ASSERT_TRUE(service.LoadBroadcastEphemeris(path.c_str(), nullptr, true));
    double wavelength = 0.0;
    ASSERT_TRUE(service.GetWavelength(SatelliteId(kGlonass, 4), 1, wavelength));
    EXPECT_DOUBLE_EQ(wavelength, kSpeedOfLight / (1.246e9 - 3 * 437500.0));
}

}  // namespace
