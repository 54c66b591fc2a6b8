#pragma once
// The satellites of the synthetic log as they truly are: where each one is
// and how its clock runs, and the broadcast records that describe both.
//
// The orbits of GPS, Galileo and BeiDou are circles that their broadcast
// elements carry exactly: radius, inclination and node on the grids of the
// navigation messages, each constellation's own constant of gravitation and
// Earth rotation rate, and so no deltaN and no OmegaDot. Only the mean
// anomaly at a later toe, or a node in a later week, is rounded onto its
// grid (at most 7e-10 rad, 2 cm along the orbit). GLONASS satellites follow the equations of motion
// of their ICD from a state that its message carries exactly at the first
// tb; later state vectors are samples of that same path, rounded onto the
// message's grid (0.5 m, 1 mm/s). Satellite clocks are lines whose broadcast
// offsets at every toc fall on their grids, so that GPS, Galileo and BeiDou
// clocks are exact; the GLONASS tauN of a later tb is rounded (at most
// 0.5 ns).
//
// Times are session seconds: GPS seconds from the start of the GPS week in
// which the log begins.
#include <array>
#include <cstdint>
#include <vector>

#include "ephemeris/EphemerisRecords.h"
#include "simulation/GlonassTrajectory.h"

namespace simulation {

struct Vec3 {
    double x, y, z;
};

inline constexpr uint8_t kUbxGps = 0, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxGlonass = 6;

// A constellation's orbits, its time, its u-blox ids and its two signals.
struct Constellation {
    uint8_t gnssId;
    char letter;                          // as a person names the constellation
    int satellites;
    int planes;
    double radius;                        // m
    double inclination;                   // rad
    double gm;                            // the constant of gravitation of its ICD
    double earthRate;                     // the Earth rotation rate of its ICD
    double lag;                           // its time behind GPS time, s
    int weeksBehindGps;                   // its week numbers behind GPS's
    std::array<uint8_t, 2> sigIds;
    std::array<double, 2> frequencies;    // Hz; GLONASS adds the channel spacing
    std::array<double, 2> glonassSpacing;
};

extern const std::array<Constellation, 4> kConstellations;

int GlonassChannel(int index);
double SignalFrequency(const Constellation& c, int signal, int index);

class CSampleSky {
public:
    // The GPS week of session time 0 and the span of the log.
    CSampleSky(int week, double first, double last);
    int Week() const { return week; }

    // Earth-fixed position at a time, in the frame of that time.
    Vec3 Position(const Constellation& c, int index, double t) const;
    // Satellite time minus GPS time, s.
    double ClockOffset(const Constellation& c, int index, double t) const;

    // The orbit and clock of GPS, Galileo or BeiDou with its reference time
    // at toe (the constellation's own session seconds), week and toe in the
    // constellation's own time. Issue numbers are left to the caller.
    KeplerElements Kepler(const Constellation& c, int index, double toe) const;
    // The GLONASS state vector and clock at tb (session seconds, GPS time).
    GloEphemerisRecord Glonass(int index, double tb) const;

    // The reference times of the broadcast records nearest a time: toe in
    // the constellation's own session seconds; tb in GPS session seconds.
    static double KeplerToe(const Constellation& c, double t);
    static double GlonassTb(double t);

private:
    int week;
    double first;                         // the first time of the log
    double glonassEpoch;                  // the first tb, where each GLONASS path starts
    std::vector<CGlonassTrajectory> glonass;
};

}  // namespace simulation
