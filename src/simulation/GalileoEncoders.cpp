#include "simulation/GalileoEncoders.h"

#include <algorithm>
#include <cmath>

#include "simulation/FieldScaling.h"

namespace simulation {

namespace {

constexpr uint32_t kCrc24qPolynomial = 0x864CFB;  // x^24 term implied
constexpr int kPagePairBits = 256;
constexpr int kOddPageBit = 128;
constexpr int kEvenCrcBits = 114;
constexpr int kOddCrcBits = 82;
constexpr uint32_t kWeekModulus = 4096;
constexpr uint32_t kTowModulus = 604800;

// Bits of a big-endian bit string.
void PutBits(uint8_t* bytes, int offset, int count, uint32_t value) {
    for (int i = 0; i < count; ++i) {
        const int p = offset + i;
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (p % 8));
        if ((value >> (count - 1 - i)) & 1u)
            bytes[p / 8] = static_cast<uint8_t>(bytes[p / 8] | mask);
        else
            bytes[p / 8] = static_cast<uint8_t>(bytes[p / 8] & ~mask);
    }
}
uint32_t GetBits(const uint8_t* bytes, int offset, int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        const int p = offset + i;
        value = (value << 1) | ((bytes[p / 8] >> (7 - p % 8)) & 1u);
    }
    return value;
}

// The integers that the words hold.
struct GalRaw {
    uint32_t iod, toe, e, sqrtA, svid, toc, sisa, week;
    int32_t m0, omega0, i0, omega, idot, omegaDot, deltaN;
    int32_t cuc, cus, crc, crs, cic, cis;
    int32_t af0, af1, af2, bgdA, bgdB;
    uint32_t e5bHealth, e1bHealth, e5bValidity, e1bValidity;
};

GalRaw ToRaw(const GalEphemerisRecord& r) {
    const KeplerElements& k = r.elements;
    GalRaw g{};
    g.iod = static_cast<uint32_t>(k.IODE) & 0x3FF;
    g.toe = static_cast<uint32_t>(Clamp(k.toe / 60, 14, false));
    g.e = UnsignedRaw(k.e, -33, 32);
    g.sqrtA = UnsignedRaw(k.sqrtA, -19, 32);
    g.svid = static_cast<uint32_t>(r.prn) & 0x3F;
    g.toc = static_cast<uint32_t>(Clamp(r.iNavToc / 60, 14, false));
    g.sisa = r.sisa;
    g.week = static_cast<uint32_t>(k.week) % kWeekModulus;
    g.m0 = AngleRaw(k.M0, -31, 32);
    g.omega0 = AngleRaw(k.Omega0, -31, 32);
    g.i0 = AngleRaw(k.i0, -31, 32);
    g.omega = AngleRaw(k.omega, -31, 32);
    g.idot = AngleRaw(k.IDOT, -43, 14);
    g.omegaDot = AngleRaw(k.OmegaDot, -43, 24);
    g.deltaN = AngleRaw(k.deltaN, -43, 16);
    g.cuc = SignedRaw(k.Cuc, -29, 16);
    g.cus = SignedRaw(k.Cus, -29, 16);
    g.crc = SignedRaw(k.Crc, -5, 16);
    g.crs = SignedRaw(k.Crs, -5, 16);
    g.cic = SignedRaw(k.Cic, -29, 16);
    g.cis = SignedRaw(k.Cis, -29, 16);
    g.af0 = SignedRaw(r.iNavAf0, -34, 31);
    g.af1 = SignedRaw(r.iNavAf1, -46, 21);
    g.af2 = SignedRaw(r.iNavAf2, -59, 6);
    g.bgdA = SignedRaw(r.bgdE1E5a, -32, 10);
    g.bgdB = SignedRaw(r.bgdE1E5b, -32, 10);
    g.e5bHealth = r.e5bHealth & 3u;
    g.e1bHealth = r.e1bHealth & 3u;
    g.e5bValidity = r.e5bDataValidity & 1u;
    g.e1bValidity = r.e1bDataValidity & 1u;
    return g;
}

// A stream of pseudo-random field values from a seed; zeros for seed 0.
class Pattern {
public:
    explicit Pattern(uint32_t seed) : state(seed) {}
    uint32_t Next() {
        if (state == 0) return 0;
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }

private:
    uint32_t state;
};

GalINavWord Typed(int type, uint32_t iod) {
    GalINavWord w{};
    PutBits(w.data(), 0, 6, static_cast<uint32_t>(type));
    if (type >= 1 && type <= 4) PutBits(w.data(), 6, 10, iod);
    return w;
}

}  // namespace

uint32_t Crc24q(const uint8_t* bytes, size_t bitCount) {
    uint32_t crc = 0;
    for (size_t i = 0; i < bitCount; ++i) {
        const uint32_t bit = (bytes[i / 8] >> (7 - i % 8)) & 1u;
        const uint32_t top = (crc >> 23) & 1u;
        crc = (crc << 1) & 0xFFFFFF;
        if (top ^ bit) crc ^= kCrc24qPolynomial;
    }
    return crc;
}

GalEphemerisRecord QuantiseGalINav(const GalEphemerisRecord& record) {
    const GalRaw g = ToRaw(record);
    GalEphemerisRecord q{};
    KeplerElements& k = q.elements;
    k.week = static_cast<int32_t>(g.week);
    k.toe = static_cast<int32_t>(g.toe) * 60;
    k.IODC = k.IODE = static_cast<int32_t>(g.iod);
    k.M0 = g.m0 * P2(-31) * kPi;
    k.e = g.e * P2(-33);
    k.sqrtA = g.sqrtA * P2(-19);
    k.Omega0 = g.omega0 * P2(-31) * kPi;
    k.i0 = g.i0 * P2(-31) * kPi;
    k.omega = g.omega * P2(-31) * kPi;
    k.IDOT = g.idot * P2(-43) * kPi;
    k.OmegaDot = g.omegaDot * P2(-43) * kPi;
    k.deltaN = g.deltaN * P2(-43) * kPi;
    k.Cuc = g.cuc * P2(-29);
    k.Cus = g.cus * P2(-29);
    k.Crc = g.crc * P2(-5);
    k.Crs = g.crs * P2(-5);
    k.Cic = g.cic * P2(-29);
    k.Cis = g.cis * P2(-29);
    q.prn = static_cast<int16_t>(g.svid);
    q.sisa = static_cast<uint8_t>(g.sisa);
    q.iNavValid = true;
    q.iNavToc = static_cast<int32_t>(g.toc) * 60;
    q.iNavAf0 = g.af0 * P2(-34);
    q.iNavAf1 = g.af1 * P2(-46);
    q.iNavAf2 = g.af2 * P2(-59);
    q.bgdE1E5a = g.bgdA * P2(-32);
    q.bgdE1E5b = g.bgdB * P2(-32);
    q.e5bHealth = static_cast<uint8_t>(g.e5bHealth);
    q.e1bHealth = static_cast<uint8_t>(g.e1bHealth);
    q.e5bDataValidity = static_cast<uint8_t>(g.e5bValidity);
    q.e1bDataValidity = static_cast<uint8_t>(g.e1bValidity);
    return q;
}

GalINavWordSet EncodeGalINav(const GalEphemerisRecord& record, const GalINavExtras& extras) {
    const GalRaw g = ToRaw(record);
    Pattern fill(extras.fill);
    GalINavWordSet set{};
    for (int t = 1; t <= 6; ++t) set[t - 1] = Typed(t, g.iod);
    uint8_t* w1 = set[0].data();
    PutBits(w1, 16, 14, g.toe);
    PutBits(w1, 30, 32, static_cast<uint32_t>(g.m0));
    PutBits(w1, 62, 32, g.e);
    PutBits(w1, 94, 32, g.sqrtA);
    PutBits(w1, 126, 2, fill.Next());

    uint8_t* w2 = set[1].data();
    PutBits(w2, 16, 32, static_cast<uint32_t>(g.omega0));
    PutBits(w2, 48, 32, static_cast<uint32_t>(g.i0));
    PutBits(w2, 80, 32, static_cast<uint32_t>(g.omega));
    PutBits(w2, 112, 14, static_cast<uint32_t>(g.idot));
    PutBits(w2, 126, 2, fill.Next());

    uint8_t* w3 = set[2].data();
    PutBits(w3, 16, 24, static_cast<uint32_t>(g.omegaDot));
    PutBits(w3, 40, 16, static_cast<uint32_t>(g.deltaN));
    PutBits(w3, 56, 16, static_cast<uint32_t>(g.cuc));
    PutBits(w3, 72, 16, static_cast<uint32_t>(g.cus));
    PutBits(w3, 88, 16, static_cast<uint32_t>(g.crc));
    PutBits(w3, 104, 16, static_cast<uint32_t>(g.crs));
    PutBits(w3, 120, 8, g.sisa);

    uint8_t* w4 = set[3].data();
    PutBits(w4, 16, 6, g.svid);
    PutBits(w4, 22, 16, static_cast<uint32_t>(g.cic));
    PutBits(w4, 38, 16, static_cast<uint32_t>(g.cis));
    PutBits(w4, 54, 14, g.toc);
    PutBits(w4, 68, 31, static_cast<uint32_t>(g.af0));
    PutBits(w4, 99, 21, static_cast<uint32_t>(g.af1));
    PutBits(w4, 120, 6, static_cast<uint32_t>(g.af2));
    PutBits(w4, 126, 2, fill.Next());

    uint8_t* w5 = set[4].data();
    PutBits(w5, 6, 11, fill.Next());   // ai0
    PutBits(w5, 17, 11, fill.Next());  // ai1
    PutBits(w5, 28, 14, fill.Next());  // ai2
    PutBits(w5, 42, 5, fill.Next());   // storm flags of the five regions
    PutBits(w5, 47, 10, static_cast<uint32_t>(g.bgdA));
    PutBits(w5, 57, 10, static_cast<uint32_t>(g.bgdB));
    PutBits(w5, 67, 2, g.e5bHealth);
    PutBits(w5, 69, 2, g.e1bHealth);
    PutBits(w5, 71, 1, g.e5bValidity);
    PutBits(w5, 72, 1, g.e1bValidity);
    PutBits(w5, 73, 12, g.week);
    PutBits(w5, 85, 20, extras.tow % kTowModulus);
    PutBits(w5, 105, 23, fill.Next());

    uint8_t* w6 = set[5].data();
    PutBits(w6, 6, 32, fill.Next());   // A0
    PutBits(w6, 38, 24, fill.Next());  // A1
    PutBits(w6, 62, 8, fill.Next());   // dtLS
    PutBits(w6, 70, 8, fill.Next());   // tot
    PutBits(w6, 78, 8, fill.Next());   // WNot
    PutBits(w6, 86, 8, fill.Next());   // WNlsf
    PutBits(w6, 94, 3, fill.Next());   // DN
    PutBits(w6, 97, 8, fill.Next());   // dtLSF
    PutBits(w6, 105, 20, (extras.tow + 2) % kTowModulus);
    PutBits(w6, 125, 3, fill.Next());
    return set;
}

GalINavWord EncodeGalINavWord0(uint32_t week, uint32_t tow) {
    GalINavWord w = Typed(0, 0);
    PutBits(w.data(), 6, 2, 2);  // time field: WN and TOW follow
    PutBits(w.data(), 96, 12, week % kWeekModulus);
    PutBits(w.data(), 108, 20, tow % kTowModulus);
    return w;
}

GalINavWord EncodeGalINavStub(int type) { return Typed(type, 0); }

void SetGalField(GalINavWord& word, int bitOffset, int count, uint32_t value) {
    PutBits(word.data(), bitOffset, count, value);
}

uint32_t GetGalField(const GalINavWord& word, int bitOffset, int count) {
    return GetBits(word.data(), bitOffset, count);
}

std::vector<uint32_t> ToGalPagePair(const GalINavWord& word, const GalPagePairOptions& options) {
    uint8_t pair[kPagePairBits / 8] = {};
    // Even page: even/odd 0, nominal page type 0, 112 data bits, tail zeros.
    for (int i = 0; i < 112; ++i) PutBits(pair, 2 + i, 1, GetBits(word.data(), i, 1));
    PutBits(pair, 120, 8, options.padding);
    // Odd page.
    PutBits(pair, kOddPageBit, 1, 1);
    PutBits(pair, kOddPageBit + 2, 16, GetBits(word.data(), 112, 16));
    PutBits(pair, kOddPageBit + 18 + 8, 32, options.reserved1);
    PutBits(pair, kOddPageBit + 58, 22, options.sar);
    PutBits(pair, kOddPageBit + 80, 2, options.spare);
    // The CRC runs over the even page up to its tail and the odd page up to
    // the CRC itself, as one bit string.
    uint8_t covered[25] = {};
    for (int i = 0; i < kEvenCrcBits; ++i) PutBits(covered, i, 1, GetBits(pair, i, 1));
    for (int i = 0; i < kOddCrcBits; ++i) PutBits(covered, kEvenCrcBits + i, 1, GetBits(pair, kOddPageBit + i, 1));
    uint32_t crc = Crc24q(covered, kEvenCrcBits + kOddCrcBits);
    if (options.corruptCrc) crc ^= 1u;
    PutBits(pair, kOddPageBit + 82, 24, crc);
    PutBits(pair, kOddPageBit + 106, 8, options.reserved2);
    PutBits(pair, kOddPageBit + 120, 8, options.padding);

    std::vector<uint32_t> words;
    for (int w = 0; w < kPagePairBits / 32; ++w) words.push_back(GetBits(pair, 32 * w, 32));
    return words;
}

Bytes ToGalLayout0(const GalINavWord& word) { return Bytes(word.begin(), word.end()); }

Bytes ToGalLayout1(const GalINavWord& word, const GalPagePairOptions& options) {
    Bytes bytes;
    for (uint32_t w : ToGalPagePair(word, options))
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(w >> shift));
    return bytes;
}

}  // namespace simulation
