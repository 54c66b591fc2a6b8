// The subframe encoder of the test support checked against the parity rules
// of IS-GPS-200 by a checker of its own, and the bit readers of the
// assemblers.
#include <gtest/gtest.h>

#include <vector>

#include "LnavTestData.h"

namespace {

// Bit i (1 to 30) of a transmitted word, counted from the first sent.
int Bit(uint32_t word, int i) { return static_cast<int>((word >> (30 - i)) & 1u); }

// Checks one word as it was transmitted, after the word before it: the
// data bits are first restored to their true sense by D30*, then each
// parity bit is recomputed from its own list of data bits.
bool TransmittedParityHolds(uint32_t word, uint32_t previous) {
    const int d29s = Bit(previous, 29);
    const int d30s = Bit(previous, 30);
    int d[25];
    for (int i = 1; i <= 24; ++i) d[i] = Bit(word, i) ^ d30s;
    auto sum = [&](int star, std::vector<int> bits) {
        int s = star;
        for (int b : bits) s ^= d[b];
        return s;
    };
    const int expected[6] = {
        sum(d29s, {1, 2, 3, 5, 6, 10, 11, 12, 13, 14, 17, 18, 20, 23}),
        sum(d30s, {2, 3, 4, 6, 7, 11, 12, 13, 14, 15, 18, 19, 21, 24}),
        sum(d29s, {1, 3, 4, 5, 7, 8, 12, 13, 14, 15, 16, 19, 20, 22}),
        sum(d30s, {2, 4, 5, 6, 8, 9, 13, 14, 15, 16, 17, 20, 21, 23}),
        sum(d30s, {1, 3, 5, 6, 7, 9, 10, 14, 15, 16, 17, 18, 21, 22, 24}),
        sum(d29s, {3, 5, 6, 8, 9, 10, 11, 13, 15, 19, 22, 23, 24}),
    };
    for (int k = 0; k < 6; ++k)
        if (Bit(word, 25 + k) != expected[k]) return false;
    return true;
}

// Every word of a stream of subframes, transmitted one after the other.
void ExpectParity(const std::vector<simulation::LnavWords>& stream) {
    uint32_t previous = 0;
    int flipped = 0;
    for (size_t s = 0; s < stream.size(); ++s) {
        for (int w = 0; w < 10; ++w) {
            const uint32_t sent = simulation::TransmittedWord(stream[s][w], previous);
            flipped += sent != stream[s][w];
            EXPECT_TRUE(TransmittedParityHolds(sent, previous)) << "subframe " << s << " word " << w + 1;
            if (w == 1 || w == 9) {
                EXPECT_EQ(stream[s][w] & 3u, 0u) << "subframe " << s << " word " << w + 1;
            }
            previous = sent;
        }
        EXPECT_EQ(stream[s][0] >> 22, 0x8Bu);
    }
    // The sample data must exercise the complemented words too.
    EXPECT_GT(flipped, 0);
}

TEST(LnavEncoder, EverySubframeHasValidParity) {
    using navtest::SampleElements;
    simulation::LnavExtras x;
    x.towCount = 57600;
    x.uraIndex = 2;
    x.antiSpoof = true;
    for (const KeplerElements& k : {SampleElements(0), SampleElements(1), navtest::ExtremeElements(1),
                                    navtest::ExtremeElements(-1)}) {
        const simulation::LnavSubframeSet set = simulation::EncodeLnav(k, x);
        ExpectParity({set[0], set[1], set[2], simulation::EncodeAlmanacStub(4, x.towCount + 3, 57),
                      simulation::EncodeAlmanacStub(5, x.towCount + 4, 1)});
    }
}

TEST(LnavEncoder, CheckerRejectsASingleBitError) {
    const simulation::LnavWords sf = simulation::EncodeLnav(navtest::SampleElements(), {})[0];
    for (int bit = 0; bit < 30; ++bit)
        EXPECT_FALSE(TransmittedParityHolds(sf[2] ^ (1u << bit), sf[1])) << bit;
}

struct ReadCase {
    uint64_t offset;
    int count;
    uint32_t value;
};

TEST(NavigationBits, ReadBitsAcrossBytes) {
    const uint8_t buffer[6] = {0x8B, 0x12, 0x34, 0x56, 0x78, 0x9A};
    const ReadCase cases[] = {
        {0, 8, 0x8B},          {0, 1, 1},           {1, 3, 0},          {4, 8, 0xB1},
        {7, 2, 0x2},           {0, 32, 0x8B123456}, {4, 32, 0xB1234567}, {7, 32, 0x891A2B3C},
        {8, 24, 0x123456},     {47, 1, 0},          {40, 8, 0x9A},       {0, 0, 0xFFFFFFFF},
        {0, 33, 0xFFFFFFFF},   {3, -1, 0xFFFFFFFF},
    };
    for (const ReadCase& c : cases)
        EXPECT_EQ(ReadBits(buffer, c.offset, c.count), c.value) << c.offset << "/" << c.count;
}

TEST(NavigationBits, SignConversionsDifferInKind) {
    struct Case {
        uint32_t value;
        int count;
        int32_t twos;
        int32_t signMagnitude;
    };
    const Case cases[] = {
        {0x00, 8, 0, 0},
        {0x7F, 8, 127, 127},
        {0x80, 8, -128, 0},
        {0x81, 8, -127, -1},
        {0xFF, 8, -1, -127},
        {0x2000, 14, -8192, 0},
        {0x3FFF, 14, -1, -8191},
        {0x200000, 22, -2097152, 0},
        {0x80000000u, 32, INT32_MIN, 0},
        {0xFFFFFFFFu, 32, -1, -2147483647},
        {0x1FF, 8, -1, -127},  // bits above the field are ignored
    };
    for (const Case& c : cases) {
        EXPECT_EQ(TwosComplement(c.value, c.count), c.twos) << std::hex << c.value;
        EXPECT_EQ(SignMagnitude(c.value, c.count), c.signMagnitude) << std::hex << c.value;
    }
}

}  // namespace
