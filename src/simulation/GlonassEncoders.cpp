#include "simulation/GlonassEncoders.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace simulation {
namespace {

constexpr double kP2m11 = 1.0 / 2048.0;
constexpr double kP2m20 = 1.0 / 1048576.0;
constexpr double kP2m27 = 1.0 / 134217728.0;
constexpr double kP2m30 = 1.0 / 1073741824.0;
constexpr double kP2m40 = kP2m20 * kP2m20;

constexpr int kPositionBits = 27;
constexpr int kVelocityBits = 24;
constexpr int kAccelerationBits = 5;
constexpr int kGammaBits = 11;
constexpr int kTauNBits = 22;
constexpr int kDeltaTauBits = 5;
constexpr int kTauCBits = 32;
constexpr int kTauGpsBits = 22;

constexpr int kLastTk = 23 * 3600 + 59 * 60 + 30;
constexpr int kLastTbCount = 127;

// The signed integer on a grid, clamped to what a sign-and-magnitude field
// of count bits holds.
int64_t OnGrid(double value, double scale, int count) {
    const int64_t top = (int64_t{1} << (count - 1)) - 1;
    const double n = std::nearbyint(value / scale);
    if (std::isnan(n)) return 0;
    return std::clamp(static_cast<int64_t>(std::clamp(n, -9.0e18, 9.0e18)), -top, top);
}

uint32_t SignMagnitudeField(int64_t n, int count) {
    const uint32_t magnitude = static_cast<uint32_t>(n < 0 ? -n : n);
    const uint32_t sign = n < 0 ? uint32_t{1} << (count - 1) : 0u;
    return sign | magnitude;
}

void PutSigned(GlonassString& s, int bit, int count, double value, double scale) {
    PutGlonassBits(s, bit, count, SignMagnitudeField(OnGrid(value, scale, count), count));
}

// Strings 1 to 3 carry one axis of the state vector each, at the same bits.
void PutAxis(GlonassString& s, const GloEphemerisRecord& r, int axis) {
    PutSigned(s, 21, kVelocityBits, r.velocity[axis], kP2m20);
    PutSigned(s, 45, kAccelerationBits, r.acceleration[axis], kP2m30);
    PutSigned(s, 50, kPositionBits, r.position[axis], kP2m11);
}

GlonassString NewString(int m) {
    GlonassString s{};
    PutGlonassBits(s, 1, 4, static_cast<uint32_t>(m));
    return s;
}

int Clamped(int value, int low, int high) { return std::clamp(value, low, high); }

}  // namespace

void PutGlonassBits(GlonassString& s, int bit, int count, uint32_t value) {
    for (int i = 0; i < count; ++i) {
        const int at = bit + i;
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (at % 8));
        if ((value >> (count - 1 - i)) & 1u)
            s[at / 8] = static_cast<uint8_t>(s[at / 8] | mask);
        else
            s[at / 8] = static_cast<uint8_t>(s[at / 8] & ~mask);
    }
}

uint32_t GetGlonassBits(const GlonassString& s, int bit, int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        const int at = bit + i;
        value = (value << 1) | ((s[at / 8] >> (7 - at % 8)) & 1u);
    }
    return value;
}

GloEphemerisRecord QuantiseGlonass(const GloEphemerisRecord& in) {
    // Zeroed as the decoder zeroes it, padding included, so that the two can
    // be compared byte for byte.
    GloEphemerisRecord r;
    std::memset(&r, 0, sizeof r);
    r.tk = Clamped(static_cast<int>(std::lround(in.tk / 30.0)) * 30, 0, kLastTk);
    r.tb = Clamped(static_cast<int>(std::lround(in.tb / 900.0)), 0, kLastTbCount) * 900;
    for (int axis = 0; axis < 3; ++axis) {
        r.position[axis] = static_cast<double>(OnGrid(in.position[axis], kP2m11, kPositionBits)) * kP2m11;
        r.velocity[axis] = static_cast<double>(OnGrid(in.velocity[axis], kP2m20, kVelocityBits)) * kP2m20;
        r.acceleration[axis] = static_cast<double>(OnGrid(in.acceleration[axis], kP2m30, kAccelerationBits)) * kP2m30;
    }
    r.gamma = static_cast<float>(static_cast<double>(OnGrid(in.gamma, kP2m40, kGammaBits)) * kP2m40);
    const int64_t tauN = OnGrid(-static_cast<double>(in.minusTau), kP2m30, kTauNBits);
    r.minusTau = static_cast<float>(static_cast<double>(-tauN) * kP2m30);
    r.En = Clamped(in.En, 0, 31);
    r.Bn = Clamped(in.Bn, 0, 7);
    r.pFlags = in.pFlags & 0xF;
    r.satelliteNumber = Clamped(in.satelliteNumber, 0, 31);
    r.NT = Clamped(in.NT, 0, 2047);
    return r;
}

void SetGlonassHamming(GlonassString& s) {
    // The ICD's (85,77) code is a Hamming code over the data bits b9 to b85
    // laid out on the positions of a plain Hamming code that are not powers
    // of two (b9 on 3, b10 on 5, b11 on 6 ...); beta1 to beta7 are the
    // parities of those positions, and beta8 makes the whole string even.
    uint32_t beta[8] = {};
    uint32_t all = 0;
    int position = 2;
    for (int icdBit = 9; icdBit <= kGlonassStringBits; ++icdBit) {
        ++position;
        while ((position & (position - 1)) == 0) ++position;
        const uint32_t b = GetGlonassBits(s, kGlonassStringBits - icdBit, 1);
        all ^= b;
        for (int i = 0; i < 7; ++i)
            if (position & (1 << i)) beta[i] ^= b;
    }
    for (int i = 0; i < 7; ++i) all ^= beta[i];
    beta[7] = all;
    for (int i = 1; i <= 8; ++i) PutGlonassBits(s, kGlonassStringBits - i, 1, beta[i - 1]);
}

GlonassFrame EncodeGlonass(const GloEphemerisRecord& in, const GlonassExtras& x) {
    const GloEphemerisRecord r = QuantiseGlonass(in);
    GlonassFrame f{};

    GlonassString& s1 = f[0];
    s1 = NewString(1);
    PutGlonassBits(s1, 7, 2, static_cast<uint32_t>(r.pFlags) & 0x3u);
    PutGlonassBits(s1, 9, 5, static_cast<uint32_t>(r.tk / 3600));
    PutGlonassBits(s1, 14, 6, static_cast<uint32_t>(r.tk % 3600 / 60));
    PutGlonassBits(s1, 20, 1, static_cast<uint32_t>(r.tk % 60 / 30));
    PutAxis(s1, r, 0);

    GlonassString& s2 = f[1];
    s2 = NewString(2);
    PutGlonassBits(s2, 5, 3, static_cast<uint32_t>(r.Bn));
    PutGlonassBits(s2, 8, 1, (static_cast<uint32_t>(r.pFlags) >> 2) & 1u);
    PutGlonassBits(s2, 9, 7, static_cast<uint32_t>(r.tb / 900));
    PutAxis(s2, r, 1);

    GlonassString& s3 = f[2];
    s3 = NewString(3);
    PutGlonassBits(s3, 5, 1, (static_cast<uint32_t>(r.pFlags) >> 3) & 1u);
    PutSigned(s3, 6, kGammaBits, r.gamma, kP2m40);
    PutGlonassBits(s3, 18, 2, static_cast<uint32_t>(x.P) & 0x3u);
    PutGlonassBits(s3, 20, 1, x.ln3 ? 1u : 0u);
    PutAxis(s3, r, 2);

    GlonassString& s4 = f[3];
    s4 = NewString(4);
    PutSigned(s4, 5, kTauNBits, -static_cast<double>(r.minusTau), kP2m30);
    PutSigned(s4, 27, kDeltaTauBits, x.deltaTau, kP2m30);
    PutGlonassBits(s4, 32, 5, static_cast<uint32_t>(r.En));
    PutGlonassBits(s4, 51, 1, static_cast<uint32_t>(x.P4) & 1u);
    PutGlonassBits(s4, 52, 4, static_cast<uint32_t>(x.FT) & 0xFu);
    PutGlonassBits(s4, 59, 11, static_cast<uint32_t>(r.NT));
    PutGlonassBits(s4, 70, 5, static_cast<uint32_t>(r.satelliteNumber));
    PutGlonassBits(s4, 75, 2, static_cast<uint32_t>(x.M) & 0x3u);

    GlonassString& s5 = f[4];
    s5 = NewString(5);
    PutGlonassBits(s5, 5, 11, static_cast<uint32_t>(x.NA) & 0x7FFu);
    PutSigned(s5, 16, kTauCBits, x.tauC, kP2m27);
    PutGlonassBits(s5, 49, 5, static_cast<uint32_t>(x.N4) & 0x1Fu);
    PutSigned(s5, 54, kTauGpsBits, x.tauGps, kP2m30);
    PutGlonassBits(s5, 76, 1, x.ln5 ? 1u : 0u);

    for (GlonassString& s : f) SetGlonassHamming(s);
    return f;
}

std::vector<uint32_t> ToGlonassSfrbxWords(const GlonassString& s, uint16_t superframe, uint8_t frame) {
    std::vector<uint32_t> words(4, 0u);
    for (int i = 0; i < kGlonassStringBytes; ++i)
        words[static_cast<size_t>(i / 4)] |= static_cast<uint32_t>(s[static_cast<size_t>(i)]) << (8 * (3 - i % 4));
    words[3] = (static_cast<uint32_t>(superframe) << 16) | frame;
    return words;
}

Bytes ToGlonassBytes(const GlonassString& s, uint16_t superframe, uint8_t frame) {
    Bytes bytes;
    for (uint32_t w : ToGlonassSfrbxWords(s, superframe, frame))
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(w >> shift));
    return bytes;
}

}  // namespace simulation
