// Bit access shared by all assemblers. Navigation messages are bit strings
// sent most significant bit first, so a field is read from the top of the
// first byte it touches downwards.
#include "navmsg/INavigationMessage.h"

uint32_t ReadBits(const uint8_t* buffer, uint64_t bitOffset, int count) {
    if (count < 1 || count > 32) return 0xFFFFFFFFu;
    const uint8_t* p = buffer + bitOffset / 8;
    const int skip = static_cast<int>(bitOffset % 8);
    // Only the bytes that the field touches are read: at most five.
    const int bytes = (skip + count + 7) / 8;
    uint64_t window = 0;
    for (int i = 0; i < bytes; ++i) window = (window << 8) | p[i];
    const int below = bytes * 8 - skip - count;
    const uint64_t mask = (uint64_t{1} << count) - 1;
    return static_cast<uint32_t>((window >> below) & mask);
}

int32_t TwosComplement(uint32_t value, int count) {
    if (count < 1 || count > 32) return static_cast<int32_t>(value);
    if (count == 32) return static_cast<int32_t>(value);
    const uint32_t mask = (uint32_t{1} << count) - 1;
    value &= mask;
    const uint32_t sign = uint32_t{1} << (count - 1);
    if ((value & sign) == 0) return static_cast<int32_t>(value);
    return static_cast<int32_t>(static_cast<int64_t>(value) - (int64_t{1} << count));
}

int32_t SignMagnitude(uint32_t value, int count) {
    if (count < 1 || count > 32) return static_cast<int32_t>(value);
    const uint32_t sign = uint32_t{1} << (count - 1);
    const uint32_t magnitude = value & (sign - 1);
    return (value & sign) ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
}
