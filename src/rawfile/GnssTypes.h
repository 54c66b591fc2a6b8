#pragma once
#include <cstdint>
#include <vector>

// Constellation numbers are stored in files and index tables: never renumber.
using GnssConstellation = int32_t;
inline constexpr GnssConstellation kGps = 0;
inline constexpr GnssConstellation kGlonass = 1;
inline constexpr GnssConstellation kBeiDou = 2;
inline constexpr GnssConstellation kQzss = 3;
inline constexpr GnssConstellation kGalileo = 4;
inline constexpr GnssConstellation kSbas = 5;
inline constexpr GnssConstellation kInvalidConstellation = -1;
inline constexpr int kStoredConstellations = 5;   // GPS .. Galileo
inline constexpr int kPrnTableSize = 64;          // tables by satellite are [5][64]
inline constexpr int kMaxSignalSlots = 6;

// Highest PRN by constellation; SBAS has none, so it never enters an epoch.
inline constexpr int kHighestPrn[6] = {32, 24, 63, 10, 36, 0};
inline int HighestPrn(GnssConstellation constellation) {
    return constellation >= 0 && constellation < 6 ? kHighestPrn[constellation] : 0;
}
int SignalSlotCount(GnssConstellation constellation);
const char* ConstellationText(GnssConstellation constellation);    // "GPS", "GLONASS", ...
char ConstellationLetter(GnssConstellation constellation);          // G R C J E S, M unknown

// Signal ids are stored in files too.
using GnssSignalId = int32_t;
inline constexpr GnssSignalId kNoSignal = 10000;

bool IsValidSignal(GnssSignalId id);
GnssConstellation SignalConstellation(GnssSignalId id);             // -1 outside the table
int SignalBase(GnssConstellation constellation);                    // -1 for none
int SignalSlot(GnssConstellation constellation, GnssSignalId id);   // -1 for no slot
const char* SignalText(GnssSignalId id);                            // "L1 " ...; "" for none
int SignalDetectionBit(GnssSignalId id);                            // -1 for none

using FrequencyRole = int;
inline constexpr int kFrequencyRoles = 7;
GnssSignalId SignalForRole(GnssConstellation constellation, FrequencyRole role);

// Kept for their record of the preference order and the frequency grouping;
// no operation consults them.
extern const std::vector<GnssSignalId> kSignalPreference[6];
extern const std::vector<int> kAntennaFrequencies[6];

struct SatelliteId {
    GnssConstellation constellation = kGps;
    uint16_t prn = 0;

    SatelliteId() = default;
    SatelliteId(GnssConstellation c, int p) { Set(c, p); }
    // An invalid id keeps the constellation and stores PRN 0; returns false.
    bool Set(GnssConstellation c, int p);
    bool IsValid() const;
    bool operator==(const SatelliteId& o) const { return constellation == o.constellation && prn == o.prn; }
    bool operator!=(const SatelliteId& o) const { return !(*this == o); }
    // "%c%02d" and "%s PRN%02d"; buffers of 32 characters.
    const char* ShortText(char* buffer) const;
    const char* LongText(char* buffer) const;
};

// All valid ids of a constellation in PRN order.
void ListSatelliteIds(GnssConstellation constellation, std::vector<SatelliteId>& out, bool clearFirst);
