// Saastamoinen with its climatology, against a plain re-computation of the
// formulas, and its limits in height and near the horizon.
#include <gtest/gtest.h>

#include <cmath>

#include "positioning/TroposphereModel.h"

namespace {

constexpr double kPi = 3.14159265358979323846;


// Saastamoinen as the model uses it: climatology temperature and pressure,
// vapour pressure 0.6 mbar, B from the table, the 25 m cut left to the caller.
double Saastamoinen(double latDeg, double heightM, double elevationDeg, double mjd) {
    const double lat = latDeg * kPi / 180, h = heightM / 1000, z = (90 - elevationDeg) * kPi / 180;
    const double years = (mjd - 51545) / 365.242191;
    const double phase = years - std::trunc(years);
    const double t = std::sin(lat) * (3.3 * h - 14.3) * std::cos(2 * kPi * phase) + 48.4 * std::cos(lat) - 3.1 * h -
                     20.5 + std::sin(lat) * (1.1 * h - 4.7) * std::sin(2 * kPi * phase);
    const double p = 1013.25 * std::pow((t + 273.15) / (t + 273.15 + 6.5 * h), 5.26);
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

// MJD of a GPS time, written out: the GPS epoch is MJD 44244.
double Mjd(int week, double seconds) { return 44244 + week * 7 + seconds / 86400; }

TEST(Troposphere, FollowsSaastamoinenWithinItsLimits) {
    const CTroposphereModel model;
    const GpsTime summer(2300, 345600.0), winter(2325, 200000.0);
    // At the zenith at sea level the delay is the zenith delay of about 2.3 m.
    const double zenith = model.Delay(summer, {45.0, 7.0, 0.0}, kPi / 2);
    EXPECT_NEAR(zenith, Saastamoinen(45.0, 0.0, 90.0, Mjd(2300, 345600.0)), 1e-9);
    EXPECT_NEAR(zenith, 2.31, 0.02);
    // Between the rows of the B table, in the southern winter.
    EXPECT_NEAR(model.Delay(winter, {-33.9, 18.4, 1200.0}, 20 * kPi / 180),
                Saastamoinen(-33.9, 1200.0, 20.0, Mjd(2325, 200000.0)), 1e-9);
    // A time before the reference day of the climatology: the season runs
    // backwards from it.
    EXPECT_NEAR(model.Delay(GpsTime(1000, 100000.0), {60.0, 25.0, 30.0}, 40 * kPi / 180),
                Saastamoinen(60.0, 30.0, 40.0, Mjd(1000, 100000.0)), 1e-9);

    // Near the horizon B tan^2 z takes over. At 5 degrees the formula still
    // gives about 22.6 m; at 4 degrees it passes 25 m and the model gives up.
    const double five = model.Delay(summer, {45.0, 7.0, 0.0}, 5 * kPi / 180);
    EXPECT_NEAR(five, Saastamoinen(45.0, 0.0, 5.0, Mjd(2300, 345600.0)), 1e-9);
    EXPECT_NEAR(five, 22.6, 0.1);
    ASSERT_GT(Saastamoinen(45.0, 0.0, 4.0, Mjd(2300, 345600.0)), 25.0);
    EXPECT_EQ(model.Delay(summer, {45.0, 7.0, 0.0}, 4 * kPi / 180), 0.0);

    // 15 km is the highest receiver with a delay, where B has fallen to 0.
    const double top = model.Delay(summer, {45.0, 7.0, 15000.0}, 30 * kPi / 180);
    EXPECT_NEAR(top, Saastamoinen(45.0, 15000.0, 30.0, Mjd(2300, 345600.0)), 1e-9);
    EXPECT_GT(top, 0.1);
    EXPECT_EQ(model.Delay(summer, {45.0, 7.0, 15000.001}, 30 * kPi / 180), 0.0);
    EXPECT_EQ(model.Delay(summer, {0.0, 0.0, 0.0}, kPi / 2), 0.0);   // no position yet
}

TEST(Troposphere, ClimatologyBeforeTheReferenceDay) {
    const CTroposphereModel model;
    double t = 0, p = 0, humidity = 0;
    // 0.3 of a year before the reference day; the height is in kilometres.
    const int mjd = 51545 - 110;
    const double fraction = 110 - 0.3 * 365.242191;
    model.StandardAtmosphere(t, p, humidity, 50 * kPi / 180, 2.0, mjd, fraction);
    const double lat = 50 * kPi / 180, season = 2 * kPi * -0.3;
    const double expected = std::sin(lat) * (3.3 * 2 - 14.3) * std::cos(season) + 48.4 * std::cos(lat) - 6.2 - 20.5 +
                            std::sin(lat) * (2.2 - 4.7) * std::sin(season);
    EXPECT_NEAR(t, expected, 1e-9);
    EXPECT_NEAR(p, 1013.25 * std::pow((t + 273.15) / (t + 273.15 + 13.0), 5.26), 1e-9);
    EXPECT_EQ(humidity, 0.5);
}

}  // namespace
