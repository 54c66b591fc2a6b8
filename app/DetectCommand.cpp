#include <cstdio>

#include "Commands.h"
#include "conversion/ConvertApi.h"

namespace {
const char kUsage[] =
    "usage: ublox2trv detect FILE...\n"
    "\n"
    "Says for each file whether its first 16 KiB hold a good UBX frame.\n"
    "Exit status 0 when every file is a UBX log, 1 otherwise.\n";
}  // namespace

int RunDetect(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;
    if (args.empty()) return UsageError("no file given", kUsage);
    int status = 0;
    for (const std::string& path : args) {
        bool isUbx = AutoDetect(path.c_str()) == 1;
        std::printf("%s: %s\n", path.c_str(), isUbx ? "UBX log" : "not a UBX log");
        if (!isUbx) status = 1;
    }
    return status;
}
