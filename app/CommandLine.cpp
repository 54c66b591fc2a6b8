#include <cstdio>

#include "Commands.h"

bool WantsHelp(const Arguments& args, const char* usage) {
    for (const std::string& a : args) {
        if (a == "-h" || a == "--help") {
            std::fputs(usage, stdout);
            return true;
        }
    }
    return false;
}

int UsageError(const std::string& text, const char* usage) {
    std::fprintf(stderr, "ublox2trv: %s\n\n%s", text.c_str(), usage);
    return 2;
}
