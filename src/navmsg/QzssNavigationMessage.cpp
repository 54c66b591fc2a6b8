#include "navmsg/QzssNavigationMessage.h"

#include <cmath>
#include <cstring>

namespace {

constexpr double kGm = 398600500000000.0;  // m3/s2, as GPS
// URA indices up to this one step in pairs; beyond, each doubles.
constexpr uint32_t kPairedUraIndices = 6;

double UraMetres(uint32_t index) {
    const int exponent = index < kPairedUraIndices ? static_cast<int>(index / 2 + 1) : static_cast<int>(index) - 2;
    return std::ldexp(1.0, exponent);
}

}  // namespace

int CQzssNavigationMessage::GetEphemeris(void* record) {
    if (record == nullptr) return 0;
    QzssEphemerisRecord& out = *static_cast<QzssEphemerisRecord*>(record);
    std::memset(&out, 0, sizeof out);
    if (!RequireComplete()) return 0;
    LnavHealthBits bits{};
    if (!DecodeSubframes(out.elements, bits)) return 0;

    out.health = bits.health;
    out.antiSpoof = static_cast<int32_t>(bits.antiSpoof);
    out.fitFlag = static_cast<uint16_t>(bits.fitFlag);
    // A zero semi-major axis is no orbit: its mean motion would be infinite.
    if (!(out.elements.sqrtA > 0.0)) {
        errorText = "Subframe 2 square root of semi-major axis is zero";
        std::memset(&out, 0, sizeof out);
        return 0;
    }
    const double a = out.elements.sqrtA * out.elements.sqrtA;
    out.meanMotion = std::sqrt(kGm / (a * a * a)) + out.elements.deltaN;
    out.ura = UraMetres(bits.uraIndex);
    return 1;
}
