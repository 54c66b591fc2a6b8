#pragma once
// The GPS and GLONASS C/A ranges of one epoch in rising order, and the
// reference the bad C/A test and repair judge them by: a range more than
// 7000 km from the middle of the others cannot be a C/A range.
#include <cstdlib>
#include <cmath>

#include "rawfile/GnssEpoch.h"

inline constexpr double kBadCaLimit = 7000000.0;   // metres

class CCaRangeSet {
public:
    struct Entry {
        SatelliteId id;
        double pseudorange;
        float lockTime;
    };
    static constexpr int kCapacity = 32 + 24;   // every GPS and GLONASS PRN

    // Collects the role 0 signals with a pseudorange, sorted by range;
    // returns their count.
    int Collect(const CGnssEpoch& epoch);
    // The first non-zero range from position count / 2 - 1 upward; 0.0
    // when there is none.
    double Reference() const;
    bool IsBeyondLimit(int index, double reference) const {
        return std::abs(entries[index].pseudorange - reference) > kBadCaLimit;
    }

    int Count() const { return count; }
    const Entry& operator[](int index) const { return entries[index]; }

private:
    Entry entries[kCapacity];
    int count = 0;
};
