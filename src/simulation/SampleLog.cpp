#include "simulation/SampleLog.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "simulation/FieldScaling.h"
#include "simulation/SampleNavigation.h"
#include "simulation/SampleSky.h"

namespace simulation {

namespace {

constexpr double kEarthRate = 7.2921151467e-5;   // the Earth's turn while the signal flies
constexpr double kWgsA = 6378137.0;
constexpr double kWgsF = 1.0 / 298.257223563;
constexpr double kElevationMask = 10.0 * kPi / 180.0;
constexpr double kReceiverDrift = 1e-9;          // s/s
constexpr double kWeek = 604800.0;
constexpr double kDay = 86400.0;
constexpr int kMjdOfGpsEpoch = 44244;
constexpr double kNavigationPeriod = 30.0;
constexpr double kNominalFlight = 0.075;         // s, where the light-time solution starts
constexpr double kFlightTolerance = 1e-13;       // s
constexpr int kFlightPasses = 10;
constexpr double kDopplerSpan = 0.5;             // s each side of the epoch
constexpr double kAmbiguityPerSatellite = 1000.0;
constexpr double kAmbiguityPerSignal = 500.0;

Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double Norm(Vec3 a) { return std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z); }

struct Station {
    Vec3 ecef;
    StationGeodetic geodetic;
};

Station MakeStation(const SampleLogOptions& o) {
    const double lat = o.latitude * kPi / 180.0, lon = o.longitude * kPi / 180.0;
    const double e2 = kWgsF * (2.0 - kWgsF);
    const double n = kWgsA / std::sqrt(1.0 - e2 * std::sin(lat) * std::sin(lat));
    return {{(n + o.height) * std::cos(lat) * std::cos(lon), (n + o.height) * std::cos(lat) * std::sin(lon),
             (n * (1.0 - e2) + o.height) * std::sin(lat)},
            {lat, lon, o.height}};
}

double SessionTime(const SampleLogOptions& o, int week, double tow) { return (week - o.week) * kWeek + tow; }
double ReceiverClockAt(const SampleLogOptions& o, double t) { return o.clockBias + kReceiverDrift * (t - o.startTow); }

// Both delays at a receiver time (session seconds), seen on the station's
// geodetic horizon.
SampleDelays DelaysAt(const SampleLogOptions& o, const Station& station, double t, Vec3 satellite,
                      double& elevation) {
    const Vec3 d = satellite - station.ecef;
    const double sinLat = std::sin(station.geodetic.latitude), cosLat = std::cos(station.geodetic.latitude);
    const double sinLon = std::sin(station.geodetic.longitude), cosLon = std::cos(station.geodetic.longitude);
    const double east = -sinLon * d.x + cosLon * d.y;
    const double north = -sinLat * cosLon * d.x - sinLat * sinLon * d.y + cosLat * d.z;
    const double up = cosLat * cosLon * d.x + cosLat * sinLon * d.y + sinLat * d.z;
    elevation = std::atan2(up, std::hypot(east, north));
    const double azimuth = std::atan2(east, north);
    const double days = std::floor(t / kDay);
    const int mjd = kMjdOfGpsEpoch + 7 * o.week + static_cast<int>(days);
    const double tow = t - std::floor(t / kWeek) * kWeek;
    return {TroposphereDelay(mjd, t / kDay - days, station.geodetic, elevation),
            KlobucharDelayL1(SampleIonosphereModel(), tow, station.geodetic, elevation, azimuth)};
}

// A signal's way to the station at a receiver time: what code and phase
// share (flight, both clocks, troposphere), and the ionosphere of L1.
struct Path {
    double range;
    double ionosphereL1;
    double elevation;
};

Path Trace(const CSampleSky& sky, const Constellation& c, int index, const SampleLogOptions& o,
           const Station& station, double receiverTime) {
    const double clock = ReceiverClockAt(o, receiverTime);
    const double reception = receiverTime - clock;
    double flight = kNominalFlight;
    Vec3 seen{};
    for (int pass = 0; pass < kFlightPasses; ++pass) {
        // Where the satellite was at transmission, in the Earth frame of
        // the moment of reception.
        const Vec3 p = sky.Position(c, index, reception - flight);
        const double turn = kEarthRate * flight;
        seen = {p.x * std::cos(turn) + p.y * std::sin(turn), p.y * std::cos(turn) - p.x * std::sin(turn), p.z};
        const double next = Norm(seen - station.ecef) / kLight;
        const bool settled = std::fabs(next - flight) < kFlightTolerance;
        flight = next;
        if (settled) break;
    }
    Path path{};
    const SampleDelays delays = DelaysAt(o, station, receiverTime, seen, path.elevation);
    path.range = kLight * (flight + clock - sky.ClockOffset(c, index, reception - flight)) + delays.troposphere;
    path.ionosphereL1 = delays.ionosphere;
    return path;
}

double PhaseRange(const Path& p, double frequency) {
    return p.range - IonosphereAtFrequency(p.ionosphereL1, frequency);
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
    const Station station = MakeStation(opt);
    const CSampleSky sky(opt.week, opt.startTow, opt.startTow + (opt.epochs - 1) * opt.interval);
    if (opt.clutter) log.Add(Garbage(700, opt.seed));

    std::vector<RawxBlock> blocks;
    for (int e = 0; e < opt.epochs; ++e) {
        const double t = opt.startTow + e * opt.interval;
        const double weeks = std::floor(t / kWeek);
        const double tow = t - weeks * kWeek;
        if (opt.clutter) {
            log.Add(NmeaSentence(tow));
            log.Add(MakeUnknownFrame(0x01, 0x07, 92));
        }
        log.Add(MakeNavPosllh(static_cast<uint32_t>(tow * 1000.0), opt.latitude, opt.longitude, opt.height));
        ++counts.positions;

        blocks.clear();
        for (const Constellation& c : kConstellations) {
            if (opt.systems.find(c.letter) == std::string::npos) continue;
            for (int s = 0; s < c.satellites; ++s) {
                const Path now = Trace(sky, c, s, opt, station, t);
                if (now.elevation < kElevationMask) continue;
                if (opt.navigation && std::fmod(t, kNavigationPeriod) == 0.0) AddNavigationFrame(log, sky, c, s, t);
                const Path ahead = Trace(sky, c, s, opt, station, t + kDopplerSpan);
                const Path behind = Trace(sky, c, s, opt, station, t - kDopplerSpan);
                const int channel = c.gnssId == kUbxGlonass ? GlonassChannel(s) : 0;
                for (int f = 0; f < 2; ++f) {
                    const double frequency = SignalFrequency(c, f, s);
                    const double lambda = kLight / frequency;
                    const double phaseRate =
                        (PhaseRange(ahead, frequency) - PhaseRange(behind, frequency)) / (2.0 * kDopplerSpan);
                    RawxBlock b;
                    b.prMes = now.range + IonosphereAtFrequency(now.ionosphereL1, frequency);
                    b.cpMes = PhaseRange(now, frequency) / lambda + kAmbiguityPerSatellite * (s + 1) +
                              kAmbiguityPerSignal * f;
                    b.doMes = static_cast<float>(-phaseRate / lambda);
                    b.gnssId = c.gnssId;
                    b.svId = static_cast<uint8_t>(s + 1);
                    b.sigId = c.sigIds[f];
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
        log.Add(MakeRxmRawx(tow, static_cast<uint16_t>(opt.week + weeks), blocks));
        counts.signals += static_cast<int>(blocks.size());
        ++counts.epochs;

        if (opt.markEvery > 0 && e % opt.markEvery == opt.markEvery / 2) {
            TimeMark mark;
            mark.wnR = mark.wnF = static_cast<uint16_t>(opt.week + weeks);
            mark.towMsR = static_cast<uint32_t>(tow * 1000.0) + 123;
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

double SampleReceiverClock(const SampleLogOptions& options, int week, double tow) {
    return ReceiverClockAt(options, SessionTime(options, week, tow));
}

void SampleStation(const SampleLogOptions& options, double ecef[3]) {
    const Vec3 p = MakeStation(options).ecef;
    ecef[0] = p.x, ecef[1] = p.y, ecef[2] = p.z;
}

const KlobucharCoefficients& SampleIonosphereModel() {
    static const KlobucharCoefficients model = [] {
        const LnavIonosphereUtc& page = BroadcastIonosphereUtc();
        KlobucharCoefficients m{};
        std::copy(page.alpha, page.alpha + 4, m.alpha);
        std::copy(page.beta, page.beta + 4, m.beta);
        return m;
    }();
    return model;
}

SampleDelays SampleSignalDelays(const SampleLogOptions& options, int week, double tow, const double satellite[3],
                                double frequency) {
    double elevation;
    SampleDelays d = DelaysAt(options, MakeStation(options), SessionTime(options, week, tow),
                              {satellite[0], satellite[1], satellite[2]}, elevation);
    d.ionosphere = IonosphereAtFrequency(d.ionosphere, frequency);
    return d;
}

double SampleFrequency(char system, int signal, int glonassChannel) {
    for (const Constellation& c : kConstellations)
        if (c.letter == system) return c.frequencies[signal] + glonassChannel * c.glonassSpacing[signal];
    return 0.0;
}

}  // namespace simulation
