#include "rawfile/GnssTypes.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

struct ConstellationInfo {
    const char* text;
    char letter;
    int signalSlots;
    int signalBase;
};

// Indexed by GnssConstellation. SBAS has names and signals but no PRN range,
// so an SBAS satellite can never enter an epoch.
constexpr ConstellationInfo kConstellations[] = {
    {"GPS", 'G', 6, 0},      {"GLONASS", 'R', 4, 20}, {"BEIDOU", 'C', 6, 40},
    {"QZSS", 'J', 5, 80},    {"GALILEO", 'E', 5, 60}, {"SBAS", 'S', 2, 100},
};
constexpr int kConstellationCount = 6;

const ConstellationInfo* Info(GnssConstellation constellation) {
    if (constellation < 0 || constellation >= kConstellationCount) return nullptr;
    return &kConstellations[constellation];
}

struct SignalInfo {
    GnssSignalId id;
    GnssConstellation constellation;
    const char* text;        // as the pre-processing report prints it
    int detectionBit;
};

constexpr SignalInfo kSignals[] = {
    {0, kGps, "L1 ", 0},          {1, kGps, "L1P ", 1},         {2, kGps, "L2 ", 2},
    {3, kGps, "L2C ", 3},         {4, kGps, "L5 ", 4},          {5, kGps, "L1C ", 23},
    {20, kGlonass, "L1 ", 5},     {21, kGlonass, "L2 ", 6},     {22, kGlonass, "L2P ", 7},
    {23, kGlonass, "L3 ", 21},    {40, kBeiDou, "B1I ", 8},     {41, kBeiDou, "B2I ", 9},
    {42, kBeiDou, "B3I ", 10},    {43, kBeiDou, "B1C ", 24},    {44, kBeiDou, "B2A ", 25},
    {45, kBeiDou, "B2B ", 26},    {60, kGalileo, "E1 ", 12},    {61, kGalileo, "E5a ", 13},
    {62, kGalileo, "E5b ", 14},   {63, kGalileo, "Altboc ", 15}, {64, kGalileo, "E6 ", 22},
    {80, kQzss, "L1CA ", 16},     {81, kQzss, "L2C ", 17},      {82, kQzss, "L5 ", 18},
    {83, kQzss, "L1C ", 27},      {84, kQzss, "L6 ", 28},       {100, kSbas, "", -1},
    {101, kSbas, "", -1},
};

// Row of each signal id in kSignals, -1 for none: the epoch model asks
// about the signal of every measurement it takes.
constexpr GnssSignalId kHighestSignalId = 101;
constexpr auto kSignalRowOf = [] {
    std::array<int8_t, kHighestSignalId + 1> rows{};
    for (int8_t& row : rows) row = -1;
    for (size_t k = 0; k < std::size(kSignals); ++k) rows[kSignals[k].id] = static_cast<int8_t>(k);
    return rows;
}();

const SignalInfo* FindSignal(GnssSignalId id) {
    if (id < 0 || id > kHighestSignalId || kSignalRowOf[id] < 0) return nullptr;
    return &kSignals[kSignalRowOf[id]];
}

// Role to signal, columns GPS, GLONASS, BeiDou, QZSS, Galileo. The BeiDou,
// QZSS and Galileo columns are deliberately not in id order, and QZSS maps
// roles 1 and 5 to the same signal.
constexpr GnssSignalId kRoleTable[kFrequencyRoles][kStoredConstellations] = {
    {0, 20, 40, 80, 60},
    {2, 21, 45, 81, 62},
    {4, kNoSignal, 42, 82, 61},
    {kNoSignal, kNoSignal, kNoSignal, kNoSignal, 63},
    {1, kNoSignal, 43, kNoSignal, kNoSignal},
    {3, 22, 44, 81, kNoSignal},
    {kNoSignal, kNoSignal, 41, kNoSignal, kNoSignal},
};

}  // namespace

const std::vector<GnssSignalId> kSignalPreference[6] = {
    {5, 0, 1, 3, 2, 4}, {20, 21, 22, 23}, {43, 40, 42, 45, 41, 44},
    {83, 80, 84, 81, 82}, {60, 64, 62, 63, 61}, {100, 101},
};

const std::vector<int> kAntennaFrequencies[6] = {
    {0, 1, 2}, {3, 4, 5}, {6, 7, 8, 9, 10, 11}, {17, 18, 19, 20}, {12, 13, 14, 15, 16}, {},
};

int SignalSlotCount(GnssConstellation constellation) {
    const ConstellationInfo* info = Info(constellation);
    return info ? info->signalSlots : 0;
}

const char* ConstellationText(GnssConstellation constellation) {
    if (constellation == kInvalidConstellation) return "INVALID";
    const ConstellationInfo* info = Info(constellation);
    return info ? info->text : "UNKNOWN";
}

char ConstellationLetter(GnssConstellation constellation) {
    const ConstellationInfo* info = Info(constellation);
    return info ? info->letter : 'M';
}

bool IsValidSignal(GnssSignalId id) { return FindSignal(id) != nullptr; }

GnssConstellation SignalConstellation(GnssSignalId id) {
    const SignalInfo* s = FindSignal(id);
    return s ? s->constellation : kInvalidConstellation;
}

int SignalBase(GnssConstellation constellation) {
    const ConstellationInfo* info = Info(constellation);
    return info ? info->signalBase : -1;
}

int SignalSlot(GnssConstellation constellation, GnssSignalId id) {
    if (SignalConstellation(id) != constellation || constellation == kInvalidConstellation) return -1;
    int slot = id - SignalBase(constellation);
    return slot >= 0 && slot < kMaxSignalSlots ? slot : -1;
}

const char* SignalText(GnssSignalId id) {
    const SignalInfo* s = FindSignal(id);
    return s ? s->text : "";
}

int SignalDetectionBit(GnssSignalId id) {
    const SignalInfo* s = FindSignal(id);
    return s ? s->detectionBit : -1;
}

GnssSignalId SignalForRole(GnssConstellation constellation, FrequencyRole role) {
    if (constellation < 0 || constellation >= kStoredConstellations || role < 0 || role >= kFrequencyRoles)
        return kNoSignal;
    return kRoleTable[role][constellation];
}

bool SatelliteId::Set(GnssConstellation c, int p) {
    constellation = c;
    if (p < 1 || p > HighestPrn(c)) {
        prn = 0;
        return false;
    }
    prn = static_cast<uint16_t>(p);
    return true;
}

bool SatelliteId::IsValid() const { return prn >= 1 && prn <= HighestPrn(constellation); }

// The "%c%02d" form, written by hand for the common two-digit numbers: the
// navigation decoders name a satellite in every record they handle.
const char* SatelliteId::ShortText(char* buffer) const {
    constexpr int kTwoDigits = 100;
    if (prn >= kTwoDigits) {
        snprintf(buffer, 32, "%c%02d", ConstellationLetter(constellation), prn);
        return buffer;
    }
    buffer[0] = ConstellationLetter(constellation);
    buffer[1] = static_cast<char>('0' + prn / 10);
    buffer[2] = static_cast<char>('0' + prn % 10);
    buffer[3] = '\0';
    return buffer;
}

const char* SatelliteId::LongText(char* buffer) const {
    snprintf(buffer, 32, "%s PRN%02d", ConstellationText(constellation), prn);
    return buffer;
}

void ListSatelliteIds(GnssConstellation constellation, std::vector<SatelliteId>& out, bool clearFirst) {
    if (clearFirst) out.clear();
    int highest = HighestPrn(constellation);
    try {
        for (int prn = 1; prn <= highest; ++prn) out.emplace_back(constellation, prn);
    } catch (...) {
        // Out of memory: the list stays as far as it got.
    }
}
