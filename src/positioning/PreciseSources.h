#pragma once
// The sources of satellite states besides the broadcast ephemerides: a
// precise orbit, a precise clock and a near-real-time orbit with clock.
// The satellite service keeps a slot for each, empty until a product is
// supplied, and chooses among them by its source mode.
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

// Orbits of a product; precise and near-real-time products alike. Every
// operation answers false with its words in errorText (512 bytes, may be
// null) when it has nothing for the satellite or time.
class IOrbitProduct {
public:
    virtual ~IOrbitProduct() = default;
    virtual void Reset() = 0;
    // The satellite clock at a transmit time, seconds.
    virtual bool ComputeClock(const SatelliteId& satellite, const GpsTime& time, double& bias, char* errorText) = 0;
    // Position and velocity only, for a reception time, in the Earth frame of
    // reception.
    virtual bool ComputeOrbit(const SatelliteId& satellite, const GpsTime& receptionTime,
                              const double receiverPosition[3], double range, double position[3], double velocity[3],
                              char* errorText) = 0;
    // Position, velocity and the clock of the orbit product, metres.
    virtual bool ComputeOrbitAndClock(const SatelliteId& satellite, const GpsTime& receptionTime,
                                      const double receiverPosition[3], double range, double position[3],
                                      double velocity[3], double& clockMetres, char* errorText) = 0;
};

// Clocks of a product.
class IClockProduct {
public:
    virtual ~IClockProduct() = default;
    virtual void Reset() = 0;
    virtual bool ComputeClock(const SatelliteId& satellite, const GpsTime& time, double& bias, char* errorText) = 0;
};
