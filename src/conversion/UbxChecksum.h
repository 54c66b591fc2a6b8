#pragma once
#include <cstdint>

namespace ublox2trv {

// The 8-bit Fletcher sum of UBX over a whole frame of length bytes counted
// from its 0xB5: class, id, length and payload are summed and compared with
// the last two bytes. A frame shorter than 8 bytes is never good.
bool IsUbxChecksumValid(const uint8_t* frame, int length);

}  // namespace ublox2trv
