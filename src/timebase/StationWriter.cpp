#include <cstring>

#include "timebase/GpsTime.h"
#include "timebase/StationRecord.h"

// The one text for every failed write: by far the likeliest cause.
static constexpr const char* kWriteFailedText = "Disk full";

enum HeightType : uint8_t { kHeightNone = 0, kHeightSlant = 2, kHeightWithAntennaModel = 3 };

static const char* PositionModeText(uint8_t mode) {
    switch (mode) {
        case 1: return "SP";
        case 2: return "DGPS";
        case 3: return "RTK";
        case 4: return "RTFL";
        case 5: return "RTFX";
        case 6: return "FIX";
        default: return "UNK";
    }
}

static const char* HeightReferenceText(uint8_t reference) {
    switch (reference) {
        case 1: return "ELL";
        case 2: return "ORTHO";
        default: return "";
    }
}

static void SetError(char* errorText, const char* text) {
    if (errorText != nullptr) strcpy(errorText, text);
}

// The text fields are fixed arrays that a full-length name leaves without a
// terminator, so each is printed with its size as the bound.
template <size_t N>
static int Bound(const char (&)[N]) {
    return static_cast<int>(N);
}

// Writes the lines that open a record; false if a write failed or the record
// lacks its name (errorText then says which).
static bool WriteOpening(FILE* file, const StationRecord& r, char* errorText) {
    switch (r.kind) {
        case kStaHeader: {
            if (fprintf(file, "Hdr {\n") < 0) return false;
            if (r.name[0] && fprintf(file, "\tProj: \"%.*s\"\n", Bound(r.name), r.name) < 0) return false;
            if (r.description[0] &&
                fprintf(file, "\tUser: \"%.*s\"\n", Bound(r.description), r.description) < 0)
                return false;
            if (r.remark[0] && fprintf(file, "\tRxName: \"%.*s\"\n", Bound(r.remark), r.remark) < 0)
                return false;
            if (r.receiverSub[0] &&
                fprintf(file, "\tRxSub: \"%.*s\"\n", Bound(r.receiverSub), r.receiverSub) < 0)
                return false;
            if (r.timeType != kTimeNone && r.week >= 0) {
                char timeText[32], dateText[32];
                FormatGpsTime(r.week * kSecondsPerWeek + r.time, 0, timeText, dateText);
                if (fprintf(file, "\tTime: %s\n", timeText) < 0) return false;
                if (fprintf(file, "\tDate: %s\n", dateText) < 0) return false;
            }
            return true;
        }
        case kStaStation:
        case kStaMark: {
            const bool station = r.kind == kStaStation;
            if (!r.name[0]) {
                SetError(errorText, station ? "Missing station name" : "Missing event name");
                return false;
            }
            if (station) {
                if (fprintf(file, "Sta {\n") < 0) return false;
                if (fprintf(file, "\tID: \"%.*s\"\n", Bound(r.name), r.name) < 0) return false;
            } else {
                if (fprintf(file, "Mrk {\n") < 0) return false;
                if (fprintf(file, "\tEvent: \"%.*s\"\n", Bound(r.name), r.name) < 0) return false;
            }
            if (r.description[0] &&
                fprintf(file, "\tDesc: \"%.*s\"\n", Bound(r.description), r.description) < 0)
                return false;
            if (r.remark[0] && fprintf(file, "\tRem: \"%.*s\"\n", Bound(r.remark), r.remark) < 0)
                return false;
            return true;
        }
        case kStaBody:
            if (!r.name[0]) {
                SetError(errorText, "Missing event name");
                return false;
            }
            return true;
        default:
            return true;
    }
}

int WriteStationRecord(FILE* file, const StationRecord* record, char* errorText) {
    SetError(errorText, kWriteFailedText);
    if (file == nullptr || record == nullptr) return 1;
    const StationRecord& r = *record;

    if (!WriteOpening(file, r, errorText)) return 1;

    if (r.kind != kStaHeader) {
        if (r.timeType == kTimeNone || r.timeType == kTimeLocal) {
            SetError(errorText, r.timeType == kTimeNone ? "Cannot write record--missing time"
                                                        : "Local time not supported in NewSta format");
            fprintf(file, "}\n");
            return 1;
        }
        const char* label = r.timeType == kTimeUtc ? "UTim" : "GTim";
        const int written = r.week >= 0 ? fprintf(file, "\t%s: %.6lf %d\n", label, r.time, r.week)
                                        : fprintf(file, "\t%s: %.6lf\n", label, r.time);
        if (written < 0) return 1;
    }

    if (r.positionMode != 0) {
        if (fprintf(file, "\tPos: %.8lf %.8lf %.3lf %s\n", r.latitude, r.longitude, r.positionHeight,
                    HeightReferenceText(r.heightReference)) < 0)
            return 1;
        if (fprintf(file, "\tMode: %s\n", PositionModeText(r.positionMode)) < 0) return 1;
    }

    if (r.heightType == kHeightWithAntennaModel) {
        // The height and its antenna model go out as one write; its result
        // is not checked, as the record is closed either way.
        fprintf(file, "\tHi: %.4lf KESTREL\n\tAntEx: %d %d %d %.4f %.4lf \"%.*s\"\n", r.height,
                r.antExValues[0], r.antExValues[1], r.antExValues[2], r.antExValue, 0.0,
                Bound(r.antenna), r.antenna);
    } else if (r.heightType != kHeightNone) {
        if (fprintf(file, "\tHi: %.4lf %s\n", r.height,
                    r.heightType == kHeightSlant ? "SLANT" : "VERT") < 0)
            return 1;
        if (r.antenna[0] || r.antennaValueA != 0.0f || r.antennaValueB != 0.0f) {
            // The Ant line gives the second value first.
            if (fprintf(file, "\tAnt: %.4f %.4f \"%.*s\"\n", r.antennaValueB, r.antennaValueA,
                        Bound(r.antenna), r.antenna) < 0)
                return 1;
        }
    }

    fprintf(file, "}\n");
    return 0;
}
