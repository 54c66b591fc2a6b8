#pragma once
// The atmosphere of the synthetic log: the tropospheric delay of the
// Saastamoinen model with its climatology of temperature and pressure, and
// the ionospheric delay of the GPS broadcast (Klobuchar) model, each written
// here on its own so that the log does not lean on the engine it is meant to
// check.

namespace simulation {

// The speed of light the simulated signals fly at, metres per second.
inline constexpr double kLight = 299792458.0;

// Klobuchar coefficients: alpha in s, s/semicircle, s/semicircle^2,
// s/semicircle^3; beta in s, s/semicircle ... likewise.
struct KlobucharCoefficients {
    double alpha[4];
    double beta[4];
};

// The station as the delays see it: geodetic latitude and longitude in
// radians, ellipsoidal height in metres.
struct StationGeodetic {
    double latitude;
    double longitude;
    double height;
};

// Zenith-mapped tropospheric delay in metres at a modified Julian day and
// fraction of that day, for a satellite at elevation (radians).
double TroposphereDelay(int mjd, double dayFraction, const StationGeodetic& station, double elevation);

// The broadcast ionospheric delay of the GPS L1 signal in metres (positive)
// at a GPS second of week, for a satellite at elevation and azimuth
// (radians).
double KlobucharDelayL1(const KlobucharCoefficients& model, double secondsOfWeek, const StationGeodetic& station,
                        double elevation, double azimuth);

// The delay of a signal of another frequency (Hz): the L1 delay scaled by
// the square of the frequency ratio.
double IonosphereAtFrequency(double delayL1, double frequency);

}  // namespace simulation
