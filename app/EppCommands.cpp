// The two commands on .epp broadcast ephemeris files: a listing of what a
// file holds, and the orbit and clock of one satellite at one time.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Commands.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

namespace {

const char kInfoUsage[] =
    "usage: ublox2trv info FILE.epp\n"
    "\n"
    "Lists the broadcast ephemerides of an ephemeris file by satellite with\n"
    "their reference times (GPS week and seconds), the count of records and\n"
    "satellites of each constellation, and the span of the reference times.\n";

const char kOrbitUsage[] =
    "usage: ublox2trv orbit FILE.epp SAT TIME\n"
    "\n"
    "Computes the position (m) and velocity (m/s) of a satellite in the Earth\n"
    "frame and its clock offset (s) from the broadcast ephemerides of a file,\n"
    "for a signal received at TIME, without a receiver position.\n"
    "\n"
    "  SAT    a letter and the PRN: G05 (GPS), R12 (GLONASS slot), E11 (Galileo),\n"
    "         C23 (BeiDou), J02 (QZSS)\n"
    "  TIME   \"WEEK SECONDS\" (two words, GPS week and seconds of week) or\n"
    "         absolute GPS seconds since 6 January 1980\n";

constexpr GnssConstellation kListOrder[] = {kGps, kGlonass, kGalileo, kBeiDou, kQzss};

constexpr const char* kNoRecordWords = "No valid record found in the ephemeris file";
int lastLevel = 0;

// Warnings go to the person at once; notes only when a load fails.
void ShowWarning(int level, double, const char* text) {
    lastLevel = level;
    if (level <= 2) std::fprintf(stderr, "ublox2trv: %s\n", text[0] == '\n' ? text + 1 : text);
}

// A file that opens and has a known header but no usable record is loaded
// too, as an empty store, when emptyIsFine.
bool Load(CEphemerisStore& store, const std::string& path, bool emptyIsFine) {
    char words[kEphemerisMessageSize] = "";
    if (LoadEphemerisFile(store, path.c_str(), true, words)) return true;
    if (emptyIsFine && std::strcmp(words, kNoRecordWords) == 0) return true;
    if (lastLevel > 2)
        std::fprintf(stderr, "ublox2trv: %s\n", words);
    else
        std::fprintf(stderr, "ublox2trv: no ephemerides read from %s\n", path.c_str());
    return false;
}

std::string Header(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) return "";
    char line[256] = "";
    if (std::fgets(line, sizeof line, file) == nullptr) line[0] = '\0';
    std::fclose(file);
    std::string text = line;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text;
}

std::string TimeText(const GpsTime& t) {
    char text[96], timeText[32] = "", dateText[32] = "";
    FormatGpsTime(AbsoluteSeconds(t.seconds, t.week), 0, timeText, dateText);
    std::snprintf(text, sizeof text, "week %d %10.3f s (%s %s)", t.week, t.seconds, dateText, timeText);
    return text;
}

bool ParseSatellite(const std::string& text, SatelliteId& id) {
    if (text.size() < 2 || text.size() > 3) return false;
    GnssConstellation constellation = kInvalidConstellation;
    for (GnssConstellation c : kListOrder)
        if (std::toupper(static_cast<unsigned char>(text[0])) == ConstellationLetter(c)) constellation = c;
    if (constellation == kInvalidConstellation) return false;
    for (size_t i = 1; i < text.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
    return id.Set(constellation, std::atoi(text.c_str() + 1));
}

bool ParseNumber(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && end != nullptr && *end == '\0';
}

}  // namespace

int RunEppInfo(const Arguments& args) {
    if (WantsHelp(args, kInfoUsage)) return 0;
    if (args.size() != 1) return UsageError("give exactly one .epp file", kInfoUsage);
    CEphemerisStore store(ShowWarning);
    if (!Load(store, args[0], true)) return 1;

    std::printf("%-22s %s\n", "file", args[0].c_str());
    std::printf("%-22s %s\n", "header", Header(args[0]).c_str());
    std::printf("%-22s %s\n", "ionosphere model",
                store.Ionosphere().flags & kIonosphereModelValid ? "GPS Klobuchar" : "none");
    std::printf("%-22s %zu\n", "time offsets", store.TimeOffsets().size());

    GpsTime first, last;
    bool any = false;
    int total = 0;
    std::string summary;
    for (GnssConstellation c : kListOrder) {
        int records = 0, satellites = 0;
        for (int prn = 1; prn <= HighestPrn(c); ++prn) {
            const SatelliteId id(c, prn);
            const auto& list = store.GetRecords(id);
            if (list.empty()) continue;
            ++satellites;
            records += static_cast<int>(list.size());
            char name[32];
            std::printf("%s %3zu:", id.ShortText(name), list.size());
            for (const GNSS::IEphemeris* e : list) {
                GpsTime t;
                e->GetReferenceTime(t);
                std::printf("  %d %.0f", t.week, t.seconds);
                if (!any || t < first) first = t;
                if (!any || t > last) last = t;
                any = true;
            }
            std::printf("\n");
        }
        total += records;
        char line[96];
        std::snprintf(line, sizeof line, "%-22s %d records, %d satellites\n", ConstellationText(c), records,
                      satellites);
        summary += line;
    }
    std::printf("%s", summary.c_str());
    std::printf("%-22s %d\n", "ephemerides", total);
    if (any) {
        std::printf("%-22s %s\n", "first reference", TimeText(first).c_str());
        std::printf("%-22s %s\n", "last reference", TimeText(last).c_str());
    }
    return 0;
}

int RunOrbit(const Arguments& args) {
    if (WantsHelp(args, kOrbitUsage)) return 0;
    if (args.size() != 3 && args.size() != 4) return UsageError("give FILE.epp, SAT and TIME", kOrbitUsage);
    SatelliteId satellite;
    if (!ParseSatellite(args[1], satellite)) return UsageError("not a satellite: '" + args[1] + "'", kOrbitUsage);
    GpsTime time;
    double a = 0.0, b = 0.0;
    if (args.size() == 4) {
        if (!ParseNumber(args[2], a) || !ParseNumber(args[3], b) || a != static_cast<int>(a) || a < kWeekRollover ||
            b < 0.0 || b >= kSecondsPerWeek)
            return UsageError("not a GPS week and seconds: '" + args[2] + " " + args[3] + "'", kOrbitUsage);
        time.Set(static_cast<int>(a), b);
    } else {
        if (!ParseNumber(args[2], a) || a < kWeekRollover * kSecondsPerWeek)
            return UsageError("not absolute GPS seconds: '" + args[2] + "'", kOrbitUsage);
        const int week = static_cast<int>(a / kSecondsPerWeek);
        time.Set(week, a - week * kSecondsPerWeek);
    }

    CEphemerisStore store(ShowWarning);
    if (!Load(store, args[0], false)) return 1;
    double position[3], velocity[3], clockMetres = 0.0;
    char words[kEphemerisMessageSize] = "";
    char name[32];
    if (!store.ComputeSatelliteState(satellite, time, nullptr, 0.0, position, velocity, clockMetres, words)) {
        std::fprintf(stderr, "ublox2trv: no usable ephemeris of %s for %s\n", satellite.ShortText(name),
                     TimeText(time).c_str());
        return 1;
    }
    std::printf("%-10s %s\n", "satellite", satellite.ShortText(name));
    std::printf("%-10s %s\n", "time", TimeText(time).c_str());
    std::printf("%-10s %16.3f %16.3f %16.3f m\n", "position", position[0], position[1], position[2]);
    std::printf("%-10s %16.6f %16.6f %16.6f m/s\n", "velocity", velocity[0], velocity[1], velocity[2]);
    std::printf("%-10s %.12e s\n", "clock", clockMetres / kSpeedOfLight);
    return 0;
}
