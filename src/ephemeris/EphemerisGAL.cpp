#include "ephemeris/EphemerisGAL.h"

#include <cmath>
#include <cstring>
#include <strings.h>

#include "ephemeris/KeplerOrbit.h"
#include "ephemeris/KeplerText.h"

namespace GNSS {

namespace {
constexpr int kGalileoWeekOffset = 1024;
constexpr double kMinSqrtA = 4500.0;
constexpr double kMaxSqrtA = 6000.0;
}  // namespace

CEphemerisGAL::CEphemerisGAL() { elements = &record.elements; }

CEphemerisGAL::CEphemerisGAL(const GalEphemerisRecord& source) : record(source) {
    elements = &record.elements;
    DeriveGpsTime();
}

CEphemerisGAL::CEphemerisGAL(const CEphemerisGAL& other) : IEphemeris(other), record(other.record) {
    elements = &record.elements;
}

CEphemerisGAL& CEphemerisGAL::operator=(const CEphemerisGAL& other) {
    record = other.record;
    satelliteType = other.satelliteType;
    elements = &record.elements;
    return *this;
}

void CEphemerisGAL::DeriveGpsTime() {
    int week = record.elements.week + kGalileoWeekOffset;
    double seconds = std::floor(record.elements.toe + 1e-9);
    while (seconds >= kSecondsPerWeek) {
        seconds -= kSecondsPerWeek;
        ++week;
    }
    record.gpsWeek = static_cast<int16_t>(week);
    record.gpsSeconds = seconds;
}

void CEphemerisGAL::Clear() {
    satelliteType = 0;
    record = GalEphemerisRecord{};
}

bool CEphemerisGAL::IsValid(char* message) const {
    const KeplerElements& k = record.elements;
    if (record.prn < 1 || record.prn > HighestPrn(kGalileo)) {
        FormatEphemerisMessage(message, "Error: Invalid EGS PRN number: %d", record.prn);
        return false;
    }
    if (!record.iNavValid && !record.fNavValid) {
        FormatEphemerisMessage(message, "Error: both F/NAV and I/NAV parameters are not valid");
        return false;
    }
    if (record.gpsWeek < kWeekRollover) {
        FormatEphemerisMessage(message, "Error: Invalid EGS week number: %d", k.week);
        return false;
    }
    if (!(k.sqrtA >= kMinSqrtA && k.sqrtA <= kMaxSqrtA)) {
        FormatEphemerisMessage(message, "Error: Invalid ephemeris data PRN %d (ROOTA = %.1lf)",
                               static_cast<int>(record.prn), k.sqrtA);
        return false;
    }
    return true;
}

bool CEphemerisGAL::GetRecord(void* out) const {
    if (out != nullptr) std::memcpy(out, &record, sizeof record);
    return IsValid(nullptr);
}

bool CEphemerisGAL::GetSatelliteId(SatelliteId& id) const { return id.Set(kGalileo, record.prn); }
double CEphemerisGAL::GetGM() const { return kGmBeiDouGalileo; }
double CEphemerisGAL::GetEarthRotationRate() const { return kEarthRateGps; }

bool CEphemerisGAL::GetReferenceTime(GpsTime& time) const {
    return time.Set(record.gpsWeek, record.gpsSeconds);
}

// The clock: I/NAV first when preferred and present, then F/NAV, then I/NAV.
int CEphemerisGAL::GetToc() const {
    if (preferINavClock && record.iNavValid) return record.iNavToc;
    if (record.fNavValid) return record.elements.toc;
    if (record.iNavValid) return record.iNavToc;
    return 0;
}

double CEphemerisGAL::GetAf0() const {
    if (preferINavClock && record.iNavValid) return record.iNavAf0;
    if (record.fNavValid) return record.elements.af0;
    if (record.iNavValid) return record.iNavAf0;
    return 0.0;
}

double CEphemerisGAL::GetAf1() const {
    if (preferINavClock && record.iNavValid) return record.iNavAf1;
    if (record.fNavValid) return record.elements.af1;
    if (record.iNavValid) return record.iNavAf1;
    return 0.0;
}

double CEphemerisGAL::GetAf2() const {
    if (preferINavClock && record.iNavValid) return record.iNavAf2;
    if (record.fNavValid) return record.elements.af2;
    if (record.iNavValid) return record.iNavAf2;
    return 0.0;
}

bool CEphemerisGAL::WriteRecord(FILE* file) const {
    if (file == nullptr) return false;
    std::fprintf(file, "%s { Prn: %d\n", "GalEph", static_cast<int>(record.prn));
    std::fprintf(file, "\tE30: %d %10.3f\n", static_cast<int>(record.gpsWeek), record.gpsSeconds);
    WriteKeplerBlock(file, record.elements);
    std::fprintf(file, "\tGF1: %d %.8e %d %d %d\n", record.fNavValid ? 1 : 0, record.bgdE1E5a,
                 record.e5aHealth, record.e5aDataValidity, record.sisa);
    std::fprintf(file, "\tGI1: %d %.8e %d %d %d %d\n", record.iNavValid ? 1 : 0, record.bgdE1E5b,
                 record.e1bHealth, record.e5bHealth, record.e1bDataValidity, record.e5bDataValidity);
    std::fprintf(file, "\tGI2: %d %.8e %.8e %.8e\n", record.iNavToc, record.iNavAf0, record.iNavAf1,
                 record.iNavAf2);
    std::fprintf(file, "}\n");
    return true;
}

bool CEphemerisGAL::IsEarlier(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisGAL&>(other).record.elements;
    if (a.week != b.week) return a.week < b.week;
    return a.toe < b.toe;
}

bool CEphemerisGAL::IsEqual(const IEphemeris& other) const {
    const KeplerElements& a = record.elements;
    const KeplerElements& b = static_cast<const CEphemerisGAL&>(other).record.elements;
    return a.week == b.week && a.toe == b.toe;
}

bool CEphemerisGAL::Merge(const CEphemerisGAL& other) {
    const GalEphemerisRecord& o = other.record;
    bool merged = false;
    if (!record.fNavValid && o.fNavValid) {
        if (other.IsValid(nullptr) && IsSameEpoch(other)) {
            record.fNavValid = true;
            record.bgdE1E5a = o.bgdE1E5a;
            record.e5aHealth = o.e5aHealth;
            record.e5aDataValidity = o.e5aDataValidity;
            record.elements.toc = o.elements.toc;
            record.elements.af0 = o.elements.af0;
            record.elements.af1 = o.elements.af1;
            record.elements.af2 = o.elements.af2;
            record.sisa = o.sisa;
            merged = true;
        }
    }
    if (!record.iNavValid && o.iNavValid) {
        // A failed I/NAV condition ends the merge as failed, whatever came before.
        if (!other.IsValid(nullptr) || !IsSameEpoch(other)) return false;
        record.iNavValid = true;
        record.iNavToc = o.iNavToc;
        record.iNavAf0 = o.iNavAf0;
        record.iNavAf1 = o.iNavAf1;
        record.iNavAf2 = o.iNavAf2;
        record.bgdE1E5b = o.bgdE1E5b;
        record.e1bHealth = o.e1bHealth;
        record.e5bHealth = o.e5bHealth;
        record.e1bDataValidity = o.e1bDataValidity;
        record.e5bDataValidity = o.e5bDataValidity;
        record.sisa = o.sisa;
        merged = true;
    }
    return merged;
}

bool CEphemerisGAL::ReadRecord(TextRecord& text, int version, char* message) {
    Clear();
    if (message != nullptr) message[0] = '\0';
    if (strcasecmp(text.Token(), "GalEph") != 0) {
        FormatEphemerisMessage(message, "Error: Not a EGS ephemeris record");
        return false;
    }
    int prn = 0;
    if (ScanField("Prn:", text, "%d", &prn) != 1) return false;
    record.prn = static_cast<int16_t>(prn);
    if (prn < 1 || prn > HighestPrn(kGalileo)) {
        FormatEphemerisMessage(message, "Warning: Invalid EGS PRN %d--Ephemeris record ignored", prn);
        return false;
    }
    int gpsWeek = 0;
    if (ScanField("E30:", text, "%d%lf\n", &gpsWeek, &record.gpsSeconds) != 2) return false;
    record.gpsWeek = static_cast<int16_t>(gpsWeek);
    if (!ReadKeplerBlock(text, version, record.elements)) return false;

    // The two navigation parts are optional; their BGD goes straight in,
    // the flags and health only with a whole line.
    int valid = 0, a = 0, b = 0, c = 0, d = 0;
    if (ScanField("GF1:", text, "%d%lf%d%d%d", &valid, &record.bgdE1E5a, &a, &b, &c) == 5) {
        record.fNavValid = valid != 0;
        record.e5aHealth = static_cast<uint8_t>(a);
        record.e5aDataValidity = static_cast<uint8_t>(b);
        record.sisa = static_cast<uint8_t>(c);
    }
    if (ScanField("GI1:", text, "%d%lf%d%d%d%d", &valid, &record.bgdE1E5b, &a, &b, &c, &d) == 6) {
        record.iNavValid = valid != 0;
        record.e1bHealth = static_cast<uint8_t>(a);
        record.e5bHealth = static_cast<uint8_t>(b);
        record.e1bDataValidity = static_cast<uint8_t>(c);
        record.e5bDataValidity = static_cast<uint8_t>(d);
        if (ScanField("GI2:", text, "%d%lf%lf%lf", &record.iNavToc, &record.iNavAf0, &record.iNavAf1,
                      &record.iNavAf2) != 4)
            return false;
    }
    if (!CheckKeplerValues(record.elements, prn, message,
                           {record.gpsSeconds, record.bgdE1E5a, record.bgdE1E5b, record.iNavAf0, record.iNavAf1,
                            record.iNavAf2}))
        return false;
    return IsValid(message);
}

}  // namespace GNSS
