#include <cstdio>
#include <cstring>
#include <string>

#include "Commands.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv COMMAND [ARGS] [--help]\n"
    "\n"
    "Converts u-blox UBX receiver logs into .trv raw data, .epp ephemeris and\n"
    ".sta station files, and shows what such files hold.\n"
    "\n"
    "commands:\n"
    "  convert LOG [-o OUT.trv]   convert a log (see 'ublox2trv convert --help')\n"
    "  check FILE.trv             run the pre-processing checks on a raw file\n"
    "  detect FILE                say whether a file looks like a UBX log\n"
    "  info FILE.trv              header, summary and epoch count of a raw file\n"
    "  info FILE.epp              ephemerides of an ephemeris file by satellite\n"
    "  dump FILE.trv              epochs of a raw file as text, one signal a line\n"
    "  orbit FILE.epp SAT TIME    satellite position, velocity and clock at a time\n"
    "  position FILE.trv          single point positions of every epoch (see --help)\n"
    "  simulate -o LOG.ubx        write a synthetic log (see 'ublox2trv simulate --help')\n";

struct Command {
    const char* name;
    int (*run)(const Arguments&);
};

constexpr Command kCommands[] = {
    {"convert", RunConvert},
    {"check", RunCheck},
    {"detect", RunDetect},
    {"info", RunInfo},
    {"dump", RunDump},
    {"orbit", RunOrbit},
    {"simulate", RunSimulate},
    {"position", RunPosition},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return UsageError("no command given", kUsage);
    std::string word = argv[1];
    if (word == "-h" || word == "--help" || word == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Arguments args(argv + 2, argv + argc);
    for (const Command& c : kCommands)
        if (word == c.name) return c.run(args);
    return UsageError("unknown command '" + word + "'", kUsage);
}
