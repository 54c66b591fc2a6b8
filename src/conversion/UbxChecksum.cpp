#include "conversion/UbxChecksum.h"

namespace ublox2trv {

namespace {
constexpr int kShortestFrame = 8;
constexpr int kFirstSummedByte = 2;
}  // namespace

bool IsUbxChecksumValid(const uint8_t* frame, int length) {
    if (length < kShortestFrame) return false;
    uint8_t a = 0;
    uint8_t b = 0;
    for (int i = kFirstSummedByte; i < length - 2; ++i) {
        a = static_cast<uint8_t>(a + frame[i]);
        b = static_cast<uint8_t>(b + a);
    }
    return frame[length - 2] == a && frame[length - 1] == b;
}

}  // namespace ublox2trv
