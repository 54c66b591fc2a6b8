#pragma once
// A station under made-up GPS and Galileo constellations: ephemerides in a
// store and in an .epp file, and epochs whose pseudoranges the store's own
// satellite states make exact, so that a solution can be held to the truth.
#include <cmath>
#include <string>
#include <vector>

#include "datum/Geodesy.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"
#include "positioning/SatelliteService.h"
#include "rawfile/GnssEpoch.h"
#include "support/TestPaths.h"

namespace scenario {

constexpr double kPi = 3.14159265358979323846;
constexpr int kWeek = 2300;
constexpr double kToe = 345600.0;
constexpr double kEpochTime = kToe + 60.0;     // GPS time of reception
constexpr double kReceiverClock = 2.5e-4;      // seconds
const GeodeticPosition kStation{47.3, 8.5, 520.0};

inline KeplerElements Orbit(double sqrtA, double node, double anomaly, int week, int toe) {
    KeplerElements k{};
    k.week = week, k.toe = k.toc = toe, k.sqrtA = sqrtA, k.e = 0.008, k.i0 = 0.96, k.Omega0 = node;
    k.omega = 0.4, k.M0 = anomaly, k.deltaN = 4.5e-09, k.OmegaDot = -8.1e-09;
    k.af0 = -1.2e-04 + 1e-6 * toe / 3600.0, k.af1 = -3.4e-12, k.IODC = k.IODE = 11;
    return k;
}

// 24 GPS satellites in 6 planes and 12 Galileo satellites in 3.
inline void FillStore(CEphemerisStore& store) {
    for (int s = 0; s < 24; ++s) {
        GpsEphemerisRecord r{Orbit(5153.65, (s / 4) * kPi / 3.0, (s % 4) * kPi / 2.0 + (s / 4) * 0.26, kWeek,
                                   static_cast<int>(kToe)),
                             s + 1};
        r.elements.af0 += 1e-6 * s;
        store.AddGps(r);
    }
    for (int s = 0; s < 12; ++s) {
        GalEphemerisRecord r{};
        r.elements = Orbit(5440.6, (s / 4) * 2.0 * kPi / 3.0 + 0.3, (s % 4) * kPi / 2.0 + (s / 4) * 0.5, kWeek - 1024,
                           static_cast<int>(kToe));
        r.prn = static_cast<int16_t>(s + 1);
        r.iNavValid = true;
        r.iNavToc = static_cast<int32_t>(kToe);
        r.iNavAf0 = 2.1e-4 + 1e-6 * s;
        r.iNavAf1 = 1.1e-12;
        r.sisa = 107;
        store.AddGalileo(r);
    }
}

inline void StationEcef(double ecef[3]) { ToCartesian(kStation, ecef, &kWgs84Datum); }

struct Satellite {
    SatelliteId id;
    double elevation;   // radians
    double pseudorange; // metres
};

// Every satellite above the horizon with its exact pseudorange; bias adds
// an inter-system offset (metres) to the Galileo ranges.
inline std::vector<Satellite> Visible(CEphemerisStore& store, double galileoBias = 0.0) {
    double station[3];
    StationEcef(station);
    std::vector<Satellite> list;
    for (GnssConstellation c : {kGps, kGalileo}) {
        for (int prn = 1; prn <= HighestPrn(c); ++prn) {
            const SatelliteId id(c, prn);
            if (!store.HasRecords(id)) continue;
            double position[3], velocity[3], clock = 0.0;
            if (!store.ComputeSatelliteState(id, GpsTime(kWeek, kEpochTime), station, 0.0, position, velocity, clock))
                continue;
            double azimuth, elevation, nadir;
            CSatelliteService::ComputeAzimuthElevation(kStation, station, position, azimuth, elevation, nadir);
            if (elevation < 5.0 * kPi / 180.0) continue;
            const double dx = position[0] - station[0], dy = position[1] - station[1], dz = position[2] - station[2];
            const double range = std::sqrt(dx * dx + dy * dy + dz * dz);
            const double bias = c == kGalileo ? galileoBias : 0.0;
            list.push_back({id, elevation, range + kSpeedOfLight * kReceiverClock - clock + bias});
        }
    }
    return list;
}

// An epoch of the given satellites at the receiver's time, one signal each.
inline CGnssEpoch Epoch(const std::vector<Satellite>& satellites, double timeOffset = 0.0) {
    CGnssEpoch epoch;
    epoch.week = kWeek;
    epoch.rawRcvTime = kEpochTime + timeOffset + kReceiverClock;
    epoch.rcvTimeMs = static_cast<uint32_t>(std::lround(epoch.rawRcvTime * 1000.0));
    epoch.flags = kEpochWeekValid;
    for (const Satellite& s : satellites) {
        CGnssSatellite satellite(s.id);
        CGnssSignal signal;
        signal.signalId = s.id.constellation == kGps ? 0 : 60;
        signal.flags = kSigPresent | kSigPseudorange;
        signal.pseudorange = s.pseudorange;
        satellite.SetSignal(signal);
        epoch.SetSatellite(satellite);
    }
    return epoch;
}

// The store written as an .epp file of a folder.
inline std::string SaveEpp(CEphemerisStore& store, const ubxtest::TempDir& dir) {
    const std::string path = dir.File("scenario.epp");
    SaveEphemerisFile(store, path.c_str(), false, "UBLOX2TRV", "U-Blox");
    return path;
}

inline double Distance(const double a[3], const double b[3]) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

}  // namespace scenario
