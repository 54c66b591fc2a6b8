// The broadcast Klobuchar model against a plain re-computation of
// IS-GPS-200 20.3.3.5.2.5 by day, by night and at a clamped latitude, and
// the store's screening of its delay by receiver height.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kAlpha[4] = {1.1176e-8, 7.4506e-9, -5.9605e-8, -5.9605e-8}, kBeta[4] = {90112, 0, -196608, -65536};

// Seconds of delay; angles in semicircles inside. Tells which branches it took.
double Klobuchar(double latDeg, double lonDeg, double elDeg, double azDeg, double tow, bool& clamped, bool& night) {
    const double el = elDeg / 180, az = azDeg * kPi / 180, psi = 0.0137 / (el + 0.11) - 0.022;
    double phiI = latDeg / 180 + psi * std::cos(az);
    clamped = std::fabs(phiI) > 0.416;
    phiI = std::fmin(std::fmax(phiI, -0.416), 0.416);
    const double lambdaI = lonDeg / 180 + psi * std::sin(az) / std::cos(phiI * kPi);
    const double phiM = phiI + 0.064 * std::cos((lambdaI - 1.617) * kPi);
    double t = 4.32e4 * lambdaI + tow, amp = 0, per = 0;
    while (t >= 86400) t -= 86400;
    while (t < 0) t += 86400;
    for (int n = 0; n < 4; ++n) amp += kAlpha[n] * std::pow(phiM, n), per += kBeta[n] * std::pow(phiM, n);
    const double x = 2 * kPi * (t - 50400) / std::fmax(per, 72000), f = 1 + 16 * std::pow(0.53 - el, 3);
    night = std::fabs(x) >= 1.57;
    return night ? f * 5e-9 : f * (5e-9 + std::fmax(amp, 0) * (1 - x * x / 2 + x * x * x * x / 24));
}

std::vector<std::string> reports;
void Collect(int level, double, const char* text) { reports.push_back(std::to_string(level) + " " + text); }

class Ionosphere : public ::testing::Test {
protected:
    void SetUp() override {
        reports.clear();
        store.SetIonosphere({kIonosphereModelValid, {kAlpha[0], kAlpha[1], kAlpha[2], kAlpha[3]},
                             {kBeta[0], kBeta[1], kBeta[2], kBeta[3]}});
    }
    CEphemerisStore store{Collect};
};

TEST_F(Ionosphere, KlobucharByDayByNightAndAtAClampedLatitude) {
    // latitude, longitude, elevation, azimuth, seconds of week, night, clamped
    const double cases[][7] = {
        {40, -100, 20, 210, 74400, 0, 0},    // 14:00 local, the peak
        {40, -100, 20, 210, 117600, 1, 0},   // 02:00 local
        {-35, -170, 45, 80, 100, 0, 0},      // local time wraps from below 0
        {-35, -170, 45, 80, 200000, 1, 0},   // and from above a day
        {-70, 15, 10, 200, 392000, 0, 1},    // looking south from the far south
        {70, 15, 10, 0, 392000, 0, 1},       // far north, where the amplitude falls below 0
    };
    for (const auto& c : cases) {
        double delay = 1.0;
        char text[512] = "";
        bool clamped = false, night = false;
        ASSERT_TRUE(store.KlobucharDelay(GpsTime(2300, c[4]), {c[0], c[1], 100.0}, c[2] * kPi / 180, c[3] * kPi / 180,
                                         delay, text));
        EXPECT_NEAR(delay, -Klobuchar(c[0], c[1], c[2], c[3], c[4], clamped, night) * 299792458.0, 1e-9) << c[4];
        EXPECT_TRUE(delay < 0 && night == (c[5] != 0) && clamped == (c[6] != 0) && text[0] == 0) << c[4];
    }
    CEphemerisStore empty;
    double delay = 1.0;
    char text[512] = "";
    EXPECT_FALSE(empty.KlobucharDelay(GpsTime(2300, 0.0), {40.0, -100.0, 0.0}, 0.5, 0.5, delay, text));
    EXPECT_STREQ(text, "No valid broadcast GPS ephemeris ionospheric model.");
    EXPECT_EQ(delay, 0.0);
    EXPECT_FALSE(empty.IonosphereDelay(GpsTime(2300, 0.0), {40.0, -100.0, 0.0}, 0.5, 0.5, delay, nullptr));
}

TEST_F(Ionosphere, ScreenedByReceiverHeight) {
    double delay = 0;
    char text[512] = "";
    const auto at = [&](double heightM, char* errorText = nullptr) {
        return store.IonosphereDelay(GpsTime(2300, 74400.0), {40.0, -100.0, heightM}, 0.6, 1.0, delay, errorText);
    };
    ASSERT_TRUE(at(100.0));
    const double ground = delay;
    ASSERT_TRUE(ground < -1.0 && at(60000.0));   // the lower bound itself is below the ionosphere
    EXPECT_TRUE(delay == ground && reports.empty());
    // Inside it the delay is kept and the missing share reported, to the
    // caller's buffer if there is one, else to the host.
    ASSERT_TRUE(at(500000.0));
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(delay == ground && reports[0] == "2 Internal error: Missing auroral coefficient Hgt 500.000 km");
    ASSERT_TRUE(at(60500.0, text));
    EXPECT_STREQ(text, "Internal error: Missing auroral coefficient Hgt 60.500 km");
    ASSERT_TRUE(at(1050000.0));   // above the ionosphere
    EXPECT_EQ(delay, 0.0);
    // A delay of 500 m or more is not screened at all.
    store.SetIonosphere({kIonosphereModelValid, {2e-6, 0, 0, 0}, {90112, 0, 0, 0}});
    ASSERT_TRUE(at(2000000.0));
    EXPECT_LE(delay, -500.0);
    ASSERT_TRUE(at(500000.0));
    EXPECT_EQ(reports.size(), 1u);
}

}  // namespace
