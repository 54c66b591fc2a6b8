#include "ephemeris/GlonassOrbit.h"

#include <cmath>

#include "timebase/GpsTime.h"

namespace {

void Derivative(const double s[6], const double acc[3], double d[6]) {
    const double x = s[0], y = s[1], z = s[2];
    // One division and one root per evaluation: this runs four times a step
    // for every GLONASS satellite of every solve.
    const double r2 = x * x + y * y + z * z;
    const double r = std::sqrt(r2);
    const double inverseR3 = 1.0 / (r2 * r);
    const double inverseR2 = inverseR3 * r;
    const double q = 5.0 * z * z * inverseR2;
    const double m = -kGmGlonassKm * inverseR3;
    const double j = -kGlonassJ2Term * inverseR3 * inverseR2;
    d[0] = s[3];
    d[1] = s[4];
    d[2] = s[5];
    d[3] = x * j * (1.0 - q) + x * m + x * kGlonassEarthRateSquared + s[4] * kGlonassEarthRateDoubled + acc[0];
    d[4] = y * j * (1.0 - q) + y * m + y * kGlonassEarthRateSquared - s[3] * kGlonassEarthRateDoubled + acc[1];
    d[5] = z * j * (3.0 - q) + z * m + acc[2];
}

}  // namespace

void GlonassAcceleration(const double position[3], const double velocity[3], const double acceleration[3],
                         double out[3]) {
    const double s[6] = {position[0], position[1], position[2], velocity[0], velocity[1], velocity[2]};
    double d[6];
    Derivative(s, acceleration, d);
    for (int c = 0; c < 3; ++c) out[c] = d[c + 3];
}

int GlonassStepCount(double dt) {
    const int count = TruncateToInt(std::fabs(dt) / kGlonassMaxStep);
    return count < 1 ? 1 : count;
}

bool IntegrateGlonassOrbit(const double position[3], const double velocity[3],
                           const double acceleration[3], double dt, double outPosition[3],
                           double outVelocity[3]) {
    // Written so that a NaN interval is refused too.
    if (!(std::fabs(dt) <= kGlonassMaxPropagation)) return false;
    const int count = GlonassStepCount(dt);
    const double h = dt / count;

    double s[6] = {position[0], position[1], position[2], velocity[0], velocity[1], velocity[2]};
    double k1[6], k2[6], k3[6], k4[6], tmp[6];
    const double sixth = h / 6.0;
    double elapsed = 0.0;
    for (int step = 0; step < count; ++step) {
        Derivative(s, acceleration, k1);
        for (int c = 0; c < 6; ++c) tmp[c] = s[c] + 0.5 * h * k1[c];
        Derivative(tmp, acceleration, k2);
        for (int c = 0; c < 6; ++c) tmp[c] = s[c] + 0.5 * h * k2[c];
        Derivative(tmp, acceleration, k3);
        for (int c = 0; c < 6; ++c) tmp[c] = s[c] + h * k3[c];
        Derivative(tmp, acceleration, k4);
        for (int c = 0; c < 6; ++c) s[c] += sixth * (k1[c] + 2.0 * k2[c] + 2.0 * k3[c] + k4[c]);
        elapsed += h;
    }
    // The summed steps have to land on the asked time.
    if (std::fabs(elapsed - dt) > 1e-6) return false;
    for (int c = 0; c < 3; ++c) {
        outPosition[c] = s[c];
        outVelocity[c] = s[c + 3];
    }
    return true;
}
