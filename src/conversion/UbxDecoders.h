#pragma once
// The record decoders of the record table, and the helpers of the
// measurement decoders that tests look at directly.
#include "conversion/PortArray.h"

namespace ublox2trv {

int DecodeRxmRaw(StationRecord* record);
int DecodeRxmRawx(StationRecord* record);
int DecodeNavPosllh(StationRecord* record);
int DecodeTimTm2(StationRecord* record);
// RXM-SFRBX: one subframe, word or string to the assembler of its
// satellite; 2 when a completed ephemeris went into the store, else 0.
// record is not used.
int DecodeRxmSfrbx(StationRecord* record);

// Lays out the 32-bit little-endian words of a UBX record most significant
// byte first, as the assemblers read them. The array is one buffer reused
// by every call (valid up to the next call); byteCount is the word count
// times 4, and the bytes behind it read as zero.
const uint8_t* ExpandWordsToBytes(const uint8_t* words, int byteCount);

// Creates the assembler of a constellation's navigation message, or null
// when this build has none for it (or memory ran out).
using NavigationAssemblerFactory = INavigationMessage* (*)(GnssConstellation constellation);
INavigationMessage* CreateNavigationAssembler(GnssConstellation constellation);
// Replaces the factory (null restores the built-in one); a test hook.
void SetNavigationAssemblerFactory(NavigationAssemblerFactory factory);

// Maps a u-blox gnssId and sigId to this system's constellation and signal.
// constellation is written for any known gnssId, also when the sigId is
// refused.
bool MapUbloxSignal(int gnssId, int sigId, GnssConstellation& constellation, GnssSignalId& signalId);
// Milliseconds of week rounded to the nearest multiple of 50 ms.
int RoundToFiftyMs(double seconds);

// Cap of the RXM-RAWX messages about unmapped signals in one conversion.
inline constexpr int32_t kUnknownSignalWarningCap = 20;

}  // namespace ublox2trv
