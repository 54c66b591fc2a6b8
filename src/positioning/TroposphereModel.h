#pragma once
// Saastamoinen tropospheric delay with a built-in climatology of
// temperature and pressure by latitude, height and season.
#include <cstdint>

#include "rawfile/GnssEpoch.h"
#include "timebase/GpsTime.h"

class CTroposphereModel {
public:
    // Metres, positive, to be subtracted from the pseudorange; 0 for an
    // unusable position, a height above 15 km, or a value beyond 25 m.
    // elevation in radians.
    double Delay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation) const;
    // latitude in radians, height in kilometres; temperature in degrees
    // Celsius, pressure in millibars, humidity a fraction.
    void StandardAtmosphere(double& temperature, double& pressure, double& humidity, double latitude,
                            double height, int mjd, double dayFraction) const;

    double kelvinOffset = 273.15;
    double yearLength = 365.242191;   // days
    int32_t referenceMjd = 51545;

private:
    // What Delay computes for a place and time, whatever the satellite: the
    // engine asks for every satellite of a pass at the same place and time.
    struct PlaceTerms {
        int mjd = 0;
        double dayFraction = 0.0, latitude = 0.0, height = 0.0;
        double kelvinOffset = 0.0, yearLength = 0.0;
        int32_t referenceMjd = 0;
        bool valid = false;
        double zenithTerms = 0.0;   // wet + pressure, millibars
        double curvature = 0.0;     // B, millibars
        double scale = 0.0;         // latitude and height factor times the zenith factor
    };
    const PlaceTerms& TermsAt(int mjd, double dayFraction, double latitude, double height) const;
    mutable PlaceTerms terms;
};
