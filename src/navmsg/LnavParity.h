#pragma once
// The (32,26) Hamming parity of the GPS and QZSS LNAV words (IS-GPS-200,
// table 20-XIV): six parity bits D25 to D30 over the 24 data bits of a word
// and the last two bits, D29* and D30*, of the word before.
#include <cstdint>

// D25 to D30 of 24 data bits in their true sense, after a word whose lowest
// two bits are D29* and D30*.
uint32_t LnavParity(uint32_t data24, uint32_t previousWord);

// Whether a word agrees with its parity as a receiver hands words on: 30
// bits, each word complemented whole when the word before it ended in
// D30 = 1, so that all data read in their true sense. Such a word reads as
// sent after D30* = 0 and D29* = D29 xor D30 of the word before as handed
// on; the first word of a subframe follows the 00 that ends every subframe.
bool LnavParityHolds(uint32_t word, uint32_t previousWord);
