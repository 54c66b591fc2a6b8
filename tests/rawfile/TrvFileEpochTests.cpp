#include <gtest/gtest.h>

#include "TrvTestEpochs.h"

using namespace trvtest;

namespace {

constexpr double kWeekSeconds = 604800.0;

TEST(TrvFileV3, EpochsReadBackFieldByField) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("round.trv");
    WriteFile(path, 6);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false)) << trv.ErrorText();
    ASSERT_EQ(trv.EpochCount(), 6);
    CGnssEpoch epoch;
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(trv.ReadNextEpoch(epoch), 0) << i;
        ExpectRoundTrip(MakeEpoch(i), epoch);
    }
    EXPECT_EQ(trv.ReadNextEpoch(epoch), -1);
    // The unresolved phase went to the file half a cycle lower and keeps its bits.
    const CGnssSignal* half = epoch.GetSatellite(SatelliteId(kGlonass, 7))->GetSignal(20);
    EXPECT_EQ(half->flags & (kSigPhaseResolved | kSigPhaseValue | kSigHalfCycle), kSigPhaseValue | kSigHalfCycle);
    EXPECT_DOUBLE_EQ(half->carrierPhase, 1000.25 + 5);
    // Doppler passes through a 64-bit field but keeps only 32-bit precision.
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0)->doppler, -1234.5678f + 5.0f);
}

TEST(TrvFileV3, FieldsWithoutTheirBitsAndEmptyEpochs) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("bits.trv");
    CGnssEpoch written = MakeEpoch(0), empty;
    written.flags = kEpochKinematic;  // week, clock and position not valid
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    ASSERT_EQ(trv.AppendEpoch(written, true), 0);
    for (int i = 0; i < 6; ++i) {
        empty.rawRcvTime = 100.0 + i;
        ASSERT_EQ(trv.AppendEpoch(empty, false), 0);
    }
    trv.Close();

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false)) << trv.ErrorText();
    // An empty epoch is a record header and the position only.
    EXPECT_EQ(static_cast<int64_t>(ReadBytes(path).size()) - trv.EpochIndex()[1].offset, 6 * 96);
    CGnssEpoch read;
    ASSERT_EQ(trv.ReadEpochAt(0, read), 0);
    ExpectRoundTrip(written, read);
    EXPECT_TRUE(read.week == 0 && read.clockOffset == 0.0 && read.position.latitude == 0.0);
    ASSERT_EQ(trv.ReadEpochAt(6, read), 0);
    EXPECT_TRUE(read.satelliteList.empty() && !read.HasSatellite(SatelliteId(kGps, 5)) && read.rawRcvTime == 105.0);
}

TEST(TrvFileV3, AnEpochOfMoreSatellitesThanARecordHoldsIsRefusedWhole) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("many.trv");
    // The first count satellites of GPS, GLONASS, BeiDou and QZSS, one signal each.
    auto epochOf = [](size_t count) {
        CGnssEpoch epoch;
        const std::pair<GnssConstellation, GnssSignalId> systems[] = {
            {kGps, 0}, {kGlonass, 20}, {kBeiDou, 40}, {kQzss, 80}};
        for (auto [constellation, signalId] : systems)
            for (int prn = 1; prn <= HighestPrn(constellation) && epoch.satelliteList.size() < count; ++prn) {
                CGnssSatellite satellite(SatelliteId(constellation, static_cast<uint16_t>(prn)));
                CGnssSignal signal;
                signal.signalId = signalId;
                signal.flags = kSigPresent;
                satellite.SetSignal(signal);
                epoch.SetSatellite(satellite);
            }
        return epoch;
    };
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    const CGnssEpoch tooMany = epochOf(129);
    ASSERT_EQ(tooMany.satelliteList.size(), 129u);
    EXPECT_EQ(trv.AppendEpoch(tooMany, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Failed to write epoch to disk");
    EXPECT_EQ(trv.AppendEpoch(epochOf(128), true), 0) << "128 fit";
    trv.Close();
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 1);
}

TEST(TrvFileV3, IndexSeekAndReadAt) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("index.trv");
    WriteFile(path, 10);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    const auto& index = trv.EpochIndex();
    ASSERT_EQ(index.size(), 10u);
    EXPECT_EQ(index[0].offset, 512);
    const int32_t flags = kEpochWeekValid | kEpochClockValid | kEpochPositionValid;
    for (size_t i = 0; i < index.size(); ++i)
        EXPECT_TRUE(index[i].channels == 5 && index[i].flags == flags && index[i].time.week == kWeek &&
                    index[i].time.seconds == MakeEpoch(static_cast<int>(i)).rawRcvTime &&
                    index[i].offset == 512 + static_cast<int64_t>(i) * (index[1].offset - 512))
            << i;
    EXPECT_TRUE(trv.TimeRange().first.week == kWeek && trv.TimeRange().last.week == kWeek);
    EXPECT_NEAR(trv.TimeRange().last.seconds - trv.TimeRange().first.seconds, 9 * kStep, 1e-6);

    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadEpochAt(7, epoch), 0);
    ExpectRoundTrip(MakeEpoch(7), epoch);
    EXPECT_EQ(trv.ReadEpochAt(10, epoch), -1);
    EXPECT_EQ(trv.ReadEpochAt(-1, epoch), -1);
    EXPECT_FALSE(trv.SeekEpoch(10));

    // Which epoch each read gives, after a read by index, a seek, and backwards.
    auto next = [&](bool forward = true) {
        return trv.ReadNextEpoch(epoch, forward) == 0 ? static_cast<int>(epoch.rcvTimeMs - 345600000) / 200 : -1;
    };
    ASSERT_EQ(trv.ReadEpochAt(2, epoch), 0);
    EXPECT_EQ(next(), 3);
    ASSERT_TRUE(trv.SeekEpoch(8));
    EXPECT_EQ(next(), 8);
    EXPECT_EQ(next(), 9);
    EXPECT_EQ(trv.CurrentEpoch(), 9);
    EXPECT_EQ(next(), -1);
    ASSERT_TRUE(trv.SeekEpoch(1));
    EXPECT_EQ(next(false), 1);
    EXPECT_EQ(next(false), 0);
    EXPECT_EQ(next(false), -1);
    ASSERT_TRUE(trv.RewindToFirstEpoch());
    EXPECT_EQ(next(), 0);
}

TEST(TrvFileV3, RewriteAndAppendByMode) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("rewrite.trv");
    WriteFile(path, 8);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvReadWrite, false)) << trv.ErrorText();
    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadEpochAt(3, epoch), 0);
    CGnssSignal* l1 = epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0);
    l1->pseudorange = 1.5e7;
    l1->flags &= ~static_cast<uint32_t>(kSigDoppler);
    epoch.flags |= kEpochKinematic;
    CGnssEpoch changed = epoch;
    changed.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0)->doppler = 0.0f;  // not stored without its bit
    ASSERT_EQ(trv.WriteEpochAt(3, epoch, false), 0) << trv.ErrorText();
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);  // the next forward read follows on with epoch 4
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(4).rcvTimeMs);
    ASSERT_EQ(trv.WriteEpochAt(8, MakeEpoch(8), true), 0) << trv.ErrorText();
    EXPECT_EQ(trv.EpochCount(), 9);
    EXPECT_EQ(trv.WriteEpochAt(-1, epoch, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
    trv.Close();

    // Append mode adds at the end and updates the header in place.
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvAppend, false)) << trv.ErrorText();
    ASSERT_EQ(trv.AppendEpoch(MakeEpoch(9), false), 0);
    trv.Close();
    EXPECT_EQ(At<uint32_t>(ReadBytes(path), 159), 10u);

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 10);
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(trv.ReadEpochAt(i, epoch), 0);
        ExpectRoundTrip(i == 3 ? changed : MakeEpoch(i), epoch);
    }
    // A file open for reading is never written, nor one in write mode by index.
    EXPECT_EQ(trv.WriteEpochAt(0, epoch, true), 1);
    EXPECT_EQ(trv.AppendEpoch(epoch, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
    trv.Close();
    ASSERT_TRUE(trv.Create(dir.File("w.trv").c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    EXPECT_EQ(trv.WriteEpochAt(0, MakeEpoch(0), false), 1);
}

TEST(TrvFileV3, SummaryAfterClose) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("static.trv"), kinematic = dir.File("kinematic.trv");
    WriteFile(path, 10);
    WriteFile(kinematic, 7, true, 1.0);

    // Static data: the mean position.
    const std::vector<uint8_t> bytes = ReadBytes(path);
    EXPECT_TRUE(At<uint32_t>(bytes, 159) == 10u && At<uint32_t>(bytes, 163) == 200u);
    EXPECT_DOUBLE_EQ(At<double>(bytes, 167), kWeek * kWeekSeconds + kStart);
    EXPECT_DOUBLE_EQ(At<double>(bytes, 175), kWeek * kWeekSeconds + MakeEpoch(9).rawRcvTime);
    const GeodeticPosition mean = MakeEpoch(0).position, step{1e-6, -2e-6, 0.5};
    EXPECT_NEAR(At<double>(bytes, 183), mean.latitude + 4.5 * step.latitude, 1e-12);
    EXPECT_NEAR(At<double>(bytes, 191), mean.longitude + 4.5 * step.longitude, 1e-12);
    EXPECT_NEAR(At<double>(bytes, 199), mean.height + 4.5 * step.height, 1e-9);

    // Kinematic data: the last position, and the interval measured, not the 1.0 passed at creation.
    const std::vector<uint8_t> moving = ReadBytes(kinematic);
    EXPECT_TRUE(At<uint32_t>(moving, 159) == 7u && At<uint32_t>(moving, 163) == 200u && At<double>(moving, 104) == 1.0);
    EXPECT_EQ(At<double>(moving, 183), MakeEpoch(6).position.latitude);
    EXPECT_EQ(At<double>(moving, 199), MakeEpoch(6).position.height);
}

}  // namespace
