#pragma once
// Numerical integration of a GLONASS broadcast state vector in PZ-90, in
// kilometres and seconds.

inline constexpr double kGmGlonassKm = 398600.44;             // km3/s2
inline constexpr double kGlonassJ2Term = 26332671177.692257;  // 1.5 J2 GM ae^2, km5/s2
inline constexpr double kGlonassEarthRateSquared = 5.3174941173225e-09;
inline constexpr double kGlonassEarthRateDoubled = 0.0001458423;
inline constexpr double kGlonassMaxPropagation = 3600.0;      // s
inline constexpr double kGlonassMaxStep = 120.0;              // s

// Fourth-order Runge-Kutta from the broadcast state over dt seconds in
// steps of at most 120 s; false beyond an hour. Luni-solar acceleration is
// held constant. Outputs in km and km/s.
bool IntegrateGlonassOrbit(const double position[3], const double velocity[3],
                           const double acceleration[3], double dt, double outPosition[3],
                           double outVelocity[3]);

// The number of steps that IntegrateGlonassOrbit takes for dt.
int GlonassStepCount(double dt);

// The acceleration, km/s2, of a state under the force model the
// integration uses.
void GlonassAcceleration(const double position[3], const double velocity[3], const double acceleration[3],
                         double out[3]);
