#include "navmsg/LnavParity.h"

#include <initializer_list>

namespace {

constexpr int kDataBits = 24;
constexpr uint32_t kParityMask = 0x3F;
constexpr uint32_t kDataMask = 0xFFFFFF;

// Data bits d1..d24 that enter each parity bit, and which of D29* (29) or
// D30* (30) joins them.
struct ParityRule {
    int previous;
    std::initializer_list<int> bits;
};
const ParityRule kParityRules[6] = {
    {29, {1, 2, 3, 5, 6, 10, 11, 12, 13, 14, 17, 18, 20, 23}},
    {30, {2, 3, 4, 6, 7, 11, 12, 13, 14, 15, 18, 19, 21, 24}},
    {29, {1, 3, 4, 5, 7, 8, 12, 13, 14, 15, 16, 19, 20, 22}},
    {30, {2, 4, 5, 6, 8, 9, 13, 14, 15, 16, 17, 20, 21, 23}},
    {30, {1, 3, 5, 6, 7, 9, 10, 14, 15, 16, 17, 18, 21, 22, 24}},
    {29, {3, 5, 6, 8, 9, 10, 11, 13, 15, 19, 22, 23, 24}},
};

uint32_t ParityMask(const ParityRule& rule) {
    uint32_t mask = 0;
    for (int d : rule.bits) mask |= 1u << (kDataBits - d);
    return mask;
}

}  // namespace

uint32_t LnavParity(uint32_t data24, uint32_t previousWord) {
    const uint32_t d29 = (previousWord >> 1) & 1u;
    const uint32_t d30 = previousWord & 1u;
    uint32_t parity = 0;
    for (const ParityRule& rule : kParityRules) {
        const uint32_t star = rule.previous == 29 ? d29 : d30;
        parity = (parity << 1) | (star ^ (static_cast<uint32_t>(__builtin_popcount(data24 & ParityMask(rule))) & 1u));
    }
    return parity;
}

bool LnavParityHolds(uint32_t word, uint32_t previousWord) {
    const uint32_t d29 = ((previousWord >> 1) ^ previousWord) & 1u;
    return LnavParity((word >> 6) & kDataMask, d29 << 1) == (word & kParityMask);
}
