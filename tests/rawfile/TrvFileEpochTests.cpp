#include <gtest/gtest.h>

#include <cstring>

#include "support/TestPaths.h"
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
    EXPECT_EQ(trv.Version(), 3);
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

TEST(TrvFileV3, FieldsWithoutTheirBitsAreNotStored) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("bits.trv");
    CGnssEpoch written = MakeEpoch(0);
    written.flags = kEpochKinematic;  // week, clock and position not valid
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    for (int i = 0; i < 3; ++i) ASSERT_EQ(trv.AppendEpoch(written, true), 0);
    trv.Close();

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false)) << trv.ErrorText();
    CGnssEpoch read;
    ASSERT_EQ(trv.ReadEpochAt(2, read), 0);
    ExpectRoundTrip(written, read);
    EXPECT_EQ(read.week, 0);
    EXPECT_EQ(read.clockOffset, 0.0);
    EXPECT_EQ(read.position.latitude, 0.0);
}

TEST(TrvFileV3, EmptyEpochIsHeaderAndPositionOnly) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("empty.trv");
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    CGnssEpoch empty;
    for (int i = 0; i < 6; ++i) {
        empty.rawRcvTime = 100.0 + i;
        ASSERT_EQ(trv.AppendEpoch(empty, false), 0);
    }
    trv.Close();
    EXPECT_EQ(ReadBytes(path).size(), 512u + 6 * 96u);

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false)) << trv.ErrorText();
    CGnssEpoch read = MakeEpoch(1);
    ASSERT_EQ(trv.ReadEpochAt(5, read), 0);
    EXPECT_TRUE(read.satelliteList.empty());
    EXPECT_FALSE(read.HasSatellite(SatelliteId(kGps, 5)));
    EXPECT_EQ(read.rawRcvTime, 105.0);
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
    for (size_t i = 0; i < index.size(); ++i) {
        EXPECT_EQ(index[i].channels, 5);
        EXPECT_EQ(index[i].flags, static_cast<int32_t>(kEpochWeekValid | kEpochClockValid | kEpochPositionValid));
        EXPECT_EQ(index[i].time.week, kWeek);
        EXPECT_EQ(index[i].time.seconds, MakeEpoch(static_cast<int>(i)).rawRcvTime);
        if (i) {
            EXPECT_EQ(index[i].offset - index[i - 1].offset, index[1].offset - index[0].offset);
        }
    }
    EXPECT_EQ(trv.TimeRange().first.week, kWeek);
    EXPECT_NEAR(trv.TimeRange().first.seconds, kStart, 1e-6);
    EXPECT_NEAR(trv.TimeRange().last.seconds, kStart + 9 * kStep, 1e-6);

    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadEpochAt(7, epoch), 0);
    ExpectRoundTrip(MakeEpoch(7), epoch);
    EXPECT_EQ(trv.ReadEpochAt(10, epoch), -1);
    EXPECT_EQ(trv.ReadEpochAt(-1, epoch), -1);
    EXPECT_FALSE(trv.SeekEpoch(10));

    // Next after a read by index, and after a seek.
    ASSERT_EQ(trv.ReadEpochAt(2, epoch), 0);
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(3).rcvTimeMs);
    ASSERT_TRUE(trv.SeekEpoch(8));
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(8).rcvTimeMs);
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    EXPECT_EQ(trv.CurrentEpoch(), 9);
    EXPECT_EQ(trv.ReadNextEpoch(epoch), -1);

    // Backwards, from a seek and down to the first epoch.
    ASSERT_TRUE(trv.SeekEpoch(1));
    ASSERT_EQ(trv.ReadNextEpoch(epoch, false), 0);
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(1).rcvTimeMs);
    ASSERT_EQ(trv.ReadNextEpoch(epoch, false), 0);
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(0).rcvTimeMs);
    EXPECT_EQ(trv.ReadNextEpoch(epoch, false), -1);

    ASSERT_TRUE(trv.RewindToFirstEpoch());
    int count = 0;
    while (trv.ReadNextEpoch(epoch) == 0) ExpectRoundTrip(MakeEpoch(count++), epoch);
    EXPECT_EQ(count, 10);
}

TEST(TrvFileV3, RewriteInPlaceAndAppendInReadWriteMode) {
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
    // The next forward read follows on with epoch 4.
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(4).rcvTimeMs);

    CGnssEpoch extra = MakeEpoch(8);
    ASSERT_EQ(trv.WriteEpochAt(8, extra, true), 0) << trv.ErrorText();
    EXPECT_EQ(trv.EpochCount(), 9);
    ASSERT_EQ(trv.ReadEpochAt(8, epoch), 0);
    ExpectRoundTrip(extra, epoch);
    EXPECT_EQ(trv.WriteEpochAt(-1, extra, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
    trv.Close();

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 9);
    ASSERT_EQ(trv.ReadEpochAt(3, epoch), 0);
    ExpectRoundTrip(changed, epoch);
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0)->doppler, 0.0f);
    for (int i : {2, 4, 7, 8}) {
        ASSERT_EQ(trv.ReadEpochAt(i, epoch), 0);
        ExpectRoundTrip(MakeEpoch(i), epoch);
    }
    // A file open for reading is never written.
    EXPECT_EQ(trv.WriteEpochAt(0, epoch, true), 1);
    EXPECT_EQ(trv.AppendEpoch(epoch, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
}

TEST(TrvFileV3, AppendModeAddsEpochsAndKeepsTheHeaderInPlace) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("append.trv");
    WriteFile(path, 3);
    const size_t sizeBefore = ReadBytes(path).size();
    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvAppend, false)) << trv.ErrorText();
    ASSERT_EQ(trv.AppendEpoch(MakeEpoch(3), false), 0);
    ASSERT_EQ(trv.AppendEpoch(MakeEpoch(4), false), 0);
    trv.Close();
    const std::vector<uint8_t> bytes = ReadBytes(path);
    EXPECT_EQ(bytes.size(), sizeBefore + 2 * (sizeBefore - 512) / 3);
    EXPECT_EQ(At<uint32_t>(bytes, 159), 5u);

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadEpochAt(4, epoch), 0);
    ExpectRoundTrip(MakeEpoch(4), epoch);
}

TEST(TrvFileV3, WriteModeRefusesToAppendByIndex) {
    ubxtest::TempDir dir;
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(dir.File("w.trv").c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    EXPECT_EQ(trv.EpochCount(), 0);
    EXPECT_EQ(trv.WriteEpochAt(0, MakeEpoch(0), false), 1);
}

TEST(TrvFileV3, SummaryAfterCloseForStaticData) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("static.trv");
    WriteFile(path, 10);
    const std::vector<uint8_t> bytes = ReadBytes(path);
    EXPECT_EQ(At<uint32_t>(bytes, 159), 10u);
    EXPECT_EQ(At<uint32_t>(bytes, 163), 200u);
    EXPECT_DOUBLE_EQ(At<double>(bytes, 167), kWeek * kWeekSeconds + kStart);
    EXPECT_DOUBLE_EQ(At<double>(bytes, 175), kWeek * kWeekSeconds + MakeEpoch(9).rawRcvTime);
    double lat = 0, lon = 0, h = 0;
    for (int i = 0; i < 10; ++i) {
        lat += MakeEpoch(i).position.latitude;
        lon += MakeEpoch(i).position.longitude;
        h += MakeEpoch(i).position.height;
    }
    EXPECT_NEAR(At<double>(bytes, 183), lat / 10, 1e-12);
    EXPECT_NEAR(At<double>(bytes, 191), lon / 10, 1e-12);
    EXPECT_NEAR(At<double>(bytes, 199), h / 10, 1e-9);
}

TEST(TrvFileV3, SummaryKeepsTheLastKinematicPosition) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("kinematic.trv");
    WriteFile(path, 7, true, 1.0);
    const std::vector<uint8_t> bytes = ReadBytes(path);
    EXPECT_EQ(At<uint32_t>(bytes, 159), 7u);
    EXPECT_EQ(At<uint32_t>(bytes, 163), 200u);  // measured, not the 1.0 passed at creation
    EXPECT_EQ(At<double>(bytes, 104), 1.0);
    EXPECT_EQ(At<double>(bytes, 183), MakeEpoch(6).position.latitude);
    EXPECT_EQ(At<double>(bytes, 199), MakeEpoch(6).position.height);
}

}  // namespace
