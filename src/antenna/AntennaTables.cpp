#include "antenna/AntennaTables.h"

#include <cstring>

#include "antenna/SatelliteAntennaRecord.h"

namespace {

struct FrequencyCode {
    char code[4];
    int32_t id;
};

// The numbering has gaps (5, 8, 11) where codes were once planned; the ids
// are stored, so they stay as they are.
constexpr FrequencyCode kFrequencyCodes[] = {
    {"G01", 0},  {"G02", 1},  {"G05", 2},  {"R01", 3},  {"R02", 4},  {"C01", 6},  {"C02", 7},
    {"C06", 9},  {"C07", 10}, {"E01", 12}, {"E05", 13}, {"E06", 14}, {"E07", 15}, {"E08", 16},
    {"J01", 17}, {"J02", 18}, {"J05", 19}, {"J06", 20},
};

// Indexed by block type.
constexpr const char* kBlockTypeNames[kUnknownBlockType] = {
    "BEIDOU-2G",       "BEIDOU-2I",       "BEIDOU-2M",       "BEIDOU-3I",      "BEIDOU-3SI-CAST",
    "BEIDOU-3SI-SECM", "BEIDOU-3SM-CAST", "BEIDOU-3SM-SECM", "BEIDOU-3M-CAST", "BEIDOU-3M-SECM",
    "BEIDOU-3G-CAST",  "BLOCK I",         "BLOCK II",        "BLOCK IIA",      "BLOCK IIR-A",
    "BLOCK IIR-B",     "BLOCK IIR-M",     "BLOCK IIF",       "BLOCK IIIA",     "GALILEO-0A",
    "GALILEO-0B",      "GALILEO-1",       "GALILEO-2",       "GLONASS",        "GLONASS-M",
    "GLONASS-M+",      "GLONASS-K1",      "GLONASS-K2",      "QZSS",           "QZSS-2A",
    "QZSS-2I",         "QZSS-2G",
};

constexpr int32_t kGeostationaryTypes[] = {0, 10, 31};         // BEIDOU-2G, BEIDOU-3G-CAST, QZSS-2G
constexpr int32_t kInclinedTypes[] = {1, 3, 4, 5, 30};         // the BeiDou IGSO types, QZSS-2I

template <size_t N>
bool Contains(const int32_t (&types)[N], int32_t type) {
    for (int32_t t : types)
        if (t == type) return true;
    return false;
}

}  // namespace

int32_t FrequencyIdFromCode(const char* code) {
    for (const FrequencyCode& entry : kFrequencyCodes)
        if (std::strncmp(code, entry.code, 3) == 0) return entry.id;
    return kUnknownFrequencyId;
}

int32_t BlockTypeFromName(const char* name) {
    for (int32_t type = 0; type < kUnknownBlockType; ++type)
        if (std::strcmp(name, kBlockTypeNames[type]) == 0) return type;
    return kUnknownBlockType;
}

const char* BlockTypeName(int32_t blockType) {
    return blockType >= 0 && blockType < kUnknownBlockType ? kBlockTypeNames[blockType] : "";
}

int OrbitClassOfBlockType(int32_t blockType) {
    if (blockType < 0 || blockType >= kUnknownBlockType) return kOrbitClassUnknown;
    if (Contains(kGeostationaryTypes, blockType)) return kOrbitClassGeostationary;
    if (Contains(kInclinedTypes, blockType)) return kOrbitClassInclined;
    return kOrbitClassMedium;
}
