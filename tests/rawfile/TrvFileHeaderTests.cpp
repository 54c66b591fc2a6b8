#include <gtest/gtest.h>

#include "TrvTestEpochs.h"

using namespace trvtest;

namespace {

std::string OpenFailure(const std::string& path, int mode = kTrvRead) {
    CTrvFile trv;
    if (trv.Open(path.c_str(), mode, false)) return "opened";
    EXPECT_FALSE(trv.IsOpen());
    return trv.ErrorText();
}

// A name field of the header, which a name of full length leaves unterminated.
std::string Text(const std::vector<uint8_t>& bytes, size_t offset) {
    const char* text = reinterpret_cast<const char*>(bytes.data() + offset);
    return std::string(text, strnlen(text, 32));
}

TEST(TrvFileHeader, CreatedHeaderLayout) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("h.trv");
    TrvPreprocessBlockV3 block{2, 0x11, 3, 0x1F, 0x12345, 0x10};
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 0.5, &block, 3));
    EXPECT_EQ(ReadBytes(path).size(), 512u);  // flushed at once
    trv.Close();

    const std::vector<uint8_t> h = ReadBytes(path);
    ASSERT_EQ(h.size(), 512u);
    EXPECT_EQ(memcmp(h.data(), "$TRVRAW\0", 8), 0);
    EXPECT_TRUE(At<uint16_t>(h, 16) == 512 && At<uint16_t>(h, 18) == 39 && At<uint16_t>(h, 157) == 3);
    const uint16_t month = At<uint16_t>(h, 52), day = At<uint16_t>(h, 54), year = At<uint16_t>(h, 56);
    EXPECT_TRUE(month >= 1 && month <= 12 && day >= 1 && day <= 31 && year >= 120) << month << " " << day << " " << year;
    EXPECT_EQ(Text(h, 64), "UBLOX2TRV");
    EXPECT_TRUE(At<double>(h, 96) == kThisProgramVersion && At<double>(h, 104) == 0.5);
    EXPECT_EQ(memcmp(h.data() + 112, &block, 19), 0);
    // No epochs: count zero, interval of one second, no times.
    EXPECT_TRUE(At<uint32_t>(h, 159) == 0u && At<uint32_t>(h, 163) == 1000u);
    for (size_t i : {8, 20, 131, 150, 207, 300, 511}) EXPECT_EQ(h[i], 0) << i;

    // Without a program name the running program's goes in; names are cut at 32.
    ASSERT_TRUE(trv.Create(path.c_str(), 39, "A-NAME-LONGER-THAN-THIRTY-TWO-CHARACTERS", nullptr, 8.1, 1.0, nullptr, 3));
    trv.Close();
    const std::vector<uint8_t> p = ReadBytes(path);
    EXPECT_EQ(Text(p, 64) + "|" + Text(p, 20), "test_rawfile|A-NAME-LONGER-THAN-THIRTY-TWO-CH");
    EXPECT_EQ(At<double>(p, 96), 8.1);
}

TEST(TrvFileHeader, IdentificationAndItsFailureTexts) {
    ubxtest::TempDir dir;
    const std::string v3 = dir.File("v3.trv"), path = dir.File("x.trv");
    WriteFile(v3, 3);
    const std::vector<uint8_t> good = ReadBytes(v3);
    const std::string unknown = "Invalid or unsupported TRV file type for '" + path + "'";
    const std::string unreadable = "TRV file '" + path + "' does not exist or cannot be opened for reading";
    std::vector<uint8_t> v2(1024, 0), v1(2048, 0), other(1024, 0), format = good, headerSize = good, cut = good;
    memcpy(v2.data(), "$NEWTRV", 8);
    memcpy(other.data(), "$TRVRAX", 8);
    v1[0] = 0xCA;
    const float marker = 1.02f;
    memcpy(v1.data() + 2, &marker, 4);
    format[157] = 2;
    headerSize[17] = 1;
    cut.resize(1023);  // too short to be a file
    const std::pair<std::vector<uint8_t>, std::string> cases[] = {
        {good, "opened"}, {v2, "TRV version 2 files are not supported yet"},
        {v1, "Invalid TRV version 1 is not supported"},
        {other, unknown}, {format, unknown}, {headerSize, unknown}, {cut, unreadable},
    };
    for (const auto& [bytes, text] : cases) {
        WriteBytes(path, bytes);
        EXPECT_EQ(OpenFailure(path), text);
    }
    std::remove(path.c_str());
    EXPECT_EQ(OpenFailure(path), unreadable);
    EXPECT_EQ(OpenFailure(v3, 7), "Invalid FileMode");
}

TEST(TrvFileHeader, CreateAndOpenRefuseWhileAFileIsOpen) {
    ubxtest::TempDir dir;
    const std::string first = dir.File("first.trv"), second = dir.File("second.trv");
    WriteFile(first, 3);
    WriteFile(second, 3);

    CTrvFile trv;
    EXPECT_FALSE(trv.Create(dir.File("old.trv").c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 1));
    EXPECT_STREQ(trv.ErrorText(), "TRV Version 1 is not supported any more.");
    ASSERT_TRUE(trv.Open(first.c_str(), kTrvRead, false));
    EXPECT_FALSE(trv.Open(second.c_str(), kTrvRead, false));
    EXPECT_EQ(std::string(trv.ErrorText()), "Cannot open file--class already using a file " + first);
    EXPECT_FALSE(trv.Create(second.c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 3));
    EXPECT_EQ(std::string(trv.ErrorText()), "Cannot create file--class already using a file " + first);
    EXPECT_STREQ(trv.FileName(), first.c_str());
    CGnssEpoch epoch;
    EXPECT_EQ(trv.ReadEpochAt(2, epoch), 0);

    // An unknown version closes what is open.
    EXPECT_FALSE(trv.Create(second.c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 4));
    EXPECT_FALSE(trv.IsOpen());
    EXPECT_EQ(trv.ReadEpochAt(0, epoch), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
}

TEST(TrvFileHeader, UpdateHeaderInfoCountsAndWritesOnlyChanges) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("u.trv");
    WriteFile(path, 4);
    const std::vector<uint8_t> before = ReadBytes(path);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.UpdateHeaderInfo("X", nullptr, false, 0, -1, 0.0, nullptr, nullptr), -1);
    EXPECT_STREQ(trv.ErrorText(), "UpdateHeaderInfo() only supports WRITE or READWRITE files");
    trv.Close();
    EXPECT_EQ(trv.UpdateHeaderInfo("X", nullptr, false, 0, -1, 0.0, nullptr, nullptr), -1);
    EXPECT_STREQ(trv.ErrorText(), "TRV file not opened");

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvReadWrite, false));
    const int sameType = 39;
    EXPECT_EQ(trv.UpdateHeaderInfo("", &sameType, false, 0, 0, 0.2 + 1e-7, nullptr, nullptr), 0);
    trv.Close();
    EXPECT_EQ(ReadBytes(path), before);

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvReadWrite, false));
    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadEpochAt(0, epoch), 0);
    const int trimble = 26;
    TrvPreprocessBlockV3 done{1, 0, 2, 1, 1, 0};
    EXPECT_EQ(trv.UpdateHeaderInfo("ZED-F9P", &trimble, false, 0, 0, 1.0, nullptr, &done), 4);
    // The stream is back where it was: reading continues with the next epoch.
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    ExpectRoundTrip(MakeEpoch(1), epoch);
    trv.Close();

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, false));
    EXPECT_STREQ(trv.ReceiverName(), "ZED-F9P");
    EXPECT_TRUE(trv.ReceiverType() == 26 && trv.IsTrimbleData() && trv.IsPreprocessed());
    EXPECT_EQ(At<double>(ReadBytes(path), 104), 1.0);
}

TEST(TrvFileHeader, EnsurePreprocessedLeavesADoneFileAlone) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("done.trv"), fresh = dir.File("fresh.trv");
    const TrvPreprocessBlockV3 done{1, 0, 0, 0, 0, 0};
    WriteFile(path, 4, false, kStep, &done);
    WriteFile(fresh, 4);
    const std::vector<uint8_t> before = ReadBytes(path);

    CTrvFile trv;
    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, true)) << trv.ErrorText();
    EXPECT_TRUE(trv.IsPreprocessed() && trv.EpochCount() == 4);
    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    ExpectRoundTrip(MakeEpoch(0), epoch);
    trv.Close();
    EXPECT_EQ(ReadBytes(path), before);
    // Not yet processed: the file still opens afterwards.
    ASSERT_TRUE(trv.Open(fresh.c_str(), kTrvRead, true)) << trv.ErrorText();
    EXPECT_EQ(trv.EpochCount(), 4);
}

TEST(TrvFileHeader, ReceiverTypesAndTrimbleData) {
    for (int unknown : {0, 30, 38, 42, -1}) EXPECT_STREQ(ReceiverTypeName(unknown), "UNKNOWN") << unknown;
    const char* shared = ReceiverTypeName(1);
    ReceiverTypeName(2);
    EXPECT_STREQ(shared, "Ashtech GPS");  // one buffer for every call

    ubxtest::TempDir dir;
    const std::tuple<int, const char*, bool> cases[] = {{3, "", true},        {29, "", true},
                                                        {6, "trimble NetR9", true}, {6, "TRIMBL", false},
                                                        {6, "Leica", false},      {39, "TRIMBLE", false}};
    for (const auto& [type, name, trimble] : cases) {
        CTrvFile trv;
        ASSERT_TRUE(trv.Create(dir.File("t.trv").c_str(), type, name, "X", -1.0, 1.0, nullptr, 3));
        EXPECT_EQ(trv.IsTrimbleData(), trimble) << type << " " << name;
        EXPECT_STREQ(trv.ReceiverName(), name);
    }
}

TEST(TrvTimeRange, ValidityAndWeekResolution) {
    using R = GpsTimeRange;
    EXPECT_TRUE(IsValidRange(R{{2000, 10.0}, {2000, 10.0}}, 1024));
    EXPECT_FALSE(IsValidRange(R{{2000, 10.0}, {2000, 9.0}}, 1024));
    EXPECT_FALSE(IsValidRange(R{{1000, 10.0}, {2000, 9.0}}, 1024));
    EXPECT_TRUE(IsValidRange(R{{1000, 10.0}, {1001, 9.0}}, 0));
    int week = 0;
    EXPECT_FALSE(ResolveWeek(R{{500, 0.0}, {500, 10.0}}, 5.0, week));
    const R across{{2100, 600000.0}, {2101, 3000.0}}, early{{2100, 100000.0}, {2100, 150000.0}},
        late{{2100, 550000.0}, {2100, 600000.0}};
    const struct {
        const GpsTimeRange& range;
        double timeOfWeek;
        int week;
    } cases[] = {
        {across, 601000.0, 2100}, {across, 2000.0, 2101},
        {across, 100000.0, 2101}, {across, 500000.0, 2100},  // outside: the nearer end
        {early, 400000.0, 2100},  {early, 500000.0, 2099},   // within one week: far moves by one
        {late, 500000.0, 2100},   {late, 100.0, 2101},
        {late, 2100.0, 2100},  // compared with the week number itself: kept for that one second
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(ResolveWeek(c.range, c.timeOfWeek, week));
        EXPECT_EQ(week, c.week) << c.range.first.seconds << " " << c.timeOfWeek;
    }
}

}  // namespace
