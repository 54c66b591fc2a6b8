#include "rawfile/GnssSatellite.h"

#include <new>

CGnssSatellite& CGnssSatellite::operator=(const CGnssSatellite& other) {
    if (this == &other) return *this;
    id = other.id;
    glonassChannel = other.glonassChannel;
    for (int slot = 0; slot < kMaxSignalSlots; ++slot) {
        const CGnssSignal* source = other.signals[slot].get();
        if (source) {
            if (!signals[slot]) signals[slot].reset(new (std::nothrow) CGnssSignal);
            if (signals[slot]) *signals[slot] = *source;
        } else if (signals[slot]) {
            signals[slot]->Clear();
        }
    }
    return *this;
}

bool CGnssSatellite::SetSignal(const CGnssSignal& record) {
    if (!id.IsValid() || !IsValidSignal(record.signalId)) return false;
    int slot = SignalSlot(id.constellation, record.signalId);
    if (slot < 0) return false;
    if (!signals[slot]) signals[slot].reset(new (std::nothrow) CGnssSignal);
    // A failed allocation leaves the slot empty; the caller sees no difference
    // from a signal that was never tracked.
    if (signals[slot]) *signals[slot] = record;
    return true;
}

const CGnssSignal* CGnssSatellite::GetSignal(GnssSignalId signalId) const {
    if (signalId == kNoSignal) return nullptr;
    int slot = SignalSlot(id.constellation, signalId);
    if (slot < 0) return nullptr;
    const CGnssSignal* record = signals[slot].get();
    if (!record || record->signalId != signalId || record->flags == 0) return nullptr;
    return record;
}

CGnssSignal* CGnssSatellite::GetSignal(GnssSignalId signalId) {
    return const_cast<CGnssSignal*>(static_cast<const CGnssSatellite*>(this)->GetSignal(signalId));
}

const CGnssSignal* CGnssSatellite::GetSignalByRole(FrequencyRole role) const {
    return GetSignal(SignalForRole(id.constellation, role));
}

bool CGnssSatellite::CopySignalByRole(FrequencyRole role, CGnssSignal& out) const {
    return CopySignal(SignalForRole(id.constellation, role), out);
}

bool CGnssSatellite::CopySignal(GnssSignalId signalId, CGnssSignal& out) const {
    const CGnssSignal* record = GetSignal(signalId);
    if (!record) return false;
    out = *record;
    return true;
}

int CGnssSatellite::CountSignals() const {
    int count = 0;
    for (const auto& record : signals)
        if (record && record->signalId != kNoSignal) ++count;
    return count;
}

int CGnssSatellite::ListSignals(GnssSignalId out[kMaxSignalSlots]) const {
    int count = 0;
    for (const auto& record : signals)
        if (record && record->flags != 0) out[count++] = record->signalId;
    return count;
}

void CGnssSatellite::Reset() {
    id = SatelliteId();
    glonassChannel = kNoGlonassChannel;
    for (auto& record : signals)
        if (record) record->Clear();
}
