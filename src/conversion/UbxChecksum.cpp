#include "conversion/UbxChecksum.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ublox2trv {

namespace {
constexpr int kShortestFrame = 8;
constexpr int kFirstSummedByte = 2;

#if defined(__SSE2__)
constexpr int kBlock = 16;

uint32_t SumLanes(__m128i v) {
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(v));
}

// The 8-bit Fletcher sum sixteen bytes a step, as Adler-32 is done: over a
// block, a gains the plain sum of its bytes and b gains 16 times the a it
// started with plus the bytes weighted 16 down to 1. The 32-bit lanes wrap
// at most modulo 2^32, which keeps their low bytes exact.
void SumBlocks(const uint8_t* bytes, int blocks, uint32_t& a, uint32_t& b) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i weightsLow = _mm_setr_epi16(16, 15, 14, 13, 12, 11, 10, 9);
    const __m128i weightsHigh = _mm_setr_epi16(8, 7, 6, 5, 4, 3, 2, 1);
    __m128i sums = zero, sumsBefore = zero, weighted = zero;
    for (int k = 0; k < blocks; ++k) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + kBlock * k));
        sumsBefore = _mm_add_epi32(sumsBefore, sums);
        sums = _mm_add_epi32(sums, _mm_sad_epu8(x, zero));
        const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi8(x, zero), weightsLow);
        const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi8(x, zero), weightsHigh);
        weighted = _mm_add_epi32(weighted, _mm_add_epi32(low, high));
    }
    b += kBlock * static_cast<uint32_t>(blocks) * a + kBlock * SumLanes(sumsBefore) + SumLanes(weighted);
    a += SumLanes(sums);
}
#endif
}  // namespace

bool IsUbxChecksumValid(const uint8_t* frame, int length) {
    if (length < kShortestFrame) return false;
    uint32_t a = 0;
    uint32_t b = 0;
    int i = kFirstSummedByte;
    const int end = length - 2;
#if defined(__SSE2__)
    const int blocks = (end - i) / kBlock;
    SumBlocks(frame + i, blocks, a, b);
    i += kBlock * blocks;
#endif
    for (; i < end; ++i) {
        a += frame[i];
        b += a;
    }
    return frame[end] == static_cast<uint8_t>(a) && frame[end + 1] == static_cast<uint8_t>(b);
}

}  // namespace ublox2trv
