#include "simulation/BeiDouEncoders.h"

#include <algorithm>
#include <cmath>

#include "simulation/FieldScaling.h"

namespace simulation {

namespace {

constexpr uint32_t kPreamble = 0x712;
constexpr int kWordBits = 30;
constexpr uint32_t kSowModulus = 604800;
constexpr uint32_t kGenerator = 0x13;  // x^4 + x + 1
constexpr double kTgdUnit = 0.1;
constexpr double kNanosecond = 1e-9;

// The integers that the subframes hold.
struct BdsRaw {
    uint32_t week, toe, toc, aodc, aode, urai, satH1, sqrtA, e;
    int32_t tgd1, tgd2, af0, af1, af2;
    int32_t i0, omega0, omega, m0, deltaN, omegaDot, idot;
    int32_t cuc, cus, crc, crs, cic, cis;
};

BdsRaw ToRaw(const BdsEphemerisRecord& r) {
    const KeplerElements& k = r.elements;
    BdsRaw b{};
    b.week = static_cast<uint32_t>(k.week) & 0x1FFF;
    b.toe = static_cast<uint32_t>(Clamp(k.toe / 8, 17, false));
    b.toc = static_cast<uint32_t>(Clamp(k.toc / 8, 17, false));
    b.aodc = static_cast<uint32_t>(k.IODC) & 0x1F;
    b.aode = static_cast<uint32_t>(k.IODE) & 0x1F;
    b.urai = static_cast<uint32_t>(r.urai) & 0xF;
    b.satH1 = static_cast<uint32_t>(r.satH1) & 1;
    b.sqrtA = UnsignedRawUnit(k.sqrtA, P2(-19), 32);
    b.e = UnsignedRawUnit(k.e, P2(-33), 32);
    b.tgd1 = SignedRawUnit(k.TGD, kTgdUnit * kNanosecond, 10);
    b.tgd2 = SignedRawUnit(r.tgd2, kTgdUnit * kNanosecond, 10);
    b.af0 = SignedRawUnit(k.af0, P2(-33), 24);
    b.af1 = SignedRawUnit(k.af1, P2(-50), 22);
    b.af2 = SignedRawUnit(k.af2, P2(-66), 11);
    b.i0 = AngleRaw(k.i0, -31, 32);
    b.omega0 = AngleRaw(k.Omega0, -31, 32);
    b.omega = AngleRaw(k.omega, -31, 32);
    b.m0 = AngleRaw(k.M0, -31, 32);
    b.deltaN = AngleRaw(k.deltaN, -43, 16);
    b.omegaDot = AngleRaw(k.OmegaDot, -43, 24);
    b.idot = AngleRaw(k.IDOT, -43, 14);
    b.cuc = SignedRawUnit(k.Cuc, P2(-31), 18);
    b.cus = SignedRawUnit(k.Cus, P2(-31), 18);
    b.cic = SignedRawUnit(k.Cic, P2(-31), 18);
    b.cis = SignedRawUnit(k.Cis, P2(-31), 18);
    b.crc = SignedRawUnit(k.Crc, P2(-6), 18);
    b.crs = SignedRawUnit(k.Crs, P2(-6), 18);
    return b;
}

// The 300-bit subframe as ten words; fields are placed at their offsets of
// the contiguous string, parity positions included.
class SubframeBits {
public:
    void Put(int offset, int count, uint32_t value) {
        for (int i = 0; i < count; ++i) {
            const int p = offset + i;
            const uint32_t mask = 1u << (kWordBits - 1 - p % kWordBits);
            if ((value >> (count - 1 - i)) & 1u)
                words[p / kWordBits] |= mask;
            else
                words[p / kWordBits] &= ~mask;
        }
    }
    void PutSigned(int offset, int count, int32_t value) { Put(offset, count, static_cast<uint32_t>(value)); }
    // A field of highCount + lowCount bits cut in two by parity bits.
    void PutSplit(int highOffset, int highCount, int lowOffset, int lowCount, uint32_t value) {
        Put(highOffset, highCount, value >> lowCount);
        Put(lowOffset, lowCount, value & ((1u << lowCount) - 1));
    }
    BdsD1Subframe Finish() const {
        BdsD1Subframe out = words;
        for (int w = 0; w < kBdsWordsPerSubframe; ++w) {
            uint32_t& word = out[w];
            if (w == 0) {
                word = (word & ~0xFu) | BdsBchParity((word >> 4) & 0x7FF);
            } else {
                const uint32_t p1 = BdsBchParity((word >> 19) & 0x7FF);
                const uint32_t p2 = BdsBchParity((word >> 8) & 0x7FF);
                word = (word & ~0xFFu) | (p1 << 4) | p2;
            }
        }
        return out;
    }
    BdsD1Subframe words{};
};

SubframeBits Header(int fraId, uint32_t sow) {
    SubframeBits s;
    sow %= kSowModulus;
    s.Put(0, 11, kPreamble);
    s.Put(15, 3, static_cast<uint32_t>(fraId));
    s.Put(18, 8, sow >> 12);
    s.Put(30, 12, sow & 0xFFF);
    return s;
}

}  // namespace

uint32_t BdsBchParity(uint32_t info11) {
    // Division of info(x) * x^4 by the generator, one information bit at a
    // time: what remains is the parity.
    uint32_t remainder = (info11 & 0x7FF) << 4;
    for (int bit = 14; bit >= 4; --bit)
        if (remainder & (1u << bit)) remainder ^= kGenerator << (bit - 4);
    return remainder & 0xF;
}

BdsEphemerisRecord QuantiseBdsD1(const BdsEphemerisRecord& record) {
    const BdsRaw b = ToRaw(record);
    BdsEphemerisRecord q{};
    KeplerElements& k = q.elements;
    k.week = static_cast<int32_t>(b.week);
    k.toe = static_cast<int32_t>(b.toe) * 8;
    k.toc = static_cast<int32_t>(b.toc) * 8;
    k.sqrtA = b.sqrtA * P2(-19);
    k.e = b.e * P2(-33);
    k.i0 = b.i0 * P2(-31) * kPi;
    k.Omega0 = b.omega0 * P2(-31) * kPi;
    k.omega = b.omega * P2(-31) * kPi;
    k.M0 = b.m0 * P2(-31) * kPi;
    k.deltaN = b.deltaN * P2(-43) * kPi;
    k.OmegaDot = b.omegaDot * P2(-43) * kPi;
    k.IDOT = b.idot * P2(-43) * kPi;
    k.Cuc = b.cuc * P2(-31);
    k.Cus = b.cus * P2(-31);
    k.Cic = b.cic * P2(-31);
    k.Cis = b.cis * P2(-31);
    k.Crc = b.crc * P2(-6);
    k.Crs = b.crs * P2(-6);
    k.af0 = b.af0 * P2(-33);
    k.af1 = b.af1 * P2(-50);
    k.af2 = b.af2 * P2(-66);
    k.TGD = b.tgd1 * kTgdUnit * kNanosecond;
    k.IODC = static_cast<int32_t>(b.aodc);
    k.IODE = static_cast<int32_t>(b.aode);
    q.tgd2 = b.tgd2 * kTgdUnit * kNanosecond;
    q.urai = static_cast<int32_t>(b.urai);
    q.ura = std::ldexp(1.0, q.urai < 6 ? q.urai / 2 + 1 : q.urai - 2);
    q.satH1 = static_cast<int32_t>(b.satH1);
    return q;
}

BdsD1SubframeSet EncodeBdsD1(const BdsEphemerisRecord& record, uint32_t sow) {
    const BdsRaw b = ToRaw(record);

    SubframeBits s1 = Header(1, sow);
    s1.Put(42, 1, b.satH1);
    s1.Put(43, 5, b.aodc);
    s1.Put(48, 4, b.urai);
    s1.Put(60, 13, b.week);
    s1.PutSplit(73, 9, 90, 8, b.toc);
    s1.PutSigned(98, 10, b.tgd1);
    s1.PutSplit(108, 4, 120, 6, static_cast<uint32_t>(b.tgd2) & 0x3FF);
    // Ionospheric alpha and beta terms, bits 126 to 213: a fixed pattern, so
    // that a reader that strays into them shows.
    s1.Put(126, 16, 0xA55A);
    s1.Put(150, 22, 0x2AAAAA);
    s1.Put(180, 22, 0x155555);
    s1.Put(210, 4, 0x9);
    s1.PutSigned(214, 11, b.af2);
    s1.PutSplit(225, 7, 240, 17, static_cast<uint32_t>(b.af0) & 0xFFFFFF);
    s1.PutSplit(257, 5, 270, 17, static_cast<uint32_t>(b.af1) & 0x3FFFFF);
    s1.Put(287, 5, b.aode);

    SubframeBits s2 = Header(2, sow + 6);
    s2.PutSplit(42, 10, 60, 6, static_cast<uint32_t>(b.deltaN) & 0xFFFF);
    s2.PutSplit(66, 16, 90, 2, static_cast<uint32_t>(b.cuc) & 0x3FFFF);
    s2.PutSplit(92, 20, 120, 12, static_cast<uint32_t>(b.m0));
    s2.PutSplit(132, 10, 150, 22, b.e);
    s2.PutSigned(180, 18, b.cus);
    s2.PutSplit(198, 4, 210, 14, static_cast<uint32_t>(b.crc) & 0x3FFFF);
    s2.PutSplit(224, 8, 240, 10, static_cast<uint32_t>(b.crs) & 0x3FFFF);
    s2.PutSplit(250, 12, 270, 20, b.sqrtA);
    s2.Put(290, 2, b.toe >> 15);

    SubframeBits s3 = Header(3, sow + 12);
    s3.PutSplit(42, 10, 60, 5, b.toe & 0x7FFF);
    s3.PutSplit(65, 17, 90, 15, static_cast<uint32_t>(b.i0));
    s3.PutSplit(105, 7, 120, 11, static_cast<uint32_t>(b.cic) & 0x3FFFF);
    s3.PutSplit(131, 11, 150, 13, static_cast<uint32_t>(b.omegaDot) & 0xFFFFFF);
    s3.PutSplit(163, 9, 180, 9, static_cast<uint32_t>(b.cis) & 0x3FFFF);
    s3.PutSplit(189, 13, 210, 1, static_cast<uint32_t>(b.idot) & 0x3FFF);
    s3.PutSplit(211, 21, 240, 11, static_cast<uint32_t>(b.omega0));
    s3.PutSplit(251, 11, 270, 21, static_cast<uint32_t>(b.omega));

    return {s1.Finish(), s2.Finish(), s3.Finish()};
}

BdsD1Subframe EncodeBdsD1Page(int fraId, uint32_t sow, int pageNumber) {
    SubframeBits s = Header(fraId, sow);
    s.Put(43, 7, static_cast<uint32_t>(pageNumber));
    return s.Finish();
}

void SetBdsD1Field(BdsD1Subframe& subframe, int bitOffset, int count, uint32_t value) {
    SubframeBits s;
    s.words = subframe;
    s.Put(bitOffset, count, value);
    subframe = s.Finish();
}

uint32_t GetBdsD1Field(const BdsD1Subframe& subframe, int bitOffset, int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        const int p = bitOffset + i;
        value = (value << 1) | ((subframe[p / kWordBits] >> (kWordBits - 1 - p % kWordBits)) & 1u);
    }
    return value;
}

}  // namespace simulation
