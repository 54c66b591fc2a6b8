#pragma once
// A GPS LNAV ephemeris: the Keplerian orbit and clock of IS-GPS-200.
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "ephemeris/TextRecord.h"

namespace GNSS {

class CEphemerisGPS : public IEphemeris {
public:
    CEphemerisGPS();
    // A broadcast week below 1024 is widened by the receiver clock.
    explicit CEphemerisGPS(const GpsEphemerisRecord& record);
    CEphemerisGPS(const CEphemerisGPS& other);
    CEphemerisGPS& operator=(const CEphemerisGPS& other);
    ~CEphemerisGPS() override = default;

    const GpsEphemerisRecord& Record() const { return record; }

    void Clear() override;
    bool IsValid(char* message) const override;
    bool GetRecord(void* out) const override;
    bool GetSatelliteId(SatelliteId& id) const override;
    double GetGM() const override;
    double GetEarthRotationRate() const override;
    bool GetReferenceTime(GpsTime& time) const override;
    int GetUpdateInterval() const override { return 7200; }
    bool WriteRecord(FILE* file) const override;
    bool IsEarlier(const IEphemeris& other) const override;
    bool IsEqual(const IEphemeris& other) const override;

    // Reads a GpsEph text record of the given file version (0, 1 or 2).
    bool ReadRecord(TextRecord& text, int version, char* message);

private:
    GpsEphemerisRecord record{};
};

}  // namespace GNSS
