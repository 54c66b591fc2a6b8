#pragma once
// A QZSS LNAV ephemeris: GPS layout, its own PRNs, health and fit flags.
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "ephemeris/TextRecord.h"

namespace GNSS {

class CEphemerisQZSS : public IEphemeris {
public:
    CEphemerisQZSS();
    explicit CEphemerisQZSS(const QzssEphemerisRecord& record);
    CEphemerisQZSS(const CEphemerisQZSS& other);
    CEphemerisQZSS& operator=(const CEphemerisQZSS& other);
    ~CEphemerisQZSS() override = default;

    const QzssEphemerisRecord& Record() const { return record; }

    void Clear() override;
    bool IsValid(char* message) const override;
    bool GetRecord(void* out) const override;
    bool GetSatelliteId(SatelliteId& id) const override;
    double GetGM() const override;
    double GetEarthRotationRate() const override;
    bool GetReferenceTime(GpsTime& time) const override;
    int GetUpdateInterval() const override { return 900; }
    bool WriteRecord(FILE* file) const override;
    bool IsEarlier(const IEphemeris& other) const override;
    bool IsEqual(const IEphemeris& other) const override;

    // Reads a QzsEph text record of the given file version (1 or 2).
    bool ReadRecord(TextRecord& text, int version, char* message);

private:
    QzssEphemerisRecord record{};
};

}  // namespace GNSS
