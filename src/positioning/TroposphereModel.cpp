// Saastamoinen's zenith delay mapped by 1/cos z, with its correction B for
// the curvature of the layers, fed by a climatology of temperature and
// pressure by latitude, height and season in place of measured weather.
#include "positioning/TroposphereModel.h"

#include <cmath>
#include <iterator>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kMaximumHeight = 15000.0;   // metres; no delay is modelled above
constexpr double kMetresPerKilometre = 1000.0;
// A value beyond this is not a delay but the formula failing near the
// horizon, where tan z grows without bound: it is dropped rather than capped.
constexpr double kLargestDelay = 25.0;

constexpr double kSeaLevelPressure = 1013.25;   // millibars
constexpr double kPressureExponent = 5.26;
constexpr double kLapseRate = 6.5;              // kelvin per kilometre
constexpr double kRelativeHumidity = 0.5;

// Saastamoinen's constants. The wet term deliberately uses 273.0 and a fixed
// water vapour pressure of 0.6 millibars, not the climatology's humidity.
constexpr double kZenithFactor = 0.002277;      // metres per millibar
constexpr double kWetKelvinOffset = 273.0;
constexpr double kWetTemperatureTerm = 1255.0;
constexpr double kWetConstantTerm = 0.05;
constexpr double kVapourPressure = 0.6;         // millibars
constexpr double kLatitudeTerm = 0.0026;
constexpr double kHeightTerm = 0.00028;         // per kilometre

// Saastamoinen's correction B in millibars by height in kilometres.
struct CurvaturePoint {
    double heightKm;
    double b;
};
constexpr CurvaturePoint kCurvature[] = {
    {0.0, 1.156}, {0.5, 1.079}, {1.0, 1.006}, {1.5, 0.938}, {2.0, 0.874}, {2.5, 0.813},
    {3.0, 0.757}, {4.0, 0.654}, {5.0, 0.563}, {7.0, 0.407}, {10.0, 0.222}, {15.0, 0.0},
};

double CurvatureCorrection(double heightKm) {
    constexpr int last = static_cast<int>(std::size(kCurvature)) - 1;
    if (heightKm < kCurvature[0].heightKm) return kCurvature[0].b;
    if (heightKm >= kCurvature[last].heightKm) return kCurvature[last].b;
    int i = 0;
    while (heightKm >= kCurvature[i + 1].heightKm) ++i;
    const CurvaturePoint& low = kCurvature[i];
    const CurvaturePoint& high = kCurvature[i + 1];
    return low.b + (high.b - low.b) * (heightKm - low.heightKm) / (high.heightKm - low.heightKm);
}

}  // namespace

void CTroposphereModel::StandardAtmosphere(double& temperature, double& pressure, double& humidity, double latitude,
                                           double height, int mjd, double dayFraction) const {
    // The season as a signed fraction of a year from the reference day; only
    // its sine and cosine are used, so the sign modf leaves does not matter.
    double wholeYears = 0.0;
    const double phase = std::modf((mjd - referenceMjd + dayFraction) / yearLength, &wholeYears);
    const double season = 2.0 * kPi * phase;
    const double sinLat = std::sin(latitude);
    temperature = sinLat * (3.3 * height - 14.3) * std::cos(season) +
                  (48.4 * std::cos(latitude) - 3.1 * height - 20.5) + sinLat * (1.1 * height - 4.7) * std::sin(season);
    const double kelvin = temperature + kelvinOffset;
    pressure = kSeaLevelPressure * std::pow(kelvin / (kLapseRate * height + kelvin), kPressureExponent);
    humidity = kRelativeHumidity;
}

const CTroposphereModel::PlaceTerms& CTroposphereModel::TermsAt(int mjd, double dayFraction, double latitude,
                                                                double height) const {
    if (terms.valid && terms.mjd == mjd && terms.dayFraction == dayFraction && terms.latitude == latitude &&
        terms.height == height && terms.kelvinOffset == kelvinOffset && terms.yearLength == yearLength &&
        terms.referenceMjd == referenceMjd)
        return terms;
    const double lat = latitude * kPi / 180.0;
    const double heightKm = height / kMetresPerKilometre;
    double temperature = 0.0, pressure = 0.0, humidity = 0.0;
    StandardAtmosphere(temperature, pressure, humidity, lat, heightKm, mjd, dayFraction);
    const double wet = (kWetTemperatureTerm / (temperature + kWetKelvinOffset) + kWetConstantTerm) * kVapourPressure;
    terms = {mjd, dayFraction, latitude, height, kelvinOffset, yearLength, referenceMjd, true, wet + pressure,
             CurvatureCorrection(heightKm),
             (1.0 + kLatitudeTerm * std::cos(2.0 * lat) + kHeightTerm * heightKm) * kZenithFactor};
    return terms;
}

double CTroposphereModel::Delay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation) const {
    if (!IsUsablePosition(geodetic) || geodetic.height > kMaximumHeight) return 0.0;
    int mjd = 0;
    double dayFraction = 0.0;
    time.GetMjd(mjd, dayFraction);
    const PlaceTerms& place = TermsAt(mjd, dayFraction, geodetic.latitude, geodetic.height);

    const double z = kPi / 2.0 - elevation;
    const double tanZ = std::tan(z);
    const double delay = (place.zenithTerms - place.curvature * tanZ * tanZ) * (place.scale / std::cos(z));
    return std::fabs(delay) > kLargestDelay ? 0.0 : delay;
}
