#pragma once
// The record decoders of the record table, and the helpers of the
// measurement decoders that tests look at directly.
#include "conversion/PortArray.h"

namespace ublox2trv {

int DecodeRxmRaw(StationRecord* record);
int DecodeRxmRawx(StationRecord* record);
int DecodeNavPosllh(StationRecord* record);
int DecodeTimTm2(StationRecord* record);

// Maps a u-blox gnssId and sigId to this system's constellation and signal.
// constellation is written for any known gnssId, also when the sigId is
// refused.
bool MapUbloxSignal(int gnssId, int sigId, GnssConstellation& constellation, GnssSignalId& signalId);
// Milliseconds of week rounded to the nearest multiple of 50 ms.
int RoundToFiftyMs(double seconds);

// Cap of the RXM-RAWX messages about unmapped signals in one conversion.
inline constexpr int32_t kUnknownSignalWarningCap = 20;

}  // namespace ublox2trv
