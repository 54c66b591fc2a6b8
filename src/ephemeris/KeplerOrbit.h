#pragma once
// The Keplerian propagation and clock shared by GPS, QZSS, Galileo and
// BeiDou. Every class hands in its own GM and Earth rate.
#include "ephemeris/EphemerisRecords.h"

inline constexpr double kGmGpsQzss = 398600500000000.0;      // m3/s2
inline constexpr double kGmBeiDouGalileo = 398600441800000.0; // m3/s2
inline constexpr double kEarthRateGps = 7.2921151467e-05;    // rad/s, also Galileo, QZSS
inline constexpr double kEarthRateBeiDou = 7.292115e-05;     // rad/s, also GLONASS
// The relativity factor of the clock. Its digits are kept as the products
// built on these files expect them, not as the ICD prints them.
inline constexpr double kRelativityConstant = -4.4428073633e-10;
// A nominal signal flight time taken off the reception time for the clock
// of every satellite.
inline constexpr double kNominalFlightTime = 0.075;

// E from M by a fixed five passes of E = M + e sin E: the cost is bounded
// and equal on every call.
double SolveKeplerFivePasses(double meanAnomaly, double eccentricity);

// Position and velocity at dt seconds after the reference time. The node
// carries the Earth turn of the flight of range metres, so the result is in
// the Earth frame of reception. A geostationary node moves with OmegaDot
// alone; its final rotation is left to the caller.
void ComputeKeplerPositionVelocity(const KeplerElements& elements, double dt, double gm,
                                   double earthRate, bool geostationary, double range,
                                   double position[3], double velocity[3]);

// The satellite clock polynomial plus relativity minus groupDelay. dt is the
// time since reference with the nominal flight time already removed.
double ComputeKeplerClockBias(const KeplerElements& elements, double dt, double gm, int toc,
                              double af0, double af1, double af2, double groupDelay);

// The BeiDou GEO frame turn: -5 degrees about X, then the Earth turn over dt.
void RotateGeostationary(double earthRate, double dt, double position[3], double velocity[3]);
