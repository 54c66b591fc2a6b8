#pragma once
// The two tables by which an ANTEX text becomes numbers: the frequency codes
// of "START OF FREQUENCY" lines and the block types of satellite antennas,
// with the orbit class that a block type stands for.
#include <cstdint>

// Orbit classes of BeiDou and QZSS satellites, as the ephemerides ask for
// them; 0 when nothing is known.
inline constexpr int kOrbitClassUnknown = 0;
inline constexpr int kOrbitClassMedium = 1;
inline constexpr int kOrbitClassInclined = 2;
inline constexpr int kOrbitClassGeostationary = 3;

// The id of a three-character ANTEX frequency code such as "G01";
// kUnknownFrequencyId for any code not in the table. The text need not end
// after the three characters.
int32_t FrequencyIdFromCode(const char* code);

// The block type of an antenna type text ("BLOCK IIF", "BEIDOU-2G", ...),
// compared whole; kUnknownBlockType when it is not in the table.
int32_t BlockTypeFromName(const char* name);
// The text of a block type; "" for one outside the table.
const char* BlockTypeName(int32_t blockType);

// The orbit class of a block type: geostationary for the BeiDou and QZSS
// GEO types, inclined for their IGSO types, medium for every other type in
// the table, and unknown for kUnknownBlockType.
int OrbitClassOfBlockType(int32_t blockType);
