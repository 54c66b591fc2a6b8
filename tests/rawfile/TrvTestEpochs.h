#pragma once
// Epochs with every kind of field set, and the comparison a round trip
// through a version 3 file has to pass.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "rawfile/GnssEpoch.h"
#include "rawfile/TrvFile.h"

namespace trvtest {

inline constexpr int kWeek = 2250;
inline constexpr double kStart = 345600.0000001;
inline constexpr double kStep = 0.2;

inline CGnssSignal FullSignal(GnssSignalId id, double base) {
    CGnssSignal s;
    s.signalId = id;
    s.flags = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigPhaseValue | kSigDoppler | kSigLockTime |
              kSigCn0 | kSigPseudorangeStdDev | kSigPhaseStdDev;
    s.pseudorange = 2.1e7 + base + 0.123456789;
    s.carrierPhase = 1.1e8 + base + 0.987654321;
    s.doppler = -1234.5678f + static_cast<float>(base);
    s.cn0 = 43.25f;
    s.lockTime = 64.5f;
    s.pseudorangeStdDev = 0.32f;
    s.carrierPhaseStdDev = 0.004f;
    return s;
}

// A phase with the half cycle unresolved, and a record with only a range.
inline CGnssSignal HalfCycleSignal(GnssSignalId id, double base) {
    CGnssSignal s;
    s.signalId = id;
    s.flags = kSigPresent | kSigPseudorange | kSigPhaseValue | kSigHalfCycle | kSigCn0;
    s.pseudorange = 1.9e7 + base;
    s.carrierPhase = 1000.75 + base;
    s.cn0 = 30.0f;
    return s;
}

inline CGnssSignal RangeOnly(GnssSignalId id, double base) {
    CGnssSignal s;
    s.signalId = id;
    s.flags = kSigPresent | kSigPseudorange;
    s.pseudorange = 2.3e7 + base;
    return s;
}

inline CGnssEpoch MakeEpoch(int i, bool kinematic = false) {
    CGnssEpoch e;
    e.flags = kEpochWeekValid | kEpochClockValid | kEpochPositionValid | (kinematic ? static_cast<uint32_t>(kEpochKinematic) : 0u);
    e.week = kWeek;
    e.rawRcvTime = kStart + i * kStep;
    e.trueRcvTime = e.rawRcvTime - 1.5e-4;
    e.rcvTimeMs = static_cast<uint32_t>(345600000 + 200 * i);
    e.clockOffset = 44968.8687 + i;
    e.position = GeodeticPosition{47.123456789 + 1e-6 * i, 8.5 - 2e-6 * i, 512.25 + 0.5 * i};

    CGnssSatellite g5(SatelliteId(kGps, 5));
    g5.SetSignal(FullSignal(0, i));
    g5.SetSignal(RangeOnly(3, i));
    e.SetSatellite(g5);
    CGnssSatellite r7(SatelliteId(kGlonass, 7));
    r7.glonassChannel = static_cast<uint8_t>(-6);
    r7.SetSignal(HalfCycleSignal(20, i));
    r7.SetSignal(FullSignal(21, i + 0.5));
    e.SetSatellite(r7);
    CGnssSatellite c30(SatelliteId(kBeiDou, 30));
    c30.SetSignal(FullSignal(45, i));
    e.SetSatellite(c30);
    CGnssSatellite j2(SatelliteId(kQzss, 2));
    j2.SetSignal(FullSignal(84, i));
    e.SetSatellite(j2);
    CGnssSatellite e11(SatelliteId(kGalileo, 11));
    e11.SetSignal(FullSignal(60, i));
    e11.SetSignal(RangeOnly(63, i));
    e.SetSatellite(e11);
    return e;
}

// What a record gives back: bit 4 brings bit 256, and an unresolved half
// cycle is taken out of the stored phase.
inline CGnssSignal AfterRoundTrip(CGnssSignal s) {
    if (s.flags & kSigPhaseResolved) s.flags |= kSigPhaseValue;
    else if ((s.flags & kSigPhaseValue) && (s.flags & kSigHalfCycle)) s.carrierPhase -= 0.5;
    return s;
}

inline void ExpectSignalEqual(const CGnssSignal& want, const CGnssSignal& got, const std::string& where) {
    EXPECT_EQ(want.flags, got.flags) << where;
    EXPECT_EQ(want.signalId, got.signalId) << where;
    EXPECT_EQ(want.pseudorange, got.pseudorange) << where;
    EXPECT_EQ(want.carrierPhase, got.carrierPhase) << where;
    EXPECT_EQ(want.doppler, got.doppler) << where;  // both 32-bit
    EXPECT_EQ(want.cn0, got.cn0) << where;
    EXPECT_EQ(want.lockTime, got.lockTime) << where;
    EXPECT_EQ(want.pseudorangeStdDev, got.pseudorangeStdDev) << where;
    EXPECT_EQ(want.carrierPhaseStdDev, got.carrierPhaseStdDev) << where;
}

inline void ExpectRoundTrip(const CGnssEpoch& written, const CGnssEpoch& read) {
    EXPECT_EQ(written.flags & 15u, read.flags);
    EXPECT_EQ(written.rawRcvTime, read.rawRcvTime);
    EXPECT_EQ(written.trueRcvTime, read.trueRcvTime);
    EXPECT_EQ(written.rcvTimeMs, read.rcvTimeMs);
    EXPECT_EQ((written.flags & kEpochWeekValid) ? written.week : 0, read.week);
    EXPECT_EQ((written.flags & kEpochClockValid) ? written.clockOffset : 0.0, read.clockOffset);
    const bool hasPosition = written.flags & kEpochPositionValid;
    EXPECT_EQ(hasPosition ? written.position.latitude : 0.0, read.position.latitude);
    EXPECT_EQ(hasPosition ? written.position.longitude : 0.0, read.position.longitude);
    EXPECT_EQ(hasPosition ? written.position.height : 0.0, read.position.height);
    ASSERT_EQ(written.satelliteList, read.satelliteList);
    char text[32];
    for (const SatelliteId& id : written.satelliteList) {
        const CGnssSatellite* w = written.GetSatellite(id);
        const CGnssSatellite* r = read.GetSatellite(id);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(w->glonassChannel, r->glonassChannel);
        EXPECT_EQ(w->CountSignals(), r->CountSignals()) << id.ShortText(text);
        for (int slot = 0; slot < kMaxSignalSlots; ++slot) {
            const CGnssSignal* ws = w->signals[slot].get();
            if (!ws || ws->flags == 0) continue;
            const CGnssSignal* rs = r->GetSignal(ws->signalId);
            ASSERT_NE(rs, nullptr) << id.ShortText(text) << " signal " << ws->signalId;
            ExpectSignalEqual(AfterRoundTrip(*ws), *rs, std::string(id.ShortText(text)) + " signal " +
                                                            std::to_string(ws->signalId));
        }
    }
}

// Writes epochs 0..count-1 of MakeEpoch into a new version 3 file.
inline void WriteFile(const std::string& path, int count, bool kinematic = false, double interval = kStep) {
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, interval, nullptr, 3)) << trv.ErrorText();
    for (int i = 0; i < count; ++i) ASSERT_EQ(trv.AppendEpoch(MakeEpoch(i, kinematic), false), 0) << trv.ErrorText();
    trv.Close();
}

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::vector<uint8_t> bytes;
    if (FILE* f = fopen(path.c_str(), "rb")) {
        uint8_t buffer[4096];
        size_t n;
        while ((n = fread(buffer, 1, sizeof buffer, f)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
        fclose(f);
    }
    return bytes;
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* f = fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
    fclose(f);
}

template <typename T>
T At(const std::vector<uint8_t>& bytes, size_t offset) {
    T value;
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

}  // namespace trvtest
