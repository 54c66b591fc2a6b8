// The GPS broadcast ionosphere model (Klobuchar, IS-GPS-200 20.3.3.5.2.5)
// held by the store, and the screening of its delay by receiver height.
#include <cmath>
#include <cstdio>
#include <numbers>

#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kSemicirclesPerDegree = 1.0 / 180.0;

// The model's constants, in semicircles and seconds as broadcast.
constexpr double kEarthAngleNumerator = 0.0137;
constexpr double kEarthAngleOffset = 0.11;
constexpr double kEarthAngleBias = 0.022;
constexpr double kLatitudeLimit = 0.416;          // of the ionospheric point
constexpr double kPoleOffset = 0.064;             // geomagnetic pole
constexpr double kPoleLongitude = 1.617;
constexpr double kSecondsPerSemicircle = 43200.0;
constexpr double kPeakLocalTime = 50400.0;        // 14:00 local time
constexpr double kShortestPeriod = 72000.0;
constexpr double kNightDelay = 5e-9;              // seconds
constexpr double kDaytimeLimit = 1.57;            // |x| of the cosine's half wave
constexpr double kObliquityPeak = 0.53;
constexpr double kObliquityScale = 16.0;

// Receiver heights, from the table of the share of the ionospheric delay
// that lies above a height: that share is 1.0 up to the first entry and
// 0.0 from the last, and no entry in between is interpolated. So a receiver
// above the last entry sees no delay, and one between the two is reported.
constexpr double kAuroralLowestKm = 60.0;
constexpr double kAuroralHighestKm = 1050.0;
// Delays this large are someone else's failure and pass unexamined.
constexpr double kUnscreenedDelay = 500.0;
constexpr int kReportLevelWarning = 2;

constexpr const char* kNoModelText = "No valid broadcast GPS ephemeris ionospheric model.";
constexpr const char* kAuroralText = "Internal error: Missing auroral coefficient Hgt %.3lf km";

double Polynomial(const double coefficients[4], double x) {
    return coefficients[0] + x * (coefficients[1] + x * (coefficients[2] + x * coefficients[3]));
}

}  // namespace

bool CEphemerisStore::KlobucharDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation,
                                     double azimuth, double& delay, char* errorText) const {
    delay = 0.0;
    if ((ionosphere.flags & kIonosphereModelValid) == 0) {
        if (errorText != nullptr) std::snprintf(errorText, kEphemerisMessageSize, "%s", kNoModelText);
        return false;
    }
    const double e = elevation / kPi;   // semicircles
    const double psi = kEarthAngleNumerator / (e + kEarthAngleOffset) - kEarthAngleBias;
    double latI = geodetic.latitude * kSemicirclesPerDegree + psi * std::cos(azimuth);
    if (latI > kLatitudeLimit) latI = kLatitudeLimit;
    if (latI < -kLatitudeLimit) latI = -kLatitudeLimit;
    const double lonI = geodetic.longitude * kSemicirclesPerDegree + psi * std::sin(azimuth) / std::cos(latI * kPi);
    const double latM = latI + kPoleOffset * std::cos((lonI - kPoleLongitude) * kPi);

    // fmod leaves what repeated turns of a day would, and returns at once
    // for a wild time.
    double localTime = std::fmod(kSecondsPerSemicircle * lonI + time.seconds, kSecondsPerDay);
    if (localTime < 0.0) localTime += kSecondsPerDay;

    const double amplitude = std::fmax(Polynomial(ionosphere.alpha, latM), 0.0);
    const double period = std::fmax(Polynomial(ionosphere.beta, latM), kShortestPeriod);
    const double x = 2.0 * kPi * (localTime - kPeakLocalTime) / period;
    const double obliquity = 1.0 + kObliquityScale * std::pow(kObliquityPeak - e, 3);
    double seconds = obliquity * kNightDelay;
    if (std::fabs(x) < kDaytimeLimit) {
        const double x2 = x * x;
        seconds = obliquity * (kNightDelay + amplitude * (1.0 - x2 / 2.0 + x2 * x2 / 24.0));
    }
    delay = -seconds * kSpeedOfLight;
    return true;
}

bool CEphemerisStore::IonosphereDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation,
                                      double azimuth, double& delay, char* errorText) {
    if (!KlobucharDelay(time, geodetic, elevation, azimuth, delay, errorText)) return false;
    if (std::fabs(delay) >= kUnscreenedDelay) return true;
    const double heightKm = geodetic.height / 1000.0;
    if (heightKm >= kAuroralHighestKm) {
        delay = 0.0;
    } else if (heightKm > kAuroralLowestKm) {
        if (errorText != nullptr) std::snprintf(errorText, kEphemerisMessageSize, kAuroralText, heightKm);
        else Report(kReportLevelWarning, kAuroralText, heightKm);
    }
    return true;
}
