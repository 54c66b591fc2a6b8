#include "antenna/SatelliteAntennaPCVCorrection.h"

#include <ctime>

#include "antenna/AntennaFile.h"
#include "antenna/AntennaTables.h"
#include "antenna/AntexBlock.h"
#include "antenna/AntexRecordParser.h"
#include "antenna/AntexText.h"

namespace {

bool IsValidRange(const GpsTimeRange& range) {
    return range.first.IsAtLeast(kWeekRollover) && range.last.IsAtLeast(kWeekRollover) && !(range.last < range.first);
}

bool Covers(const GpsTimeRange& outer, const GpsTimeRange& inner) {
    return !(inner.first < outer.first) && !(outer.last < inner.last);
}

// The start of tomorrow in UTC, as a GPS time: the end of the open records
// when the caller gives no range.
GpsTime StartOfTomorrow() {
    const UnixCalendar* today = SplitUnixSeconds(static_cast<int64_t>(std::time(nullptr)));
    if (today == nullptr) return GpsTime();
    int week = 0;
    double seconds = 0.0;
    CalendarToGps(0, 0, 0.0, today->month + 1, today->dayOfMonth, today->yearsSince1900 + 1900, week, seconds);
    return GpsTime(week, seconds + kSecondsPerDay);
}

// Reads up to the line with the label; false when "END OF HEADER" or the
// end of the file comes first.
bool ScanHeaderFor(FILE* file, const char* label, char* line) {
    while (ReadAntexLine(file, line)) {
        if (HasAntexLabel(line, label)) return true;
        if (HasAntexLabel(line, "END OF HEADER")) return false;
    }
    return false;
}

}  // namespace

CSatelliteAntennaPCVCorrection::CSatelliteAntennaPCVCorrection() = default;
CSatelliteAntennaPCVCorrection::~CSatelliteAntennaPCVCorrection() = default;

void CSatelliteAntennaPCVCorrection::Clear() {
    loadedName[0] = '\0';
    version[0] = '\0';
    systemLetter = '\0';
    pcvType = '\0';
    loadedRange = GpsTimeRange{};
    for (auto& byPrn : records)
        for (auto& list : byPrn) list.reset();
}

bool CSatelliteAntennaPCVCorrection::Load(const CAntennaPCVoptions* options, const GpsTimeRange& timeRange,
                                          const char* path, char* error) {
    SetOptions(options != nullptr ? *options : CAntennaPCVoptions());
    const bool rangeValid = IsValidRange(timeRange);
    if (rangeValid && (path == nullptr || SameFileName(path, loadedName)) && Covers(loadedRange, timeRange))
        return true;

    Clear();
    FILE* file = path != nullptr ? OpenNamedAntennaFile(path, loadedName, error)
                                 : OpenAntennaFile(false, loadedName, error);
    if (file == nullptr) return false;
    bool headerRead = false;
    bool taken = false;
    try {
        headerRead = ReadHeader(file, error);
        if (headerRead) taken = ReadRecords(file, timeRange, rangeValid);
    } catch (...) {
        // Only memory can run out here; what was read is no use then.
        AppendAntennaError(error, "Out of memory reading antenna atx file %s\n", loadedName);
        headerRead = false;
    }
    std::fclose(file);
    if (!headerRead) {
        Clear();
        return false;
    }
    loadedRange = timeRange;
    return taken;
}

bool CSatelliteAntennaPCVCorrection::ReadHeader(FILE* file, char* error) {
    char line[kAntexLineSize];
    if (!ScanHeaderFor(file, "ANTEX VERSION", line)) {
        AppendAntennaError(error, "No ANTEX VERSION line in antenna atx file %s\n", loadedName);
        return false;
    }
    CopyAntexField(line, 0, kAntexVersionSize - 1, version, sizeof version);
    systemLetter = line[20];
    if (!ScanHeaderFor(file, "PCV TYPE", line)) {
        AppendAntennaError(error, "No PCV TYPE line in antenna atx file %s\n", loadedName);
        return false;
    }
    pcvType = line[0];
    return true;
}

bool CSatelliteAntennaPCVCorrection::ReadRecords(FILE* file, const GpsTimeRange& timeRange, bool rangeValid) {
    const GpsTime defaultEnd = rangeValid ? timeRange.last : StartOfTomorrow();
    CAntexBlock block;
    CAntexRecordParser parser;
    SatelliteAntennaRecord record;
    bool taken = false;
    while (block.ReadNext(file)) {
        if (!block.IsSatelliteBlock()) continue;
        if (!parser.Parse(block, record) || !record.id.IsValid() || record.blockType == kUnknownBlockType) continue;
        // An antenna still in service serves up to the end of the range.
        if (record.hasValidFrom && !record.hasValidUntil) {
            record.validUntil = defaultEnd;
            record.hasValidUntil = true;
        }
        if (rangeValid && !record.Holds(timeRange.first) && !record.Holds(timeRange.last)) continue;
        std::unique_ptr<SatelliteAntennaList>& list = records[record.id.constellation][record.id.prn];
        // The first antenna of a satellite has to serve the whole range.
        const bool first = list == nullptr || list->empty();
        if (rangeValid && first && !(record.Holds(timeRange.first) && record.Holds(timeRange.last))) continue;
        if (list == nullptr) list = std::make_unique<SatelliteAntennaList>();
        list->push_back(std::move(record));
        taken = true;
    }
    return taken;
}

const SatelliteAntennaList* CSatelliteAntennaPCVCorrection::Records(const SatelliteId& id) const {
    return id.IsValid() ? records[id.constellation][id.prn].get() : nullptr;
}

const SatelliteAntennaRecord* CSatelliteAntennaPCVCorrection::RecordAt(const SatelliteId& id,
                                                                      const GpsTime& time) const {
    const SatelliteAntennaList* list = Records(id);
    if (list == nullptr) return nullptr;
    for (const SatelliteAntennaRecord& record : *list)
        if (record.Holds(time)) return &record;
    return nullptr;
}

int CSatelliteAntennaPCVCorrection::OrbitClassAt(const SatelliteId& id, const GpsTime& time) const {
    const SatelliteAntennaRecord* record = RecordAt(id, time);
    return record != nullptr ? OrbitClassOfBlockType(record->blockType) : kOrbitClassUnknown;
}

int CSatelliteAntennaPCVCorrection::RecordCount() const {
    int count = 0;
    for (const auto& byPrn : records)
        for (const auto& list : byPrn)
            if (list != nullptr) count += static_cast<int>(list->size());
    return count;
}
