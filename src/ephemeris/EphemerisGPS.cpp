#include "ephemeris/EphemerisGPS.h"

#include <cstring>
#include <strings.h>

#include "ephemeris/KeplerOrbit.h"
#include "ephemeris/KeplerText.h"

namespace GNSS {

namespace {
constexpr double kMinSqrtA = 4500.0;
constexpr double kMaxSqrtA = 6000.0;
}  // namespace

CEphemerisGPS::CEphemerisGPS() { elements = &record.elements; }

CEphemerisGPS::CEphemerisGPS(const GpsEphemerisRecord& source) : record(source) {
    elements = &record.elements;
    if (record.elements.week < kWeekRollover)
        record.elements.week = ResolveWeekByClock(record.elements.week);
}

CEphemerisGPS::CEphemerisGPS(const CEphemerisGPS& other) : IEphemeris(other), record(other.record) {
    elements = &record.elements;
}

CEphemerisGPS& CEphemerisGPS::operator=(const CEphemerisGPS& other) {
    record = other.record;
    satelliteType = other.satelliteType;
    elements = &record.elements;
    return *this;
}

void CEphemerisGPS::Clear() {
    satelliteType = 0;
    record = GpsEphemerisRecord{};
}

bool CEphemerisGPS::IsValid(char* message) const {
    const KeplerElements& k = record.elements;
    if (record.prn < 1 || record.prn > HighestPrn(kGps)) {
        FormatEphemerisMessage(message, "Error: Invalid GPS PRN number: %d", record.prn);
        return false;
    }
    if (k.week < kWeekRollover) {
        FormatEphemerisMessage(message, "Error: Invalid GPS week number: %d", k.week);
        return false;
    }
    if (!(k.sqrtA >= kMinSqrtA && k.sqrtA <= kMaxSqrtA)) {
        FormatEphemerisMessage(message, "Error: Invalid ephemeris data PRN %d (ROOTA = %.1lf)", record.prn,
                               k.sqrtA);
        return false;
    }
    return true;
}

bool CEphemerisGPS::GetRecord(void* out) const {
    if (out != nullptr) std::memcpy(out, &record, sizeof record);
    return IsValid(nullptr);
}

bool CEphemerisGPS::GetSatelliteId(SatelliteId& id) const { return id.Set(kGps, record.prn); }
double CEphemerisGPS::GetGM() const { return kGmGpsQzss; }
double CEphemerisGPS::GetEarthRotationRate() const { return kEarthRateGps; }

bool CEphemerisGPS::GetReferenceTime(GpsTime& time) const {
    return time.Set(record.elements.week, record.elements.toe);
}

bool CEphemerisGPS::WriteRecord(FILE* file) const {
    if (file == nullptr) return false;
    std::fprintf(file, "%s { Prn: %d\n", "GpsEph", record.prn);
    WriteKeplerBlock(file, record.elements);
    std::fprintf(file, "}\n");
    return true;
}

bool CEphemerisGPS::IsEarlier(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisGPS&>(other).record.elements;
    if (a.week != b.week) return a.week < b.week;
    return a.toe < b.toe;
}

bool CEphemerisGPS::IsEqual(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisGPS&>(other).record.elements;
    return a.week == b.week && a.toe == b.toe;
}

bool CEphemerisGPS::ReadRecord(TextRecord& text, int version, char* message) {
    Clear();
    if (message != nullptr) message[0] = '\0';
    if (strcasecmp(text.Token(), "GpsEph") != 0) {
        FormatEphemerisMessage(message, "Error: Not a GPS ephemeris record");
        return false;
    }
    if (ScanField("Prn:", text, "%d", &record.prn) != 1) return false;
    if (record.prn < 1 || record.prn > HighestPrn(kGps)) {
        FormatEphemerisMessage(message, "Warning: Invalid GPS PRN %d--Ephemeris record ignored", record.prn);
        return false;
    }
    KeplerElements& k = record.elements;
    if (version == 0 ? !ReadKeplerBlockVersion0(text, k) : !ReadKeplerBlock(text, version, k)) return false;
    if (!CheckKeplerValues(k, record.prn, message)) return false;
    // The oldest files count a toe of zero as the start of the next week.
    if (version == 0 && k.toe == 0) ++k.week;
    if (k.sqrtA < kMinSqrtA || k.sqrtA > kMaxSqrtA) {
        FormatEphemerisMessage(message, "Warning: Possible bad ephemeris record for PRN %d (ROOTA=%.1lf)",
                               record.prn, k.sqrtA);
        return false;
    }
    if (k.week < kWeekRollover) k.week = ResolveWeekByClock(k.week);
    return IsValid(message);
}

}  // namespace GNSS
