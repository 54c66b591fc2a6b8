#pragma once
// Field-by-field comparison of two epochs, for round trips through a file.
#include <sstream>
#include <string>

#include "rawfile/GnssEpoch.h"

namespace convtest {

// Empty when the epochs hold the same data; otherwise the first difference.
inline std::string EpochDifference(const CGnssEpoch& a, const CGnssEpoch& b) {
    std::ostringstream out;
    out.precision(17);
    auto differs = [&](const std::string& what, double x, double y) {
        if (x == y) return false;
        out << what << ": " << x << " != " << y;
        return true;
    };
    if (differs("flags", a.flags, b.flags) || differs("week", a.week, b.week) ||
        differs("rawRcvTime", a.rawRcvTime, b.rawRcvTime) || differs("trueRcvTime", a.trueRcvTime, b.trueRcvTime) ||
        differs("rcvTimeMs", a.rcvTimeMs, b.rcvTimeMs) || differs("clockOffset", a.clockOffset, b.clockOffset) ||
        differs("latitude", a.position.latitude, b.position.latitude) ||
        differs("longitude", a.position.longitude, b.position.longitude) ||
        differs("height", a.position.height, b.position.height))
        return out.str();
    if (a.satelliteList != b.satelliteList) return "satellite lists differ";

    for (const SatelliteId& id : a.satelliteList) {
        const CGnssSatellite& x = *a.GetSatellite(id);
        const CGnssSatellite& y = *b.GetSatellite(id);
        char name[32];
        const std::string sat = id.ShortText(name);
        GnssSignalId ids[kMaxSignalSlots], idsB[kMaxSignalSlots];
        const int count = x.ListSignals(ids);
        if (differs(sat + " channel", x.glonassChannel, y.glonassChannel) ||
            differs(sat + " signals", count, y.ListSignals(idsB)))
            return out.str();
        for (int i = 0; i < count; ++i) {
            const CGnssSignal& s = *x.GetSignal(ids[i]);
            const CGnssSignal* t = y.GetSignal(ids[i]);
            const std::string w = sat + "/" + std::to_string(ids[i]) + " ";
            if (t == nullptr) return w + "missing";
            if (differs(w + "flags", s.flags, t->flags) || differs(w + "pseudorange", s.pseudorange, t->pseudorange) ||
                differs(w + "phase", s.carrierPhase, t->carrierPhase) || differs(w + "doppler", s.doppler, t->doppler) ||
                differs(w + "cn0", s.cn0, t->cn0) || differs(w + "lockTime", s.lockTime, t->lockTime) ||
                differs(w + "prStdDev", s.pseudorangeStdDev, t->pseudorangeStdDev) ||
                differs(w + "cpStdDev", s.carrierPhaseStdDev, t->carrierPhaseStdDev))
                return out.str();
        }
    }
    return std::string();
}

}  // namespace convtest
