#include "antenna/SatelliteAntennaRecord.h"

namespace {

// Validity ends are written to the second with fractions like 59.9999999;
// a millisecond either side still counts.
constexpr double kValidityToleranceSeconds = 0.001;

}  // namespace

bool SatelliteAntennaRecord::Holds(const GpsTime& time) const {
    if (hasValidFrom && time.Difference(validFrom) < -kValidityToleranceSeconds) return false;
    if (hasValidUntil && time.Difference(validUntil) > kValidityToleranceSeconds) return false;
    return true;
}
