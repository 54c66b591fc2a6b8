#include <cstdio>
#include <filesystem>

#include "CheckReport.h"
#include "Commands.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv check FILE.trv\n"
    "\n"
    "Runs the pre-processing checks on a raw data file, as opening an\n"
    "unchecked file does: repairs weeks, Doppler, bad C/A ranges, positions\n"
    "and clocks in place, settles the static/kinematic flags, moves epochs\n"
    "out of time order or repeated into side files, writes the results into\n"
    "the header and prints the report.\n";

}  // namespace

int RunCheck(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;
    if (args.size() != 1) return UsageError("give exactly one .trv file", kUsage);
    if (!std::filesystem::is_regular_file(args[0])) {
        std::fprintf(stderr, "ublox2trv: %s is not a file\n", args[0].c_str());
        return 1;
    }
    return CheckAndReport(args[0], true);
}
