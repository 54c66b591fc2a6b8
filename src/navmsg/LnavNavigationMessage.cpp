#include "navmsg/LnavNavigationMessage.h"

#include <cstring>
#include <string>

#include "timebase/GpsTime.h"

namespace {

constexpr uint32_t kPreamble = 0x8B;  // 10001011
constexpr int kWordBits = 30;
constexpr int kWordsPerSubframe = 10;
constexpr int kSpareBitsPerInputWord = 2;
constexpr int kInputWordBits = 32;

// Scale factors of IS-GPS-200 are exact powers of two; they are built once,
// at compile time, rather than written as rounded decimals.
constexpr double PowerOfTwo(int exponent) {
    double value = 1.0;
    for (int i = 0; i < exponent; ++i) value *= 2.0;
    for (int i = 0; i > exponent; --i) value *= 0.5;
    return value;
}
constexpr double kP2m5 = PowerOfTwo(-5);
constexpr double kP2m19 = PowerOfTwo(-19);
constexpr double kP2m29 = PowerOfTwo(-29);
constexpr double kP2m31 = PowerOfTwo(-31);
constexpr double kP2m33 = PowerOfTwo(-33);
constexpr double kP2m43 = PowerOfTwo(-43);
constexpr double kP2m55 = PowerOfTwo(-55);
constexpr double kPi = 3.141592653589793;
constexpr int kTimeScale = 16;  // toe and toc are sent in units of 16 s

// Offsets of the subframe in layout 0, counted from 0 at the first bit of
// the preamble.
constexpr uint64_t kPreambleOffset = 0;
constexpr uint64_t kAlertOffset = 47;
constexpr uint64_t kAntiSpoofOffset = 48;
constexpr uint64_t kSubframeIdOffset = 49;

void CopyContiguous(uint8_t* slot, const uint8_t* input) {
    std::memcpy(slot, input, CLnavNavigationMessage::kSubframeBytes);
}

// Sets count bits (up to 32) at bitOffset of a zeroed bit string.
void OrBits(uint8_t* buffer, uint64_t bitOffset, int count, uint32_t value) {
    for (int i = 0; i < count; ++i) {
        if ((value >> (count - 1 - i)) & 1u) {
            const uint64_t bit = bitOffset + static_cast<uint64_t>(i);
            buffer[bit / 8] = static_cast<uint8_t>(buffer[bit / 8] | (0x80u >> (bit % 8)));
        }
    }
}

// Drops the two spare bits at the top of each 32-bit word, so that the
// stored subframe reads like one sent as a plain bit string; a byte that
// straddles two words takes its bits from both.
void CopyWords(uint8_t* slot, const uint8_t* input) {
    std::memset(slot, 0, CLnavNavigationMessage::kSubframeBytes);
    for (int w = 0; w < kWordsPerSubframe; ++w) {
        const uint32_t word = ReadBits(input, static_cast<uint64_t>(w * kInputWordBits + kSpareBitsPerInputWord), kWordBits);
        OrBits(slot, static_cast<uint64_t>(w * kWordBits), kWordBits, word);
    }
}

bool Refuse(std::string& error, const char* words) {
    error = words;
    return false;
}

uint32_t Bits(const uint8_t* sf, uint64_t offset, int count) { return ReadBits(sf, offset, count); }
int32_t Signed(const uint8_t* sf, uint64_t offset, int count) { return TwosComplement(ReadBits(sf, offset, count), count); }

// A field split into a high part in one word and a low part of 24 bits in the
// next word.
uint32_t Joined(const uint8_t* sf, uint64_t highOffset, int highCount, uint64_t lowOffset) {
    return (ReadBits(sf, highOffset, highCount) << 24) | ReadBits(sf, lowOffset, 24);
}

// The raw fields of the three subframes, as sent.
struct Subframe1Fields {
    uint32_t preamble, alert, antiSpoof, subframeId;
    uint32_t week, uraIndex, health, iodc;
    int32_t tgd;
    uint32_t toc;
    int32_t af2, af1, af0;
};

struct Subframe2Fields {
    uint32_t preamble, alert, subframeId;
    uint32_t iode;
    int32_t crs, deltaN, m0;
    int32_t cuc;
    uint32_t e;
    int32_t cus;
    uint32_t sqrtA;
    uint32_t toe, fitFlag;
};

struct Subframe3Fields {
    uint32_t preamble, alert, subframeId;
    int32_t cic, omega0, cis, i0, crc, omega, omegaDot;
    uint32_t iode;
    int32_t idot;
};

void ReadHeader(const uint8_t* sf, uint32_t& preamble, uint32_t& alert, uint32_t& subframeId) {
    preamble = Bits(sf, kPreambleOffset, 8);
    alert = Bits(sf, kAlertOffset, 1);
    subframeId = Bits(sf, kSubframeIdOffset, 3);
}

bool ParseSubframe1(const uint8_t* sf, Subframe1Fields& f, std::string& error) {
    ReadHeader(sf, f.preamble, f.alert, f.subframeId);
    if (f.preamble != kPreamble) return Refuse(error, "Subframe 1 preamble is invalid");
    if (f.alert != 0) return Refuse(error, "Subframe 1 Alert Flag indicates poor satellite data");
    if (f.subframeId != 1) return Refuse(error, "Subframe 1 subframe ID is not equal to 1");
    f.antiSpoof = Bits(sf, kAntiSpoofOffset, 1);
    f.week = Bits(sf, 60, 10);
    f.uraIndex = Bits(sf, 72, 4);
    if (f.uraIndex >= 15) return Refuse(error, "Subframe 1 URA Index indicates poor satellite data");
    f.health = Bits(sf, 76, 6);
    // Only the summary bit refuses: the lower five name signal components
    // that may be weak while the ephemeris is still good.
    if (f.health & 0x20u) return Refuse(error, "Subframe 1 Satellite Health indicates poor satellite data");
    f.iodc = (Bits(sf, 82, 2) << 8) | Bits(sf, 210, 8);
    f.tgd = Signed(sf, 196, 8);
    f.toc = Bits(sf, 218, 16);
    f.af2 = Signed(sf, 240, 8);
    f.af1 = Signed(sf, 248, 16);
    f.af0 = Signed(sf, 270, 22);
    return true;
}

bool ParseSubframe2(const uint8_t* sf, const Subframe1Fields& sf1, Subframe2Fields& f, std::string& error) {
    ReadHeader(sf, f.preamble, f.alert, f.subframeId);
    if (f.preamble != kPreamble) return Refuse(error, "Subframe 2 preamble is invalid");
    if (f.alert != 0) return Refuse(error, "Subframe 2 Alert Flag indicates poor satellite data");
    if (f.subframeId != 2) return Refuse(error, "Subframe 2 subframe ID is not equal to 2");
    f.iode = Bits(sf, 60, 8);
    if (f.iode != (sf1.iodc & 0xFFu)) return Refuse(error, "Subframe 2 IODE does not match subframe1 IODC");
    f.crs = Signed(sf, 68, 16);
    f.deltaN = Signed(sf, 90, 16);
    f.m0 = static_cast<int32_t>(Joined(sf, 106, 8, 120));
    f.cuc = Signed(sf, 150, 16);
    f.e = Joined(sf, 166, 8, 180);
    f.cus = Signed(sf, 210, 16);
    f.sqrtA = Joined(sf, 226, 8, 240);
    f.toe = Bits(sf, 270, 16);
    f.fitFlag = Bits(sf, 286, 1);
    return true;
}

bool ParseSubframe3(const uint8_t* sf, const Subframe2Fields& sf2, Subframe3Fields& f, std::string& error) {
    ReadHeader(sf, f.preamble, f.alert, f.subframeId);
    if (f.preamble != kPreamble) return Refuse(error, "Subframe 3 preamble is invalid");
    if (f.alert != 0) return Refuse(error, "Subframe 3 Alert Flag indicates poor satellite data");
    if (f.subframeId != 3) return Refuse(error, "Subframe 3 subframe ID is not equal to 3");
    f.iode = Bits(sf, 270, 8);
    if (f.iode != sf2.iode) return Refuse(error, "Subframe 3 IODE is not equal to Subframe 2 IODE");
    f.cic = Signed(sf, 60, 16);
    f.omega0 = static_cast<int32_t>(Joined(sf, 76, 8, 90));
    f.cis = Signed(sf, 120, 16);
    f.i0 = static_cast<int32_t>(Joined(sf, 136, 8, 150));
    f.crc = Signed(sf, 180, 16);
    f.omega = static_cast<int32_t>(Joined(sf, 196, 8, 210));
    f.omegaDot = Signed(sf, 240, 24);
    f.idot = Signed(sf, 278, 14);
    return true;
}

}  // namespace

CLnavNavigationMessage::CLnavNavigationMessage(int layout) {
    std::memset(subframes, 0, sizeof subframes);
    for (int32_t& i : issue) i = kEmptySlot;
    if (layout == 1) {
        // Each 32-bit word carries two spare bits ahead of its 30.
        preambleBit = 2;
        subframeIdBit = 53;
        issueBit[0] = 226;
        issueBit[1] = 66;
        issueBit[2] = 290;
        copyIn = CopyWords;
    } else {
        preambleBit = 0;
        subframeIdBit = 49;
        issueBit[0] = 210;
        issueBit[1] = 60;
        issueBit[2] = 270;
        copyIn = CopyContiguous;
    }
}

void CLnavNavigationMessage::Reset() {
    for (int k = 0; k < kSlotCount; ++k) {
        if (issue[k] == kEmptySlot) continue;
        std::memset(subframes[k], 0, kSubframeBytes);
        issue[k] = kEmptySlot;
    }
}

bool CLnavNavigationMessage::IsComplete() const {
    for (int32_t i : issue)
        if (i == kEmptySlot) return false;
    return true;
}

bool CLnavNavigationMessage::RequireComplete() {
    for (int k = 0; k < kSlotCount; ++k) {
        if (issue[k] == kEmptySlot) {
            errorText = "Subframe " + std::to_string(k + 1) + " has not been loaded";
            return false;
        }
    }
    return true;
}

int CLnavNavigationMessage::Store(const uint8_t* buffer) {
    if (ReadBits(buffer, preambleBit, 8) != kPreamble) {
        errorText = "Invalid preamble from input buffer";
        return -1;
    }
    const int n = static_cast<int>(ReadBits(buffer, subframeIdBit, 3));
    if (n < 1 || n > 5) {
        errorText = "Subframe " + std::to_string(n) + " is invalid";
        return -2;
    }
    // Almanac pages: taken note of, never kept.
    if (n > kSlotCount) return n;

    const int slot = n - 1;
    const int32_t input = static_cast<int32_t>(ReadBits(buffer, issueBit[slot], 8));
    // Subframe 1 opens a set: its issue rules, and the later subframes are
    // judged against it when they come (and again at decoding).
    for (int k = 0; k < slot; ++k) {
        if (issue[k] == kEmptySlot) {
            errorText = "Must store subframe " + std::to_string(k + 1) + " before storing subframe " + std::to_string(n);
            return -3;
        }
        if (issue[k] != input) {
            errorText = "IODE of input subframe " + std::to_string(n) + " does not match " + (k == 0 ? "IODC" : "IODE") +
                        " from stored subframe " + std::to_string(k + 1);
            return -4;
        }
    }
    std::memset(subframes[slot], 0, kSubframeBytes);
    copyIn(subframes[slot], buffer);
    issue[slot] = input;
    lastStored = n;
    return n;
}

bool CLnavNavigationMessage::DecodeSubframes(KeplerElements& k, LnavHealthBits& bits) {
    Subframe1Fields f1{};
    Subframe2Fields f2{};
    Subframe3Fields f3{};
    if (!ParseSubframe1(subframes[0], f1, errorText)) return false;
    if (!ParseSubframe2(subframes[1], f1, f2, errorText)) return false;
    if (!ParseSubframe3(subframes[2], f2, f3, errorText)) return false;

    k.week = ResolveWeekByClock(static_cast<int>(f1.week));
    k.toe = static_cast<int32_t>(f2.toe) * kTimeScale;
    k.sqrtA = f2.sqrtA * kP2m19;
    k.e = f2.e * kP2m33;
    k.i0 = f3.i0 * kP2m31 * kPi;
    k.Omega0 = f3.omega0 * kP2m31 * kPi;
    k.omega = f3.omega * kP2m31 * kPi;
    k.M0 = f2.m0 * kP2m31 * kPi;
    k.deltaN = f2.deltaN * kP2m43 * kPi;
    k.OmegaDot = f3.omegaDot * kP2m43 * kPi;
    k.IDOT = f3.idot * kP2m43 * kPi;
    k.Cuc = f2.cuc * kP2m29;
    k.Cus = f2.cus * kP2m29;
    k.Crc = f3.crc * kP2m5;
    k.Crs = f2.crs * kP2m5;
    k.Cic = f3.cic * kP2m29;
    k.Cis = f3.cis * kP2m29;
    k.toc = static_cast<int32_t>(f1.toc) * kTimeScale;
    k.af0 = f1.af0 * kP2m31;
    k.af1 = f1.af1 * kP2m43;
    k.af2 = f1.af2 * kP2m55;
    k.TGD = f1.tgd * kP2m31;
    k.IODC = static_cast<int32_t>(f1.iodc);
    k.IODE = static_cast<int32_t>(f2.iode);

    bits.uraIndex = f1.uraIndex;
    bits.health = f1.health;
    bits.antiSpoof = f1.antiSpoof;
    bits.fitFlag = f2.fitFlag;
    return true;
}
