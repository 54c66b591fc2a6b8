#include "navmsg/GpsIonosphereDecoder.h"

#include <cmath>

#include "ephemeris/EphemerisStore.h"
#include "navmsg/INavigationMessage.h"
#include "navmsg/LnavParity.h"

namespace {

constexpr uint32_t kPreamble = 0x8B;
constexpr int kWordBits = 30;
constexpr uint32_t kWordMask = 0x3FFFFFFF;
constexpr uint32_t kIonosphereSubframe = 4;
constexpr uint32_t kIonosphereUtcSvId = 56;
constexpr int kCoefficientBits = 8;

// Bit numbers (1 to 300) and scale exponents of the eight coefficients.
constexpr int kAlphaBits[4] = {69, 77, 91, 99};
constexpr int kBetaBits[4] = {107, 121, 129, 137};
constexpr int kAlphaExponents[4] = {-30, -27, -24, -24};
constexpr int kBetaExponents[4] = {11, 14, 16, 16};

// count bits from bit number first (1-based, within one word) of the subframe.
uint32_t Field(const uint32_t* words, int first, int count) {
    const int word = (first - 1) / kWordBits;
    const int shift = kWordBits - (first - 1) % kWordBits - count;
    return (words[word] >> shift) & ((1u << count) - 1);
}

double Coefficient(const uint32_t* words, int first, int exponent) {
    return std::ldexp(TwosComplement(Field(words, first, kCoefficientBits), kCoefficientBits), exponent);
}

}  // namespace

bool DecodeGpsIonosphere(const uint32_t words[kLnavWordCount], IonosphereModelRecord& model) {
    uint32_t subframe[kLnavWordCount];
    uint32_t previous = 0;
    for (int w = 0; w < kLnavWordCount; ++w) {
        subframe[w] = words[w] & kWordMask;
        if (!LnavParityHolds(subframe[w], previous)) return false;
        previous = subframe[w];
    }
    if (Field(subframe, 1, 8) != kPreamble || Field(subframe, 50, 3) != kIonosphereSubframe ||
        Field(subframe, 63, 6) != kIonosphereUtcSvId)
        return false;
    model.flags = kIonosphereModelValid;
    for (int n = 0; n < 4; ++n) {
        model.alpha[n] = Coefficient(subframe, kAlphaBits[n], kAlphaExponents[n]);
        model.beta[n] = Coefficient(subframe, kBetaBits[n], kBetaExponents[n]);
    }
    return true;
}
