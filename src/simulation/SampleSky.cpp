#include "simulation/SampleSky.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "simulation/FieldScaling.h"
#include "simulation/GlonassEncoders.h"

namespace simulation {

namespace {

constexpr double kDegree = kPi / 180.0;
constexpr double kGmGps = 3.986005e14;
constexpr double kGmGalileoBeiDou = 3.986004418e14;
constexpr double kEarthRateGps = 7.2921151467e-5;
constexpr double kEarthRatePz90 = 7.292115e-5;   // BeiDou's rate too

constexpr double kWeek = 604800.0;
constexpr double kDay = 86400.0;
constexpr double kKilometre = 1000.0;
constexpr double kKeplerToeStep = 7200.0;
constexpr double kGlonassTbStep = 1800.0;
constexpr double kMoscowAheadOfUtc = 10800.0;
constexpr double kLeapSeconds = 18.0;            // GPS - UTC on the sample's dates

// Grids of the navigation messages: semicircles and sqrt(A) of LNAV, I/NAV
// and D1 alike.
constexpr int kAngleExponent = -31;
constexpr int kSqrtAExponent = -19;
// Satellite clocks: offsets within 0.1 ms on the 2^-31 s grid that every af0
// field holds, drifts of 2^-36 s/s, which over a toe step of 7200 s move
// the offset by a whole number of grid steps; GLONASS offsets on the 2^-30 s
// grid of tauN, drifts of one to three steps of the 2^-40 grid of gamma.
constexpr double kClockSpread = 1e-4;
constexpr int kOffsetExponent = -31;
constexpr int kKeplerDriftExponent = -36;
constexpr int kTauExponent = -30;
constexpr int kGammaExponent = -40;
// The GLONASS paths reach this far beyond the log: the nearest tb and the
// signal's flight.
constexpr double kGlonassMargin = 1000.0;

double Wrapped(double angle) { return std::remainder(angle, 2.0 * kPi); }
double OnAngleGrid(double radians) { return static_cast<double>(AngleRaw(radians, kAngleExponent, 32)) * P2(kAngleExponent) * kPi; }
double OnGrid(double value, int exponent) { return std::nearbyint(value / P2(exponent)) * P2(exponent); }

// A deterministic number in [-1, 1) for each key.
double Spread(uint32_t key) {
    key ^= key >> 16;
    key *= 0x7FEB352Du;
    key ^= key >> 15;
    key *= 0x846CA68Bu;
    key ^= key >> 16;
    return key / 2147483648.0 - 1.0;
}
uint32_t Key(const Constellation& c, int index, uint32_t what) {
    return (static_cast<uint32_t>(c.gnssId) << 16) ^ (static_cast<uint32_t>(index) << 4) ^ what;
}

struct Plane {
    double node0;   // node at session time 0 of the constellation's own time
    double u0;      // argument of latitude at session time 0
};

Plane PlaneOf(const Constellation& c, int index) {
    const int perPlane = (c.satellites + c.planes - 1) / c.planes;
    const int plane = index / perPlane;
    return {OnAngleGrid(Wrapped(2.0 * kPi * plane / c.planes)),
            2.0 * kPi * (index % perPlane) / perPlane + plane * 0.5};
}

double SqrtA(const Constellation& c) { return OnGrid(std::sqrt(c.radius), kSqrtAExponent); }
double MeanMotion(const Constellation& c) {
    const double a = SqrtA(c) * SqrtA(c);
    return std::sqrt(c.gm / (a * a * a));
}

// The circular orbit: fixed in inertial space, seen from the Earth that
// turns at the constellation's own rate.
Vec3 Circle(const Constellation& c, int index, double t) {
    const Plane p = PlaneOf(c, index);
    const double a = SqrtA(c) * SqrtA(c);
    const double node = p.node0 - c.earthRate * (t - c.lag);
    const double u = p.u0 + MeanMotion(c) * t;
    const double i = OnAngleGrid(c.inclination);
    const double x = a * std::cos(u), y = a * std::sin(u);
    return {x * std::cos(node) - y * std::cos(i) * std::sin(node),
            x * std::sin(node) + y * std::cos(i) * std::cos(node), y * std::sin(i)};
}

double KeplerOffsetAtStart(const Constellation& c, int index) {
    return OnGrid(kClockSpread * Spread(Key(c, index, 1)), kOffsetExponent);
}
double KeplerDrift(const Constellation& c, int index) {
    return (Spread(Key(c, index, 2)) < 0.0 ? -1.0 : 1.0) * P2(kKeplerDriftExponent);
}
double GlonassOffsetAtStart(const Constellation& c, int index) {
    return OnGrid(kClockSpread * Spread(Key(c, index, 1)), kTauExponent);
}
double GlonassDrift(const Constellation& c, int index) {
    const double steps = 1.0 + std::floor(1.5 * (Spread(Key(c, index, 2)) + 1.0));
    return (Spread(Key(c, index, 3)) < 0.0 ? -steps : steps) * P2(kGammaExponent);
}

const Constellation& GlonassConstellation();

}  // namespace

const std::array<Constellation, 4> kConstellations = {{
    {kUbxGps, 'G', 31, 6, 26559700.0, 55.0 * kDegree, kGmGps, kEarthRateGps, 0.0, 0, {0, 3},
     {1575.42e6, 1227.60e6}, {0.0, 0.0}},
    {kUbxGlonass, 'R', 24, 3, 25508200.0, 64.8 * kDegree, kGmGalileoBeiDou, kEarthRatePz90, 0.0, 0, {0, 2},
     {1602.0e6, 1246.0e6}, {0.5625e6, 0.4375e6}},
    {kUbxGalileo, 'E', 24, 3, 29599800.0, 56.0 * kDegree, kGmGalileoBeiDou, kEarthRateGps, 0.0, 1024, {0, 6},
     {1575.42e6, 1207.14e6}, {0.0, 0.0}},
    {kUbxBeiDou, 'C', 24, 3, 27906100.0, 55.0 * kDegree, kGmGalileoBeiDou, kEarthRatePz90, 14.0, 1356, {0, 2},
     {1561.098e6, 1207.14e6}, {0.0, 0.0}},
}};

namespace {
const Constellation& GlonassConstellation() {
    return *std::find_if(kConstellations.begin(), kConstellations.end(),
                         [](const Constellation& c) { return c.gnssId == kUbxGlonass; });
}
}  // namespace

int GlonassChannel(int index) { return index % 14 - 7; }

double SignalFrequency(const Constellation& c, int signal, int index) {
    const int channel = c.gnssId == kUbxGlonass ? GlonassChannel(index) : 0;
    return c.frequencies[signal] + channel * c.glonassSpacing[signal];
}

CSampleSky::CSampleSky(int firstWeek, double firstTime, double lastTime)
    : week(firstWeek), first(firstTime), glonassEpoch(GlonassTb(firstTime)) {
    const Constellation& c = GlonassConstellation();
    for (int index = 0; index < c.satellites; ++index) {
        // The first state as the message carries it, so that the first
        // record describes the path exactly.
        const Vec3 p = Circle(c, index, glonassEpoch);
        const Vec3 ahead = Circle(c, index, glonassEpoch + 0.5);
        const Vec3 behind = Circle(c, index, glonassEpoch - 0.5);
        GloEphemerisRecord r{};
        const double position[3] = {p.x, p.y, p.z};
        const double velocity[3] = {ahead.x - behind.x, ahead.y - behind.y, ahead.z - behind.z};
        for (int axis = 0; axis < 3; ++axis) {
            r.position[axis] = position[axis] / kKilometre;
            r.velocity[axis] = velocity[axis] / kKilometre;
        }
        const GloEphemerisRecord q = QuantiseGlonass(r);
        OrbitState start{};
        for (int axis = 0; axis < 3; ++axis) {
            start.position[axis] = q.position[axis] * kKilometre;
            start.velocity[axis] = q.velocity[axis] * kKilometre;
        }
        glonass.emplace_back(start, glonassEpoch, firstTime - kGlonassMargin, lastTime + kGlonassMargin);
    }
}

Vec3 CSampleSky::Position(const Constellation& c, int index, double t) const {
    if (c.gnssId != kUbxGlonass) return Circle(c, index, t);
    const OrbitState s = glonass[static_cast<size_t>(index)].At(t);
    return {s.position[0], s.position[1], s.position[2]};
}

double CSampleSky::ClockOffset(const Constellation& c, int index, double t) const {
    if (c.gnssId == kUbxGlonass)
        return GlonassOffsetAtStart(c, index) + GlonassDrift(c, index) * (t - glonassEpoch);
    return KeplerOffsetAtStart(c, index) + KeplerDrift(c, index) * (t - c.lag - KeplerToe(c, first));
}

KeplerElements CSampleSky::Kepler(const Constellation& c, int index, double toe) const {
    const double weeks = std::floor(toe / kWeek);
    const Plane p = PlaneOf(c, index);
    KeplerElements k{};
    k.week = week - c.weeksBehindGps + static_cast<int>(weeks);
    k.toe = k.toc = static_cast<int32_t>(toe - weeks * kWeek);
    k.sqrtA = SqrtA(c);
    k.M0 = Wrapped(p.u0 + MeanMotion(c) * (toe + c.lag));
    k.i0 = OnAngleGrid(c.inclination);
    k.Omega0 = Wrapped(p.node0 - c.earthRate * weeks * kWeek);
    k.af0 = ClockOffset(c, index, toe + c.lag);
    k.af1 = KeplerDrift(c, index);
    return k;
}

GloEphemerisRecord CSampleSky::Glonass(int index, double tb) const {
    const Constellation& c = GlonassConstellation();
    const OrbitState s = glonass[static_cast<size_t>(index)].At(tb);
    GloEphemerisRecord r{};
    const double moscow = tb - kLeapSeconds + kMoscowAheadOfUtc;
    r.tb = static_cast<int32_t>(std::lround(moscow - std::floor(moscow / kDay) * kDay));
    for (int axis = 0; axis < 3; ++axis) {
        r.position[axis] = s.position[axis] / kKilometre;
        r.velocity[axis] = s.velocity[axis] / kKilometre;
    }
    r.minusTau = static_cast<float>(ClockOffset(c, index, tb));
    r.gamma = static_cast<float>(GlonassDrift(c, index));
    r.satelliteNumber = index + 1;
    return r;
}

double CSampleSky::KeplerToe(const Constellation& c, double t) {
    return std::floor((t - c.lag) / kKeplerToeStep + 0.5) * kKeplerToeStep;
}

double CSampleSky::GlonassTb(double t) {
    const double moscow = t - kLeapSeconds + kMoscowAheadOfUtc;
    return std::floor(moscow / kGlonassTbStep + 0.5) * kGlonassTbStep - kMoscowAheadOfUtc + kLeapSeconds;
}

}  // namespace simulation
