#include "navmsg/GalileoINavNavigationMessage.h"

#include <cstring>
#include <string>

namespace {

constexpr int kFirstWordType = 1;
constexpr int kLastWordType = 10;     // 7 to 10 are almanac words, not kept
constexpr int kLastIodWordType = 4;   // words 5 and 6 carry no IOD
// In the page pair, the 112 data bits of the even page follow its even/odd
// and page type bits; the 16 data bits of the odd page follow the same two
// bits at the start of the odd page.
constexpr uint64_t kEvenDataBit = 2;
constexpr int kEvenDataBytes = 14;
constexpr uint64_t kOddDataBit = 130;
constexpr int kOddDataBytes = 2;

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
constexpr double kP2m32 = PowerOfTwo(-32);
constexpr double kP2m33 = PowerOfTwo(-33);
constexpr double kP2m34 = PowerOfTwo(-34);
constexpr double kP2m43 = PowerOfTwo(-43);
constexpr double kP2m46 = PowerOfTwo(-46);
constexpr double kP2m59 = PowerOfTwo(-59);
constexpr double kPi = 3.141592653589793;
constexpr int32_t kTimeScale = 60;  // toe and toc are sent in minutes

void CopyWord(uint8_t* slot, const uint8_t* input) {
    std::memcpy(slot, input, CGalileoINavE1bNavigationMessage::kWordBytes);
}

// Joins the data parts of the even and the odd page into one word. The CRC,
// tail and reserved bits of the pair are left behind unread.
void CopyPagePair(uint8_t* slot, const uint8_t* input) {
    for (int i = 0; i < kEvenDataBytes; ++i)
        slot[i] = static_cast<uint8_t>(ReadBits(input, kEvenDataBit + 8 * static_cast<uint64_t>(i), 8));
    for (int i = 0; i < kOddDataBytes; ++i)
        slot[kEvenDataBytes + i] = static_cast<uint8_t>(ReadBits(input, kOddDataBit + 8 * static_cast<uint64_t>(i), 8));
}

uint32_t Bits(const uint8_t* word, uint64_t offset, int count) { return ReadBits(word, offset, count); }
int32_t Signed(const uint8_t* word, uint64_t offset, int count) {
    return TwosComplement(ReadBits(word, offset, count), count);
}

}  // namespace

CGalileoINavE1bNavigationMessage::CGalileoINavE1bNavigationMessage(int layout) {
    std::memset(words, 0, sizeof words);
    for (int32_t& i : iod) i = kEmptySlot;
    if (layout == 1) {
        typeBit = 2;
        iodBit = 8;
        copyIn = CopyPagePair;
    } else {
        typeBit = 0;
        iodBit = 6;
        copyIn = CopyWord;
    }
}

void CGalileoINavE1bNavigationMessage::Reset() {
    for (int k = 0; k < kSlotCount; ++k) {
        if (iod[k] == kEmptySlot) continue;
        std::memset(words[k], 0, kWordBytes);
        iod[k] = kEmptySlot;
    }
}

bool CGalileoINavE1bNavigationMessage::IsComplete() const {
    for (int32_t i : iod)
        if (i == kEmptySlot) return false;
    return true;
}

int CGalileoINavE1bNavigationMessage::Store(const uint8_t* buffer) {
    const int t = static_cast<int>(ReadBits(buffer, typeBit, 6));
    if (t < kFirstWordType || t > kLastWordType) {
        errorText = "Word " + std::to_string(t) + " is invalid";
        return -1;
    }
    if (t > kSlotCount) return t;

    const bool hasIod = t <= kLastIodWordType;
    const int32_t input = hasIod ? static_cast<int32_t>(ReadBits(buffer, iodBit, 10)) : kEmptySlot;
    const int slot = t - 1;
    // Word 1 opens a set; each later word needs all the words before it, of
    // the same issue where the word has one.
    for (int k = 0; k < slot; ++k) {
        if (iod[k] == kEmptySlot) {
            errorText = "Must store word " + std::to_string(k + 1) + " before storing word " + std::to_string(t);
            return -2;
        }
        if (hasIod && iod[k] != input) {
            errorText = "IOD of input word " + std::to_string(t) + " does not match IOD from stored word " +
                        std::to_string(k + 1);
            return -3;
        }
    }
    std::memset(words[slot], 0, kWordBytes);
    copyIn(words[slot], buffer);
    // Words 5 and 6 take the set's issue, so that their slots read as filled.
    iod[slot] = hasIod ? input : iod[0];
    lastStored = t;
    return t;
}

int CGalileoINavE1bNavigationMessage::GetEphemeris(void* record) {
    if (record == nullptr) return 0;
    GalEphemerisRecord& out = *static_cast<GalEphemerisRecord*>(record);
    std::memset(&out, 0, sizeof out);
    for (int k = 0; k < kSlotCount; ++k) {
        if (iod[k] == kEmptySlot) {
            errorText = "Word " + std::to_string(k + 1) + " has not been loaded";
            return 0;
        }
    }

    KeplerElements& k = out.elements;
    const uint8_t* w1 = words[0];
    const int32_t iodNav = static_cast<int32_t>(Bits(w1, 6, 10));
    k.IODC = iodNav;
    k.IODE = iodNav;
    k.toe = static_cast<int32_t>(Bits(w1, 16, 14)) * kTimeScale;
    k.M0 = Signed(w1, 30, 32) * kP2m31 * kPi;
    k.e = Bits(w1, 62, 32) * kP2m33;
    k.sqrtA = Bits(w1, 94, 32) * kP2m19;

    const uint8_t* w2 = words[1];
    k.Omega0 = Signed(w2, 16, 32) * kP2m31 * kPi;
    k.i0 = Signed(w2, 48, 32) * kP2m31 * kPi;
    k.omega = Signed(w2, 80, 32) * kP2m31 * kPi;
    k.IDOT = Signed(w2, 112, 14) * kP2m43 * kPi;

    const uint8_t* w3 = words[2];
    k.OmegaDot = Signed(w3, 16, 24) * kP2m43 * kPi;
    k.deltaN = Signed(w3, 40, 16) * kP2m43 * kPi;
    k.Cuc = Signed(w3, 56, 16) * kP2m29;
    k.Cus = Signed(w3, 72, 16) * kP2m29;
    k.Crc = Signed(w3, 88, 16) * kP2m5;
    k.Crs = Signed(w3, 104, 16) * kP2m5;
    out.sisa = static_cast<uint8_t>(Bits(w3, 120, 8));

    const uint8_t* w4 = words[3];
    // The router leaves the satellite number to us: the words carry it.
    out.prn = static_cast<int16_t>(Bits(w4, 16, 6));
    k.Cic = Signed(w4, 22, 16) * kP2m29;
    k.Cis = Signed(w4, 38, 16) * kP2m29;
    out.iNavToc = static_cast<int32_t>(Bits(w4, 54, 14)) * kTimeScale;
    out.iNavAf0 = Signed(w4, 68, 31) * kP2m34;
    out.iNavAf1 = Signed(w4, 99, 21) * kP2m46;
    out.iNavAf2 = Signed(w4, 120, 6) * kP2m59;

    // Word 5: the ionospheric terms (bits 6 to 46) and the time of week are
    // not kept; word 6 (UTC) adds nothing to the record.
    const uint8_t* w5 = words[4];
    out.bgdE1E5a = Signed(w5, 47, 10) * kP2m32;
    out.bgdE1E5b = Signed(w5, 57, 10) * kP2m32;
    out.e5bHealth = static_cast<uint8_t>(Bits(w5, 67, 2));
    out.e1bHealth = static_cast<uint8_t>(Bits(w5, 69, 2));
    out.e5bDataValidity = static_cast<uint8_t>(Bits(w5, 71, 1));
    out.e1bDataValidity = static_cast<uint8_t>(Bits(w5, 72, 1));
    k.week = static_cast<int32_t>(Bits(w5, 73, 12));

    out.iNavValid = true;
    return 1;
}
