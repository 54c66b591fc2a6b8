#include <cstdio>
#include <cstdlib>
#include <string>

#include "Commands.h"
#include "rawfile/TrvFile.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv dump FILE.trv [--first N] [--count N]\n"
    "\n"
    "Prints epochs of a raw data file: a line per epoch, then one line per\n"
    "satellite signal with the measurements that are valid in it (others '-').\n";

void PrintEpoch(int index, const CGnssEpoch& e) {
    std::printf("epoch %d  week %u  tow %.7f  true %.7f  ms %u  flags 0x%x  sats %zu", index, e.week, e.rawRcvTime,
                e.trueRcvTime, e.rcvTimeMs, e.flags, e.satelliteList.size());
    if (e.flags & kEpochPositionValid)
        std::printf("  pos %.8f %.8f %.3f", e.position.latitude, e.position.longitude, e.position.height);
    if (e.flags & kEpochClockValid) std::printf("  clock %.3f m", e.clockOffset);
    std::printf("\n");
}

void Field(bool valid, const char* format, double value) {
    if (valid)
        std::printf(format, value);
    else
        std::printf(" %s", "-");
}

void PrintSignal(const CGnssSatellite& sat, const CGnssSignal& s) {
    char name[32];
    std::printf("  %s", sat.id.ShortText(name));
    if (sat.glonassChannel != kNoGlonassChannel) std::printf("(%+d)", static_cast<int8_t>(sat.glonassChannel));
    std::printf(" %-6s flags 0x%03x", SignalText(s.signalId), s.flags);
    Field(s.flags & kSigPseudorange, " pr %.3f", s.pseudorange);
    Field(s.flags & (kSigPhaseResolved | kSigPhaseValue), " cp %.3f", s.carrierPhase);
    Field(s.flags & kSigDoppler, " dop %.3f", s.doppler);
    Field(s.flags & kSigCn0, " cn0 %.1f", s.cn0);
    Field(s.flags & kSigLockTime, " lock %.3f", s.lockTime);
    Field(s.flags & kSigPseudorangeStdDev, " prsd %.2f", s.pseudorangeStdDev);
    Field(s.flags & kSigPhaseStdDev, " cpsd %.3f", s.carrierPhaseStdDev);
    std::printf("\n");
}

}  // namespace

int RunDump(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;
    std::string path;
    long first = 0, count = -1;
    for (size_t i = 0; i < args.size(); ++i) {
        if ((args[i] == "--first" || args[i] == "--count") && i + 1 < args.size()) {
            long value = std::strtol(args[i + 1].c_str(), nullptr, 10);
            (args[i] == "--first" ? first : count) = value;
            ++i;
        } else if (!args[i].empty() && args[i][0] == '-') {
            return UsageError("unknown option '" + args[i] + "'", kUsage);
        } else if (path.empty()) {
            path = args[i];
        } else {
            return UsageError("give exactly one .trv file", kUsage);
        }
    }
    if (path.empty()) return UsageError("give exactly one .trv file", kUsage);

    CTrvFile trv;
    if (!trv.Open(path.c_str(), kTrvRead, false)) {
        std::fprintf(stderr, "ublox2trv: %s\n", trv.ErrorText());
        return 1;
    }
    CGnssEpoch epoch;
    const long total = static_cast<long>(trv.EpochIndex().size());
    for (long i = first; i < total && (count < 0 || i < first + count); ++i) {
        int result = trv.ReadEpochAt(static_cast<int>(i), epoch);
        if (result != 0) {
            std::printf("epoch %ld  unreadable (%s)\n", i, result < 0 ? "end of file" : "bad record");
            continue;
        }
        PrintEpoch(static_cast<int>(i), epoch);
        for (const SatelliteId& id : epoch.satelliteList) {
            const CGnssSatellite* sat = epoch.GetSatellite(id);
            if (!sat) continue;
            for (const auto& slot : sat->signals)
                if (slot && slot->flags != 0) PrintSignal(*sat, *slot);
        }
    }
    return 0;
}
