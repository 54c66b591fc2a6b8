#pragma once
// RXM-EPH: the receiver's own copy of a GPS ephemeris, words 3 to 10 of
// subframes 1 to 3 without their parity.
#include <cstdint>

#include "conversion/PortArray.h"
#include "ephemeris/EphemerisRecords.h"

namespace ublox2trv {

inline constexpr int kEphemerisWordCount = 24;
inline constexpr int kEphemerisByteCount = 72;

// Three bytes per word, bits 23-16, 15-8, 7-0: byte 24 s + 3 w starts word
// w + 3 of subframe s + 1.
void PackEphemerisWords(const uint32_t words[kEphemerisWordCount], uint8_t bytes[kEphemerisByteCount]);

// Fills a zeroed record from the packed bytes, week made full by the
// computer's clock. Returns the six health bits, or -1 when prn is not 1 to
// 32 (the record is filled all the same).
int DecodeGpsEphemerisBytes(const uint8_t bytes[kEphemerisByteCount], GpsEphemerisRecord& record, int prn);

// Decoder of the record table row "EPHEMERIS". 2 when the store kept the
// ephemeris, else 0. record is not used.
int DecodeRxmEph(StationRecord* record);

}  // namespace ublox2trv
