#include "preprocess/TrvDamage.h"

#include <gtest/gtest.h>

namespace damage {

void MoveBlockLater(Epochs& epochs, size_t first, size_t count, size_t after) {
    ASSERT_LE(first + count, after + 1);
    ASSERT_LT(after, epochs.size());
    Epochs moved(epochs.begin() + long(first), epochs.begin() + long(first + count));
    epochs.erase(epochs.begin() + long(first), epochs.begin() + long(first + count));
    epochs.insert(epochs.begin() + long(after + 1 - count), moved.begin(), moved.end());
}

int RepeatEpochs(Epochs& epochs, size_t every) {
    Epochs out;
    int added = 0;
    for (size_t i = 0; i < epochs.size(); ++i) {
        out.push_back(epochs[i]);
        if (i % every == every - 1) out.push_back(epochs[i]), ++added;
    }
    epochs.swap(out);
    return added;
}

void ScaleDoppler(Epochs& epochs, const std::function<double(const SatelliteId&)>& factor) {
    for (CGnssEpoch& epoch : epochs)
        for (const SatelliteId& id : epoch.satelliteList) {
            CGnssSignal* signal = epoch.GetSignal(id, 0);
            if (signal != nullptr) signal->doppler = static_cast<float>(signal->doppler * factor(id));
        }
}

void ZeroDoppler(Epochs& epochs) {
    for (CGnssEpoch& epoch : epochs)
        for (const SatelliteId& id : epoch.satelliteList) {
            CGnssSatellite* satellite = epoch.GetSatellite(id);
            GnssSignalId ids[kMaxSignalSlots];
            for (int k = 0, n = satellite->ListSignals(ids); k < n; ++k) satellite->GetSignal(ids[k])->doppler = 0.0f;
        }
}

void RemoveWeeks(Epochs& epochs) {
    for (CGnssEpoch& epoch : epochs) {
        epoch.week = 0;
        epoch.flags &= ~uint32_t(kEpochWeekValid);
    }
}

void MoveRange(Epochs& epochs, size_t index, const SatelliteId& id, double metres) {
    ASSERT_LT(index, epochs.size());
    CGnssSignal* signal = epochs[index].GetSignal(id, 0);
    ASSERT_NE(signal, nullptr);
    signal->pseudorange += metres;
}

void RemovePositionsAndClocks(Epochs& epochs) {
    for (CGnssEpoch& epoch : epochs) {
        epoch.flags &= ~uint32_t(kEpochPositionValid | kEpochClockValid);
        epoch.position = GeodeticPosition();
        epoch.clockOffset = 0.0;
    }
}

}  // namespace damage
