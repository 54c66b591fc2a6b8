#pragma once
#include <array>
#include <memory>
#include "rawfile/GnssSignal.h"

inline constexpr uint8_t kNoGlonassChannel = 128;

// One satellite of one epoch. Slots stay allocated once used: a signal is
// there when its pointer is set, its id matches and its flags are non-zero.
class CGnssSatellite {
public:
    SatelliteId id;
    uint8_t glonassChannel = kNoGlonassChannel;
    std::array<std::unique_ptr<CGnssSignal>, kMaxSignalSlots> signals;

    CGnssSatellite() = default;
    explicit CGnssSatellite(const SatelliteId& satellite) : id(satellite) {}
    CGnssSatellite(const CGnssSatellite& other) { *this = other; }
    // Deep copy reusing the records this satellite already has.
    CGnssSatellite& operator=(const CGnssSatellite& other);

    bool SetSignal(const CGnssSignal& record);
    const CGnssSignal* GetSignal(GnssSignalId signalId) const;
    CGnssSignal* GetSignal(GnssSignalId signalId);
    const CGnssSignal* GetSignalByRole(FrequencyRole role) const;
    bool CopySignalByRole(FrequencyRole role, CGnssSignal& out) const;
    bool CopySignal(GnssSignalId signalId, CGnssSignal& out) const;
    int CountSignals() const;
    // Ids of the slots with non-zero flags, in slot order; returns the count.
    int ListSignals(GnssSignalId out[kMaxSignalSlots]) const;
    // Empties the satellite without freeing its records.
    void Reset();
};
