// Saastamoinen with its climatology against a plain re-computation of the
// formulas, and its limits in height and near the horizon.
#include <gtest/gtest.h>

#include <cmath>

#include "positioning/TroposphereModel.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The climatology of a latitude and height (km) and a season in years.
void Weather(double lat, double h, double years, double& t, double& p) {
    const double phase = 2 * kPi * (years - std::trunc(years));
    t = std::sin(lat) * (3.3 * h - 14.3) * std::cos(phase) + 48.4 * std::cos(lat) - 3.1 * h - 20.5 +
        std::sin(lat) * (1.1 * h - 4.7) * std::sin(phase);
    p = 1013.25 * std::pow((t + 273.15) / (t + 273.15 + 6.5 * h), 5.26);
}

// Saastamoinen with vapour pressure 0.6 mbar and B from its table; the
// 25 m cut is left to the caller. The time is a GPS week and seconds.
double Saastamoinen(double latDeg, double heightM, double elevationDeg, int week, double seconds) {
    const double lat = latDeg * kPi / 180, h = heightM / 1000, z = (90 - elevationDeg) * kPi / 180;
    double t = 0, p = 0;
    Weather(lat, h, (44244 + week * 7 + seconds / 86400 - 51545) / 365.242191, t, p);
    const double heights[] = {0, 0.5, 1, 1.5, 2, 2.5, 3, 4, 5, 7, 10, 15};
    const double bs[] = {1.156, 1.079, 1.006, 0.938, 0.874, 0.813, 0.757, 0.654, 0.563, 0.407, 0.222, 0};
    double b = h <= 0 ? 1.156 : 0;
    for (int i = 0; i < 11; ++i)
        if (h >= heights[i] && h < heights[i + 1])
            b = bs[i] + (h - heights[i]) / (heights[i + 1] - heights[i]) * (bs[i + 1] - bs[i]);
    const double wet = 0.6 * (1255 / (t + 273) + 0.05);
    return (p + wet - b * std::tan(z) * std::tan(z)) * 0.002277 / std::cos(z) *
           (1 + 0.0026 * std::cos(2 * lat) + 0.00028 * h);
}

TEST(Troposphere, FollowsSaastamoinenWithinItsLimits) {
    const CTroposphereModel model;
    const GpsTime summer(2300, 345600.0);
    const auto delay = [&](double lat, double height, double elevation, GpsTime time = GpsTime(2300, 345600.0)) {
        return model.Delay(time, {lat, 7.0, height}, elevation * kPi / 180);
    };
    EXPECT_NEAR(delay(45, 0, 90), Saastamoinen(45, 0, 90, 2300, 345600), 1e-9);
    EXPECT_NEAR(delay(45, 0, 90), 2.31, 0.02);   // the zenith delay at sea level
    // Between the rows of the B table, in the southern winter; and a time
    // before the reference day of the climatology.
    EXPECT_NEAR(delay(-33.9, 1200, 20, GpsTime(2325, 2e5)), Saastamoinen(-33.9, 1200, 20, 2325, 2e5), 1e-9);
    EXPECT_NEAR(delay(60, 30, 40, GpsTime(1000, 1e5)), Saastamoinen(60, 30, 40, 1000, 1e5), 1e-9);

    // Near the horizon B tan^2 z takes over: at 5 degrees the formula still
    // gives 22.6 m, at 4 degrees it passes 25 m and the model gives up.
    EXPECT_NEAR(delay(45, 0, 5), Saastamoinen(45, 0, 5, 2300, 345600), 1e-9);
    EXPECT_NEAR(delay(45, 0, 5), 22.6, 0.1);
    ASSERT_GT(Saastamoinen(45, 0, 4, 2300, 345600), 25.0);
    EXPECT_EQ(delay(45, 0, 4), 0.0);

    // 15 km is the highest receiver with a delay; there B has fallen to 0.
    EXPECT_NEAR(delay(45, 15000, 30), Saastamoinen(45, 15000, 30, 2300, 345600), 1e-9);
    EXPECT_GT(delay(45, 15000, 30), 0.1);
    EXPECT_EQ(delay(45, 15000.001, 30), 0.0);
    EXPECT_EQ(model.Delay(summer, {0.0, 0.0, 0.0}, kPi / 2), 0.0);   // no position yet

    // The climatology itself takes kilometres; 0.3 of a year before the
    // reference day.
    double t = 0, p = 0, humidity = 0, expectedT = 0, expectedP = 0;
    model.StandardAtmosphere(t, p, humidity, 0.9, 2.0, 51545 - 110, 110 - 0.3 * 365.242191);
    Weather(0.9, 2.0, -0.3, expectedT, expectedP);
    EXPECT_TRUE(std::fabs(t - expectedT) < 1e-9 && std::fabs(p - expectedP) < 1e-9 && humidity == 0.5);
}

}  // namespace
