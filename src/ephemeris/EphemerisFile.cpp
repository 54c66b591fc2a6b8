// Reading and writing the .epp file around the records' own text.
#include "ephemeris/EphemerisFile.h"

#include <cmath>
#include <cstring>
#include <new>
#include <strings.h>

#include "conversion/FileNames.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisFileHeader.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "ephemeris/TextRecord.h"

using namespace GNSS;

namespace {

constexpr const char* kEphemerisExtension = ".epp";
constexpr const char* kTrvExtension = ".trv";
// Only the start of the header line matters; the rest is skipped.
constexpr int kHeaderReadSize = 59;
constexpr double kRangeMargin = 7200.0;
// Moscow time runs three hours ahead of UTC; GLONASS days begin at its midnight.
constexpr double kMoscowOffset = 10800.0;
constexpr int kTimeOffsetSourceKept = 7;

constexpr const char* kWordsNot870 = "8.70 has modified its eph file format, please recreate '%s'";

// The reader's name rule: a .trv name means the .epp beside it.
void ReadingName(const char* fileName, char* name, size_t capacity) {
    std::snprintf(name, capacity, "%s", fileName != nullptr ? fileName : "");
    const size_t length = std::strlen(name);
    const size_t extension = std::strlen(kTrvExtension);
    if (length >= extension && strcasecmp(name + length - extension, kTrvExtension) == 0)
        ublox2trv::SetFileExtension(name, kEphemerisExtension, capacity);
}

// The version of the file's header, or -1; the stream then stands at the
// start of the second line. refused870 tells a version 1 header of 8.70.
int ReadHeader(FILE* file, bool& refused870) {
    refused870 = false;
    char header[kHeaderReadSize + 1] = {};
    if (std::fgets(header, sizeof header, file) == nullptr) return -1;
    if (std::strchr(header, '\n') == nullptr) {
        int c;
        while ((c = std::fgetc(file)) != EOF && c != '\n') {
        }
    }
    const int version = EphemerisFileVersion(header);
    refused870 = version == 1 && std::strstr(header, "Ver8.70.") != nullptr;
    return version;
}

bool IsToken(const TextRecord& text, const char* token) { return strcasecmp(text.Token(), token) == 0; }

// The time filter of the writer: a reference time within the range, with a
// millisecond to spare, or any time when the range is not a proper one.
struct WriteFilter {
    bool active = false;
    GpsTimeRange range{};

    explicit WriteFilter(const GpsTimeRange* timeRange) {
        if (timeRange == nullptr) return;
        const bool valid = timeRange->first.week >= kWeekRollover && timeRange->last.week >= kWeekRollover;
        active = valid && timeRange->last > timeRange->first;
        range = *timeRange;
    }

    bool Accepts(const IEphemeris& e) const {
        if (!active) return true;
        GpsTime reference;
        e.GetReferenceTime(reference);
        const double span = std::fabs(range.last.Difference(range.first)) + 0.001;
        return !(span < reference.AbsDifference(range.first)) && !(span < reference.AbsDifference(range.last));
    }
};

int WriteSatellites(CEphemerisStore& store, GnssConstellation constellation, FILE* file, const WriteFilter& filter) {
    int written = 0;
    for (int prn = 1; prn <= HighestPrn(constellation); ++prn)
        for (const IEphemeris* e : store.GetRecords(SatelliteId(constellation, prn)))
            if (filter.Accepts(*e) && e->WriteRecord(file)) ++written;
    return written;
}

// GLONASS day number of a GPS time: the day of the four-year interval that
// begins with a leap year, counted on Moscow time. False when any step fails.
bool GlonassDayNumber(CEphemerisStore& store, const GpsTime& reference, int& dayNumber) {
    const double leapSeconds = store.LeapSecondsAt(reference);
    if (leapSeconds < 1.0) return false;
    GpsCalendarTime calendar;
    if (!calendar.SetFromGpsTime(reference - (leapSeconds + kMoscowOffset))) return false;
    const double dayOfYear = calendar.GetDayOfYear();
    if (dayOfYear < 0.0) return false;
    dayNumber = DaysSinceLeapYear(static_cast<int>(dayOfYear) + 1, calendar.year);
    return true;
}

// Gives each GLONASS record the tau-c of its day; if that fails for any
// record, every record is left without one rather than only some.
void AssignGlonassTimeCorrections(CEphemerisStore& store) {
    store.SortGlonassOffsets();
    const std::vector<GlonassTimeOffset>& offsets = store.GlonassOffsets();
    bool failed = false;
    for (int pass = 0; pass < 2; ++pass) {
        for (int prn = 1; prn <= HighestPrn(kGlonass); ++prn)
            for (IEphemeris* e : store.GetRecords(SatelliteId(kGlonass, prn))) {
                auto* glonass = static_cast<CEphemerisGLO*>(e);
                glonass->SetTimeCorrection(0.0, 0);
                if (failed) continue;
                GpsTime reference;
                int dayNumber = 0;
                const GlonassTimeOffset* found = nullptr;
                if (glonass->GetReferenceTime(reference) && GlonassDayNumber(store, reference, dayNumber))
                    for (const GlonassTimeOffset& entry : offsets)
                        if (entry.dayNumber == dayNumber) {
                            found = &entry;
                            break;
                        }
                if (found == nullptr) {
                    failed = true;
                    continue;
                }
                glonass->SetTimeCorrection(found->tauC, dayNumber);
            }
        if (!failed || pass == 1) break;
    }
}

void ReadTimeOffsets(CEphemerisStore& store, TextRecord& text) {
    for (int i = 0; i < kTimeOffsetNameCount; ++i) {
        char key[16];
        std::snprintf(key, sizeof key, "%s:", kTimeOffsetNames[i]);
        TimeOffsetRecord offset{};
        int tot = 0, week = 0, utcId = 0;
        char source[kTextValueSize] = {};
        if (ScanField(key, text, "%lf%lf%d%d%s%d", &offset.a0, &offset.a1, &tot, &week, source, &utcId) != 6)
            continue;
        std::snprintf(offset.name, sizeof offset.name, "%s", kTimeOffsetNames[i]);
        offset.tot = tot;
        offset.week = static_cast<int16_t>(week);
        std::memcpy(offset.source, source, kTimeOffsetSourceKept);
        offset.source[kTimeOffsetSourceKept] = '\0';
        offset.utcId = static_cast<int8_t>(utcId);
        store.AddTimeOffset(offset);
    }
}

// Hands a read record to the store; true when it was kept.
bool Keep(CEphemerisStore& store, GnssConstellation constellation, IEphemeris* e) {
    SatelliteId id;
    if (!e->GetSatelliteId(id) || store.Insert(constellation, id.prn, e) != CEphemerisStore::kInserted) {
        delete e;
        return false;
    }
    return true;
}

// One record of the file; the count of records kept (0 or 1).
int LoadRecord(CEphemerisStore& store, TextRecord& text, int version, char* message) {
    if (IsToken(text, "GpsEph")) {
        if (!store.IsEnabled(kGps)) return 0;
        auto* e = new (std::nothrow) CEphemerisGPS;
        if (e == nullptr) return 0;
        if (!e->ReadRecord(text, version, message)) {
            delete e;
            return 0;
        }
        GpsTime reference;
        e->GetReferenceTime(reference);
        store.ExtendGpsRange(reference);
        const int kept = Keep(store, kGps, e) ? 1 : 0;
        if (store.GlonassTimePending()) store.ResolveGlonassWeeks();
        return kept;
    }
    if (IsToken(text, "GloEph") || IsToken(text, "GlnEph")) {
        if (!store.IsEnabled(kGlonass)) return 0;
        auto* e = new (std::nothrow) CEphemerisGLO;
        if (e == nullptr) return 0;
        const double leapSeconds = store.LeapSecondsAt(store.GpsRange().last);
        if (!e->ReadRecord(text, version, store.GpsRange(), leapSeconds, leapSeconds > 0.0, message)) {
            delete e;
            return 0;
        }
        return Keep(store, kGlonass, e) ? 1 : 0;
    }
    if (IsToken(text, "BdsEph")) {
        if (!store.IsEnabled(kBeiDou)) return 0;
        auto* e = new (std::nothrow) CEphemerisBDS;
        if (e == nullptr) return 0;
        if (!e->ReadRecord(text, version, message)) {
            delete e;
            return 0;
        }
        return Keep(store, kBeiDou, e) ? 1 : 0;
    }
    if (IsToken(text, "QzsEph")) {
        if (!store.IsEnabled(kQzss)) return 0;
        auto* e = new (std::nothrow) CEphemerisQZSS;
        if (e == nullptr) return 0;
        if (!e->ReadRecord(text, version, message)) {
            delete e;
            return 0;
        }
        return Keep(store, kQzss, e) ? 1 : 0;
    }
    if (IsToken(text, "GalEph")) {
        if (!store.IsEnabled(kGalileo)) return 0;
        auto* e = new (std::nothrow) CEphemerisGAL;
        if (e == nullptr) return 0;
        bool take = e->ReadRecord(text, version, message);
        if (take && store.GalileoFilter() == 1) {
            take = e->Record().fNavValid;
            e->SetINavValid(false);
        } else if (take && store.GalileoFilter() == 2) {
            take = e->Record().iNavValid;
            e->SetFNavValid(false);
        }
        if (!take) {
            delete e;
            return 0;
        }
        return Keep(store, kGalileo, e) ? 1 : 0;
    }
    if (IsToken(text, "STcorr")) {
        ReadTimeOffsets(store, text);
        return 0;
    }
    if (IsToken(text, "GpsIon")) {
        IonosphereModelRecord model{};
        ReadIonosphereRecord(text, model, message);
        if (model.flags > store.Ionosphere().flags) store.SetIonosphere(model);
        return 0;
    }
    // GpsAlm and any other token: not used here.
    return 0;
}

}  // namespace

int EphemerisFileVersion(const char* header) {
    if (header == nullptr) return -1;
    if (std::strncmp(header, kEphemerisMagicV3B, 7) == 0) return 2;
    if (std::strncmp(header, kEphemerisMagicVer3, 8) == 0) return 1;
    if (std::strncmp(header, kEphemerisMagicRec, 7) == 0) return 0;
    return -1;
}

bool WriteIonosphereRecord(FILE* file, const IonosphereModelRecord& m) {
    if (file == nullptr) return false;
    return std::fprintf(file, "%s {\n", "GpsIon") > 0 &&
           std::fprintf(file, "\tCfa: %.12le %.12le %.12le %.12le\n", m.alpha[0], m.alpha[1], m.alpha[2], m.alpha[3]) >
               0 &&
           std::fprintf(file, "\tCfb: %.12le %.12le %.12le %.12le\n", m.beta[0], m.beta[1], m.beta[2], m.beta[3]) > 0 &&
           std::fputs("}\n", file) >= 0;
}

bool WriteTimeOffsetRecord(FILE* file, const std::vector<TimeOffsetRecord>& offsets) {
    if (file == nullptr) return false;
    bool written = std::fprintf(file, "%s {\n", "STcorr") > 0;
    for (const TimeOffsetRecord& o : offsets) {
        char name[sizeof o.name + 1] = {}, source[sizeof o.source + 1] = {};
        std::memcpy(name, o.name, sizeof o.name);
        std::memcpy(source, o.source, sizeof o.source);
        written = std::fprintf(file, "\t%s: %.10e %.9e %d %d %s %d\n", name, o.a0, o.a1, o.tot, o.week, source,
                               o.utcId) > 0 &&
                  written;
    }
    return std::fputs("}\n", file) >= 0 && written;
}

bool ReadIonosphereRecord(TextRecord& text, IonosphereModelRecord& model, char* message) {
    model = IonosphereModelRecord{};
    if (!IsToken(text, "GpsIon")) {
        if (message != nullptr) std::snprintf(message, kEphemerisMessageSize, "Not a valid record for ionospheric model");
        return false;
    }
    const int alphas = ScanField("Cfa:", text, "%lf%lf%lf%lf", &model.alpha[0], &model.alpha[1], &model.alpha[2],
                                 &model.alpha[3]);
    const int betas =
        ScanField("Cfb:", text, "%lf%lf%lf%lf", &model.beta[0], &model.beta[1], &model.beta[2], &model.beta[3]);
    if (alphas == 4 && betas == 4) model.flags |= kIonosphereModelValid;
    return true;
}

bool LoadEphemerisFile(CEphemerisStore& store, const char* fileName, bool clearFirst, char* errorText) {
    char name[ublox2trv::kPathSize];
    ReadingName(fileName, name, sizeof name);
    // The caller's copy of what went to the host.
    auto report = [&]() {
        if (errorText != nullptr) std::snprintf(errorText, kEphemerisMessageSize, "%s", store.Message());
    };

    FILE* file = std::fopen(name, "r");
    if (file == nullptr) {
        store.Report(3, "Failed to open ephemeris file '%s'", name);
        report();
        return false;
    }
    bool refused870 = false;
    const int version = ReadHeader(file, refused870);
    if (version < 0) {
        std::fclose(file);
        store.Report(3, "Invalid ephemeris file '%s'", name);
        report();
        return false;
    }
    if (refused870) {
        std::fclose(file);
        store.Report(2, kWordsNot870, name);
        report();
        return false;
    }
    store.Report(3, "\nReading broadcast ephemeris data %s", name);
    report();
    if (clearFirst) store.ClearRecords(true);
    store.SetGlonassTimePending();

    // Several kilobytes: one per file read, not per record.
    auto* text = new (std::nothrow) TextRecord;
    int count = 0;
    if (text != nullptr) {
        char message[kEphemerisMessageSize];
        while (text->Read(file)) {
            message[0] = '\0';
            count += LoadRecord(store, *text, version, message);
            if (message[0] != '\0') {
                store.Report(2, "%s", message);
                report();
            }
        }
        delete text;
    }
    std::fclose(file);

    store.ScreenGlonassDuplicates();
    store.ComputeTimeRange();
    if (count == 0) {
        store.Report(2, "No valid record found in the ephemeris file");
        report();
    }
    return count > 0;
}

int SaveEphemerisFile(CEphemerisStore& store, const char* fileName, bool append, const char* firstText,
                      const char* secondText, const GpsTimeRange* timeRange) {
    char name[ublox2trv::kPathSize];
    std::snprintf(name, sizeof name, "%s", fileName != nullptr ? fileName : "");
    FILE* file = nullptr;
    if (append) {
        file = std::fopen(name, "a");
        if (file == nullptr) return 0;
    } else {
        ublox2trv::SetFileExtension(name, kEphemerisExtension, sizeof name);
        file = std::fopen(name, "w");
        if (file == nullptr) return 0;
        WriteEphemerisHeader(file, firstText, secondText);
    }

    if (store.Ionosphere().flags & kIonosphereModelValid) WriteIonosphereRecord(file, store.Ionosphere());
    if (!store.TimeOffsets().empty()) WriteTimeOffsetRecord(file, store.TimeOffsets());

    const bool anyGlonass = store.SortRecords();
    const WriteFilter filter(timeRange);
    int written = 0;
    for (GnssConstellation c : {kGps, kBeiDou, kQzss, kGalileo}) written += WriteSatellites(store, c, file, filter);
    // GLONASS last: a reader needs the GPS records first to place them in time.
    if (anyGlonass) {
        AssignGlonassTimeCorrections(store);
        written += WriteSatellites(store, kGlonass, file, filter);
    }
    std::fclose(file);
    return written;
}

bool GetFileTimeRange(const char* fileName, GpsTimeRange& range, char* message, bool widen) {
    range = GpsTimeRange{};
    char name[ublox2trv::kPathSize];
    ReadingName(fileName, name, sizeof name);
    auto say = [&](const char* format) {
        if (message != nullptr) std::snprintf(message, kEphemerisMessageSize, format, name);
    };
    FILE* file = std::fopen(name, "r");
    if (file == nullptr) {
        say("Failed to open %s");
        return false;
    }
    bool refused870 = false;
    const int version = ReadHeader(file, refused870);
    if (version < 0 || refused870) {
        std::fclose(file);
        say(version < 0 ? "Invalid ephemeris file '%s'" : kWordsNot870);
        return false;
    }

    auto* text = new (std::nothrow) TextRecord;
    int seen = 0;
    if (text != nullptr) {
        while (text->Read(file)) {
            GpsTime reference;
            bool read = false;
            if (IsToken(*text, "GpsEph")) {
                CEphemerisGPS e;
                read = e.ReadRecord(*text, version, nullptr) && e.GetReferenceTime(reference);
            } else if (IsToken(*text, "GloEph") || IsToken(*text, "GlnEph")) {
                CEphemerisGLO e;
                read = e.ReadRecord(*text, version, range, 0.0, false, nullptr) && e.GetReferenceTime(reference);
            } else if (IsToken(*text, "BdsEph")) {
                CEphemerisBDS e;
                read = e.ReadRecord(*text, version, nullptr) && e.GetReferenceTime(reference);
            }
            if (!read) continue;
            range.Extend(reference.week, reference.seconds);
            ++seen;
        }
        delete text;
    }
    std::fclose(file);
    if (seen > 1 && widen) {
        range.first -= kRangeMargin;
        range.last += kRangeMargin;
    }
    return seen > 0;
}
