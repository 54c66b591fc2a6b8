#pragma once
// Builds BeiDou D1 subframes (BeiDou ICD, B1I) from ephemeris records, for the
// D1 assembler and RXM-SFRBX frames.
//
// A D1 word here is what u-blox hands on: 30 bits in the low bits of a u32,
// already de-interleaved. Word 1 holds 15 bits outside the code (preamble and
// four reserved bits), then 11 information bits and their 4 BCH parity bits.
// Words 2 to 10 hold 22 information bits, then the 4 parity bits of the first
// eleven and the 4 parity bits of the second eleven.
#include <array>
#include <cstdint>

#include "simulation/NavEncoders.h"
#include "ephemeris/EphemerisRecords.h"

namespace simulation {

inline constexpr int kBdsWordsPerSubframe = 10;
// Ten 30-bit words, the shape of an LNAV subframe: ToLayout0, ToSfrbxWords
// and ToLayout1 of NavEncoders.h serve D1 as well.
using BdsD1Subframe = LnavWords;
using BdsD1SubframeSet = std::array<BdsD1Subframe, 3>;

// The 4 parity bits of BCH(15,11,1), generator x^4 + x + 1, of 11
// information bits (the first bit sent in bit 10).
uint32_t BdsBchParity(uint32_t info11);

// The record as the subframes can carry it, exactly as the assembler yields
// it: every field rounded onto its D1 grid and clamped to its width, ura
// from urai, prn and the GPS time pair zero.
BdsEphemerisRecord QuantiseBdsD1(const BdsEphemerisRecord& record);

// Subframes 1 to 3 of a record; subframe 1 carries sow, the next ones
// sow + 6 and sow + 12.
BdsD1SubframeSet EncodeBdsD1(const BdsEphemerisRecord& record, uint32_t sow);
// A subframe 4 or 5 page with nothing but its header and page number.
BdsD1Subframe EncodeBdsD1Page(int fraId, uint32_t sow, int pageNumber);

// Rewrites count bits (up to 32) at bitOffset of the 300-bit subframe and
// the parity of the words that they touch; the field may not cover parity
// bits.
void SetBdsD1Field(BdsD1Subframe& subframe, int bitOffset, int count, uint32_t value);
// The field at bitOffset of the 300-bit subframe.
uint32_t GetBdsD1Field(const BdsD1Subframe& subframe, int bitOffset, int count);

}  // namespace simulation
