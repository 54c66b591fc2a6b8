#include "antenna/AntexRecordParser.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "antenna/AntennaTables.h"

namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;
constexpr double kMetresPerMillimetre = 0.001;
constexpr double kFullCircleDegrees = 360.0;
// How near a step must come to dividing 360 degrees or a zenith bound.
constexpr double kDivisionTolerance = 1e-4;
constexpr double kSmallestZenithStep = 1e-5;
// How near the azimuth of a grid row must lie to where its row puts it.
constexpr double kAzimuthToleranceRadians = 0.001;
// Grid sizes are counted with a little slack for steps that do not divide
// exactly in binary.
constexpr double kGridCountSlack = 0.1;
constexpr int kGridFirstValueColumn = 8;
constexpr int kGridValueWidth = 8;
// More columns than a line can carry.
constexpr int kGridMostColumns = (kAntexLineLength - kGridFirstValueColumn) / kGridValueWidth;
constexpr int kCommentWidth = 59;
constexpr int kYearFirst = 1970;   // the calendar conversion counts from here
constexpr int kYearLast = 2099;    // and up to here

bool Divides(double whole, double step) {
    const double rest = std::fmod(std::fabs(whole), step);
    return rest < kDivisionTolerance || step - rest < kDivisionTolerance;
}

GnssConstellation ConstellationOfLetter(char letter) {
    switch (letter) {
    case 'G': return kGps;
    case 'R': return kGlonass;
    case 'C': return kBeiDou;
    case 'J': return kQzss;
    case 'E': return kGalileo;
    default: return kInvalidConstellation;
    }
}

void ClearBit(SatelliteAntennaRecord& record, int32_t bit) { record.bits &= ~bit; }

bool ParseType(const char* line, SatelliteAntennaRecord& record) {
    CopyAntexField(line, 0, 20, record.blockName, sizeof record.blockName);
    // Our orbit classes know nothing of IRNSS.
    if (std::strncmp(record.blockName, "IRNSS", 5) == 0) return false;
    record.blockType = BlockTypeFromName(record.blockName);
    CopyAntexField(line, 20, 20, record.satelliteCode, sizeof record.satelliteCode);
    CopyAntexField(line, 40, 10, record.svn, sizeof record.svn);
    CopyAntexField(line, 50, 10, record.cospar, sizeof record.cospar);

    const char* digits = record.satelliteCode + 1;
    if (record.satelliteCode[0] == '\0' || *digits < '0' || *digits > '9') return false;
    char* end = nullptr;
    const long prn = std::strtol(digits, &end, 10);
    if (*end != '\0' || prn > kPrnTableSize) return false;
    if (!record.id.Set(ConstellationOfLetter(record.satelliteCode[0]), static_cast<int>(prn))) return false;
    ClearBit(record, kRecordBitType);
    return true;
}

void ParseMethod(const char* line, SatelliteAntennaRecord& record) {
    CopyAntexField(line, 0, 20, record.method, sizeof record.method);
    CopyAntexField(line, 20, 20, record.agency, sizeof record.agency);
    char count[8];
    CopyAntexField(line, 40, 6, count, sizeof count);
    record.antennaCount = std::atoi(count);
    CopyAntexField(line, 49, 10, record.date, sizeof record.date);
    ClearBit(record, kRecordBitMethod);
}

bool ParseDazi(const char* line, SatelliteAntennaRecord& record) {
    double degrees = 0.0;
    if (!ReadAntexNumber(line, 2, 6, degrees)) return false;
    if (degrees > 0.0 && !Divides(kFullCircleDegrees, degrees)) return false;
    record.dazi = degrees * kRadiansPerDegree;
    ClearBit(record, kRecordBitDazi);
    return true;
}

bool ParseZenith(const char* line, SatelliteAntennaRecord& record) {
    char data[kAntexLabelColumn + 1];
    CopyAntexData(line, data);
    double zen1 = 0.0, zen2 = 0.0, dzen = 0.0;
    if (std::sscanf(data, "%lf %lf %lf", &zen1, &zen2, &dzen) != 3) return false;
    if (!(dzen >= kSmallestZenithStep) || !Divides(zen1, dzen) || !Divides(zen2, dzen) || !(zen1 < zen2))
        return false;
    record.zen1 = zen1 * kRadiansPerDegree;
    record.zen2 = zen2 * kRadiansPerDegree;
    record.dzen = dzen * kRadiansPerDegree;
    ClearBit(record, kRecordBitZenith);
    return true;
}

bool ParseFrequencyCount(const char* line, SatelliteAntennaRecord& record) {
    char data[kAntexLabelColumn + 1];
    CopyAntexData(line, data);
    if (std::sscanf(data, "%d", &record.declaredFrequencies) != 1) return false;
    ClearBit(record, kRecordBitFrequencyCount);
    return true;
}

// A line that does not give a whole date and time is passed over.
void ParseValidity(const char* line, GpsTime& time, bool& has) {
    char data[kAntexLabelColumn + 1];
    CopyAntexData(line, data);
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double second = 0.0;
    if (std::sscanf(data, "%d %d %d %d %d %lf", &year, &month, &day, &hour, &minute, &second) != 6) return;
    if (year < kYearFirst || year > kYearLast || month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 ||
        hour > 24 || minute < 0 || minute > 60 || !(second >= 0.0 && second <= 61.0))
        return;
    int week = 0;
    double seconds = 0.0;
    CalendarToGps(hour, minute, second, month, day, year, week, seconds);
    time.Set(week, seconds);
    has = true;
}

// Each comment line adds its 59 characters and a ';', as far as there is room.
void AppendComment(const char* line, SatelliteAntennaRecord& record) {
    size_t length = std::strlen(record.comment);
    const size_t room = sizeof record.comment - 1;
    for (int i = 0; i < kCommentWidth && line[i] != '\0' && length < room; ++i) record.comment[length++] = line[i];
    if (length < room) record.comment[length++] = ';';
    record.comment[length] = '\0';
}

}  // namespace

bool CAntexRecordParser::ParseHeadLine(const char* line, SatelliteAntennaRecord& record) {
    if (HasAntexLabel(line, "TYPE")) return (record.bits & kRecordBitType) == 0 || ParseType(line, record);
    if (HasAntexLabel(line, "METH")) {
        ParseMethod(line, record);
        return true;
    }
    if (HasAntexLabel(line, "DAZI")) return ParseDazi(line, record);
    if (HasAntexLabel(line, "ZEN1")) return ParseZenith(line, record);
    if (HasAntexLabel(line, "# OF FREQUENCIES")) return ParseFrequencyCount(line, record);
    if (HasAntexLabel(line, "VALID FROM")) ParseValidity(line, record.validFrom, record.hasValidFrom);
    else if (HasAntexLabel(line, "VALID UNTIL")) ParseValidity(line, record.validUntil, record.hasValidUntil);
    else if (HasAntexLabel(line, "SINEX CODE")) CopyAntexField(line, 0, 10, record.sinexCode, sizeof record.sinexCode);
    else if (HasAntexLabel(line, "COMMENT")) AppendComment(line, record);
    return true;
}

bool CAntexRecordParser::ParseGridRow(const char* line, const SatelliteAntennaRecord& record,
                                      AntennaFrequency& frequency) {
    char head[kGridFirstValueColumn + 1];
    CopyAntexField(line, 0, kGridFirstValueColumn, head, sizeof head);
    int row = 0;
    if (std::strcmp(head, "NOAZI") == 0) {
        frequency.bits &= ~kFrequencyBitNoAzimuth;
    } else {
        row = gridRow + 1;
        double azimuth = 0.0;
        if (row >= frequency.rows || !ReadAntexNumber(line, 0, kGridFirstValueColumn, azimuth)) return false;
        if (std::fabs(azimuth * kRadiansPerDegree - (row - 1) * record.dazi) > kAzimuthToleranceRadians) return false;
        frequency.bits &= ~kFrequencyBitAzimuth;
    }
    double* values = frequency.variations.data() + static_cast<size_t>(row) * frequency.columns;
    for (int column = 0; column < frequency.columns; ++column) {
        double value = 0.0;
        if (!ReadAntexNumber(line, kGridFirstValueColumn + column * kGridValueWidth, kGridValueWidth, value))
            return false;
        values[column] = value * kMetresPerMillimetre;
    }
    gridRow = row;
    return true;
}

bool CAntexRecordParser::ParseFrequency(const CAntexBlock& block, int& index, const SatelliteAntennaRecord& record,
                                        AntennaFrequency& frequency) {
    const int lineCount = block.LineCount();
    if (index >= lineCount || !HasAntexLabel(block.Line(index), "NORTH")) return false;
    char data[kAntexLabelColumn + 1];
    CopyAntexData(block.Line(index++), data);
    double north = 0.0, east = 0.0, up = 0.0;
    if (std::sscanf(data, "%lf %lf %lf", &north, &east, &up) != 3 ||
        !(std::isfinite(north) && std::isfinite(east) && std::isfinite(up)))
        return false;
    frequency.north = north * kMetresPerMillimetre;
    frequency.east = east * kMetresPerMillimetre;
    frequency.up = up * kMetresPerMillimetre;
    frequency.bits &= ~kFrequencyBitOffset;

    const double columns = std::trunc((record.zen2 - record.zen1) / record.dzen + kGridCountSlack) + 1.0;
    const double rows =
        record.dazi > 0.0 ? std::trunc(2.0 * std::numbers::pi / record.dazi + kGridCountSlack) + 2.0 : 1.0;
    if (!(columns >= 1.0 && columns <= kGridMostColumns && rows <= kAntexBlockLines)) return false;
    frequency.columns = static_cast<int32_t>(columns);
    frequency.rows = static_cast<int32_t>(rows);
    frequency.variations.assign(static_cast<size_t>(frequency.rows) * frequency.columns, 0.0);

    gridRow = 0;
    for (; index < lineCount; ++index) {
        const char* line = block.Line(index);
        if (HasAntexLabel(line, "END OF FREQUENCY")) {
            frequency.bits &= ~kFrequencyBitEnd;
            ++index;
            return true;
        }
        if (!ParseGridRow(line, record, frequency)) return false;
    }
    return true;
}

bool CAntexRecordParser::Parse(const CAntexBlock& block, SatelliteAntennaRecord& record) {
    record = SatelliteAntennaRecord();
    const int lineCount = block.LineCount();
    int index = 0;
    for (; index < lineCount && !HasAntexLabel(block.Line(index), "START OF FREQUENCY"); ++index)
        if (!ParseHeadLine(block.Line(index), record)) return false;
    // Without every head label the grids have no shape.
    if (record.bits != 0) return false;

    int found = 0;
    while (index < lineCount) {
        const char* line = block.Line(index++);
        if (!HasAntexLabel(line, "START OF FREQUENCY")) continue;
        const int32_t id = FrequencyIdFromCode(line + 3);
        if (id == kUnknownFrequencyId) {
            // A frequency we cannot name is left out, and is not missed.
            --record.declaredFrequencies;
            while (index < lineCount && !HasAntexLabel(block.Line(index), "END OF FREQUENCY")) ++index;
            continue;
        }
        if (found == kAntennaFrequencySlots) return false;
        AntennaFrequency& frequency = record.frequencies[found];
        frequency.frequencyId = id;
        frequency.bits &= ~kFrequencyBitCode;
        if (!ParseFrequency(block, index, record, frequency)) return false;
        if ((frequency.bits & kFrequencyBitEnd) == 0) ++found;
    }
    record.foundFrequencies = found;
    return found == record.declaredFrequencies;
}
