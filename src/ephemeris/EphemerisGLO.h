#pragma once
// A GLONASS ephemeris: state vector in PZ-90 integrated numerically. Its GPS
// reference time has to be resolved from tb, leap seconds and a nearby GPS
// time before the record is valid.
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "ephemeris/TextRecord.h"

namespace GNSS {

class CEphemerisGLO : public IEphemeris {
public:
    CEphemerisGLO();
    // Derives the two carrier frequencies from the channel.
    explicit CEphemerisGLO(const GloEphemerisRecord& record);
    CEphemerisGLO(const CEphemerisGLO& other) = default;
    CEphemerisGLO& operator=(const CEphemerisGLO& other) = default;
    ~CEphemerisGLO() override = default;

    const GloEphemerisRecord& Record() const { return record; }

    void Clear() override;
    bool IsValid(char* message) const override;
    bool GetRecord(void* out) const override;
    bool GetSatelliteId(SatelliteId& id) const override;
    double GetGM() const override;
    double GetEarthRotationRate() const override;
    bool GetReferenceTime(GpsTime& time) const override;
    bool IsCurrent(const GpsTime& t) const override;
    bool IsUsable(const GpsTime& t) const override;
    bool ComputePositionVelocity(const GpsTime& t, double range, double position[3],
                                 double velocity[3]) const override;
    double ComputeClockBias(const GpsTime& t) const override;
    double GetClockRateTerm(const GpsTime& t) const override;
    int GetUpdateInterval() const override { return 3600; }
    bool WriteRecord(FILE* file) const override;
    bool IsEarlier(const IEphemeris& other) const override;
    bool IsEqual(const IEphemeris& other) const override;
    bool IsSameIssue(const IEphemeris& other) const override;

    // Sets gpsWeek and gpsSeconds from tb with a GPS time near the record.
    bool ResolveGpsTime(const GpsTime& reference, double leapSeconds, char* message);
    // The same with a time range (the GPS records of a file).
    bool ResolveGpsTimeInRange(const GpsTimeRange& range, double leapSeconds, char* message);
    void SetTimeCorrection(double tauC, int NT);

    // The file entry point: reads a GloEph or GlnEph record and, when resolve
    // is set and leapSeconds is positive, resolves its GPS time in range.
    bool ReadRecord(TextRecord& text, int version, const GpsTimeRange& range, double leapSeconds,
                    bool resolve, char* message);

private:
    // Reads the lines alone; the GPS time stays as the file gives it.
    bool ReadText(TextRecord& text, int version, char* message);
    GloEphemerisRecord record{};

    // The last integrated state. A solve asks for the same satellite many
    // times within a millisecond (light-time and least-squares iterations);
    // within that the state is carried by its own velocity and acceleration,
    // which is exact to far below a micrometre, instead of integrating the
    // whole way from the reference time again.
    struct IntegratedState {
        bool valid = false;
        double dt = 0.0;
        double position[3] = {}, velocity[3] = {}, acceleration[3] = {};
    };
    mutable IntegratedState lastState;
};

}  // namespace GNSS
