#pragma once
// Broadcast quantities onto the integer fields of a navigation message: the
// value divided by its scale factor, rounded, and held to the width of its
// field, as the encoders of every constellation need it.
#include <algorithm>
#include <cmath>
#include <cstdint>

namespace simulation {

// The value of pi by which the ICDs turn semicircles into radians.
inline constexpr double kPi = 3.141592653589793;

inline double P2(int exponent) { return std::ldexp(1.0, exponent); }

inline int64_t Clamp(int64_t v, int bits, bool isSigned) {
    const int64_t lo = isSigned ? -(int64_t{1} << (bits - 1)) : 0;
    const int64_t hi = isSigned ? (int64_t{1} << (bits - 1)) - 1 : (int64_t{1} << bits) - 1;
    return std::clamp(v, lo, hi);
}

// Fields whose scale factor is any unit.
inline int32_t SignedRawUnit(double value, double unit, int bits) {
    return static_cast<int32_t>(Clamp(std::llround(value / unit), bits, true));
}
inline uint32_t UnsignedRawUnit(double value, double unit, int bits) {
    return static_cast<uint32_t>(Clamp(std::llround(value / unit), bits, false));
}

// Fields whose scale factor is 2^exponent; angles are sent in semicircles.
inline int32_t SignedRaw(double value, int exponent, int bits) { return SignedRawUnit(value, P2(exponent), bits); }
inline uint32_t UnsignedRaw(double value, int exponent, int bits) {
    return UnsignedRawUnit(value, P2(exponent), bits);
}
inline int32_t AngleRaw(double radians, int exponent, int bits) { return SignedRaw(radians / kPi, exponent, bits); }

}  // namespace simulation
