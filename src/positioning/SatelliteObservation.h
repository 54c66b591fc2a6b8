#pragma once
// The single point engine's record of one satellite in the current epoch.
#include <cstdint>

#include "rawfile/GnssTypes.h"

// Bits of SatelliteObservation::flags.
enum ObservationFlag : uint32_t {
    kNewSatellite = 0x1,           // not in the previous epoch's good set; weight inflated
    kHasPosition = 0x2,
    kHasAzimuthElevation = 0x4,
    kHasResidual = 0x8,
    kNoMeasurement = 0x80,
    kNoOrbit = 0x100,
    kBelowMask = 0x200,            // cleared at each pass
    kRejected = 0x1C00,            // always set together, by residual rejection
};
// A record takes part in the estimation only with none of these bits.
inline constexpr uint32_t kNotUsable = kNoMeasurement | kNoOrbit | kBelowMask;   // 0x380
inline constexpr uint32_t kNoMeasurementOrOrbit = kNoMeasurement | kNoOrbit;   // 0x180

struct SatelliteObservation {
    SatelliteId id;
    uint32_t flags = 0;
    double transmitSeconds = 0.0;     // seconds of week given to the orbit computation
    double pseudorange = 0.0;         // metres
    double pseudorangeStdDev = 0.0;   // metres; 0 when the signal has none
    GnssSignalId signal = kNoSignal;
    double satelliteClock = 0.0;      // metres, added to the pseudorange
    double troposphereDelay = 0.0;    // metres, subtracted from the pseudorange
    double ionosphereDelay = 0.0;     // metres, added; the model gives it negative
    double spare1[2] = {};
    int32_t orbitSource = 0;
    int32_t clockSource = 0;
    double satellitePosition[3] = {};   // Earth-fixed metres
    double satelliteVelocity[3] = {};   // metres per second
    double azimuth = 0.0;             // radians
    double elevation = 0.0;
    double nadir = 0.0;
    double spare2 = 0.0;
    double pseudorangeResidual = 0.0;   // metres
    double phaseResidual = 0.0;
    double dopplerResidual = 0.0;
    double spare3[3] = {};

    bool Usable() const { return (flags & (kNotUsable | kRejected)) == 0; }
};
