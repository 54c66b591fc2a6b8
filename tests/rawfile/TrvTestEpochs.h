#pragma once
// Epochs with every kind of field set, the comparison a round trip through a
// version 3 file has to pass, and byte access to files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "rawfile/GnssEpoch.h"
#include "rawfile/TrvFile.h"
#include "support/TestPaths.h"

namespace trvtest {

inline constexpr int kWeek = 2250;
inline constexpr double kStart = 345600.0000001;
inline constexpr double kStep = 0.2;
inline constexpr uint32_t kAllFields = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigPhaseValue |
                                       kSigDoppler | kSigLockTime | kSigCn0 | kSigPseudorangeStdDev |
                                       kSigPhaseStdDev;
// A phase with the half cycle unresolved, and a record with only a range.
inline constexpr uint32_t kHalfCycleFields = kSigPresent | kSigPseudorange | kSigPhaseValue | kSigHalfCycle | kSigCn0;
inline constexpr uint32_t kRangeOnly = kSigPresent | kSigPseudorange;

inline CGnssSignal MakeSignal(GnssSignalId id, double base, uint32_t flags = kAllFields) {
    CGnssSignal s;
    s.signalId = id;
    s.flags = flags;
    s.pseudorange = 2.1e7 + base + 0.123456789;
    if (flags & kSigPhaseValue) s.carrierPhase = (flags & kSigHalfCycle ? 1000.75 : 1.1e8 + 0.987654321) + base;
    if (flags & kSigCn0) s.cn0 = 43.25f;
    if (flags & kSigDoppler) {
        s.doppler = -1234.5678f + static_cast<float>(base);
        s.lockTime = 64.5f;
        s.pseudorangeStdDev = 0.32f;
        s.carrierPhaseStdDev = 0.004f;
    }
    return s;
}

inline CGnssEpoch MakeEpoch(int i, bool kinematic = false) {
    CGnssEpoch e;
    e.flags = kEpochWeekValid | kEpochClockValid | kEpochPositionValid;
    if (kinematic) e.flags |= kEpochKinematic;
    e.week = kWeek;
    e.rawRcvTime = kStart + i * kStep;
    e.trueRcvTime = e.rawRcvTime - 1.5e-4;
    e.rcvTimeMs = static_cast<uint32_t>(345600000 + 200 * i);
    e.clockOffset = 44968.8687 + i;
    e.position = GeodeticPosition{47.123456789 + 1e-6 * i, 8.5 - 2e-6 * i, 512.25 + 0.5 * i};
    const struct {
        GnssConstellation constellation;
        int prn;
        std::vector<CGnssSignal> signals;
    } satellites[] = {
        {kGps, 5, {MakeSignal(0, i), MakeSignal(3, i, kRangeOnly)}},
        {kGlonass, 7, {MakeSignal(20, i, kHalfCycleFields), MakeSignal(21, i + 0.5)}},
        {kBeiDou, 30, {MakeSignal(45, i)}},
        {kQzss, 2, {MakeSignal(84, i)}},
        {kGalileo, 11, {MakeSignal(60, i), MakeSignal(63, i, kRangeOnly)}},
    };
    for (const auto& s : satellites) {
        CGnssSatellite satellite(SatelliteId(s.constellation, s.prn));
        if (s.constellation == kGlonass) satellite.glonassChannel = static_cast<uint8_t>(-6);
        for (const CGnssSignal& signal : s.signals) satellite.SetSignal(signal);
        e.SetSatellite(satellite);
    }
    return e;
}

// What a record gives back: bit 4 brings bit 256, and an unresolved half
// cycle is taken out of the stored phase.
inline CGnssSignal AfterRoundTrip(CGnssSignal s) {
    if (s.flags & kSigPhaseResolved) s.flags |= kSigPhaseValue;
    else if ((s.flags & kSigPhaseValue) && (s.flags & kSigHalfCycle)) s.carrierPhase -= 0.5;
    return s;
}

// Every field compared exactly; Doppler and the other floats are 32-bit on both sides.
inline auto Fields(const CGnssSignal& s) {
    return std::make_tuple(s.flags, s.signalId, s.pseudorange, s.carrierPhase, s.doppler, s.cn0, s.lockTime,
                           s.pseudorangeStdDev, s.carrierPhaseStdDev);
}

inline void ExpectRoundTrip(const CGnssEpoch& written, const CGnssEpoch& read) {
    const bool week = written.flags & kEpochWeekValid, clock = written.flags & kEpochClockValid;
    const GeodeticPosition p = (written.flags & kEpochPositionValid) ? written.position : GeodeticPosition{};
    EXPECT_EQ(std::make_tuple(written.flags & 15u, written.rawRcvTime, written.trueRcvTime, written.rcvTimeMs,
                              week ? written.week : 0, clock ? written.clockOffset : 0.0, p.latitude, p.longitude,
                              p.height),
              std::make_tuple(read.flags, read.rawRcvTime, read.trueRcvTime, read.rcvTimeMs, int(read.week),
                              read.clockOffset, read.position.latitude, read.position.longitude,
                              read.position.height));
    ASSERT_EQ(written.satelliteList, read.satelliteList);
    char text[32];
    for (const SatelliteId& id : written.satelliteList) {
        const CGnssSatellite* w = written.GetSatellite(id);
        const CGnssSatellite* r = read.GetSatellite(id);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(w->glonassChannel, r->glonassChannel);
        EXPECT_EQ(w->CountSignals(), r->CountSignals()) << id.ShortText(text);
        for (const auto& ws : w->signals) {
            if (!ws || ws->flags == 0) continue;
            const CGnssSignal* rs = r->GetSignal(ws->signalId);
            ASSERT_NE(rs, nullptr) << id.ShortText(text) << " signal " << ws->signalId;
            EXPECT_EQ(Fields(AfterRoundTrip(*ws)), Fields(*rs)) << id.ShortText(text) << " signal " << ws->signalId;
        }
    }
}

// Writes the given epochs (by default 0..count-1 of MakeEpoch) into a new version 3 file.
inline void WriteFile(const std::string& path, int count, bool kinematic = false, double interval = kStep,
                      const TrvPreprocessBlockV3* block = nullptr) {
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, interval, block, 3)) << trv.ErrorText();
    for (int i = 0; i < count; ++i) ASSERT_EQ(trv.AppendEpoch(MakeEpoch(i, kinematic), false), 0) << trv.ErrorText();
    trv.Close();
}

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

template <typename T>
T At(const std::vector<uint8_t>& bytes, size_t offset) {
    T value;
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

}  // namespace trvtest
