#include "ephemeris/EphemerisBDS.h"

#include <cmath>
#include <cstring>
#include <strings.h>

#include "ephemeris/KeplerOrbit.h"
#include "ephemeris/KeplerText.h"

namespace GNSS {

namespace {
// BeiDou time to GPS time.
constexpr int kBeiDouWeekOffset = 1356;
constexpr double kBeiDouSecondsOffset = 14.0;
// The file reader's plausibility bounds; decoded records are not held to them.
constexpr double kMinSqrtA = 4500.0;
constexpr double kMaxSqrtA = 7000.0;
constexpr int kUraiUnusable = 15;
}  // namespace

CEphemerisBDS::CEphemerisBDS() { elements = &record.elements; }

CEphemerisBDS::CEphemerisBDS(const BdsEphemerisRecord& source) : record(source) {
    elements = &record.elements;
    DeriveGpsTime();
}

CEphemerisBDS::CEphemerisBDS(const CEphemerisBDS& other) : IEphemeris(other), record(other.record) {
    elements = &record.elements;
}

CEphemerisBDS& CEphemerisBDS::operator=(const CEphemerisBDS& other) {
    record = other.record;
    satelliteType = other.satelliteType;
    elements = &record.elements;
    return *this;
}

void CEphemerisBDS::DeriveGpsTime() {
    int week = record.elements.week + kBeiDouWeekOffset;
    double seconds = record.elements.toe + kBeiDouSecondsOffset;
    while (seconds >= kSecondsPerWeek) {
        seconds -= kSecondsPerWeek;
        ++week;
    }
    record.gpsWeek = static_cast<int16_t>(week);
    record.gpsSeconds = seconds;
}

void CEphemerisBDS::Clear() {
    satelliteType = 0;
    record = BdsEphemerisRecord{};
}

bool CEphemerisBDS::IsValid(char*) const {
    return record.prn >= 1 && record.prn <= HighestPrn(kBeiDou) && record.satH1 == 0 &&
           record.urai != kUraiUnusable;
}

bool CEphemerisBDS::GetRecord(void* out) const {
    if (out != nullptr) std::memcpy(out, &record, sizeof record);
    return IsValid(nullptr);
}

bool CEphemerisBDS::GetSatelliteId(SatelliteId& id) const { return id.Set(kBeiDou, record.prn); }
double CEphemerisBDS::GetGM() const { return kGmBeiDouGalileo; }
double CEphemerisBDS::GetEarthRotationRate() const { return kEarthRateBeiDou; }

bool CEphemerisBDS::GetReferenceTime(GpsTime& time) const {
    return time.Set(record.gpsWeek, record.gpsSeconds);
}

void CEphemerisBDS::ApplyGeostationaryRotation(double dt, double position[3], double velocity[3]) const {
    RotateGeostationary(GetEarthRotationRate(), dt, position, velocity);
}

bool CEphemerisBDS::WriteRecord(FILE* file) const {
    if (file == nullptr) return false;
    std::fprintf(file, "%s { Prn: %d %d\n", "BdsEph", record.prn, record.satH1);
    std::fprintf(file, "\tE30: %u %10.3f\n", static_cast<unsigned>(record.gpsWeek), record.gpsSeconds);
    WriteKeplerBlock(file, record.elements);
    std::fprintf(file, "\tBS1: %d %.8e %.8e %d\n", record.urai, record.ura, record.tgd2, record.satH1);
    std::fprintf(file, "}\n");
    return true;
}

bool CEphemerisBDS::IsEarlier(const IEphemeris& other) const {
    const BdsEphemerisRecord& b = static_cast<const CEphemerisBDS&>(other).record;
    if (record.gpsWeek != b.gpsWeek) return record.gpsWeek < b.gpsWeek;
    return record.gpsSeconds < b.gpsSeconds;
}

bool CEphemerisBDS::IsEqual(const IEphemeris& other) const {
    const BdsEphemerisRecord& b = static_cast<const CEphemerisBDS&>(other).record;
    return record.gpsWeek == b.gpsWeek && std::fabs(record.gpsSeconds - b.gpsSeconds) <= 1e-10;
}

bool CEphemerisBDS::ReadRecord(TextRecord& text, int version, char* message) {
    Clear();
    if (message != nullptr) message[0] = '\0';
    if (version == 0) return false;
    // The BeiDou reader shares its words with the GPS one.
    if (strcasecmp(text.Token(), "BdsEph") != 0) {
        FormatEphemerisMessage(message, "Error: Not a GPS ephemeris record");
        return false;
    }
    if (ScanField("Prn:", text, "%d%d", &record.prn, &record.satH1) != 2) return false;
    if (record.prn < 1 || record.prn > HighestPrn(kBeiDou)) {
        FormatEphemerisMessage(message, "Warning: Invalid GPS PRN %d--Ephemeris record ignored", record.prn);
        return false;
    }
    KeplerElements& k = record.elements;
    int gpsWeek = 0;
    double gpsSeconds = 0.0;
    if (version == 1) {
        // The older layout: every line one key further on.
        if (ScanField("E31:", text, "%d%lf", &gpsWeek, &gpsSeconds) != 2) {
            gpsWeek = 0;
            gpsSeconds = 0.0;
        }
        if (ScanField("E32:", text, "%d%d%lf%lf%lf", &k.week, &k.toe, &record.ura, &k.TGD, &record.tgd2) != 5)
            return false;
        if (ScanField("E33:", text, "%d%d%lf%lf%lf", &k.IODC, &k.toc, &k.af0, &k.af1, &k.af2) != 5) return false;
        if (ScanField("E34:", text, "%d%lf%lf", &k.IODE, &k.sqrtA, &k.e) != 3) return false;
        if (ScanField("E35:", text, "%lf%lf%lf", &k.omega, &k.Omega0, &k.OmegaDot) != 3) return false;
        if (ScanField("E36:", text, "%lf%lf%lf%lf", &k.i0, &k.IDOT, &k.deltaN, &k.M0) != 4) return false;
        if (ScanField("E37:", text, "%lf%lf%lf\n", &k.Cuc, &k.Crc, &k.Cic) != 3) return false;
        if (ScanField("E38:", text, "%lf%lf%lf", &k.Cus, &k.Crs, &k.Cis) != 3) return false;
    } else {
        if (ScanField("E30:", text, "%d%lf", &gpsWeek, &gpsSeconds) != 2) return false;
        if (ScanField("BS1:", text, "%d%lf%lf%d", &record.urai, &record.ura, &record.tgd2, &record.satH1) != 4)
            return false;
        if (!ReadKeplerBlock(text, version, k)) return false;
    }
    if (!CheckKeplerValues(k, record.prn, message, {record.ura, record.tgd2})) return false;
    record.gpsWeek = static_cast<int16_t>(gpsWeek);
    record.gpsSeconds = gpsSeconds;
    if (k.sqrtA < kMinSqrtA || k.sqrtA > kMaxSqrtA) {
        FormatEphemerisMessage(message, "Warning: Possible bad ephemeris record for PRN %d (ROOTA=%.1lf)",
                               record.prn, k.sqrtA);
        return false;
    }
    // The GPS time written in the file is only a copy: derive it again.
    DeriveGpsTime();
    return IsValid(message);
}

}  // namespace GNSS
