#include "simulation/SignalDelays.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace simulation {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kL1 = 1575.42e6;

// The climatology: a year of temperature swinging about a mean that falls
// with latitude and height, counted from the first day of 2000.
constexpr double kKelvin = 273.15;
constexpr double kTropicalYear = 365.242191;   // days
constexpr int kClimateEpochMjd = 51545;
constexpr double kSeaLevelPressure = 1013.25;  // millibars

// The Saastamoinen correction B (millibars) over height (km).
struct HeightCorrection {
    double height, b;
};
constexpr HeightCorrection kCorrections[] = {{0.0, 1.156}, {0.5, 1.079}, {1.0, 1.006}, {1.5, 0.938},
                                             {2.0, 0.874}, {2.5, 0.813}, {3.0, 0.757}, {4.0, 0.654},
                                             {5.0, 0.563}, {7.0, 0.407}, {10.0, 0.222}, {15.0, 0.0}};

double CorrectionB(double km) {
    if (km <= kCorrections[0].height) return kCorrections[0].b;
    for (size_t i = 1; i < std::size(kCorrections); ++i) {
        const HeightCorrection& lo = kCorrections[i - 1];
        const HeightCorrection& hi = kCorrections[i];
        if (km < hi.height) return lo.b + (hi.b - lo.b) * (km - lo.height) / (hi.height - lo.height);
    }
    return 0.0;
}

// Temperature (degrees Celsius) and pressure (millibars) at a latitude
// (radians) and height (km) on a day.
void Climate(double latitude, double km, int mjd, double dayFraction, double& temperature, double& pressure) {
    double whole;
    const double phase = 2.0 * kPi * std::modf((mjd - kClimateEpochMjd + dayFraction) / kTropicalYear, &whole);
    const double s = std::sin(latitude);
    temperature = s * (3.3 * km - 14.3) * std::cos(phase) + (48.4 * std::cos(latitude) - 3.1 * km - 20.5) +
                  s * (1.1 * km - 4.7) * std::sin(phase);
    const double t = temperature + kKelvin;
    pressure = kSeaLevelPressure * std::pow(t / (6.5 * km + t), 5.26);
}

}  // namespace

double TroposphereDelay(int mjd, double dayFraction, const StationGeodetic& station, double elevation) {
    const double km = station.height / 1000.0;
    double temperature, pressure;
    Climate(station.latitude, km, mjd, dayFraction, temperature, pressure);
    // The water vapour term takes a fixed partial pressure of 0.6 mbar.
    const double wet = (1255.0 / (temperature + 273.0) + 0.05) * 0.6;
    const double z = kPi / 2.0 - elevation;
    const double tz = std::tan(z);
    const double scale = (1.0 + 0.0026 * std::cos(2.0 * station.latitude) + 0.00028 * km) * 0.002277 / std::cos(z);
    return (wet + pressure - CorrectionB(km) * tz * tz) * scale;
}

double KlobucharDelayL1(const KlobucharCoefficients& m, double secondsOfWeek, const StationGeodetic& station,
                        double elevation, double azimuth) {
    // Semicircles throughout, as the model is defined.
    const double e = elevation / kPi;
    const double psi = 0.0137 / (e + 0.11) - 0.022;
    const double phiI = std::clamp(station.latitude / kPi + psi * std::cos(azimuth), -0.416, 0.416);
    const double lambdaI = station.longitude / kPi + psi * std::sin(azimuth) / std::cos(phiI * kPi);
    const double phiM = phiI + 0.064 * std::cos((lambdaI - 1.617) * kPi);
    const double t = std::fmod(std::fmod(43200.0 * lambdaI + secondsOfWeek, 86400.0) + 86400.0, 86400.0);
    const double slant = 1.0 + 16.0 * std::pow(0.53 - e, 3.0);
    double amplitude = 0.0, period = 0.0;
    for (int n = 3; n >= 0; --n) {
        amplitude = amplitude * phiM + m.alpha[n];
        period = period * phiM + m.beta[n];
    }
    amplitude = std::max(amplitude, 0.0);
    period = std::max(period, 72000.0);
    const double x = 2.0 * kPi * (t - 50400.0) / period;
    const double night = 5e-9;
    const double seconds =
        std::fabs(x) < 1.57 ? slant * (night + amplitude * (1.0 - x * x / 2.0 + x * x * x * x / 24.0)) : slant * night;
    return seconds * kLight;
}

double IonosphereAtFrequency(double delayL1, double frequency) {
    const double ratio = kL1 / frequency;
    return delayL1 * ratio * ratio;
}

}  // namespace simulation
