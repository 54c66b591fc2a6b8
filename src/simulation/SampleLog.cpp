#include "simulation/SampleLog.h"

#include "simulation/BeiDouEncoders.h"
#include "simulation/GalileoEncoders.h"
#include "simulation/GlonassEncoders.h"
#include "simulation/NavEncoders.h"

#include <array>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace simulation {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kLight = 299792458.0;
constexpr double kEarthRate = 7.2921151467e-5;
constexpr double kWgsA = 6378137.0;
constexpr double kWgsF = 1.0 / 298.257223563;
constexpr double kElevationMask = 10.0 * kPi / 180.0;

struct Vec3 {
    double x, y, z;
};
Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double Norm(Vec3 a) { return std::sqrt(Dot(a, a)); }

Vec3 GeodeticToEcef(double latDeg, double lonDeg, double h) {
    double lat = latDeg * kPi / 180.0, lon = lonDeg * kPi / 180.0;
    double e2 = kWgsF * (2.0 - kWgsF);
    double n = kWgsA / std::sqrt(1.0 - e2 * std::sin(lat) * std::sin(lat));
    return {(n + h) * std::cos(lat) * std::cos(lon), (n + h) * std::cos(lat) * std::sin(lon),
            (n * (1.0 - e2) + h) * std::sin(lat)};
}

// A constellation's circular orbits, its u-blox ids and its two signals.
struct Orbits {
    uint8_t gnssId;
    int satellites;
    int planes;
    double radius;          // metres
    double inclination;     // radians
    std::array<uint8_t, 2> sigIds;
    std::array<double, 2> frequencies;   // Hz; GLONASS adds the channel spacing
    std::array<double, 2> glonassSpacing;
};

const Orbits kOrbits[] = {
    {0, 31, 6, 26559700.0, 55.0 * kPi / 180.0, {0, 3}, {1575.42e6, 1227.60e6}, {0, 0}},
    {6, 24, 3, 25508200.0, 64.8 * kPi / 180.0, {0, 2}, {1602.0e6, 1246.0e6}, {0.5625e6, 0.4375e6}},
    {2, 24, 3, 29599800.0, 56.0 * kPi / 180.0, {0, 6}, {1575.42e6, 1207.14e6}, {0, 0}},
    {3, 24, 3, 27906100.0, 55.0 * kPi / 180.0, {0, 2}, {1561.098e6, 1207.14e6}, {0, 0}},
};

constexpr double kGmGps = 3.986005e14;

// Each orbit keeps Kepler's third law, so that broadcast elements describe it.
double Period(const Orbits& o) { return 2.0 * kPi * std::sqrt(o.radius * o.radius * o.radius / kGmGps); }

Vec3 SatellitePosition(const Orbits& o, int index, double t) {
    int perPlane = (o.satellites + o.planes - 1) / o.planes;
    int plane = index / perPlane;
    double node = 2.0 * kPi * plane / o.planes - kEarthRate * t;
    double u = 2.0 * kPi * (index % perPlane) / perPlane + plane * 0.5 + 2.0 * kPi * t / Period(o);
    double xo = o.radius * std::cos(u), yo = o.radius * std::sin(u);
    double ci = std::cos(o.inclination), si = std::sin(o.inclination);
    return {xo * std::cos(node) - yo * ci * std::sin(node), xo * std::sin(node) + yo * ci * std::cos(node), yo * si};
}

double Elevation(Vec3 station, Vec3 satellite) {
    Vec3 los = satellite - station;
    return std::asin(Dot(los, station) / (Norm(los) * Norm(station)));
}

int GlonassChannel(int index) { return index % 14 - 7; }

// The letter by which a person names the constellation of a u-blox gnssId.
char SystemLetter(uint8_t gnssId) {
    switch (gnssId) {
        case 0: return 'G';
        case 2: return 'E';
        case 3: return 'C';
        case 6: return 'R';
        default: return '?';
    }
}

// ---------------------------------------------------------------------------
// Broadcast ephemerides of the circular orbits. With e = 0, omega = 0 and no
// harmonic terms the Keplerian position is r (cos u, sin u) in the orbital
// plane with u = M; the plane turns by Omega0 + (OmegaDot - We) tk - We toe
// in the ICD's own Earth rate We. The sample turns its node by the GPS rate
// and advances u with the Keplerian period of the GPS constant of gravity,
// so deltaN makes up another constellation's constant, and OmegaDot and
// Omega0 make up the difference of Earth rates.

constexpr double kGmGalileoBeiDou = 3.986004418e14;
constexpr double kEarthRateBeiDou = 7.292115e-5;
constexpr double kBeiDouSecondsBehindGps = 14.0;
constexpr int kBeiDouWeeksBehindGps = 1356;
constexpr int kGalileoWeeksBehindGps = 1024;
constexpr int kFirstBeiDouD1Prn = 6;
constexpr double kNavigationPeriod = 30.0;     // a GPS frame, a D1 frame, a GLONASS frame
constexpr double kKeplerToeStep = 7200.0;
constexpr double kGlonassTbStep = 1800.0;
constexpr double kMoscowOffset = 10800.0;
constexpr double kLeapSeconds = 18.0;          // GPS - UTC of the sample's dates
constexpr double kDaySeconds = 86400.0;
constexpr uint8_t kUbxGps = 0, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxGlonass = 6;

double Wrapped(double angle) { return std::remainder(angle, 2.0 * kPi); }

struct PlaneAngles {
    double node0;     // node at time 0 of the week
    double u0;        // argument of latitude at time 0 of the week
};

PlaneAngles AnglesOf(const Orbits& o, int index) {
    int perPlane = (o.satellites + o.planes - 1) / o.planes;
    int plane = index / perPlane;
    return {2.0 * kPi * plane / o.planes, 2.0 * kPi * (index % perPlane) / perPlane + plane * 0.5};
}

// toeGps: the reference time in GPS seconds of week; toeOwn: the same in
// the constellation's own time.
KeplerElements CircularElements(const Orbits& o, int index, double toeGps, int toeOwn, int week, double gm,
                                double earthRate) {
    const PlaneAngles a = AnglesOf(o, index);
    KeplerElements k{};
    k.week = week;
    k.toe = k.toc = toeOwn;
    k.sqrtA = std::sqrt(o.radius);
    k.deltaN = 2.0 * kPi / Period(o) - std::sqrt(gm / (o.radius * o.radius * o.radius));
    k.M0 = Wrapped(a.u0 + 2.0 * kPi * toeGps / Period(o));
    k.i0 = o.inclination;
    k.OmegaDot = earthRate - kEarthRate;
    k.Omega0 = Wrapped(a.node0 - kEarthRate * toeGps + earthRate * toeOwn);
    return k;
}

double KeplerToe(double tow) { return std::floor(tow / kKeplerToeStep + 0.5) * kKeplerToeStep; }

void AddGpsFrame(UbxLog& log, const Orbits& o, int s, double tow, int week) {
    const double toe = KeplerToe(tow);
    KeplerElements k = CircularElements(o, s, toe, static_cast<int>(toe), week, kGmGps, kEarthRate);
    k.IODC = k.IODE = static_cast<int>(toe / kKeplerToeStep) % 256;
    LnavExtras extras;
    extras.towCount = static_cast<uint32_t>(tow / 6.0) + 1;
    for (const LnavWords& subframe : EncodeLnav(QuantiseLnav(k), extras))
        log.Add(MakeRxmSfrbx(kUbxGps, static_cast<uint8_t>(s + 1), 0, ToSfrbxWords(subframe)));
}

void AddGalileoWords(UbxLog& log, const Orbits& o, int s, double tow, int week) {
    const double toe = KeplerToe(tow);
    GalEphemerisRecord r{};
    r.elements = CircularElements(o, s, toe, static_cast<int>(toe), week - kGalileoWeeksBehindGps,
                                  kGmGalileoBeiDou, kEarthRate);
    r.elements.IODC = r.elements.IODE = static_cast<int>(toe / kKeplerToeStep) % 1024;
    r.prn = static_cast<int16_t>(s + 1);
    r.iNavValid = true;
    r.iNavToc = static_cast<int32_t>(toe);
    r.sisa = 107;
    GalINavExtras extras;
    extras.tow = static_cast<uint32_t>(tow);
    for (const GalINavWord& word : EncodeGalINav(r, extras))
        log.Add(MakeRxmSfrbx(kUbxGalileo, static_cast<uint8_t>(s + 1), 0, ToGalPagePair(word)));
}

void AddBeiDouFrame(UbxLog& log, const Orbits& o, int s, double tow, int week) {
    if (s + 1 < kFirstBeiDouD1Prn) return;   // geostationary numbers: D2, which the converter leaves
    const double toeGps = KeplerToe(tow) + kBeiDouSecondsBehindGps;
    const int toeOwn = static_cast<int>(KeplerToe(tow));
    BdsEphemerisRecord r{};
    r.elements = CircularElements(o, s, toeGps, toeOwn, week - kBeiDouWeeksBehindGps, kGmGalileoBeiDou,
                                  kEarthRateBeiDou);
    r.elements.IODC = r.elements.IODE = static_cast<int>(toeOwn / kKeplerToeStep) % 32;
    const auto sow = static_cast<uint32_t>(tow - kBeiDouSecondsBehindGps);
    for (const BdsD1Subframe& subframe : EncodeBdsD1(r, sow))
        log.Add(MakeRxmSfrbx(kUbxBeiDou, static_cast<uint8_t>(s + 1), 0, ToSfrbxWords(subframe)));
}

// The state vector at tb, on the day of the GPS time given.
void AddGlonassFrame(UbxLog& log, const Orbits& o, int s, double tow) {
    const double moscow = tow - kLeapSeconds + kMoscowOffset;
    const double dayStart = std::floor(moscow / kDaySeconds) * kDaySeconds;
    const double tbOfDay = std::floor((moscow - dayStart) / kGlonassTbStep + 0.5) * kGlonassTbStep;
    const double referenceGps = dayStart + tbOfDay - kMoscowOffset + kLeapSeconds;
    GloEphemerisRecord r{};
    r.tb = static_cast<int32_t>(std::fmod(tbOfDay, kDaySeconds));
    r.tk = static_cast<int32_t>(std::floor(std::fmod(moscow - dayStart, kDaySeconds) / 30.0) * 30.0);
    const Vec3 p = SatellitePosition(o, s, referenceGps);
    const Vec3 ahead = SatellitePosition(o, s, referenceGps + 0.5);
    const Vec3 behind = SatellitePosition(o, s, referenceGps - 0.5);
    const double position[3] = {p.x, p.y, p.z};
    const double velocity[3] = {ahead.x - behind.x, ahead.y - behind.y, ahead.z - behind.z};
    for (int axis = 0; axis < 3; ++axis) {
        r.position[axis] = position[axis] / 1000.0;
        r.velocity[axis] = velocity[axis] / 1000.0;
    }
    GlonassExtras extras;
    extras.NA = 1;
    const auto frameCount = static_cast<uint32_t>(tow / kNavigationPeriod);
    const auto superframe = static_cast<uint16_t>(frameCount / 5);
    const auto frame = static_cast<uint8_t>(frameCount % 5 + 1);
    for (const GlonassString& string : EncodeGlonass(r, extras))
        log.Add(MakeRxmSfrbx(kUbxGlonass, static_cast<uint8_t>(s + 1), static_cast<uint8_t>(GlonassChannel(s) + 7),
                             ToGlonassSfrbxWords(string, superframe, frame)));
}

void AddNavigation(UbxLog& log, const Orbits& o, int s, double tow, int week) {
    switch (o.gnssId) {
        case kUbxGps: AddGpsFrame(log, o, s, tow, week); break;
        case kUbxGalileo: AddGalileoWords(log, o, s, tow, week); break;
        case kUbxBeiDou: AddBeiDouFrame(log, o, s, tow, week); break;
        case kUbxGlonass: AddGlonassFrame(log, o, s, tow); break;
        default: break;
    }
}

Bytes NmeaSentence(double tow) {
    char text[96];
    int seconds = static_cast<int>(std::fmod(tow, 86400.0));
    int n = std::snprintf(text, sizeof text, "$GNGGA,%02d%02d%02d.00,5213.782,N,02100.732,E,1,12,0.8,110.0,M,,,,*",
                          seconds / 3600, seconds / 60 % 60, seconds % 60);
    uint8_t sum = 0;
    for (int i = 1; i < n - 1; ++i) sum ^= static_cast<uint8_t>(text[i]);
    std::snprintf(text + n, sizeof text - n, "%02X\r\n", sum);
    return Bytes(text, text + std::strlen(text));
}

}  // namespace

Bytes BuildSampleLog(const SampleLogOptions& opt, SampleLogStats* stats) {
    SampleLogStats counts;
    UbxLog log;
    const Vec3 station = GeodeticToEcef(opt.latitude, opt.longitude, opt.height);
    if (opt.clutter) log.Add(Garbage(700, opt.seed));

    std::vector<RawxBlock> blocks;
    for (int e = 0; e < opt.epochs; ++e) {
        const double t = opt.startTow + e * opt.interval;
        const double clock = opt.clockBias + 1e-9 * e * opt.interval;   // slow drift
        if (opt.clutter) {
            log.Add(NmeaSentence(t));
            log.Add(MakeUnknownFrame(0x01, 0x07, 92));
        }
        log.Add(MakeNavPosllh(static_cast<uint32_t>(t * 1000.0), opt.latitude, opt.longitude, opt.height));
        ++counts.positions;

        blocks.clear();
        for (const Orbits& o : kOrbits) {
            if (opt.systems.find(SystemLetter(o.gnssId)) == std::string::npos) continue;
            for (int s = 0; s < o.satellites; ++s) {
                Vec3 sat = SatellitePosition(o, s, t);
                if (Elevation(station, sat) < kElevationMask) continue;
                if (opt.navigation && std::fmod(t, kNavigationPeriod) == 0.0) AddNavigation(log, o, s, t, opt.week);
                double range = Norm(sat - station);
                double rate = (Norm(SatellitePosition(o, s, t + 0.5) - station) -
                               Norm(SatellitePosition(o, s, t - 0.5) - station));
                int channel = o.gnssId == 6 ? GlonassChannel(s) : 0;
                for (int f = 0; f < 2; ++f) {
                    double freq = o.frequencies[f] + channel * o.glonassSpacing[f];
                    double lambda = kLight / freq;
                    double pr = range + kLight * clock;
                    RawxBlock b;
                    b.prMes = pr;
                    b.cpMes = pr / lambda + 1000.0 * (s + 1);
                    b.doMes = static_cast<float>(-rate / lambda);
                    b.gnssId = o.gnssId;
                    b.svId = static_cast<uint8_t>(s + 1);
                    b.sigId = o.sigIds[f];
                    b.freqId = static_cast<uint8_t>(channel + 7);
                    b.locktime = static_cast<uint16_t>(std::min(64500.0, (e + 1) * opt.interval * 1000.0));
                    b.cno = static_cast<uint8_t>(35 + (s * 3) % 15 - 3 * f);
                    b.prStdev = 4;
                    b.cpStdev = 2;
                    b.trkStat = 7;
                    blocks.push_back(b);
                }
            }
        }
        log.Add(MakeRxmRawx(t, static_cast<uint16_t>(opt.week), blocks));
        counts.signals += static_cast<int>(blocks.size());
        ++counts.epochs;

        if (opt.markEvery > 0 && e % opt.markEvery == opt.markEvery / 2) {
            TimeMark mark;
            mark.wnR = mark.wnF = static_cast<uint16_t>(opt.week);
            mark.towMsR = static_cast<uint32_t>(t * 1000.0) + 123;
            mark.towSubMsR = 456789;
            mark.towMsF = mark.towMsR + 100;
            mark.count = static_cast<uint16_t>(counts.marks + 1);
            log.Add(MakeTimTm2(mark));
            ++counts.marks;
        }
        if (opt.clutter && e % 97 == 50) {
            // A frame damaged in transit, and a stray sync byte before the next one.
            log.Add(BreakChecksum(MakeUnknownFrame(0x02, 0x15, 16 + 32)));
            log.Add(Bytes{0xB5});
        }
    }
    if (opt.clutter) log.Add(Bytes{0xB5, 0x62, 0x02, 0x15, 0x40});   // cut mid-frame, as logs end
    if (stats) *stats = counts;
    return log.Data();
}

}  // namespace simulation
