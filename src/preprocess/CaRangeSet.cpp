#include "preprocess/CaRangeSet.h"

#include <algorithm>
#include <cmath>

#include "preprocess/EpochTiming.h"

int CCaRangeSet::Collect(const CGnssEpoch& epoch) {
    count = 0;
    for (const SatelliteId& id : epoch.satelliteList) {
        if (id.constellation != kGps && id.constellation != kGlonass) continue;
        const CGnssSignal* signal = epoch.GetSignal(id, kPrimaryRole);
        if (signal == nullptr || (signal->flags & kSigPseudorange) == 0 || count == kCapacity) continue;
        entries[count++] = {id, signal->pseudorange, signal->lockTime};
    }
    // A damaged file may hold a NaN range: it sorts last, so that the order
    // stays strict and the sort stays within the array.
    std::sort(entries, entries + count, [](const Entry& a, const Entry& b) {
        if (std::isnan(a.pseudorange)) return false;
        return std::isnan(b.pseudorange) || a.pseudorange < b.pseudorange;
    });
    return count;
}

double CCaRangeSet::Reference() const {
    for (int i = std::max(count / 2 - 1, 0); i < count; ++i)
        if (entries[i].pseudorange != 0.0) return entries[i].pseudorange;
    return 0.0;
}
