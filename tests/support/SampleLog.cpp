#include "SampleLog.h"

#include <array>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace ubxtest {

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
    double period;          // seconds
    std::array<uint8_t, 2> sigIds;
    std::array<double, 2> frequencies;   // Hz; GLONASS adds the channel spacing
    std::array<double, 2> glonassSpacing;
};

const Orbits kOrbits[] = {
    {0, 31, 6, 26559700.0, 55.0 * kPi / 180.0, 43082.0, {0, 3}, {1575.42e6, 1227.60e6}, {0, 0}},
    {6, 24, 3, 25508200.0, 64.8 * kPi / 180.0, 40544.0, {0, 2}, {1602.0e6, 1246.0e6}, {0.5625e6, 0.4375e6}},
    {2, 24, 3, 29599800.0, 56.0 * kPi / 180.0, 50680.0, {0, 6}, {1575.42e6, 1207.14e6}, {0, 0}},
    {3, 24, 3, 27906100.0, 55.0 * kPi / 180.0, 46380.0, {0, 2}, {1561.098e6, 1207.14e6}, {0, 0}},
};

Vec3 SatellitePosition(const Orbits& o, int index, double t) {
    int perPlane = (o.satellites + o.planes - 1) / o.planes;
    int plane = index / perPlane;
    double node = 2.0 * kPi * plane / o.planes - kEarthRate * t;
    double u = 2.0 * kPi * (index % perPlane) / perPlane + plane * 0.5 + 2.0 * kPi * t / o.period;
    double xo = o.radius * std::cos(u), yo = o.radius * std::sin(u);
    double ci = std::cos(o.inclination), si = std::sin(o.inclination);
    return {xo * std::cos(node) - yo * ci * std::sin(node), xo * std::sin(node) + yo * ci * std::cos(node), yo * si};
}

double Elevation(Vec3 station, Vec3 satellite) {
    Vec3 los = satellite - station;
    return std::asin(Dot(los, station) / (Norm(los) * Norm(station)));
}

int GlonassChannel(int index) { return index % 14 - 7; }

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
    std::vector<RawBlock> rawBlocks;
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
        rawBlocks.clear();
        for (const Orbits& o : kOrbits) {
            if (!opt.rawx && o.gnssId != 0) continue;
            for (int s = 0; s < o.satellites; ++s) {
                Vec3 sat = SatellitePosition(o, s, t);
                if (Elevation(station, sat) < kElevationMask) continue;
                double range = Norm(sat - station);
                double rate = (Norm(SatellitePosition(o, s, t + 0.5) - station) -
                               Norm(SatellitePosition(o, s, t - 0.5) - station));
                int channel = o.gnssId == 6 ? GlonassChannel(s) : 0;
                for (int f = 0; f < (opt.rawx ? 2 : 1); ++f) {
                    double freq = o.frequencies[f] + channel * o.glonassSpacing[f];
                    double lambda = kLight / freq;
                    double pr = range + kLight * clock;
                    if (opt.rawx) {
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
                    } else if (rawBlocks.size() < 16) {
                        RawBlock b;
                        b.prMes = pr;
                        b.cpMes = pr / lambda + 1000.0 * (s + 1);
                        b.doMes = static_cast<float>(-rate / lambda);
                        b.sv = static_cast<uint8_t>(s + 1);
                        b.cno = static_cast<int8_t>(35 + (s * 3) % 15);
                        rawBlocks.push_back(b);
                    }
                }
            }
        }
        if (opt.rawx) {
            log.Add(MakeRxmRawx(t, static_cast<uint16_t>(opt.week), blocks));
            counts.signals += static_cast<int>(blocks.size());
        } else {
            log.Add(MakeRxmRaw(static_cast<int32_t>(std::lround(t * 1000.0)), static_cast<int16_t>(opt.week),
                               rawBlocks));
            counts.signals += static_cast<int>(rawBlocks.size());
        }
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

}  // namespace ubxtest
