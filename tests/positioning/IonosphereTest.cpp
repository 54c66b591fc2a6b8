// The broadcast Klobuchar model against a plain re-computation of
// IS-GPS-200 20.3.3.5.2.5 at day, night and a clamped latitude, and the
// store's screening of its delay by receiver height.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// IS-GPS-200 20.3.3.5.2.5 written out plainly; angles in semicircles.
struct Klobuchar {
    double alpha[4], beta[4];
    bool clamped = false, night = false;

    double Seconds(double latDeg, double lonDeg, double elevationDeg, double azimuthDeg, double gpsSeconds) {
        const double el = elevationDeg / 180, az = azimuthDeg * kPi / 180;
        const double psi = 0.0137 / (el + 0.11) - 0.022;
        double phiI = latDeg / 180 + psi * std::cos(az);
        clamped = std::fabs(phiI) > 0.416;
        if (phiI > 0.416) phiI = 0.416;
        if (phiI < -0.416) phiI = -0.416;
        const double lambdaI = lonDeg / 180 + psi * std::sin(az) / std::cos(phiI * kPi);
        const double phiM = phiI + 0.064 * std::cos((lambdaI - 1.617) * kPi);
        double t = 4.32e4 * lambdaI + gpsSeconds;
        while (t >= 86400) t -= 86400;
        while (t < 0) t += 86400;
        const double f = 1 + 16 * std::pow(0.53 - el, 3);
        double amp = 0, per = 0;
        for (int n = 0; n < 4; ++n) amp += alpha[n] * std::pow(phiM, n), per += beta[n] * std::pow(phiM, n);
        if (amp < 0) amp = 0;
        if (per < 72000) per = 72000;
        const double x = 2 * kPi * (t - 50400) / per;
        night = std::fabs(x) >= 1.57;
        return night ? f * 5e-9 : f * (5e-9 + amp * (1 - x * x / 2 + x * x * x * x / 24));
    }
};

std::vector<std::string> reports;
void Collect(int level, double, const char* text) { reports.push_back(std::to_string(level) + " " + text); }

class Ionosphere : public ::testing::Test {
protected:
    void SetUp() override {
        reports.clear();
        store.SetIonosphere({kIonosphereModelValid, {1.1176e-8, 7.4506e-9, -5.9605e-8, -5.9605e-8},
                             {90112, 0, -196608, -65536}});
    }
    CEphemerisStore store{Collect};
    Klobuchar reference{{1.1176e-8, 7.4506e-9, -5.9605e-8, -5.9605e-8}, {90112, 0, -196608, -65536}};
};

TEST_F(Ionosphere, KlobucharAtDayNightAndClampedLatitude) {
    struct Case {
        double lat, lon, elevation, azimuth, seconds;
        bool night, clamped;
    };
    const Case cases[] = {
        {40.0, -100.0, 20.0, 210.0, 74400.0, false, false},   // 14:00 local, the peak
        {40.0, -100.0, 20.0, 210.0, 117600.0, true, false},   // 02:00 local
        {-35.0, -170.0, 45.0, 80.0, 100.0, false, false},     // local time wraps from below 0
        {-35.0, -170.0, 45.0, 80.0, 200000.0, true, false},   // and from above a day
        {-70.0, 15.0, 10.0, 200.0, 392000.0, false, true},    // looking south from the far south
        {70.0, 15.0, 10.0, 0.0, 392000.0, false, true},       // far north: the amplitude falls below 0
    };
    for (const Case& c : cases) {
        double delay = 1.0;
        char text[512] = "";
        ASSERT_TRUE(store.KlobucharDelay(GpsTime(2300, c.seconds), {c.lat, c.lon, 100.0}, c.elevation * kPi / 180,
                                         c.azimuth * kPi / 180, delay, text));
        const double expected = -reference.Seconds(c.lat, c.lon, c.elevation, c.azimuth, c.seconds) * 299792458.0;
        EXPECT_NEAR(delay, expected, 1e-9) << c.lat << " " << c.seconds;
        EXPECT_LT(delay, 0.0);
        EXPECT_TRUE(reference.night == c.night && reference.clamped == c.clamped) << c.lat << " " << c.seconds;
        EXPECT_STREQ(text, "");
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
    const GpsTime time(2300, 74400.0);
    double ground = 0, delay = 0;
    char text[512] = "";
    auto at = [&](double heightM, char* errorText) {
        return store.IonosphereDelay(time, {40.0, -100.0, heightM}, 0.6, 1.0, delay, errorText);
    };
    ASSERT_TRUE(at(100.0, nullptr));
    ground = delay;
    EXPECT_LT(ground, -1.0);
    ASSERT_TRUE(at(60000.0, nullptr));   // the lower bound itself is below the ionosphere
    EXPECT_TRUE(delay == ground && reports.empty());

    // Inside the ionosphere: the delay is kept, and the missing share is
    // reported to the caller's buffer if there is one, else to the host.
    ASSERT_TRUE(at(500000.0, nullptr));
    EXPECT_EQ(delay, ground);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0], "2 Internal error: Missing auroral coefficient Hgt 500.000 km");
    ASSERT_TRUE(at(60500.0, text));
    EXPECT_STREQ(text, "Internal error: Missing auroral coefficient Hgt 60.500 km");
    EXPECT_EQ(reports.size(), 1u);

    ASSERT_TRUE(at(1050000.0, nullptr));   // above the ionosphere
    EXPECT_EQ(delay, 0.0);
    ASSERT_TRUE(at(2000000.0, nullptr));
    EXPECT_EQ(delay, 0.0);

    // A delay of 500 m or more is not screened at all.
    store.SetIonosphere({kIonosphereModelValid, {2e-6, 0, 0, 0}, {90112, 0, 0, 0}});
    ASSERT_TRUE(at(2000000.0, nullptr));
    EXPECT_LE(delay, -500.0);
    ASSERT_TRUE(at(500000.0, nullptr));
    EXPECT_EQ(reports.size(), 1u);
}

}  // namespace
