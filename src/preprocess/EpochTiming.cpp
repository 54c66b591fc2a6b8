#include "preprocess/EpochTiming.h"

double EpochStep(const CGnssEpoch& earlier, const CGnssEpoch& later) {
    const double from = AbsoluteEpochTime(earlier);
    const double to = AbsoluteEpochTime(later);
    double step = to - from;
    if (from <= kSecondsPerWeek && to <= kSecondsPerWeek && step < kRolloverStep) step += kSecondsPerWeek;
    return step;
}

bool PassesGpsTest(const CGnssEpoch& epoch) {
    return epoch.CountSatellites(kGlonass) == 0 || epoch.CountSatellites(kGps) != 0;
}

const CGnssSignal* PrimarySignal(const CGnssEpoch& epoch, const SatelliteId& id) {
    const CGnssSatellite* satellite = epoch.GetSatellite(id);
    if (satellite == nullptr) return nullptr;
    const CGnssSignal* signal = satellite->GetSignalByRole(kPrimaryRole);
    return signal != nullptr ? signal : satellite->GetSignalByRole(kStandInRole);
}

CGnssSignal* PrimarySignal(CGnssEpoch& epoch, const SatelliteId& id) {
    CGnssSignal* signal = epoch.GetSignal(id, kPrimaryRole);
    return signal != nullptr ? signal : epoch.GetSignal(id, kStandInRole);
}

// Receiver times are whole milliseconds, so "within 1e-5 s of a whole
// second" is exactly a remainder of zero, free of rounding in the product.
bool IsOnWholeSecond(const CGnssEpoch& epoch) { return epoch.rcvTimeMs % 1000 == 0; }
