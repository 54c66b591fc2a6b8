// Where a satellite stands in the receiver's sky, and its carrier
// wavelengths.
#include <algorithm>
#include <cmath>

#include "ephemeris/EphemerisStore.h"
#include "positioning/SatelliteService.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRadiansPerDegree = kPi / 180.0;

// Carrier wavelengths, metres: L1/E1/B1C, L2, L5/E5a/B2a, E5b/B2I, B1I, E6/B3I.
constexpr double kL1 = kL1Wavelength;
constexpr double kL2 = 0.24421021342456825;
constexpr double kL5 = 0.25482804879085386;
constexpr double kE5b = 0.2483493695843067;
constexpr double kB1I = 0.19203948631027648;
constexpr double kB3I = 0.2363324646044209;
constexpr double kE6 = 0.251547000952345;

// GLONASS frequency division: base and channel spacing of each band, Hz.
constexpr double kGlonassG1Base = 1.602e9;
constexpr double kGlonassG1Spacing = 562500.0;
constexpr double kGlonassG2Base = 1.246e9;
constexpr double kGlonassG2Spacing = 437500.0;

double KeplerWavelength(GnssConstellation constellation, int band) {
    switch (constellation) {
        case kGps:
            switch (band) {
                case 0: case 4: return kL1;
                case 1: case 5: return kL2;
                case 2: return kL5;
                default: return 0.0;
            }
        case kBeiDou:
            switch (band) {
                case 0: return kB1I;
                case 1: case 6: return kE5b;
                case 2: return kB3I;
                case 4: return kL1;
                case 5: return kL5;
                default: return 0.0;
            }
        case kQzss:
            switch (band) {
                case 0: return kL1;
                case 1: case 5: return kL2;
                case 2: return kL5;
                default: return 0.0;
            }
        case kGalileo:
            switch (band) {
                case 0: return kL1;
                case 1: return kE5b;
                case 2: return kL5;
                case 3: return kE6;
                default: return 0.0;
            }
        default: return 0.0;
    }
}

}  // namespace

void CSatelliteService::ComputeAzimuthElevation(const GeodeticPosition& geodetic, const double receiverPosition[3],
                                                const double satellitePosition[3], double& azimuth,
                                                double& elevation, double& nadir) {
    // Every satellite of a pass is seen from the same place: its sines and
    // cosines are kept from one call to the next.
    static GeodeticPosition place{NAN, NAN, 0.0};
    static double sinLat = 0.0, cosLat = 1.0, sinLon = 0.0, cosLon = 1.0;
    if (geodetic.latitude != place.latitude || geodetic.longitude != place.longitude) {
        place = geodetic;
        const double lat = geodetic.latitude * kRadiansPerDegree;
        const double lon = geodetic.longitude * kRadiansPerDegree;
        sinLat = std::sin(lat), cosLat = std::cos(lat);
        sinLon = std::sin(lon), cosLon = std::cos(lon);
    }
    const double dx = satellitePosition[0] - receiverPosition[0];
    const double dy = satellitePosition[1] - receiverPosition[1];
    const double dz = satellitePosition[2] - receiverPosition[2];

    const double east = dy * cosLon - dx * sinLon;
    const double north = -sinLat * cosLon * dx - sinLat * sinLon * dy + cosLat * dz;
    const double up = cosLat * cosLon * dx + cosLat * sinLon * dy + sinLat * dz;
    elevation = std::atan2(up, std::sqrt(north * north + east * east));
    azimuth = std::atan2(east, north);

    const double toSatellite2 = dx * dx + dy * dy + dz * dz;
    const double satellite2 = satellitePosition[0] * satellitePosition[0] +
                              satellitePosition[1] * satellitePosition[1] +
                              satellitePosition[2] * satellitePosition[2];
    const double receiver2 = receiverPosition[0] * receiverPosition[0] +
                             receiverPosition[1] * receiverPosition[1] + receiverPosition[2] * receiverPosition[2];
    const double cosine =
        (toSatellite2 + satellite2 - receiver2) / (2.0 * std::sqrt(satellite2) * std::sqrt(toSatellite2));
    nadir = std::acos(std::clamp(cosine, -1.0, 1.0));
}

bool CSatelliteService::GetWavelength(const SatelliteId& satellite, int band, double& wavelength) const {
    wavelength = 0.0;
    if (satellite.constellation == kGlonass) {
        if (!broadcast) return false;
        const int channel = broadcast->GetGlonassChannel(satellite);
        if (!CEphemerisStore::IsValidGlonassChannel(channel)) return false;
        if (band == 0)
            wavelength = kSpeedOfLight / (channel * kGlonassG1Spacing + kGlonassG1Base);
        else if (band == 1 || band == 5)
            wavelength = kSpeedOfLight / (channel * kGlonassG2Spacing + kGlonassG2Base);
    } else {
        wavelength = KeplerWavelength(satellite.constellation, band);
    }
    return wavelength > 0.0;
}
