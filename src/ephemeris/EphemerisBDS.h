#pragma once
// A BeiDou D1/D2 ephemeris. Its reference time is kept in GPS time
// (BeiDou week + 1356, toe + 14 s); toe and toc stay in BeiDou time.
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "ephemeris/TextRecord.h"

namespace GNSS {

class CEphemerisBDS : public IEphemeris {
public:
    CEphemerisBDS();
    // Derives gpsWeek and gpsSeconds from week and toe.
    explicit CEphemerisBDS(const BdsEphemerisRecord& record);
    CEphemerisBDS(const CEphemerisBDS& other);
    CEphemerisBDS& operator=(const CEphemerisBDS& other);
    ~CEphemerisBDS() override = default;

    const BdsEphemerisRecord& Record() const { return record; }

    void Clear() override;
    bool IsValid(char* message) const override;
    bool GetRecord(void* out) const override;
    bool GetSatelliteId(SatelliteId& id) const override;
    double GetGM() const override;
    double GetEarthRotationRate() const override;
    bool GetReferenceTime(GpsTime& time) const override;
    double GetGroupDelay() const override { return record.elements.TGD; }
    bool IsGeostationary() const override { return satelliteType == kGeostationarySatelliteType; }
    void ApplyGeostationaryRotation(double dt, double position[3], double velocity[3]) const override;
    int GetUpdateInterval() const override { return 3600; }
    bool WriteRecord(FILE* file) const override;
    bool IsEarlier(const IEphemeris& other) const override;
    bool IsEqual(const IEphemeris& other) const override;

    // Reads a BdsEph text record of file version 1 or 2; version 0 is refused.
    bool ReadRecord(TextRecord& text, int version, char* message);

private:
    void DeriveGpsTime();
    BdsEphemerisRecord record{};
};

}  // namespace GNSS
