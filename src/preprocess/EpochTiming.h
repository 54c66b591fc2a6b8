#pragma once
// What the checks ask of every epoch: its absolute time, the step between
// two epochs, whether it counts in the time-order tests, and the signal
// that stands for a satellite.
#include "rawfile/GnssEpoch.h"
#include "timebase/GpsTime.h"

// Two epochs closer than this, in seconds, are at the same time.
inline constexpr double kSameEpochTime = 0.0019;
// A step more negative than this, in seconds, is a week roll-over.
inline constexpr double kRolloverStep = -300000.0;
// Frequency roles of the first signal and of its stand-in.
inline constexpr FrequencyRole kPrimaryRole = 0;
inline constexpr FrequencyRole kStandInRole = 4;
// Fewer satellites than this give no position and clock.
inline constexpr size_t kFewestSatellites = 4;
// A Doppler above this, in Hz, is no Doppler a receiver on Earth can see.
inline constexpr double kHighestDoppler = 50000.0;

// week x 604800 + rawRcvTime, whether or not the week is known.
inline double AbsoluteEpochTime(const CGnssEpoch& epoch) {
    return epoch.week * kSecondsPerWeek + epoch.rawRcvTime;
}

// later - earlier in absolute times; in a file without weeks (both times
// within the first week) a large backward step is taken as a roll-over.
double EpochStep(const CGnssEpoch& earlier, const CGnssEpoch& later);

// False only for an epoch with GLONASS satellites and no GPS satellite:
// such epochs take no part in the time-order tests.
bool PassesGpsTest(const CGnssEpoch& epoch);

// The role 0 signal of a satellite, else its role 4 signal; null for none.
const CGnssSignal* PrimarySignal(const CGnssEpoch& epoch, const SatelliteId& id);
CGnssSignal* PrimarySignal(CGnssEpoch& epoch, const SatelliteId& id);

// The week bit set with a full week (a broadcast week still has to be made
// full, and 0 means none).
inline bool HasFullWeek(const CGnssEpoch& epoch) {
    return (epoch.flags & kEpochWeekValid) != 0 && epoch.week >= kWeekRollover;
}

// True when the receiver time lies on a whole second (within 1e-5 s).
bool IsOnWholeSecond(const CGnssEpoch& epoch);
