#pragma once
// One broadcast ephemeris of one satellite, whatever its constellation: the
// store keeps these, the .epp file is written and read through them, and
// positioning asks them for orbits and clocks.
#include <cstdint>
#include <cstdio>

#include "ephemeris/EphemerisRecords.h"
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

inline constexpr int kEphemerisMessageSize = 512;
inline constexpr int kGeostationarySatelliteType = 3;

namespace GNSS {

class IEphemeris {
public:
    virtual ~IEphemeris() = default;

    virtual void Clear() = 0;
    // Writes its words to message (512 bytes) only when message is not null.
    virtual bool IsValid(char* message) const = 0;
    // Copies the flat record of the class out, then answers IsValid.
    virtual bool GetRecord(void* record) const = 0;
    virtual bool GetSatelliteId(SatelliteId& id) const = 0;
    virtual double GetGM() const = 0;
    virtual double GetEarthRotationRate() const = 0;
    // True when the week is full (1024 or more).
    virtual bool GetReferenceTime(GpsTime& time) const = 0;
    virtual void SetSatelliteType(int type) { satelliteType = type; }
    virtual int GetSatelliteType() const { return satelliteType; }
    virtual bool IsCurrent(const GpsTime& t) const;
    virtual bool IsUsable(const GpsTime& t) const;
    virtual bool IsSameEpoch(const IEphemeris& other) const;
    // Position (m) and velocity (m/s); both outputs are required.
    virtual bool ComputePositionVelocity(const GpsTime& t, double range, double position[3],
                                         double velocity[3]) const;
    virtual double ComputeClockBias(const GpsTime& t) const;
    virtual double GetClockRateTerm(const GpsTime& t) const;
    virtual double GetGroupDelay() const { return 0.0; }
    virtual bool IsGeostationary() const { return false; }
    virtual void ApplyGeostationaryRotation(double dt, double position[3], double velocity[3]) const;
    virtual int GetUpdateInterval() const = 0;
    // The text record of the .epp file; false when file is null.
    virtual bool WriteRecord(FILE* file) const = 0;
    virtual int GetToc() const;
    virtual double GetAf0() const;
    virtual double GetAf1() const;
    virtual double GetAf2() const;
    // Both take another object of the same class.
    virtual bool IsEarlier(const IEphemeris& other) const = 0;
    virtual bool IsEqual(const IEphemeris& other) const = 0;
    virtual bool IsSameIssue(const IEphemeris& other) const;

    // t minus the reference time, signed seconds.
    double TimeSinceReference(const GpsTime& t) const;
    // t - reference + update interval / 2, signed; 604800 without elements.
    double MidIntervalDistance(const GpsTime& t) const;

protected:
    const KeplerElements* elements = nullptr;   // inside the same object; null for GLONASS
    int32_t satelliteType = 0;
};

}  // namespace GNSS
