#pragma once
// Builds GPS and QZSS LNAV subframes (IS-GPS-200) from ephemeris records,
// for the assemblers, RXM-SFRBX frames and RXM-EPH frames.
//
// An LNAV word here is what a receiver hands on after it has locked to the
// signal: 30 bits in the low bits of a u32, the 24 data bits in their true
// sense (no longer complemented by D30* of the word before), then the six
// parity bits D25 to D30 as sent.
#include <array>
#include <cstdint>
#include <vector>

#include "simulation/UbxWriter.h"
#include "ephemeris/EphemerisRecords.h"
#include "navmsg/LnavParity.h"

namespace simulation {

inline constexpr int kLnavWordsPerSubframe = 10;
using LnavWords = std::array<uint32_t, kLnavWordsPerSubframe>;
using LnavSubframeSet = std::array<LnavWords, 3>;
using EphemerisWordArray = std::array<uint32_t, 24>;

// What the subframes carry besides the Kepler block.
struct LnavExtras {
    uint32_t towCount = 0;   // HOW time-of-week count (6 s units) of subframe 1; 2 and 3 follow
    int uraIndex = 0;
    int health = 0;          // six bits
    bool antiSpoof = false;
    bool fitFlag = false;
    uint8_t alertMask = 0;   // bit n-1 raises the alert flag of subframe n
    int codeOnL2 = 1;
};

// The record as the subframes can carry it: every field rounded onto its
// LNAV grid and clamped to its width; week, IODC and IODE reduced to their
// field widths except that week keeps its full value.
KeplerElements QuantiseLnav(const KeplerElements& elements);

// The word as it goes out on the signal: data complemented when D30* is set.
uint32_t TransmittedWord(uint32_t word, uint32_t previousWord);

// A subframe from its ten 24-bit data words: the last two data bits of
// words 2 and 10 are solved so that those words end in 00, and parity is
// added word by word from the preceding subframe's 00.
LnavWords FinishLnavSubframe(std::array<uint32_t, kLnavWordsPerSubframe> data);

// Subframes 1 to 3 of a record.
LnavSubframeSet EncodeLnav(const KeplerElements& elements, const LnavExtras& extras);
// The same, with health, A-S and fit flag taken from the QZSS record.
LnavSubframeSet EncodeLnav(const QzssEphemerisRecord& record, LnavExtras extras);
// A subframe 4 or 5 page with nothing but its data ID and SV ID.
LnavWords EncodeAlmanacStub(int subframeId, uint32_t towCount, int pageSvId);

// What subframe 4 page 18 (SV ID 56) carries: the Klobuchar coefficients and
// the UTC parameters.
struct LnavIonosphereUtc {
    double alpha[4] = {};   // s, s/semicircle, s/semicircle^2, s/semicircle^3
    double beta[4] = {};    // s, s/semicircle, ...
    double A0 = 0.0;        // s
    double A1 = 0.0;        // s/s
    int tot = 0;            // s
    int WNt = 0;            // the three week numbers are sent modulo 256
    int deltaTls = 0;       // s
    int WNlsf = 0;
    int DN = 0;             // day of week, 1 to 7
    int deltaTlsf = 0;      // s
};
// The page as the subframe can carry it: every field rounded onto its grid
// and clamped to its width; the week numbers kept whole.
LnavIonosphereUtc QuantiseIonosphereUtc(const LnavIonosphereUtc& page);
LnavWords EncodeIonosphereUtcPage(const LnavIonosphereUtc& page, uint32_t towCount);

// Layout 0 of the assemblers: 300 bits back to back in 38 bytes.
Bytes ToLayout0(const LnavWords& subframe);
// The u32 words of an RXM-SFRBX payload: the word below two spare bits.
std::vector<uint32_t> ToSfrbxWords(const LnavWords& subframe, uint32_t spareBits = 0);
// The u32 words of RXM-SFRBX as a receiver hands them on: a word that
// followed one ending in D30 = 1 is complemented whole, parity included, so
// that every word reads as sent after D30 = 0 and its data in their true
// sense.
std::vector<uint32_t> ToReceiverSfrbxWords(const LnavWords& subframe);
// Layout 1 of the assemblers: the RXM-SFRBX words most significant byte
// first, as the router hands them on.
Bytes ToLayout1(const LnavWords& subframe, uint32_t spareBits = 0);

Bytes MakeRxmSfrbx(uint8_t gnssId, uint8_t svId, uint8_t freqId, const std::vector<uint32_t>& words);

// Words 3 to 10 of subframes 1 to 3, data bits only, as RXM-EPH carries them.
EphemerisWordArray EphemerisWords(const LnavSubframeSet& subframes);
// The data bits of the HOW of subframe 1.
uint32_t HowData(const LnavSubframeSet& subframes);
Bytes MakeRxmEph(uint32_t svid, uint32_t how, const EphemerisWordArray& words);
// The short form: svid and how only.
Bytes MakeRxmEph(uint32_t svid, uint32_t how);

}  // namespace simulation
