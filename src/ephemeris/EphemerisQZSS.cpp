#include "ephemeris/EphemerisQZSS.h"

#include <cstring>
#include <strings.h>

#include "ephemeris/KeplerOrbit.h"
#include "ephemeris/KeplerText.h"

namespace GNSS {

namespace {
constexpr double kMinSqrtA = 6000.0;
constexpr double kMaxSqrtA = 7000.0;
}  // namespace

CEphemerisQZSS::CEphemerisQZSS() { elements = &record.elements; }

CEphemerisQZSS::CEphemerisQZSS(const QzssEphemerisRecord& source) : record(source) {
    elements = &record.elements;
}

CEphemerisQZSS::CEphemerisQZSS(const CEphemerisQZSS& other) : IEphemeris(other), record(other.record) {
    elements = &record.elements;
}

CEphemerisQZSS& CEphemerisQZSS::operator=(const CEphemerisQZSS& other) {
    record = other.record;
    satelliteType = other.satelliteType;
    elements = &record.elements;
    return *this;
}

void CEphemerisQZSS::Clear() {
    satelliteType = 0;
    record = QzssEphemerisRecord{};
}

bool CEphemerisQZSS::IsValid(char* message) const {
    const KeplerElements& k = record.elements;
    if (record.prn < 1 || record.prn > HighestPrn(kQzss)) {
        FormatEphemerisMessage(message, "Error: Invalid QZSS PRN number: %d", record.prn);
        return false;
    }
    if (k.week < kWeekRollover) {
        FormatEphemerisMessage(message, "Error: Invalid QZSS week number: %d", k.week);
        return false;
    }
    if (!(k.sqrtA >= kMinSqrtA && k.sqrtA <= kMaxSqrtA)) {
        FormatEphemerisMessage(message, "Error: Invalid ephemeris data PRN %d (ROOTA = %.1lf)", record.prn,
                               k.sqrtA);
        return false;
    }
    return true;
}

bool CEphemerisQZSS::GetRecord(void* out) const {
    if (out != nullptr) std::memcpy(out, &record, sizeof record);
    return IsValid(nullptr);
}

bool CEphemerisQZSS::GetSatelliteId(SatelliteId& id) const { return id.Set(kQzss, record.prn); }
double CEphemerisQZSS::GetGM() const { return kGmGpsQzss; }
double CEphemerisQZSS::GetEarthRotationRate() const { return kEarthRateGps; }

bool CEphemerisQZSS::GetReferenceTime(GpsTime& time) const {
    return time.Set(record.elements.week, record.elements.toe);
}

bool CEphemerisQZSS::WriteRecord(FILE* file) const {
    if (file == nullptr) return false;
    std::fprintf(file, "%s { Prn: %d\n", "QzsEph", record.prn);
    WriteKeplerBlock(file, record.elements);
    std::fprintf(file, "\tJS1: %u %d %d %.8e %.8e\n", record.health, record.antiSpoof,
                 static_cast<int>(record.fitFlag), record.meanMotion, record.ura);
    std::fprintf(file, "}\n");
    return true;
}

bool CEphemerisQZSS::IsEarlier(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisQZSS&>(other).record.elements;
    if (a.week != b.week) return a.week < b.week;
    return a.toe < b.toe;
}

bool CEphemerisQZSS::IsEqual(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisQZSS&>(other).record.elements;
    return a.week == b.week && a.toe == b.toe;
}

bool CEphemerisQZSS::ReadRecord(TextRecord& text, int version, char* message) {
    Clear();
    if (message != nullptr) message[0] = '\0';
    if (strcasecmp(text.Token(), "QzsEph") != 0) {
        FormatEphemerisMessage(message, "Error: Not a QZSS ephemeris record");
        return false;
    }
    if (ScanField("Prn:", text, "%d", &record.prn) != 1) return false;
    if (record.prn < 1 || record.prn > HighestPrn(kQzss)) {
        FormatEphemerisMessage(message, "Warning: Invalid QZSS PRN %d--Ephemeris record ignored", record.prn);
        return false;
    }
    if (!ReadKeplerBlock(text, version, record.elements)) return false;
    // The QZSS extras are optional, and taken only whole.
    unsigned health = 0;
    int antiSpoof = 0, fitFlag = 0;
    double meanMotion = 0.0, ura = 0.0;
    if (ScanField("JS1:", text, "%u%d%d%lf%lf", &health, &antiSpoof, &fitFlag, &meanMotion, &ura) == 5) {
        record.health = health;
        record.antiSpoof = antiSpoof;
        record.fitFlag = static_cast<uint16_t>(fitFlag);
        record.meanMotion = meanMotion;
        record.ura = ura;
    }
    if (!CheckKeplerValues(record.elements, record.prn, message, {record.meanMotion, record.ura})) return false;
    return IsValid(message);
}

}  // namespace GNSS
