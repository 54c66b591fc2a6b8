#include "navmsg/BeiDouD1NavigationMessage.h"

#include <cmath>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t kPreamble = 0x712;  // 11100010010
constexpr int kPreambleBits = 11;
constexpr int kWordBits = 30;
constexpr int kWordsPerSubframe = 10;
constexpr int kSpareBitsPerInputWord = 2;
constexpr int kInputWordBits = 32;
constexpr int kSecondsPerSubframe = 6;
constexpr int32_t kSowHighScale = 4096;  // the upper 8 bits of SOW sit above 12

constexpr double PowerOfTwo(int exponent) {
    double value = 1.0;
    for (int i = 0; i < exponent; ++i) value *= 2.0;
    for (int i = 0; i > exponent; --i) value *= 0.5;
    return value;
}
constexpr double kP2m6 = PowerOfTwo(-6);
constexpr double kP2m19 = PowerOfTwo(-19);
constexpr double kP2m31 = PowerOfTwo(-31);
constexpr double kP2m33 = PowerOfTwo(-33);
constexpr double kP2m43 = PowerOfTwo(-43);
constexpr double kP2m50 = PowerOfTwo(-50);
constexpr double kP2m66 = PowerOfTwo(-66);
constexpr double kPi = 3.141592653589793;
constexpr int32_t kTimeScale = 8;  // toe and toc are sent in units of 8 s
// The group delays are sent in units of 0.1 ns.
constexpr double kTgdUnit = 0.1;
constexpr double kNanosecond = 1e-9;
// URA indices up to this one step in pairs; beyond, each doubles.
constexpr int32_t kPairedUraIndices = 6;
constexpr uint32_t kUnusableUrai = 15;

void CopyContiguous(uint8_t* slot, const uint8_t* input) {
    std::memcpy(slot, input, CBeiDouD1NavigationMessage::kSubframeBytes);
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

// Drops the two spare bits at the top of each 32-bit word, so that the field
// offsets of the subframe are those of the plain 300-bit string.
void CopyWords(uint8_t* slot, const uint8_t* input) {
    std::memset(slot, 0, CBeiDouD1NavigationMessage::kSubframeBytes);
    for (int w = 0; w < kWordsPerSubframe; ++w) {
        const uint32_t word =
            ReadBits(input, static_cast<uint64_t>(w * kInputWordBits + kSpareBitsPerInputWord), kWordBits);
        OrBits(slot, static_cast<uint64_t>(w * kWordBits), kWordBits, word);
    }
}

uint32_t Bits(const uint8_t* sf, uint64_t offset, int count) { return ReadBits(sf, offset, count); }
int32_t Signed(const uint8_t* sf, uint64_t offset, int count) {
    return TwosComplement(ReadBits(sf, offset, count), count);
}

// A field that the parity bits of a word split in two: the high part ends
// one word, the low part of lowCount bits starts the next.
uint32_t Joined(const uint8_t* sf, uint64_t highOffset, int highCount, uint64_t lowOffset, int lowCount) {
    const uint64_t high = ReadBits(sf, highOffset, highCount);
    return static_cast<uint32_t>((high << lowCount) | ReadBits(sf, lowOffset, lowCount));
}
int32_t JoinedSigned(const uint8_t* sf, uint64_t highOffset, int highCount, uint64_t lowOffset, int lowCount) {
    return TwosComplement(Joined(sf, highOffset, highCount, lowOffset, lowCount), highCount + lowCount);
}

double UraMetres(int32_t index) {
    const int exponent = index < kPairedUraIndices ? index / 2 + 1 : index - 2;
    return std::ldexp(1.0, exponent);
}

// Subframe offsets, counted from 0 at the first preamble bit of the
// contiguous string.
constexpr uint64_t kSubframeIdOffset = 15;

bool CheckHeader(const uint8_t* sf, int n, std::string& error) {
    if (Bits(sf, 0, kPreambleBits) != kPreamble) {
        error = "Subframe " + std::to_string(n) + " preamble is invalid";
        return false;
    }
    if (Bits(sf, kSubframeIdOffset, 3) != static_cast<uint32_t>(n)) {
        error = "Subframe " + std::to_string(n) + " subframe ID is not equal to " + std::to_string(n);
        return false;
    }
    return true;
}

}  // namespace

CBeiDouD1NavigationMessage::CBeiDouD1NavigationMessage(int layout) {
    std::memset(subframes, 0, sizeof subframes);
    for (int32_t& s : sow) s = kEmptySlot;
    if (layout == 1) {
        // Word 1 of the input keeps two spare bits ahead of its 30, and the
        // low part of SOW opens word 2, two spare bits further on.
        preambleBit = 2;
        subframeIdBit = 17;
        sowHighBit = 20;
        sowLowBit = 34;
        copyIn = CopyWords;
    } else {
        preambleBit = 0;
        subframeIdBit = 15;
        sowHighBit = 18;
        sowLowBit = 30;
        copyIn = CopyContiguous;
    }
}

void CBeiDouD1NavigationMessage::Reset() {
    for (int k = 0; k < kSlotCount; ++k) {
        if (sow[k] == kEmptySlot) continue;
        std::memset(subframes[k], 0, kSubframeBytes);
        sow[k] = kEmptySlot;
    }
}

bool CBeiDouD1NavigationMessage::IsComplete() const {
    for (int32_t s : sow)
        if (s == kEmptySlot) return false;
    return true;
}

int CBeiDouD1NavigationMessage::Store(const uint8_t* buffer) {
    if (ReadBits(buffer, preambleBit, kPreambleBits) != kPreamble) {
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
    const int32_t input = static_cast<int32_t>(ReadBits(buffer, sowHighBit, 8)) * kSowHighScale +
                          static_cast<int32_t>(ReadBits(buffer, sowLowBit, 12));
    // D1 has no issue number common to the three subframes; what binds them
    // is that they follow each other every 6 s in one frame. Across the end
    // of the week SOW starts again at 0, and such a frame is simply refused.
    for (int k = 0; k < slot; ++k) {
        if (sow[k] == kEmptySlot) {
            errorText = "Must store subframe " + std::to_string(k + 1) + " before storing subframe " + std::to_string(n);
            return -3;
        }
        const int32_t gap = (n - (k + 1)) * kSecondsPerSubframe;
        if (input - sow[k] != gap) {
            errorText = "Subframe " + std::to_string(k + 1) + " must come " + std::to_string(gap) +
                        " seconds before subframe " + std::to_string(n);
            return -4;
        }
    }
    std::memset(subframes[slot], 0, kSubframeBytes);
    copyIn(subframes[slot], buffer);
    sow[slot] = input;
    lastStored = n;
    return n;
}

int CBeiDouD1NavigationMessage::GetEphemeris(void* record) {
    if (record == nullptr) return 0;
    BdsEphemerisRecord& out = *static_cast<BdsEphemerisRecord*>(record);
    std::memset(&out, 0, sizeof out);
    for (int k = 0; k < kSlotCount; ++k) {
        if (sow[k] == kEmptySlot) {
            errorText = "Subframe " + std::to_string(k + 1) + " has not been loaded";
            return 0;
        }
    }

    const uint8_t* sf1 = subframes[0];
    const uint8_t* sf2 = subframes[1];
    const uint8_t* sf3 = subframes[2];
    if (!CheckHeader(sf1, 1, errorText)) return 0;
    const uint32_t satH1 = Bits(sf1, 42, 1);
    if (satH1 != 0) {
        errorText = "Subframe 1 Sat H1 flag indicates poor satellite health";
        return 0;
    }
    const uint32_t urai = Bits(sf1, 48, 4);
    if (urai >= kUnusableUrai) {
        errorText = "Subframe 1 URAI indicates poor satellite health";
        return 0;
    }
    // Only time binds the set: AODE and AODC stand in subframe 1 alone.
    if (!CheckHeader(sf2, 2, errorText)) return 0;
    if (!CheckHeader(sf3, 3, errorText)) return 0;

    KeplerElements& k = out.elements;
    // Subframe 1: clock, group delays, issues.
    k.week = static_cast<int32_t>(Bits(sf1, 60, 13));
    k.toc = static_cast<int32_t>(Joined(sf1, 73, 9, 90, 8)) * kTimeScale;
    k.TGD = Signed(sf1, 98, 10) * kTgdUnit * kNanosecond;
    out.tgd2 = JoinedSigned(sf1, 108, 4, 120, 6) * kTgdUnit * kNanosecond;
    k.af2 = Signed(sf1, 214, 11) * kP2m66;
    k.af0 = JoinedSigned(sf1, 225, 7, 240, 17) * kP2m33;
    k.af1 = JoinedSigned(sf1, 257, 5, 270, 17) * kP2m50;
    k.IODC = static_cast<int32_t>(Bits(sf1, 43, 5));
    k.IODE = static_cast<int32_t>(Bits(sf1, 287, 5));

    // Subframe 2.
    k.deltaN = JoinedSigned(sf2, 42, 10, 60, 6) * kP2m43 * kPi;
    k.Cuc = JoinedSigned(sf2, 66, 16, 90, 2) * kP2m31;
    k.M0 = JoinedSigned(sf2, 92, 20, 120, 12) * kP2m31 * kPi;
    k.e = Joined(sf2, 132, 10, 150, 22) * kP2m33;
    k.Cus = Signed(sf2, 180, 18) * kP2m31;
    k.Crc = JoinedSigned(sf2, 198, 4, 210, 14) * kP2m6;
    k.Crs = JoinedSigned(sf2, 224, 8, 240, 10) * kP2m6;
    k.sqrtA = Joined(sf2, 250, 12, 270, 20) * kP2m19;

    // Subframe 3; toe begins at the end of subframe 2.
    const uint32_t toe = (Bits(sf2, 290, 2) << 15) | (Bits(sf3, 42, 10) << 5) | Bits(sf3, 60, 5);
    k.toe = static_cast<int32_t>(toe) * kTimeScale;
    k.i0 = JoinedSigned(sf3, 65, 17, 90, 15) * kP2m31 * kPi;
    k.Cic = JoinedSigned(sf3, 105, 7, 120, 11) * kP2m31;
    k.OmegaDot = JoinedSigned(sf3, 131, 11, 150, 13) * kP2m43 * kPi;
    k.Cis = JoinedSigned(sf3, 163, 9, 180, 9) * kP2m31;
    k.IDOT = JoinedSigned(sf3, 189, 13, 210, 1) * kP2m43 * kPi;
    k.Omega0 = JoinedSigned(sf3, 211, 21, 240, 11) * kP2m31 * kPi;
    k.omega = JoinedSigned(sf3, 251, 11, 270, 21) * kP2m31 * kPi;

    out.urai = static_cast<int32_t>(urai);
    out.ura = UraMetres(out.urai);
    out.satH1 = static_cast<int32_t>(satH1);
    return 1;
}
