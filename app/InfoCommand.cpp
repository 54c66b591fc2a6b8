#include <cstdio>
#include <strings.h>

#include "CheckReport.h"
#include "Commands.h"
#include "TrvHeaderView.h"
#include "rawfile/TrvFile.h"
#include "timebase/GpsTime.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv info FILE.trv\n"
    "       ublox2trv info FILE.epp   (see 'ublox2trv info FILE.epp --help')\n"
    "\n"
    "Prints the header of a raw data file: receiver, writing program, creation\n"
    "date, pre-processing results, the summary of its epochs and the count of\n"
    "epochs found by reading the file through.\n";

// Offsets of the version 3 header fields shown here.
enum HeaderOffset {
    kReceiverNameAt = 20,
    kCreationDateAt = 52,
    kProgramNameAt = 64,
    kProgramVersionAt = 96,
    kDataIntervalAt = 104,
    kResultsAt = 112,
    kFormatVersionAt = 157,
    kEpochCountAt = 159,
    kIntervalMsAt = 163,
    kFirstTimeAt = 167,
    kLastTimeAt = 175,
    kPositionAt = 183,
};

void PrintTime(const char* label, double absoluteSeconds) {
    char timeText[32] = "", dateText[32] = "";
    if (absoluteSeconds > 0.0) FormatGpsTime(absoluteSeconds, 3, timeText, dateText);
    int week = static_cast<int>(absoluteSeconds / kSecondsPerWeek);
    std::printf("%-22s week %d  %.3f s  (%s %s)\n", label, week, absoluteSeconds - week * kSecondsPerWeek,
                dateText, timeText);
}

}  // namespace

// An .epp name goes to the ephemeris listing; anything else is a raw file.
static bool IsEphemerisFile(const std::string& path) {
    return path.size() >= 4 && strcasecmp(path.c_str() + path.size() - 4, ".epp") == 0;
}

int RunInfo(const Arguments& args) {
    for (const std::string& a : args)
        if (IsEphemerisFile(a)) return RunEppInfo(args);
    if (WantsHelp(args, kUsage)) return 0;
    if (args.size() != 1) return UsageError("give exactly one .trv file", kUsage);

    CTrvFile trv;
    if (!trv.Open(args[0].c_str(), kTrvRead, false)) {
        std::fprintf(stderr, "ublox2trv: %s\n", trv.ErrorText());
        return 1;
    }
    CTrvHeaderView h(trv.HeaderImage());
    char receiverName[33], programName[33];
    h.Text(kReceiverNameAt, 32, receiverName);
    h.Text(kProgramNameAt, 32, programName);

    std::printf("%-22s %s\n", "file", trv.FileName());
    std::printf("%-22s %d\n", "format version", h.At<uint16_t>(kFormatVersionAt));
    std::printf("%-22s %d (%s)\n", "receiver type", trv.ReceiverType(), ReceiverTypeName(trv.ReceiverType()));
    std::printf("%-22s \"%s\"\n", "receiver name", receiverName);
    std::printf("%-22s %s %.6f\n", "written by", programName, h.At<double>(kProgramVersionAt));
    std::printf("%-22s %04d-%02d-%02d %02d:%02d:%02d (local)\n", "created", h.At<uint16_t>(kCreationDateAt + 4) + 1900,
                h.At<uint16_t>(kCreationDateAt), h.At<uint16_t>(kCreationDateAt + 2),
                h.At<uint16_t>(kCreationDateAt + 6), h.At<uint16_t>(kCreationDateAt + 8),
                h.At<uint16_t>(kCreationDateAt + 10));
    std::printf("%-22s %.3f s\n", "data interval (given)", h.At<double>(kDataIntervalAt));

    PrintResultsBlock(h.At<TrvPreprocessBlockV3>(kResultsAt));
    std::printf("%-22s %u\n", "epochs (summary)", h.At<uint32_t>(kEpochCountAt));
    std::printf("%-22s %u ms\n", "interval (measured)", h.At<uint32_t>(kIntervalMsAt));
    PrintTime("first epoch", h.At<double>(kFirstTimeAt));
    PrintTime("last epoch", h.At<double>(kLastTimeAt));
    std::printf("%-22s %.8f %.8f %.3f\n", "position", h.At<double>(kPositionAt), h.At<double>(kPositionAt + 8),
                h.At<double>(kPositionAt + 16));
    std::printf("%-22s %zu\n", "epochs (read through)", trv.EpochIndex().size());
    return 0;
}
