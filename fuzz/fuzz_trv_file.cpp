// Feeds arbitrary bytes to the raw file reader: open (identification,
// summary rebuild, index), then every way of reading epochs back.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "rawfile/TrvFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_trv_" + std::to_string(getpid()) + ".trv";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    static CGnssEpoch epoch;
    CTrvFile trv;
    if (trv.Open(path.c_str(), kTrvRead, false)) {
        const int count = static_cast<int>(trv.EpochIndex().size());
        for (int i = 0; i < count && i < 64; ++i) trv.ReadEpochAt(i, epoch);
        trv.RewindToFirstEpoch();
        for (int i = 0; i < 64 && trv.ReadNextEpoch(epoch, true) == 0; ++i) {
        }
        trv.ReadNextEpoch(epoch, false);
        trv.Close(false);
    }
    // Read-write open runs the summary rebuild and header rewrite paths.
    CTrvFile rw;
    if (rw.Open(path.c_str(), kTrvReadWrite, false)) {
        if (rw.ReadEpochAt(0, epoch) == 0) rw.WriteEpochAt(0, epoch, true);
        rw.Close(false);
    }
    return 0;
}
