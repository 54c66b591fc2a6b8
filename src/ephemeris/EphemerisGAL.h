#pragma once
// A Galileo ephemeris holding the F/NAV and the I/NAV clock side by side.
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "ephemeris/TextRecord.h"

namespace GNSS {

class CEphemerisGAL : public IEphemeris {
public:
    // The I/NAV clock is taken whenever this record holds one.
    static constexpr bool preferINavClock = true;

    CEphemerisGAL();
    // Derives gpsWeek and gpsSeconds from week and toe.
    explicit CEphemerisGAL(const GalEphemerisRecord& record);
    CEphemerisGAL(const CEphemerisGAL& other);
    CEphemerisGAL& operator=(const CEphemerisGAL& other);
    ~CEphemerisGAL() override = default;

    const GalEphemerisRecord& Record() const { return record; }

    void Clear() override;
    bool IsValid(char* message) const override;
    bool GetRecord(void* out) const override;
    bool GetSatelliteId(SatelliteId& id) const override;
    double GetGM() const override;
    double GetEarthRotationRate() const override;
    bool GetReferenceTime(GpsTime& time) const override;
    int GetUpdateInterval() const override { return 10800; }
    bool WriteRecord(FILE* file) const override;
    int GetToc() const override;
    double GetAf0() const override;
    double GetAf1() const override;
    double GetAf2() const override;
    bool IsEarlier(const IEphemeris& other) const override;
    bool IsEqual(const IEphemeris& other) const override;

    // Takes the F/NAV or I/NAV part this record lacks from another record
    // of the same epoch; true if anything was taken.
    bool Merge(const CEphemerisGAL& other);

    // Reads a GalEph text record of file version 1 or 2.
    bool ReadRecord(TextRecord& text, int version, char* message);

    // Clears one of the two parts (used by the file reader's navigation filter).
    void SetINavValid(bool valid) { record.iNavValid = valid; }
    void SetFNavValid(bool valid) { record.fNavValid = valid; }

private:
    void DeriveGpsTime();
    GalEphemerisRecord record{};
};

}  // namespace GNSS
