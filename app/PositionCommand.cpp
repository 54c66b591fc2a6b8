// 'ublox2trv position': a single point solution for every epoch of a raw
// data file, from the ephemerides beside it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "Commands.h"
#include "ProgressBar.h"
#include "positioning/SinglePoint.h"
#include "ephemeris/EphemerisStore.h"
#include "rawfile/TrvFile.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv position FILE.trv [--epp FILE.epp] [--systems GREJC] [--mask DEGREES]\n"
    "                          [--iono] [--no-tropo] [-o OUT.pos]\n"
    "\n"
    "Solves every epoch of a raw data file by single point positioning from its\n"
    "pseudoranges and the broadcast ephemerides, and writes one line per epoch to\n"
    "OUT.pos (default: FILE.pos; '-' for standard output). A summary follows on\n"
    "standard error.\n"
    "\n"
    "  --epp FILE.epp    ephemerides (default: the .epp beside FILE.trv)\n"
    "  --systems GREJC   constellations to use: G GPS, R GLONASS, E Galileo,\n"
    "                    J QZSS, C BeiDou (default: all)\n"
    "  --mask DEGREES    elevation mask of every constellation (default: 10,\n"
    "                    GLONASS 15)\n"
    "  --iono            apply the broadcast ionosphere model (default: off)\n"
    "  --no-tropo        leave out the tropospheric delay (default: on)\n"
    "  --tgd             correct GPS L1 ranges by the broadcast group delay (TGD)\n"
    "                    of each satellite (default: off, as the satellite clocks\n"
    "                    of this system leave it out)\n";

constexpr double kPi = 3.14159265358979323846;
constexpr int kMessagesShown = 8;

struct Request {
    std::string trv, epp, out, systems = "GREJC";
    double maskDegrees = -1.0;
    bool iono = false, tropo = true, tgd = false;
};

// Engine messages are counted by text and shown once at the end, so that a
// satellite rejected in every epoch does not flood the terminal.
std::map<std::string, int> messageCounts;
void CountMessage(int level, double, const char* text) {
    if (level <= 2 && text != nullptr && text[0] != '\0') ++messageCounts[text];
}

GnssConstellation ConstellationOfLetter(char letter) {
    switch (letter) {
        case 'G': return kGps;
        case 'R': return kGlonass;
        case 'E': return kGalileo;
        case 'J': return kQzss;
        case 'C': return kBeiDou;
        default: return kInvalidConstellation;
    }
}

int ParseArguments(const Arguments& args, Request& request) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--epp" && hasValue) {
            request.epp = args[++i];
        } else if (a == "-o" && hasValue) {
            request.out = args[++i];
        } else if (a == "--systems" && hasValue) {
            request.systems = args[++i];
            for (char letter : request.systems)
                if (ConstellationOfLetter(letter) == kInvalidConstellation)
                    return UsageError(std::string("unknown constellation letter '") + letter + "'", kUsage);
        } else if (a == "--mask" && hasValue) {
            char* end = nullptr;
            request.maskDegrees = std::strtod(args[++i].c_str(), &end);
            if (*end != '\0' || !(request.maskDegrees >= 0.0 && request.maskDegrees < 90.0))
                return UsageError("the mask is a number of degrees from 0 to below 90", kUsage);
        } else if (a == "--iono") {
            request.iono = true;
        } else if (a == "--no-tropo") {
            request.tropo = false;
        } else if (a == "--tgd") {
            request.tgd = true;
        } else if (!a.empty() && a[0] == '-' && a != "-") {
            return UsageError("unknown option '" + a + "'", kUsage);
        } else if (request.trv.empty()) {
            request.trv = a;
        } else {
            return UsageError("give exactly one .trv file", kUsage);
        }
    }
    if (request.trv.empty()) return UsageError("give exactly one .trv file", kUsage);
    if (request.epp.empty()) request.epp = std::filesystem::path(request.trv).replace_extension(".epp").string();
    if (request.out.empty()) request.out = std::filesystem::path(request.trv).replace_extension(".pos").string();
    return 0;
}

SinglePointOptions OptionsOf(const Request& request) {
    SinglePointOptions options;
    for (GnssConstellation c = 0; c < kStoredConstellations; ++c)
        if (request.systems.find(ConstellationLetter(c)) == std::string::npos) options.exclusions.ExcludeConstellation(c);
    if (request.maskDegrees >= 0.0)
        for (int c = 0; c < kStoredConstellations; ++c) options.elevationMask[c] = request.maskDegrees * kPi / 180.0;
    options.useIonosphere = request.iono;
    options.useTroposphere = request.tropo;
    return options;
}

// IS-GPS-200 has L1 C/A users subtract TGD from the satellite clock; here it
// goes onto the range of each satellite, from its first ephemeris.
void ApplyGroupDelays(CSinglePoint& engine) {
    const CEphemerisStore* store = engine.Service().Broadcast();
    if (store == nullptr) return;
    for (int prn = 1; prn <= HighestPrn(kGps); ++prn) {
        const SatelliteId id(kGps, prn);
        GpsEphemerisRecord record{};
        if (store->HasRecords(id) && store->GetRecords(id).front()->GetRecord(&record))
            engine.SetCodeBias(id, -record.elements.TGD * kSpeedOfLight);
    }
}

void WriteHeader(FILE* out, const Request& request, const SinglePointOptions& options) {
    std::fprintf(out, "%% ublox2trv position\n");
    std::fprintf(out, "%% raw data     %s\n", request.trv.c_str());
    std::fprintf(out, "%% ephemerides  %s\n", request.epp.c_str());
    std::fprintf(out, "%% systems      %s\n", request.systems.c_str());
    std::fprintf(out, "%% mask (deg)  ");
    for (int c = 0; c < kStoredConstellations; ++c)
        std::fprintf(out, " %c %.1f", ConstellationLetter(c), options.elevationMask[c] * 180.0 / kPi);
    std::fprintf(out, "\n%% ionosphere   %s\n", options.useIonosphere ? "broadcast model" : "off");
    std::fprintf(out, "%% troposphere  %s\n", options.useTroposphere ? "Saastamoinen" : "off");
    std::fprintf(out, "%% GPS TGD      %s\n", request.tgd ? "applied" : "not applied");
    std::fprintf(out, "%% datum        WGS84, ellipsoidal height\n");
    std::fprintf(out, "%% failed epochs: %% week seconds code text\n");
    std::fprintf(out, "%% week  seconds  latitude(deg)  longitude(deg)  height(m)  quality  satellites  "
                      "PDOP  HDOP  VDOP  rms(m)\n");
}

// Running sums for the mean and the scatter of the solved positions, taken
// about the first one so that the squares keep their digits.
struct Scatter {
    int count = 0;
    GeodeticPosition origin;
    double lat = 0, lon = 0, h = 0, lat2 = 0, lon2 = 0, h2 = 0;
    void Add(const GeodeticPosition& p) {
        if (count++ == 0) origin = p;
        const double dLat = p.latitude - origin.latitude, dLon = p.longitude - origin.longitude;
        const double dH = p.height - origin.height;
        lat += dLat, lon += dLon, h += dH;
        lat2 += dLat * dLat, lon2 += dLon * dLon, h2 += dH * dH;
    }
    static double Deviation(double sum, double sum2, int n) {
        const double mean = sum / n;
        return std::sqrt(std::max(0.0, sum2 / n - mean * mean));
    }
};

void PrintSummary(const Scatter& s, const std::map<int, int>& failures, int epochs) {
    std::fprintf(stderr, "epochs %d: solved %d", epochs, s.count);
    int failed = 0;
    for (const auto& [code, n] : failures) failed += n;
    std::fprintf(stderr, ", failed %d", failed);
    for (const auto& [code, n] : failures) std::fprintf(stderr, " (code %d: %d)", code, n);
    std::fprintf(stderr, "\n");
    if (s.count > 0) {
        const double lat = s.origin.latitude + s.lat / s.count;
        const double north = Scatter::Deviation(s.lat, s.lat2, s.count) * kMetresPerDegree;
        const double east =
            Scatter::Deviation(s.lon, s.lon2, s.count) * kMetresPerDegree * std::cos(lat * kPi / 180.0);
        std::fprintf(stderr, "mean position %.9f %.9f %.4f\n", lat, s.origin.longitude + s.lon / s.count,
                     s.origin.height + s.h / s.count);
        std::fprintf(stderr, "scatter (1 sigma): horizontal %.3f m, vertical %.3f m\n",
                     std::sqrt(north * north + east * east), Scatter::Deviation(s.h, s.h2, s.count));
    }
    int shown = 0;
    for (const auto& [text, n] : messageCounts) {
        if (shown++ == kMessagesShown) {
            std::fprintf(stderr, "... and %zu other messages\n", messageCounts.size() - kMessagesShown);
            break;
        }
        std::fprintf(stderr, "message (%d times): %s\n", n, text.c_str());
    }
}

}  // namespace

int RunPosition(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;
    Request request;
    if (const int status = ParseArguments(args, request); status != 0) return status;

    CTrvFile trv;
    if (!trv.Open(request.trv.c_str(), kTrvRead, false)) {
        std::fprintf(stderr, "ublox2trv: %s\n", trv.ErrorText());
        return 1;
    }
    CSinglePoint engine(CountMessage, true, false);
    const SinglePointOptions options = OptionsOf(request);
    engine.SetOptions(options);
    if (!engine.LoadBroadcastEphemeris(request.epp.c_str())) {
        std::fprintf(stderr, "ublox2trv: cannot use the ephemerides of %s\n", request.epp.c_str());
        return 1;
    }

    if (request.tgd) ApplyGroupDelays(engine);

    FILE* out = request.out == "-" ? stdout : std::fopen(request.out.c_str(), "w");
    if (out == nullptr) {
        std::fprintf(stderr, "ublox2trv: cannot write %s\n", request.out.c_str());
        return 1;
    }
    WriteHeader(out, request, options);

    CProgressBar progress(stderr, "epochs");
    CGnssEpoch epoch;
    Scatter scatter;
    std::map<int, int> failures;
    char text[512];
    const int total = static_cast<int>(trv.EpochIndex().size());
    for (int i = 0; i < total; ++i) {
        if (i % 64 == 0) progress.Update(i, total);
        if (trv.ReadEpochAt(i, epoch) != 0) {
            ++failures[1];
            std::fprintf(out, "%% epoch %d unreadable\n", i);
            continue;
        }
        text[0] = '\0';
        const int rc = engine.ComputeEpoch(epoch, false, false, nullptr, text);
        if (rc != kSolved) {
            ++failures[rc];
            const char* words = text[0] != '\0' ? text : engine.LastError();
            std::fprintf(out, "%% %u %.3f %d %s\n", epoch.week, epoch.rawRcvTime, rc, words);
            continue;
        }
        const CSinglePointSolution& s = engine.Solution();
        std::fprintf(out, "%d %.3f %.9f %.9f %.4f %d %d %.2f %.2f %.2f %.3f\n", s.week, s.receiverSeconds,
                     s.outputGeodetic.latitude, s.outputGeodetic.longitude, s.outputGeodetic.height, s.quality,
                     s.usedCount, s.pdop, s.hdop, s.vdop, s.overallRms);
        scatter.Add(s.outputGeodetic);
    }
    progress.Finish();
    if (out != stdout) {
        std::fclose(out);
        std::fprintf(stderr, "%s: %d epochs\n", request.out.c_str(), total);
    }
    PrintSummary(scatter, failures, total);
    return scatter.count > 0 ? 0 : 1;
}
