#pragma once
// A synthetic but geometrically consistent receiver log: satellites on
// circular orbits seen from a known station, measured at a fixed rate, with
// positions, event marks and the clutter real logs carry (NMEA text, unknown
// records, damaged frames, garbage).
#include <cstdint>
#include <string>

#include "simulation/UbxWriter.h"

namespace simulation {

struct SampleLogOptions {
    int week = 2300;
    double startTow = 345600.0;       // seconds of week of the first epoch
    int epochs = 600;
    double interval = 1.0;            // seconds
    double latitude = 52.2297;        // degrees
    double longitude = 21.0122;       // degrees
    double height = 110.0;            // metres
    double clockBias = 1.5e-4;        // receiver clock, seconds
    int markEvery = 30;               // a TIM-TM2 every N epochs; 0 none
    bool clutter = true;              // NMEA, unknown records, damaged frames, garbage
    bool navigation = true;           // RXM-SFRBX of GPS, Galileo, BeiDou (D1) and GLONASS every 30 s
    std::string systems = "GREC";     // constellations by letter: GPS, GLONASS, Galileo, BeiDou
    uint32_t seed = 7;
};

struct SampleLogStats {
    int epochs = 0;                   // measurement frames written (all accepted)
    int marks = 0;                    // TIM-TM2 with a valid time
    int positions = 0;
    int signals = 0;                  // signal blocks written
};

Bytes BuildSampleLog(const SampleLogOptions& options, SampleLogStats* stats = nullptr);

}  // namespace simulation
