#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "TrvTestEpochs.h"

using namespace trvtest;

namespace {

constexpr size_t kHeader = 512;
constexpr size_t kRecordHeader = 72;

// Offsets of the records of a file written by WriteFile.
std::vector<size_t> RecordOffsets(const std::string& path) {
    CTrvFile trv;
    std::vector<size_t> offsets;
    if (trv.Open(path.c_str(), kTrvRead, false))
        for (const auto& entry : trv.EpochIndex()) offsets.push_back(static_cast<size_t>(entry.offset));
    return offsets;
}

// The result of every forward read from the first epoch.
std::vector<int> ReadResults(CTrvFile& trv) {
    CGnssEpoch e;
    std::vector<int> results;
    EXPECT_TRUE(trv.RewindToFirstEpoch());
    for (int r; (r = trv.ReadNextEpoch(e)) != -1;) results.push_back(r);
    return results;
}

TEST(TrvFileCorruption, ReaderTimeBoundsDifferBetweenFullAndFastReads) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("bounds.trv");
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    for (double t : {604799.0, 604800.001, 604800.5, 604799.5, std::nan("")}) {
        CGnssEpoch e = MakeEpoch(0);
        e.rawRcvTime = t;
        ASSERT_EQ(trv.AppendEpoch(e, false), 0);
    }
    trv.Close();

    // The fast reader behind the index and the summary takes all five; the
    // full reader refuses 604800.5 silently and reads on after it. A NaN
    // time is neither below 0 nor beyond the limit, so both take it.
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    ASSERT_EQ(trv.EpochCount(), 5);
    ASSERT_EQ(trv.EpochIndex().size(), 5u);
    CGnssEpoch e;
    EXPECT_EQ(trv.ReadEpochAt(1, e), 0);
    EXPECT_EQ(e.rawRcvTime, 604800.001);
    EXPECT_EQ(trv.ReadEpochAt(2, e), 1);
    EXPECT_STREQ(trv.ErrorText(), "");
    EXPECT_EQ(ReadResults(trv), (std::vector<int>{0, 0, 1, 0, 0}));
    ASSERT_EQ(trv.ReadEpochAt(4, e), 0);
    EXPECT_TRUE(std::isnan(e.rawRcvTime));
}

TEST(TrvFileCorruption, ChecksumAndUnknownSatellites) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("sum.trv");
    WriteFile(path, 3);
    const std::vector<size_t> records = RecordOffsets(path);
    ASSERT_EQ(records.size(), 3u);
    const size_t body = records[0] + kRecordHeader, bodySize = records[1] - body;
    std::vector<uint8_t> bytes = ReadBytes(path);

    // GPS PRN 40 in the first satellite block, with a matching checksum: the
    // satellite goes, the record stays.
    const uint16_t prn40 = 40;
    memcpy(bytes.data() + body + 24 + 1, &prn40, 2);
    uint16_t sum = 0;
    for (size_t i = 0; i < bodySize; ++i) sum = static_cast<uint16_t>(sum + bytes[body + i]);
    memcpy(bytes.data() + records[0] + 38, &sum, 2);
    bytes[records[1] + kRecordHeader + 30] ^= 0x40;  // a changed body byte without a new checksum
    WriteBytes(path, bytes);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    CGnssEpoch e;
    ASSERT_EQ(trv.ReadEpochAt(0, e), 0);
    EXPECT_FALSE(e.HasSatellite(SatelliteId(kGps, 5)));
    EXPECT_EQ(e.satelliteList.size(), 4u);
    EXPECT_NE(e.GetSatellite(SatelliteId(kGlonass, 7))->GetSignal(21), nullptr);
    EXPECT_EQ(ReadResults(trv), (std::vector<int>{0, 1, 0}));
}

TEST(TrvFileCorruption, SummaryOfATruncatedFile) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("cut.trv");
    WriteFile(path, 6);
    std::vector<uint8_t> bytes = ReadBytes(path);
    bytes.resize(bytes.size() - 10);  // the last body is cut
    memset(bytes.data() + 199, 0, 8);  // the height summary: each open recomputes it in memory
    WriteBytes(path, bytes);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 5);
    double last;
    memcpy(&last, trv.HeaderImage() + 175, 8);
    EXPECT_DOUBLE_EQ(last, kWeek * 604800.0 + MakeEpoch(5).rawRcvTime);  // of the cut record
    EXPECT_EQ(ReadResults(trv), std::vector<int>(5, 0));
    trv.Close();
    EXPECT_EQ(ReadBytes(path), bytes);  // opened for reading: the file is untouched

    // Open for rewrite and close: the summary reaches the file.
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvReadWrite, false));
    trv.Close();
    const std::vector<uint8_t> rebuilt = ReadBytes(path);
    EXPECT_EQ(At<uint32_t>(rebuilt, 159), 5u);
    EXPECT_NE(At<double>(rebuilt, 199), 0.0);
}

TEST(TrvFileCorruption, BrokenHeaderInTheMiddle) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("broken.trv");
    WriteFile(path, 6);
    const std::vector<size_t> records = RecordOffsets(path);
    std::vector<uint8_t> bytes = ReadBytes(path);
    bytes[records[3]] = 0;  // sync word of the fourth record
    WriteBytes(path, bytes);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvReadWrite, false));
    // The index keeps an entry for every 72 bytes tried at the bad spot.
    ASSERT_GT(trv.EpochIndex().size(), 4u);
    EXPECT_EQ(trv.EpochIndex()[3].offset, static_cast<int64_t>(records[3]));
    EXPECT_EQ(trv.EpochIndex()[4].offset, static_cast<int64_t>(records[3] + kRecordHeader));
    // The header still counts six epochs: three good ones, then the index
    // entries of the bad spot.
    EXPECT_EQ(trv.EpochCount(), 6);
    EXPECT_EQ(ReadResults(trv), (std::vector<int>{0, 0, 0, 1, 1, 1}));
    trv.Close();
    EXPECT_STREQ(trv.ErrorText(), "Could not read epoch header");
    EXPECT_EQ(ReadBytes(path), bytes);  // the summary is left as it was

    // A summary that must be rebuilt at opening, and cannot be, vouches for
    // nothing: the count is 0, while the file keeps its old header.
    memset(bytes.data() + 199, 0, 8);
    WriteBytes(path, bytes);
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 0);
    EXPECT_EQ(At<uint32_t>(ReadBytes(path), 159), 6u);
}

TEST(TrvFileCorruption, WildSummaryNumbersGiveNoTime) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("wild.trv");
    WriteFile(path, 3);
    std::vector<uint8_t> bytes = ReadBytes(path);
    // Non-zero summary fields are taken as they stand: a first time far
    // beyond any week, a last time below zero.
    const double first = 2.4e77, last = -3.7e63;
    memcpy(bytes.data() + 167, &first, sizeof first);
    memcpy(bytes.data() + 175, &last, sizeof last);
    WriteBytes(path, bytes);
    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.TimeRange().first.week, 0);
    EXPECT_EQ(trv.TimeRange().last.week, 0);
}

TEST(TrvFileCorruption, IntervalBeyondItsFieldIsStoredAsUnknown) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("far.trv");
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3));
    // Epochs two thousand weeks apart: some 1.2e12 ms, which does not fit
    // the summary's 32 bits.
    for (int week : {100, 2100}) {
        CGnssEpoch e = MakeEpoch(0);
        e.week = static_cast<int16_t>(week);
        ASSERT_EQ(trv.AppendEpoch(e, false), 0);
    }
    trv.Close();
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.EpochCount(), 2);
    uint32_t intervalMs = 1;
    const std::vector<uint8_t> bytes = ReadBytes(path);
    memcpy(&intervalMs, bytes.data() + 163, sizeof intervalMs);
    EXPECT_EQ(intervalMs, 0u);
}

TEST(TrvFileCorruption, DamagedFilesNeverCrash) {
    ubxtest::TempDir dir;
    const std::string good = dir.File("good.trv"), path = dir.File("damaged.trv");
    WriteFile(good, 12);
    const std::vector<uint8_t> original = ReadBytes(good);
    std::mt19937 random(20240611);
    CGnssEpoch e;
    for (int round = 0; round < 300; ++round) {
        std::vector<uint8_t> bytes = original;
        const int flips = 1 + static_cast<int>(random() % 40);
        // Mostly record headers and counts, where damage does the most.
        for (int i = 0; i < flips; ++i) {
            const size_t at = round % 3 == 0 ? random() % bytes.size() : kHeader + random() % (bytes.size() - kHeader);
            bytes[at] = static_cast<uint8_t>(random());
        }
        if (round % 4 == 1) bytes.resize(kHeader + random() % (bytes.size() - kHeader));
        if (round % 5 == 2 && bytes.size() >= kHeader + kRecordHeader) {
            // A first record claiming a huge signal count that passes the other tests.
            const uint16_t many = static_cast<uint16_t>(random());
            memcpy(bytes.data() + kHeader + 36, &many, 2);
        }
        WriteBytes(path, bytes);

        CTrvFile trv;
        for (int mode : {kTrvRead, kTrvReadWrite}) {
            if (!trv.Open(path.c_str(), mode, false)) continue;
            for (int steps = 0; trv.ReadNextEpoch(e) != -1 && steps < 10000; ++steps) {
            }
            for (int i = -1; i <= static_cast<int>(trv.EpochIndex().size()); ++i) trv.ReadEpochAt(i, e);
            trv.ReadNextEpoch(e, false);
            trv.Close();
        }
    }
}

}  // namespace
