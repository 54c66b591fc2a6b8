// Feeds arbitrary bytes to the ANTEX reader: the header, the antenna blocks
// and their grids, once over all times and once over a day, then asks every
// satellite for its orbit class and reads every grid kept.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "antenna/SatelliteAntennaPCVCorrection.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_antex_" + std::to_string(getpid()) + ".atx";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    CSatelliteAntennaPCVCorrection antenna;
    char error[kAntennaErrorSize] = "";
    GpsTimeRange day;
    day.first = GpsTime(2443, 0.0);
    day.last = GpsTime(2443, 86400.0);
    // The sum keeps the reads from being optimised away.
    static volatile double sink = 0.0;
    double sum = 0.0;
    for (const GpsTimeRange& range : {GpsTimeRange{}, day}) {
        antenna.Load(nullptr, range, path.c_str(), error);
        for (int constellation = kGps; constellation <= kGalileo; ++constellation)
            for (int prn = 1; prn <= HighestPrn(constellation); ++prn) {
                const SatelliteId id(constellation, prn);
                sum += antenna.OrbitClassAt(id, day.first + 43200.0);
                const SatelliteAntennaList* list = antenna.Records(id);
                if (list == nullptr) continue;
                for (const SatelliteAntennaRecord& record : *list)
                    for (int i = 0; i < record.foundFrequencies && i < kAntennaFrequencySlots; ++i) {
                        const AntennaFrequency& frequency = record.frequencies[i];
                        for (int row = 0; row < frequency.rows; ++row)
                            for (int column = 0; column < frequency.columns; ++column)
                                sum += frequency.Variation(row, column);
                    }
            }
    }
    sink = sum;
    return 0;
}
