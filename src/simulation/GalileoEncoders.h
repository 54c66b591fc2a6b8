#pragma once
// Builds Galileo I/NAV words (Galileo OS SIS ICD) from ephemeris records, and
// the E1-B nominal page pairs that carry them, as u-blox hands them on in
// RXM-SFRBX.
//
// An I/NAV word is 128 bits, its 6-bit type first. A page pair in RXM-SFRBX
// is eight u32 words, the first sent bit in the top bit of the first word:
// the even page from bit 0 (even/odd 0, page type, 112 data bits, 6 tail
// bits, 8 bits of padding) and the odd page from bit 128 (even/odd 1, page
// type, 16 data bits, 40 reserved, 22 SAR, 2 spare, CRC-24Q, 8 reserved, 6
// tail bits, 8 bits of padding). The CRC covers the 114 even-page bits and
// the first 82 odd-page bits.
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulation/UbxWriter.h"
#include "ephemeris/EphemerisRecords.h"

namespace simulation {

inline constexpr int kGalWordBytes = 16;
using GalINavWord = std::array<uint8_t, kGalWordBytes>;
// Word types 1 to 6, in order.
using GalINavWordSet = std::array<GalINavWord, 6>;

// What the words carry besides the record.
struct GalINavExtras {
    uint32_t tow = 0;      // GST time of week in word 5 (and word 0)
    uint32_t fill = 0;     // ionospheric, UTC and spare fields: a pattern seed, 0 for zeros
};

// CRC-24Q (polynomial 0x1864CFB, initial value 0) of bitCount bits of a bit
// string, first bit in the top bit of bytes[0].
uint32_t Crc24q(const uint8_t* bytes, size_t bitCount);

// The record as the words can carry it, exactly as the assembler yields it:
// I/NAV fields rounded onto their grid and clamped to their width, IODC =
// IODE = IODnav (the record's IODE), prn the 6-bit SVID, iNavValid set,
// F/NAV fields and the GPS time pair zero.
GalEphemerisRecord QuantiseGalINav(const GalEphemerisRecord& record);

// Word types 1 to 6 of a record.
GalINavWordSet EncodeGalINav(const GalEphemerisRecord& record, const GalINavExtras& extras = {});
// Word type 0 with time field 2 and the Galileo week and time of week.
GalINavWord EncodeGalINavWord0(uint32_t week, uint32_t tow);
// A word of any type with nothing else in it.
GalINavWord EncodeGalINavStub(int type);

// Field access by offset in the 128-bit word, count up to 32 bits.
void SetGalField(GalINavWord& word, int bitOffset, int count, uint32_t value);
uint32_t GetGalField(const GalINavWord& word, int bitOffset, int count);

struct GalPagePairOptions {
    uint32_t reserved1 = 0;  // the low 32 of the 40 reserved bits of the odd page (OSNMA)
    uint32_t sar = 0;        // 22 SAR bits
    uint8_t spare = 0;       // the 2 spare bits after SAR
    uint8_t reserved2 = 0;   // 8 reserved (SSP) bits
    uint32_t padding = 0;    // the 8 padding bits after each page (low byte)
    bool corruptCrc = false; // flips the lowest CRC bit
};
// The eight u32 words of RXM-SFRBX for a nominal E1-B page pair.
std::vector<uint32_t> ToGalPagePair(const GalINavWord& word, const GalPagePairOptions& options = {});
// Layout 0 of the assembler: the 16 bytes of the word.
Bytes ToGalLayout0(const GalINavWord& word);
// Layout 1: the page-pair words most significant byte first, as the router
// hands them on.
Bytes ToGalLayout1(const GalINavWord& word, const GalPagePairOptions& options = {});

}  // namespace simulation
