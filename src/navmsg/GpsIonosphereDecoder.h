#pragma once
// The broadcast ionospheric model of GPS: the Klobuchar coefficients of
// subframe 4 page 18 (SV ID 56) of the LNAV message. The assemblers pass
// subframes 4 and 5 over; this reads the model out of the one page on its
// own, so that nothing of the ephemeris assembly changes.
#include <cstdint>

struct IonosphereModelRecord;

inline constexpr int kLnavWordCount = 10;

// Fills model with alpha0..3 and beta0..3 (IS-GPS-200 scale factors, two's
// complement) and the validity flag when the ten words (30 bits each, as a
// receiver hands them on) are subframe 4 page 18 and every word passes its
// parity; false, with model untouched, otherwise.
bool DecodeGpsIonosphere(const uint32_t words[kLnavWordCount], IonosphereModelRecord& model);
