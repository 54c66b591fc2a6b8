#include "datum/Geodesy.h"

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegreesPerRadian = 180.0 / kPi;
// Below this the height and the radius of curvature are the same number and
// the iteration has nothing to stand on.
constexpr double kDegenerateHeight = 0.1;
constexpr double kLatitudeTolerance = 1e-15;
constexpr int kMostIterations = 100;
constexpr double kThreeQuarterTurn = 4.71238898038469;

double SquaredEccentricity(double a, double b) { return (a * a - b * b) / (a * a); }

}  // namespace

const DatumEllipse kWgs84Ellipse = {"WGS84", 6378137.0, 6356752.3141, 0.0, 0};
const DatumRecord kWgs84Datum = {"WGS84", "WGS84", 0, 0xFFFF, 1, &kWgs84Ellipse};

void GeodeticToCartesian(double a, double b, double latitude, double longitude, double height, double& x,
                         double& y, double& z) {
    const double e2 = SquaredEccentricity(a, b);
    const double sinLat = std::sin(latitude);
    const double n = a / std::sqrt(1.0 - e2 * sinLat * sinLat);
    x = (n + height) * std::cos(latitude) * std::cos(longitude);
    y = (n + height) * std::cos(latitude) * std::sin(longitude);
    z = ((1.0 - e2) * n + height) * sinLat;
}

void CartesianToGeodetic(double x, double y, double z, double a, double b, double& latitude, double& longitude,
                         double& height) {
    const double e2 = SquaredEccentricity(a, b);
    const double p = std::sqrt(x * x + y * y);
    longitude = std::atan2(y, x);
    // A rough first latitude; the iteration below makes it good.
    double lat = std::atan2(z, (1.0 - e2) * p * p);
    double n = a / std::sqrt(1.0 - e2 * std::sin(lat) * std::sin(lat));
    double h = p / std::cos(lat) - n;

    for (int i = 0;; ++i) {
        if (std::fabs(n - h) < kDegenerateHeight) {
            latitude = longitude = height = 0.0;
            return;
        }
        const double next = std::atan2(z, (1.0 - n * e2 / (h + n)) * p);
        if (std::fabs(lat - next) < kLatitudeTolerance) {
            latitude = lat;
            height = h;
            return;
        }
        if (i + 1 > kMostIterations) break;
        lat = next;
        n = a / std::sqrt(1.0 - e2 * std::sin(lat) * std::sin(lat));
        h = p / std::cos(lat) - n;
    }

    // The iteration did not settle: a closed form.
    const double r = std::sqrt(p * p + z * z);
    const double psi = std::asin(z / r);
    const double k = a / r * 0.5 * e2;
    const double sinPsi = std::sin(psi);
    const double v = std::asin(k * std::sin(2.0 * psi) / std::sqrt(1.0 - e2 * sinPsi * sinPsi));
    lat = psi + v / (1.0 - 2.0 * k * std::cos(2.0 * psi) + 2.0 * k * k * sinPsi * sinPsi);
    if (x != 0.0)
        longitude = std::atan2(y, x);
    else
        longitude = y > 0.0 ? kPi / 2.0 : (y < 0.0 ? kThreeQuarterTurn : 0.0);
    latitude = lat;
    height = p / std::cos(lat) - a / std::sqrt(1.0 - e2 * std::sin(lat) * std::sin(lat));
}

void ToCartesian(const GeodeticPosition& geodetic, double ecef[3], const DatumRecord* datum) {
    if (datum == nullptr || datum->ellipse == nullptr) return;
    GeodeticToCartesian(datum->ellipse->a, datum->ellipse->b, geodetic.latitude / kDegreesPerRadian,
                        geodetic.longitude / kDegreesPerRadian, geodetic.height, ecef[0], ecef[1], ecef[2]);
}

void ToGeodetic(const double ecef[3], GeodeticPosition& geodetic, const DatumRecord* datum) {
    if (datum == nullptr || datum->ellipse == nullptr) return;
    double lat = 0.0, lon = 0.0;
    CartesianToGeodetic(ecef[0], ecef[1], ecef[2], datum->ellipse->a, datum->ellipse->b, lat, lon, geodetic.height);
    geodetic.latitude = lat * kDegreesPerRadian;
    geodetic.longitude = lon * kDegreesPerRadian;
}
