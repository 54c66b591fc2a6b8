#pragma once
// Little-endian field readers on the frame buffer. Offsets are payload
// offsets, as the u-blox description gives them.
#include <cstdint>
#include <cstring>

#include "conversion/PortArray.h"

namespace ublox2trv {

inline uint8_t PayloadU8(const uint8_t* frame, int offset) { return frame[kUbxHeaderSize + offset]; }

inline int8_t PayloadI8(const uint8_t* frame, int offset) {
    return static_cast<int8_t>(PayloadU8(frame, offset));
}

inline uint16_t PayloadU16(const uint8_t* frame, int offset) {
    const uint8_t* p = frame + kUbxHeaderSize + offset;
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

inline int16_t PayloadI16(const uint8_t* frame, int offset) {
    return static_cast<int16_t>(PayloadU16(frame, offset));
}

inline uint32_t PayloadU32(const uint8_t* frame, int offset) {
    const uint8_t* p = frame + kUbxHeaderSize + offset;
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

inline int32_t PayloadI32(const uint8_t* frame, int offset) {
    return static_cast<int32_t>(PayloadU32(frame, offset));
}

inline float PayloadF32(const uint8_t* frame, int offset) {
    uint32_t bits = PayloadU32(frame, offset);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline double PayloadF64(const uint8_t* frame, int offset) {
    uint64_t bits = static_cast<uint64_t>(PayloadU32(frame, offset)) |
                    (static_cast<uint64_t>(PayloadU32(frame, offset + 4)) << 32);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace ublox2trv
