#include "simulation/GlonassTrajectory.h"

#include <algorithm>
#include <cmath>

namespace simulation {

namespace {

// PZ-90.11, as the GLONASS ICD gives it.
constexpr double kGm = 3.986004418e14;        // m^3/s^2
constexpr double kEquatorRadius = 6378136.0;  // m
constexpr double kJ2 = 1082625.75e-9;
constexpr double kEarthRate = 7.292115e-5;    // rad/s

// Ten seconds keep the fourth-order steps far below a millimetre.
constexpr double kStep = 10.0;

void Rates(const double s[6], double d[6]) {
    const double x = s[0], y = s[1], z = s[2];
    const double r2 = x * x + y * y + z * z;
    const double r = std::sqrt(r2);
    const double central = -kGm / (r2 * r);
    const double flattening = -1.5 * kJ2 * kGm * kEquatorRadius * kEquatorRadius / (r2 * r2 * r);
    const double q = 5.0 * z * z / r2;
    const double w2 = kEarthRate * kEarthRate;
    d[0] = s[3];
    d[1] = s[4];
    d[2] = s[5];
    d[3] = (central + flattening * (1.0 - q) + w2) * x + 2.0 * kEarthRate * s[4];
    d[4] = (central + flattening * (1.0 - q) + w2) * y - 2.0 * kEarthRate * s[3];
    d[5] = (central + flattening * (3.0 - q)) * z;
}

OrbitState Advance(const OrbitState& from, double h) {
    double s[6], k1[6], k2[6], k3[6], k4[6], tmp[6];
    std::copy(from.position, from.position + 3, s);
    std::copy(from.velocity, from.velocity + 3, s + 3);
    Rates(s, k1);
    for (int c = 0; c < 6; ++c) tmp[c] = s[c] + 0.5 * h * k1[c];
    Rates(tmp, k2);
    for (int c = 0; c < 6; ++c) tmp[c] = s[c] + 0.5 * h * k2[c];
    Rates(tmp, k3);
    for (int c = 0; c < 6; ++c) tmp[c] = s[c] + h * k3[c];
    Rates(tmp, k4);
    for (int c = 0; c < 6; ++c) s[c] += h * (k1[c] + 2.0 * k2[c] + 2.0 * k3[c] + k4[c]) / 6.0;
    OrbitState to;
    std::copy(s, s + 3, to.position);
    std::copy(s + 3, s + 6, to.velocity);
    return to;
}

}  // namespace

CGlonassTrajectory::CGlonassTrajectory(const OrbitState& atT0, double start, double first, double last)
    : t0(start) {
    firstStep = std::min(0, static_cast<int>(std::floor((first - t0) / kStep)) - 1);
    const int lastStep = std::max(0, static_cast<int>(std::ceil((last - t0) / kStep)) + 1);
    states.resize(static_cast<size_t>(lastStep - firstStep + 1));
    const size_t origin = static_cast<size_t>(-firstStep);
    states[origin] = atT0;
    for (size_t i = origin + 1; i < states.size(); ++i) states[i] = Advance(states[i - 1], kStep);
    for (size_t i = origin; i-- > 0;) states[i] = Advance(states[i + 1], -kStep);
}

OrbitState CGlonassTrajectory::At(double t) const {
    const long nearest = std::lround((t - t0) / kStep);
    const long index = std::clamp(nearest - firstStep, 0L, static_cast<long>(states.size()) - 1);
    const double from = t0 + static_cast<double>(index + firstStep) * kStep;
    return t == from ? states[static_cast<size_t>(index)] : Advance(states[static_cast<size_t>(index)], t - from);
}

}  // namespace simulation
