#include "conversion/UbxChecksum.h"

#include <cstring>

namespace ublox2trv {

namespace {
constexpr int kShortestFrame = 8;
constexpr int kFirstSummedByte = 2;
constexpr int kStep = 8;

// Bytes of a little-endian 64-bit word spread into four 16-bit lanes: the
// even bytes and, shifted down, the odd ones.
constexpr uint64_t kLaneMask = 0x00FF00FF00FF00FFull;
// Multiplying the lanes by these and keeping the top lane sums each lane
// times its weight. Weights of bytes 0..7 in b are 8..1; in a, all 1. No
// lane sum reaches 2^16, so nothing carries across lanes.
constexpr uint64_t kEvenWeights = (8ull << 48) | (6ull << 32) | (4ull << 16) | 2ull;
constexpr uint64_t kOddWeights = (7ull << 48) | (5ull << 32) | (3ull << 16) | 1ull;
constexpr uint64_t kUnitWeights = 0x0001000100010001ull;
constexpr int kTopLane = 48;
}  // namespace

bool IsUbxChecksumValid(const uint8_t* frame, int length) {
    if (length < kShortestFrame) return false;
    // The 8-bit Fletcher sum, eight bytes a step: over x0..x7, b gains 8a
    // plus the bytes weighted 8 down to 1, and a gains their plain sum. The
    // wide accumulators wrap modulo 2^32, which keeps their low bytes exact.
    uint32_t a = 0;
    uint32_t b = 0;
    int i = kFirstSummedByte;
    const int end = length - 2;
    for (; i + kStep <= end; i += kStep) {
        uint64_t word;
        std::memcpy(&word, frame + i, sizeof word);
        const uint64_t even = word & kLaneMask;
        const uint64_t odd = (word >> 8) & kLaneMask;
        const auto sum = static_cast<uint32_t>(((even + odd) * kUnitWeights) >> kTopLane);
        const auto weighted =
            static_cast<uint32_t>(((even * kEvenWeights) >> kTopLane) + ((odd * kOddWeights) >> kTopLane));
        b += kStep * a + weighted;
        a += sum;
    }
    for (; i < end; ++i) {
        a += frame[i];
        b += a;
    }
    return frame[end] == static_cast<uint8_t>(a) && frame[end + 1] == static_cast<uint8_t>(b);
}

}  // namespace ublox2trv
