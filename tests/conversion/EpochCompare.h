#pragma once
// Round trips through a conversion: the host's parameter blocks, and the raw
// file read back and compared field by field.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "conversion/Converter.h"
#include "rawfile/TrvFile.h"

namespace convtest {

// Empty when the epochs hold the same data; otherwise the first difference.
inline std::string EpochDifference(const CGnssEpoch& a, const CGnssEpoch& b) {
    std::ostringstream out;
    out.precision(17);
    auto differs = [&](const std::string& prefix, std::initializer_list<std::tuple<const char*, double, double>> fields) {
        for (const auto& [what, x, y] : fields)
            if (x != y) return out << prefix << what << ": " << x << " != " << y, true;
        return false;
    };
    if (differs("", {{"flags", a.flags, b.flags}, {"week", a.week, b.week}, {"rawRcvTime", a.rawRcvTime, b.rawRcvTime},
                     {"trueRcvTime", a.trueRcvTime, b.trueRcvTime}, {"rcvTimeMs", a.rcvTimeMs, b.rcvTimeMs},
                     {"clockOffset", a.clockOffset, b.clockOffset}, {"latitude", a.position.latitude, b.position.latitude},
                     {"longitude", a.position.longitude, b.position.longitude},
                     {"height", a.position.height, b.position.height}}))
        return out.str();
    if (a.satelliteList != b.satelliteList) return "satellite lists differ";

    for (const SatelliteId& id : a.satelliteList) {
        const CGnssSatellite& x = *a.GetSatellite(id);
        const CGnssSatellite& y = *b.GetSatellite(id);
        char name[32];
        const std::string sat = id.ShortText(name);
        GnssSignalId ids[kMaxSignalSlots], idsB[kMaxSignalSlots];
        const int count = x.ListSignals(ids);
        if (differs(sat + " ", {{"channel", x.glonassChannel, y.glonassChannel}, {"signals", count, y.ListSignals(idsB)}}))
            return out.str();
        for (int i = 0; i < count; ++i) {
            const CGnssSignal& s = *x.GetSignal(ids[i]);
            const CGnssSignal* t = y.GetSignal(ids[i]);
            const std::string w = sat + "/" + std::to_string(ids[i]) + " ";
            if (t == nullptr) return w + "missing";
            if (differs(w, {{"flags", s.flags, t->flags}, {"pseudorange", s.pseudorange, t->pseudorange},
                            {"phase", s.carrierPhase, t->carrierPhase}, {"doppler", s.doppler, t->doppler},
                            {"cn0", s.cn0, t->cn0}, {"lockTime", s.lockTime, t->lockTime},
                            {"prStdDev", s.pseudorangeStdDev, t->pseudorangeStdDev},
                            {"cpStdDev", s.carrierPhaseStdDev, t->carrierPhaseStdDev}}))
                return out.str();
        }
    }
    return std::string();
}

inline ConvertParams MakeParams(const std::string& input, const std::string& output) {
    ConvertParams params{};
    params.structSize = UBLOX2TRV_PARAMS_SIZE;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    std::snprintf(params.inputFile, sizeof params.inputFile, "%s", input.c_str());
    std::snprintf(params.outputFile, sizeof params.outputFile, "%s", output.c_str());
    return params;
}

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Every epoch of the raw file against the expectation, in order, and no more.
inline void ExpectRawFile(const std::string& path, const std::vector<CGnssEpoch>& expected) {
    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false)) << trv.ErrorText();
    EXPECT_EQ(trv.ReceiverType(), 39);
    ASSERT_EQ(trv.EpochCount(), static_cast<int>(expected.size()));
    CGnssEpoch got;
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(trv.ReadNextEpoch(got), 0) << "epoch " << i;
        ASSERT_EQ(EpochDifference(expected[i], got), "") << "epoch " << i;
    }
    EXPECT_EQ(trv.ReadNextEpoch(got), -1);
}

}  // namespace convtest
