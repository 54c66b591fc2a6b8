#pragma once
// Builds GLONASS FDMA navigation strings (GLONASS ICD, L1/L2 edition 5.1)
// from ephemeris records, for the string assembler and RXM-SFRBX frames.
//
// A string is 85 bits in 11 bytes, first bit in the top bit of byte 0. Bit i
// here is bit 85 - i of the ICD: bit 0 the idle chip, bits 1 to 4 the string
// number, bits 77 to 84 the Hamming check bits beta8 down to beta1.
#include <array>
#include <cstdint>
#include <vector>

#include "simulation/UbxWriter.h"
#include "ephemeris/EphemerisRecords.h"

namespace simulation {

inline constexpr int kGlonassStringBits = 85;
inline constexpr int kGlonassStringBytes = 11;
using GlonassString = std::array<uint8_t, kGlonassStringBytes>;
// Strings 1 to 5 of one frame.
using GlonassFrame = std::array<GlonassString, 5>;

// What the strings carry besides the record.
struct GlonassExtras {
    int FT = 0;           // accuracy index, string 4
    bool ln3 = false;     // health flag of string 3
    bool ln5 = false;     // health flag of string 5
    int P = 0;            // 2 bits of string 3
    int P4 = 0;           // string 4
    int M = 1;            // satellite type, string 4: 1 for GLONASS-M
    double deltaTau = 0;  // L1/L2 delay difference, string 4, s
    int NA = 1;           // day number of string 5
    double tauC = 0.0;    // GLONASS time scale correction of string 5, s
    int N4 = 0;           // four-year interval, string 5
    double tauGps = 0.0;  // GPS to GLONASS time difference of string 5, s
};

// The record as strings 1 to 4 carry it: tk and tb on their 30 s and 900 s
// grids within the day, every other field rounded onto its grid and clamped
// to its sign-and-magnitude width; the fields the strings do not carry
// (prn, spare, channel, tauC, reception and GPS time, frequencies) zeroed,
// and the padding too: the decoder's record equals it byte for byte.
GloEphemerisRecord QuantiseGlonass(const GloEphemerisRecord& record);

// beta1 to beta8 of a string whose bits 0 to 76 are set, written into bits
// 77 to 84.
void SetGlonassHamming(GlonassString& s);

// Strings 1 to 5 of a record, each with its check bits.
GlonassFrame EncodeGlonass(const GloEphemerisRecord& record, const GlonassExtras& extras);

// Field access on a string; count up to 32 bits. For editing a string in a
// test; the check bits are then stale until SetGlonassHamming.
void PutGlonassBits(GlonassString& s, int bit, int count, uint32_t value);
uint32_t GetGlonassBits(const GlonassString& s, int bit, int count);

// The four u32 words of an RXM-SFRBX payload: the 85 bits from the top of
// word 1 on, the rest of word 3 zero, and word 4 the superframe number in
// its upper 16 bits and the frame number in its lowest 8.
std::vector<uint32_t> ToGlonassSfrbxWords(const GlonassString& s, uint16_t superframe, uint8_t frame);
// The same words most significant byte first, as the router hands them on.
Bytes ToGlonassBytes(const GlonassString& s, uint16_t superframe = 1, uint8_t frame = 1);

}  // namespace simulation
