#pragma once
// What the single point engine is asked to do: which satellites take part,
// the masks and limits, the output datum, and which delays are modelled.
#include <cstdint>
#include <string>
#include <vector>

#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

// Satellites and whole constellations left out of the solution.
class CSatelliteExclusionList {
public:
    struct Entry {
        SatelliteId id;
        uint8_t enabled = 1;
        char name[32] = {};           // empty or "ALL": the whole satellite
        bool active = true;
        std::vector<GpsTimeRange> ranges;
        bool rangesActive = false;
        std::vector<GpsTimeRange> otherRanges;
        int32_t spare = 0;
    };

    bool IsConstellationExcluded(GnssConstellation constellation) const;
    bool IsExcluded(const SatelliteId& id) const;
    void ExcludeConstellation(GnssConstellation constellation);
    void ExcludeSatellite(const SatelliteId& id);

    std::vector<Entry> entries;
    std::vector<int32_t> constellations;
};

inline constexpr int kOptionConstellations = 6;

struct SinglePointOptions {
    int32_t mode = 0;                       // not read
    CSatelliteExclusionList exclusions;
    // Radians by constellation: 10 degrees, 15 for GLONASS, none for SBAS.
    double elevationMask[kOptionConstellations] = {0.17453292519943295, 0.2617993877991494, 0.17453292519943295,
                                                   0.17453292519943295, 0.17453292519943295, 0.0};
    double residualLimit = 50.0;            // metres
    char outputDatum[32] = "WGS84";
    char conversion[32] = "AUTOMATIC";
    double pseudorangeSigma = 7.0;          // a-priori standard deviation of unit weight, metres
    double spareSigma = 20.0;
    bool useIonosphere = false;
    bool useTroposphere = true;
    uint16_t spare1 = 1;
    uint8_t spare2[5] = {};
};
