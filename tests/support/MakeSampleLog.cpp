// Writes the bundled default input: a synthetic multi-GNSS UBX log.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "SampleLog.h"

int main(int argc, char** argv) {
    if (argc < 2 || std::string(argv[1]) == "--help") {
        std::fprintf(stderr, "usage: make_sample_log OUT.ubx [EPOCHS] [--raw]\n");
        return argc < 2 ? 2 : 0;
    }
    ubxtest::SampleLogOptions options;
    for (int i = 2; i < argc; ++i) {
        if (std::string(argv[i]) == "--raw")
            options.rawx = false;
        else
            options.epochs = std::atoi(argv[i]);
    }
    ubxtest::SampleLogStats stats;
    ubxtest::UbxLog log;
    log.Add(ubxtest::BuildSampleLog(options, &stats));
    if (!log.Save(argv[1])) {
        std::fprintf(stderr, "make_sample_log: cannot write %s\n", argv[1]);
        return 1;
    }
    std::printf("%s: %zu bytes, %d epochs, %d signals, %d event marks\n", argv[1], log.Data().size(), stats.epochs,
                stats.signals, stats.marks);
    return 0;
}
