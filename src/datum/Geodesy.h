#pragma once
// Geodetic and Cartesian coordinates on an ellipsoid.
#include "datum/DatumRecords.h"
#include "rawfile/GnssEpoch.h"

// Radians and metres.
void GeodeticToCartesian(double a, double b, double latitude, double longitude, double height, double& x,
                         double& y, double& z);
// Radians and metres. A point within 0.1 m of the radius of curvature from
// its own height (near the centre) comes back as zero latitude, longitude
// and height, which no position test accepts.
void CartesianToGeodetic(double x, double y, double z, double a, double b, double& latitude, double& longitude,
                         double& height);

// Degrees and metres on the ellipse of a datum; a null datum or ellipse
// leaves the output as it is.
void ToCartesian(const GeodeticPosition& geodetic, double ecef[3], const DatumRecord* datum);
void ToGeodetic(const double ecef[3], GeodeticPosition& geodetic, const DatumRecord* datum);
