#include "simulation/NavEncoders.h"

#include <algorithm>
#include <cmath>

#include "simulation/FieldScaling.h"

namespace simulation {

namespace {

constexpr uint32_t kPreamble = 0x8B;
constexpr int kWordBits = 30;
constexpr int kDataBits = 24;
constexpr uint32_t kDataMask = 0xFFFFFF;
constexpr uint32_t kTowCountModulus = 100800;  // 6 s counts in a week

// The integers that the subframes hold.
struct LnavRaw {
    uint32_t week, toe, toc, iodc, iode, sqrtA, e;
    int32_t i0, omega0, omega, m0, deltaN, omegaDot, idot;
    int32_t cuc, cus, crc, crs, cic, cis;
    int32_t af0, af1, af2, tgd;
};

LnavRaw ToRaw(const KeplerElements& k) {
    LnavRaw r{};
    r.week = static_cast<uint32_t>(k.week) & 0x3FF;
    r.toe = static_cast<uint32_t>(Clamp(k.toe / 16, 16, false));
    r.toc = static_cast<uint32_t>(Clamp(k.toc / 16, 16, false));
    r.iodc = static_cast<uint32_t>(k.IODC) & 0x3FF;
    r.iode = static_cast<uint32_t>(k.IODE) & 0xFF;
    r.sqrtA = UnsignedRaw(k.sqrtA, -19, 32);
    r.e = UnsignedRaw(k.e, -33, 32);
    r.i0 = AngleRaw(k.i0, -31, 32);
    r.omega0 = AngleRaw(k.Omega0, -31, 32);
    r.omega = AngleRaw(k.omega, -31, 32);
    r.m0 = AngleRaw(k.M0, -31, 32);
    r.deltaN = AngleRaw(k.deltaN, -43, 16);
    r.omegaDot = AngleRaw(k.OmegaDot, -43, 24);
    r.idot = AngleRaw(k.IDOT, -43, 14);
    r.cuc = SignedRaw(k.Cuc, -29, 16);
    r.cus = SignedRaw(k.Cus, -29, 16);
    r.crc = SignedRaw(k.Crc, -5, 16);
    r.crs = SignedRaw(k.Crs, -5, 16);
    r.cic = SignedRaw(k.Cic, -29, 16);
    r.cis = SignedRaw(k.Cis, -29, 16);
    r.af0 = SignedRaw(k.af0, -31, 22);
    r.af1 = SignedRaw(k.af1, -43, 16);
    r.af2 = SignedRaw(k.af2, -55, 8);
    r.tgd = SignedRaw(k.TGD, -31, 8);
    return r;
}

// Places a field at its 1-based bit number of the subframe; the field lies
// inside the data bits of one word.
class SubframeData {
public:
    void Put(int firstBit, int count, uint32_t value) {
        const int word = (firstBit - 1) / kWordBits;
        const int inWord = (firstBit - 1) % kWordBits;  // 0 = d1
        const uint32_t mask = count == 32 ? 0xFFFFFFFFu : (1u << count) - 1;
        data[word] |= (value & mask) << (kDataBits - inWord - count);
    }
    void PutSigned(int firstBit, int count, int32_t value) { Put(firstBit, count, static_cast<uint32_t>(value)); }
    // A 32-bit field: eight bits at highBit, 24 at lowBit.
    void PutSplit(int highBit, int lowBit, uint32_t value) {
        Put(highBit, 8, value >> 24);
        Put(lowBit, 24, value & kDataMask);
    }
    std::array<uint32_t, kLnavWordsPerSubframe> data{};
};

SubframeData Header(int subframeId, uint32_t towCount, bool alert, bool antiSpoof) {
    SubframeData s;
    s.Put(1, 8, kPreamble);
    s.Put(31, 17, towCount % kTowCountModulus);
    s.Put(48, 1, alert ? 1 : 0);
    s.Put(49, 1, antiSpoof ? 1 : 0);
    s.Put(50, 3, static_cast<uint32_t>(subframeId));
    return s;
}

}  // namespace

KeplerElements QuantiseLnav(const KeplerElements& k) {
    const LnavRaw r = ToRaw(k);
    KeplerElements q{};
    q.week = k.week;
    q.toe = static_cast<int32_t>(r.toe) * 16;
    q.sqrtA = r.sqrtA * P2(-19);
    q.e = r.e * P2(-33);
    q.i0 = r.i0 * P2(-31) * kPi;
    q.Omega0 = r.omega0 * P2(-31) * kPi;
    q.omega = r.omega * P2(-31) * kPi;
    q.M0 = r.m0 * P2(-31) * kPi;
    q.deltaN = r.deltaN * P2(-43) * kPi;
    q.OmegaDot = r.omegaDot * P2(-43) * kPi;
    q.IDOT = r.idot * P2(-43) * kPi;
    q.Cuc = r.cuc * P2(-29);
    q.Cus = r.cus * P2(-29);
    q.Crc = r.crc * P2(-5);
    q.Crs = r.crs * P2(-5);
    q.Cic = r.cic * P2(-29);
    q.Cis = r.cis * P2(-29);
    q.toc = static_cast<int32_t>(r.toc) * 16;
    q.af0 = r.af0 * P2(-31);
    q.af1 = r.af1 * P2(-43);
    q.af2 = r.af2 * P2(-55);
    q.TGD = r.tgd * P2(-31);
    q.IODC = static_cast<int32_t>(r.iodc);
    q.IODE = static_cast<int32_t>(r.iode);
    return q;
}

uint32_t TransmittedWord(uint32_t word, uint32_t previousWord) {
    if ((previousWord & 1u) == 0) return word;
    return word ^ (kDataMask << 6);
}

LnavWords FinishLnavSubframe(std::array<uint32_t, kLnavWordsPerSubframe> data) {
    LnavWords words{};
    uint32_t previous = 0;
    for (int w = 0; w < kLnavWordsPerSubframe; ++w) {
        uint32_t d = data[w] & kDataMask;
        if (w == 1 || w == 9) {
            // The two free bits make D29 and D30 zero, so that the next word
            // starts with a known D29*, D30* of 00.
            for (uint32_t t = 0; t < 4; ++t) {
                const uint32_t candidate = (d & ~3u) | t;
                if ((LnavParity(candidate, previous) & 3u) == 0) {
                    d = candidate;
                    break;
                }
            }
        }
        words[w] = (d << 6) | LnavParity(d, previous);
        previous = words[w];
    }
    return words;
}

LnavSubframeSet EncodeLnav(const KeplerElements& k, const LnavExtras& x) {
    const LnavRaw r = ToRaw(k);
    const bool as = x.antiSpoof;

    SubframeData s1 = Header(1, x.towCount, x.alertMask & 1, as);
    s1.Put(61, 10, r.week);
    s1.Put(71, 2, static_cast<uint32_t>(x.codeOnL2));
    s1.Put(73, 4, static_cast<uint32_t>(x.uraIndex));
    s1.Put(77, 6, static_cast<uint32_t>(x.health));
    s1.Put(83, 2, r.iodc >> 8);
    s1.PutSigned(197, 8, r.tgd);
    s1.Put(211, 8, r.iodc & 0xFF);
    s1.Put(219, 16, r.toc);
    s1.PutSigned(241, 8, r.af2);
    s1.PutSigned(249, 16, r.af1);
    s1.PutSigned(271, 22, r.af0);

    SubframeData s2 = Header(2, x.towCount + 1, x.alertMask & 2, as);
    s2.Put(61, 8, r.iode);
    s2.PutSigned(69, 16, r.crs);
    s2.PutSigned(91, 16, r.deltaN);
    s2.PutSplit(107, 121, static_cast<uint32_t>(r.m0));
    s2.PutSigned(151, 16, r.cuc);
    s2.PutSplit(167, 181, r.e);
    s2.PutSigned(211, 16, r.cus);
    s2.PutSplit(227, 241, r.sqrtA);
    s2.Put(271, 16, r.toe);
    s2.Put(287, 1, x.fitFlag ? 1 : 0);

    SubframeData s3 = Header(3, x.towCount + 2, x.alertMask & 4, as);
    s3.PutSigned(61, 16, r.cic);
    s3.PutSplit(77, 91, static_cast<uint32_t>(r.omega0));
    s3.PutSigned(121, 16, r.cis);
    s3.PutSplit(137, 151, static_cast<uint32_t>(r.i0));
    s3.PutSigned(181, 16, r.crc);
    s3.PutSplit(197, 211, static_cast<uint32_t>(r.omega));
    s3.PutSigned(241, 24, r.omegaDot);
    s3.Put(271, 8, r.iode);
    s3.PutSigned(279, 14, r.idot);

    return {FinishLnavSubframe(s1.data), FinishLnavSubframe(s2.data), FinishLnavSubframe(s3.data)};
}

LnavSubframeSet EncodeLnav(const QzssEphemerisRecord& record, LnavExtras extras) {
    extras.health = static_cast<int>(record.health);
    extras.antiSpoof = record.antiSpoof != 0;
    extras.fitFlag = record.fitFlag != 0;
    return EncodeLnav(record.elements, extras);
}

LnavWords EncodeAlmanacStub(int subframeId, uint32_t towCount, int pageSvId) {
    SubframeData s = Header(subframeId, towCount, false, false);
    s.Put(61, 2, 1);  // data ID of LNAV
    s.Put(63, 6, static_cast<uint32_t>(pageSvId));
    return FinishLnavSubframe(s.data);
}

namespace {

// Scale factors of page 18 as powers of two.
constexpr int kAlphaExponents[4] = {-30, -27, -24, -24};
constexpr int kBetaExponents[4] = {11, 14, 16, 16};
constexpr int kA0Exponent = -30;
constexpr int kA1Exponent = -50;
constexpr int kTotExponent = 12;
constexpr int kIonosphereUtcSvId = 56;

}  // namespace

LnavIonosphereUtc QuantiseIonosphereUtc(const LnavIonosphereUtc& in) {
    LnavIonosphereUtc q = in;
    for (int n = 0; n < 4; ++n) {
        q.alpha[n] = SignedRaw(in.alpha[n], kAlphaExponents[n], 8) * P2(kAlphaExponents[n]);
        q.beta[n] = SignedRaw(in.beta[n], kBetaExponents[n], 8) * P2(kBetaExponents[n]);
    }
    q.A0 = SignedRaw(in.A0, kA0Exponent, 32) * P2(kA0Exponent);
    q.A1 = SignedRaw(in.A1, kA1Exponent, 24) * P2(kA1Exponent);
    q.tot = static_cast<int>(UnsignedRaw(in.tot, kTotExponent, 8)) << kTotExponent;
    q.deltaTls = static_cast<int>(Clamp(in.deltaTls, 8, true));
    q.deltaTlsf = static_cast<int>(Clamp(in.deltaTlsf, 8, true));
    q.DN = static_cast<int>(Clamp(in.DN, 8, false));
    return q;
}

LnavWords EncodeIonosphereUtcPage(const LnavIonosphereUtc& page, uint32_t towCount) {
    SubframeData s = Header(4, towCount, false, false);
    s.Put(61, 2, 1);  // data ID of LNAV
    s.Put(63, 6, kIonosphereUtcSvId);
    constexpr int kAlphaBits[4] = {69, 77, 91, 99};
    constexpr int kBetaBits[4] = {107, 121, 129, 137};
    for (int n = 0; n < 4; ++n) {
        s.PutSigned(kAlphaBits[n], 8, SignedRaw(page.alpha[n], kAlphaExponents[n], 8));
        s.PutSigned(kBetaBits[n], 8, SignedRaw(page.beta[n], kBetaExponents[n], 8));
    }
    s.PutSigned(151, 24, SignedRaw(page.A1, kA1Exponent, 24));
    const auto a0 = static_cast<uint32_t>(SignedRaw(page.A0, kA0Exponent, 32));
    s.Put(181, 24, a0 >> 8);
    s.Put(211, 8, a0 & 0xFFu);
    s.Put(219, 8, UnsignedRaw(page.tot, kTotExponent, 8));
    s.Put(227, 8, static_cast<uint32_t>(page.WNt));
    s.PutSigned(241, 8, page.deltaTls);
    s.Put(249, 8, static_cast<uint32_t>(page.WNlsf));
    s.Put(257, 8, static_cast<uint32_t>(page.DN));
    s.PutSigned(271, 8, page.deltaTlsf);
    return FinishLnavSubframe(s.data);
}

Bytes ToLayout0(const LnavWords& subframe) {
    Bytes bytes(38, 0);
    for (int w = 0; w < kLnavWordsPerSubframe; ++w) {
        for (int b = 0; b < kWordBits; ++b) {
            if ((subframe[w] >> (kWordBits - 1 - b)) & 1u) {
                const int bit = w * kWordBits + b;
                bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | (0x80u >> (bit % 8)));
            }
        }
    }
    return bytes;
}

std::vector<uint32_t> ToSfrbxWords(const LnavWords& subframe, uint32_t spareBits) {
    std::vector<uint32_t> words;
    for (uint32_t w : subframe) words.push_back(((spareBits & 3u) << 30) | (w & 0x3FFFFFFFu));
    return words;
}

std::vector<uint32_t> ToReceiverSfrbxWords(const LnavWords& subframe) {
    std::vector<uint32_t> words;
    uint32_t previous = 0;
    for (uint32_t word : subframe) {
        const uint32_t sent = TransmittedWord(word, previous);
        words.push_back(sent ^ (previous & 1u ? 0x3FFFFFFFu : 0u));
        previous = sent;
    }
    return words;
}

Bytes ToLayout1(const LnavWords& subframe, uint32_t spareBits) {
    Bytes bytes;
    for (uint32_t w : ToSfrbxWords(subframe, spareBits))
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(w >> shift));
    return bytes;
}

Bytes MakeRxmSfrbx(uint8_t gnssId, uint8_t svId, uint8_t freqId, const std::vector<uint32_t>& words) {
    PayloadWriter p;
    p.U8(gnssId).U8(svId).U8(0).U8(freqId).U8(static_cast<uint8_t>(words.size())).U8(0).U8(2).U8(0);
    for (uint32_t w : words) p.U32(w);
    return MakeFrame(0x02, 0x13, p.Data());
}

EphemerisWordArray EphemerisWords(const LnavSubframeSet& subframes) {
    EphemerisWordArray words{};
    for (int s = 0; s < 3; ++s)
        for (int w = 2; w < kLnavWordsPerSubframe; ++w) words[8 * s + (w - 2)] = (subframes[s][w] >> 6) & kDataMask;
    return words;
}

uint32_t HowData(const LnavSubframeSet& subframes) { return (subframes[0][1] >> 6) & kDataMask; }

Bytes MakeRxmEph(uint32_t svid, uint32_t how, const EphemerisWordArray& words) {
    PayloadWriter p;
    p.U32(svid).U32(how);
    for (uint32_t w : words) p.U32(w);
    return MakeFrame(0x02, 0x31, p.Data());
}

Bytes MakeRxmEph(uint32_t svid, uint32_t how) {
    PayloadWriter p;
    p.U32(svid).U32(how);
    return MakeFrame(0x02, 0x31, p.Data());
}

}  // namespace simulation
