// Feeds arbitrary bytes to the .epp reader: the keyed text records of every
// kind into a store, then the store's use of what it kept: the time range,
// a satellite state for each satellite, and writing the file again.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_epp_" + std::to_string(getpid()) + ".epp";
    static const std::string again = "/tmp/fuzz_epp_" + std::to_string(getpid()) + "_again.epp";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    CEphemerisStore store;
    char message[kEphemerisMessageSize];
    if (!LoadEphemerisFile(store, path.c_str(), true, message)) return 0;
    GpsTimeRange range;
    GetFileTimeRange(path.c_str(), range, message, true);
    if (store.GetTimeRange(range)) {
        const GpsTime middle = range.first + range.first.AbsDifference(range.last) / 2.0;
        const double receiver[3] = {3.6e6, 1.4e6, 5.1e6};
        for (int constellation = kGps; constellation <= kGalileo; ++constellation)
            for (int prn = 1; prn <= HighestPrn(constellation); ++prn) {
                const SatelliteId satellite(constellation, prn);
                if (!store.HasRecords(satellite)) continue;
                double position[3], velocity[3], clock = 0.0;
                store.ComputeSatelliteState(satellite, middle, receiver, 2.2e7, position, velocity, clock);
            }
    }
    SaveEphemerisFile(store, again.c_str(), false, "FUZZ", "FUZZ");
    return 0;
}
