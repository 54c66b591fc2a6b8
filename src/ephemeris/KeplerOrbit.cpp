#include "ephemeris/KeplerOrbit.h"

#include <cmath>

#include "rawfile/GnssEpoch.h"

double SolveKeplerFivePasses(double meanAnomaly, double eccentricity) {
    double E = meanAnomaly;
    for (int pass = 0; pass < 5; ++pass) E = meanAnomaly + eccentricity * std::sin(E);
    return E;
}

void ComputeKeplerPositionVelocity(const KeplerElements& k, double dt, double gm, double earthRate,
                                   bool geostationary, double range, double position[3],
                                   double velocity[3]) {
    const double A = k.sqrtA * k.sqrtA;
    const double n0 = std::sqrt(gm / A) / A;
    const double n = n0 + k.deltaN;
    const double M = k.M0 + n * dt;
    const double e = k.e;
    const double E = SolveKeplerFivePasses(M, e);
    const double oneMinusE2 = 1.0 - e * e;
    const double v = std::atan2(std::sqrt(oneMinusE2) * std::sin(E), std::cos(E) - e);
    const double phi = v + k.omega;
    const double s2 = std::sin(2.0 * phi);
    const double c2 = std::cos(2.0 * phi);

    const double u = phi + k.Cuc * c2 + k.Cus * s2;
    const double r = A * (1.0 - e * std::cos(E)) + k.Crc * c2 + k.Crs * s2;
    const double i = k.i0 + k.IDOT * dt + k.Cic * c2 + k.Cis * s2;

    const double nodeRate = geostationary ? k.OmegaDot : k.OmegaDot - earthRate;
    // The flight time turn sits in the node: the frame of reception comes out.
    const double node = k.Omega0 + nodeRate * dt -
                        earthRate * (static_cast<double>(k.toe) + range / kSpeedOfLight);

    const double cu = std::cos(u), su = std::sin(u);
    const double ci = std::cos(i), si = std::sin(i);
    const double cn = std::cos(node), sn = std::sin(node);
    const double x = r * cu;
    const double y = r * su;
    position[0] = x * cn - y * ci * sn;
    position[1] = x * sn + y * ci * cn;
    position[2] = y * si;

    const double onePlusECosV = 1.0 + e * std::cos(v);
    const double vDot = n * onePlusECosV * onePlusECosV / (oneMinusE2 * std::sqrt(oneMinusE2));
    const double iDot = k.IDOT + 2.0 * vDot * (k.Cis * c2 - k.Cic * s2);
    const double uDot = vDot + 2.0 * vDot * (k.Cus * c2 - k.Cuc * s2);
    const double rDot = n * A * e * std::sin(v) / std::sqrt(oneMinusE2) +
                        2.0 * vDot * (k.Crs * c2 - k.Crc * s2);
    const double xDot = rDot * cu - y * uDot;
    const double yDot = rDot * su + x * uDot;

    velocity[0] = xDot * cn - (yDot * ci + x * nodeRate) * sn -
                  y * (nodeRate * ci * cn - iDot * si * sn);
    velocity[1] = xDot * sn + (yDot * ci + x * nodeRate) * cn -
                  y * (nodeRate * ci * sn + iDot * si * cn);
    velocity[2] = yDot * si + y * ci * iDot;
}

double ComputeKeplerClockBias(const KeplerElements& k, double dt, double gm, int toc, double af0,
                              double af1, double af2, double groupDelay) {
    const double A = k.sqrtA * k.sqrtA;
    const double n = std::sqrt(gm / (A * A * A)) + k.deltaN;
    const double E = SolveKeplerFivePasses(k.M0 + n * dt, k.e);
    const double relativity = kRelativityConstant * k.e * k.sqrtA * std::sin(E);
    // dt carries whole weeks and toc is a second of week, so no wrap is due.
    const double tc = static_cast<double>(k.toe) + dt - static_cast<double>(toc);
    return af0 + tc * (af1 + tc * af2) + relativity - groupDelay;
}

namespace {
// -5 degrees, the tilt of the BeiDou GEO reference plane.
const double kGeoTiltCos = std::cos(-0.08726646259971647);
const double kGeoTiltSin = std::sin(-0.08726646259971647);

void TurnGeostationary(double ca, double sa, double v[3]) {
    const double y1 = kGeoTiltCos * v[1] + kGeoTiltSin * v[2];
    const double z1 = kGeoTiltCos * v[2] - kGeoTiltSin * v[1];
    const double x = v[0];
    v[0] = ca * x + sa * y1;
    v[1] = ca * y1 - sa * x;
    v[2] = z1;
}
}  // namespace

void RotateGeostationary(double earthRate, double dt, double position[3], double velocity[3]) {
    const double a = earthRate * dt;
    const double ca = std::cos(a), sa = std::sin(a);
    TurnGeostationary(ca, sa, position);
    TurnGeostationary(ca, sa, velocity);
    velocity[0] += earthRate * position[1];
    velocity[1] -= earthRate * position[0];
}
