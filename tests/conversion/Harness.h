#pragma once
// The decoder port opened with a message recorder and fed bytes as the driver does; sample Kepler elements; whole
// conversions with the host's parameter blocks, the byte-by-byte scan of a log as the reference for the driver's
// block reads, and the raw file read back and compared field by field.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "conversion/Converter.h"
#include "conversion/PortArray.h"
#include "ephemeris/EphemerisRecords.h"
#include "rawfile/GnssEpoch.h"
#include "rawfile/TrvFile.h"
#include "simulation/UbxWriter.h"

namespace convtest {

using Lines = std::vector<std::string>;
using Results = std::vector<std::pair<size_t, int>>;  // (byte index, result)

struct RecordedMessage { int level; double time; std::string text; };

// A GPS-like orbit and clock, of a week and toe.
inline KeplerElements Elements(int week, int toe) {
    return {week, toe, 5153.65531158, 0.0102386563178, 0.961622154371, -2.01234567891, 0.812345678901,
            1.23456789012, 4.51304515454e-09, -8.10212347018e-09, 2.10723348006e-10, -1.21630728245e-06,
            7.51577317715e-06, 230.53125, -22.34375, 1.11758708954e-07, -5.21540641785e-08, toe,
            -1.23431812972e-04, -3.41060513165e-12, 0.0, -1.11758708954e-08, 77, 77};
}

// Field by field, the reals to a relative tolerance.
inline void ExpectSameElements(const KeplerElements& a, const KeplerElements& b, double tolerance) {
    EXPECT_EQ(std::tie(a.week, a.toe, a.toc, a.IODC, a.IODE), std::tie(b.week, b.toe, b.toc, b.IODC, b.IODE));
    const double pa[] = {a.sqrtA, a.e, a.i0, a.Omega0, a.omega, a.M0, a.deltaN, a.OmegaDot, a.IDOT, a.Cuc,
                         a.Cus, a.Crc, a.Crs, a.Cic, a.Cis, a.af0, a.af1, a.af2, a.TGD};
    const double pb[] = {b.sqrtA, b.e, b.i0, b.Omega0, b.omega, b.M0, b.deltaN, b.OmegaDot, b.IDOT, b.Cuc,
                         b.Cus, b.Crc, b.Crs, b.Cic, b.Cis, b.af0, b.af1, b.af2, b.TGD};
    for (size_t i = 0; i < std::size(pa); ++i) EXPECT_NEAR(pa[i], pb[i], tolerance * std::fabs(pb[i])) << i;
}

class PortTest : public ::testing::Test {
protected:
    void SetUp() override { Reopen(); }
    void TearDown() override { ublox2trv::ClosePort(); }
    // A fresh port, as at the start of a conversion, that reports every message.
    void Reopen() {
        messages().clear();
        ASSERT_EQ(ublox2trv::OpenPort([](int level, double time, const char* text) {
            messages().push_back({level, time, text});
        }, &epoch), 0);
        DecoderOptions options{2, 1, 0};
        ublox2trv::SetPortOptions(&options, sizeof options);
    }
    Results Feed(const simulation::Bytes& bytes) {
        Results results;
        for (size_t i = 0; i < bytes.size(); ++i)
            if (int r = ublox2trv::DecodeByte(bytes[i], &record)) results.emplace_back(i, r);
        return results;
    }
    // The single non-zero result of the bytes, or 0 when none.
    int FeedOne(const simulation::Bytes& bytes) {
        const Results results = Feed(bytes);
        EXPECT_LE(results.size(), 1u);
        return results.empty() ? 0 : results.back().second;
    }
    static std::vector<RecordedMessage>& messages() {
        static std::vector<RecordedMessage> list;
        return list;
    }
    static Lines Texts() {
        Lines texts;
        for (const auto& m : messages()) texts.push_back(m.text);
        return texts;
    }
    CGnssEpoch epoch;
    StationRecord record{};
};

// Empty when the epochs hold the same data; otherwise where they differ.
inline std::string EpochDifference(const CGnssEpoch& a, const CGnssEpoch& b) {
    auto head = [](const CGnssEpoch& e) {
        return std::tie(e.flags, e.week, e.rawRcvTime, e.trueRcvTime, e.rcvTimeMs, e.clockOffset, e.position.latitude,
                        e.position.longitude, e.position.height, e.satelliteList);
    };
    if (head(a) != head(b)) return "epoch fields";
    auto fields = [](const CGnssSignal& s) {
        return std::tie(s.flags, s.pseudorange, s.carrierPhase, s.doppler, s.cn0, s.lockTime, s.pseudorangeStdDev,
                        s.carrierPhaseStdDev);
    };
    for (const SatelliteId& id : a.satelliteList) {
        const CGnssSatellite &x = *a.GetSatellite(id), &y = *b.GetSatellite(id);
        const std::string where = std::to_string(id.constellation) + "/" + std::to_string(id.prn);
        GnssSignalId ids[kMaxSignalSlots];
        if (x.glonassChannel != y.glonassChannel || x.CountSignals() != y.CountSignals()) return where;
        for (int i = 0, count = x.ListSignals(ids); i < count; ++i)
            if (y.GetSignal(ids[i]) == nullptr || fields(*x.GetSignal(ids[i])) != fields(*y.GetSignal(ids[i])))
                return where + " signal " + std::to_string(ids[i]);
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
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The epochs of a log as the byte-by-byte scan decodes them, with the given options.
inline std::vector<CGnssEpoch> DecodeByteByByte(const std::string& bytes, const DecoderOptions& options) {
    std::vector<CGnssEpoch> decoded;
    CGnssEpoch epoch;
    StationRecord record;
    EXPECT_EQ(ublox2trv::OpenPort([](int, double, const char*) {}, &epoch), 0);
    ublox2trv::SetPortOptions(&options, UBLOX2TRV_OPTIONS_SIZE);
    for (char byte : bytes)
        if (ublox2trv::DecodeByte(static_cast<uint8_t>(byte), &record) == ublox2trv::kDecodeEpoch)
            decoded.push_back(epoch), epoch.Reset();
    ublox2trv::ClosePort();
    return decoded;
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
