#include <gtest/gtest.h>

#include <cstring>

#include "support/TestPaths.h"
#include "TrvTestEpochs.h"

using namespace trvtest;

namespace {

std::string OpenFailure(const std::string& path, int mode = kTrvRead) {
    CTrvFile trv;
    if (trv.Open(path.c_str(), mode, false)) return "opened";
    EXPECT_FALSE(trv.IsOpen());
    return trv.ErrorText();
}

std::vector<uint8_t> Filled(size_t size, const char* magic) {
    std::vector<uint8_t> bytes(size, 0);
    if (magic) memcpy(bytes.data(), magic, 8);
    return bytes;
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
    EXPECT_EQ(At<uint16_t>(h, 16), 512);
    EXPECT_EQ(At<uint16_t>(h, 18), 39);
    EXPECT_EQ(h[20], 0);
    const uint16_t month = At<uint16_t>(h, 52), day = At<uint16_t>(h, 54), year = At<uint16_t>(h, 56);
    EXPECT_TRUE(month >= 1 && month <= 12 && day >= 1 && day <= 31 && year >= 120) << month << " " << day << " " << year;
    EXPECT_STREQ(reinterpret_cast<const char*>(h.data() + 64), "UBLOX2TRV");
    EXPECT_EQ(At<double>(h, 96), kThisProgramVersion);
    EXPECT_EQ(At<double>(h, 104), 0.5);
    EXPECT_EQ(memcmp(h.data() + 112, &block, 19), 0);
    EXPECT_EQ(At<uint16_t>(h, 157), 3);
    // No epochs: count zero, interval of one second, no times.
    EXPECT_EQ(At<uint32_t>(h, 159), 0u);
    EXPECT_EQ(At<uint32_t>(h, 163), 1000u);
    for (size_t i : {8, 131, 150, 207, 300, 511}) EXPECT_EQ(h[i], 0) << i;
}

TEST(TrvFileHeader, ProgramNameDefaultsToTheRunningProgram) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("p.trv");
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, "A-NAME-LONGER-THAN-THIRTY-TWO-CHARACTERS", nullptr, 8.1, 1.0, nullptr, 3));
    trv.Close();
    const std::vector<uint8_t> h = ReadBytes(path);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(h.data() + 64)), "test_rawfile");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(h.data() + 20), 32), "A-NAME-LONGER-THAN-THIRTY-TWO-CH");
    EXPECT_EQ(At<double>(h, 96), 8.1);
}

TEST(TrvFileHeader, IdentificationAndItsFailureTexts) {
    ubxtest::TempDir dir;
    const std::string v3 = dir.File("v3.trv");
    WriteFile(v3, 3);
    EXPECT_EQ(OpenFailure(v3), "opened");

    const std::string v2 = dir.File("v2.trv");
    WriteBytes(v2, Filled(1024, "$NEWTRV"));
    EXPECT_EQ(OpenFailure(v2), "TRV version 2 files are not supported yet");

    const std::string v1 = dir.File("v1.trv");
    std::vector<uint8_t> old = Filled(2048, nullptr);
    old[0] = 0xCA;
    const float marker = 1.02f;
    memcpy(old.data() + 2, &marker, 4);
    WriteBytes(v1, old);
    EXPECT_EQ(OpenFailure(v1), "Invalid TRV version 1 is not supported");

    const std::string unknown = dir.File("unknown.trv");
    WriteBytes(unknown, Filled(1024, "$TRVRAX"));
    EXPECT_EQ(OpenFailure(unknown), "Invalid or unsupported TRV file type for '" + unknown + "'");

    // A version 3 magic with another format version or header size is unknown too.
    std::vector<uint8_t> bytes = ReadBytes(v3);
    bytes[157] = 2;
    WriteBytes(unknown, bytes);
    EXPECT_EQ(OpenFailure(unknown), "Invalid or unsupported TRV file type for '" + unknown + "'");
    bytes[157] = 3;
    bytes[17] = 1;
    WriteBytes(unknown, bytes);
    EXPECT_EQ(OpenFailure(unknown), "Invalid or unsupported TRV file type for '" + unknown + "'");

    const std::string small = dir.File("small.trv");
    std::vector<uint8_t> shortFile = ReadBytes(v3);
    shortFile.resize(1023);
    WriteBytes(small, shortFile);
    EXPECT_EQ(OpenFailure(small), "TRV file '" + small + "' does not exist or cannot be opened for reading");
    const std::string missing = dir.File("missing.trv");
    EXPECT_EQ(OpenFailure(missing), "TRV file '" + missing + "' does not exist or cannot be opened for reading");

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
    ASSERT_TRUE(trv.IsOpen());
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
    EXPECT_EQ(trv.ReceiverType(), 26);
    EXPECT_TRUE(trv.IsTrimbleData());
    EXPECT_TRUE(trv.IsPreprocessed());
    EXPECT_EQ(At<double>(ReadBytes(path), 104), 1.0);
}

TEST(TrvFileHeader, EnsurePreprocessedLeavesADoneFileAlone) {
    ubxtest::TempDir dir;
    const std::string path = dir.File("done.trv");
    CTrvFile trv;
    TrvPreprocessBlockV3 done{1, 0, 0, 0, 0, 0};
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 0.2, &done, 3));
    for (int i = 0; i < 4; ++i) ASSERT_EQ(trv.AppendEpoch(MakeEpoch(i), false), 0);
    trv.Close();
    const std::vector<uint8_t> before = ReadBytes(path);

    ASSERT_TRUE(trv.Open(path.c_str(), kTrvRead, true)) << trv.ErrorText();
    EXPECT_TRUE(trv.IsPreprocessed());
    EXPECT_EQ(trv.EpochCount(), 4);
    CGnssEpoch epoch;
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);
    ExpectRoundTrip(MakeEpoch(0), epoch);
    trv.Close();
    EXPECT_EQ(ReadBytes(path), before);

    // Not yet processed: the file still opens afterwards.
    const std::string fresh = dir.File("fresh.trv");
    WriteFile(fresh, 4);
    ASSERT_TRUE(trv.Open(fresh.c_str(), kTrvRead, true)) << trv.ErrorText();
    EXPECT_EQ(trv.EpochCount(), 4);
}

TEST(TrvFileHeader, ReceiverTypesAndTrimbleData) {
    EXPECT_STREQ(ReceiverTypeName(39), "U-Blox");
    EXPECT_STREQ(ReceiverTypeName(36), "Septentrio Binary Format");
    EXPECT_STREQ(ReceiverTypeName(41), "NavCom Sapphire");
    for (int unknown : {0, 30, 38, 42, -1}) EXPECT_STREQ(ReceiverTypeName(unknown), "UNKNOWN") << unknown;
    const char* shared = ReceiverTypeName(1);
    ReceiverTypeName(2);
    EXPECT_STREQ(shared, "Ashtech GPS");  // one buffer for every call

    ubxtest::TempDir dir;
    struct Case {
        int type;
        const char* name;
        bool trimble;
    } cases[] = {{3, "", true}, {29, "", true}, {6, "trimble NetR9", true}, {6, "TRIMBL", false},
                 {6, "Leica", false}, {39, "TRIMBLE", false}};
    for (const Case& c : cases) {
        CTrvFile trv;
        ASSERT_TRUE(trv.Create(dir.File("t.trv").c_str(), c.type, c.name, "X", -1.0, 1.0, nullptr, 3));
        EXPECT_EQ(trv.IsTrimbleData(), c.trimble) << c.type << " " << c.name;
        EXPECT_STREQ(trv.ReceiverName(), c.name);
        trv.Close();
    }
}

GpsTimeRange Range(int w1, double s1, int w2, double s2) {
    GpsTimeRange r;
    r.first.week = static_cast<int16_t>(w1);
    r.first.seconds = s1;
    r.last.week = static_cast<int16_t>(w2);
    r.last.seconds = s2;
    return r;
}

TEST(TrvTimeRange, ValidityAndWeekResolution) {
    EXPECT_TRUE(IsValidRange(Range(2000, 10.0, 2000, 10.0), 1024));
    EXPECT_FALSE(IsValidRange(Range(2000, 10.0, 2000, 9.0), 1024));
    EXPECT_FALSE(IsValidRange(Range(1000, 10.0, 2000, 9.0), 1024));
    EXPECT_TRUE(IsValidRange(Range(1000, 10.0, 1001, 9.0), 0));

    int week = 0;
    EXPECT_FALSE(ResolveWeek(Range(500, 0.0, 500, 10.0), 5.0, week));

    // A range across a week boundary.
    const GpsTimeRange across = Range(2100, 600000.0, 2101, 3000.0);
    ASSERT_TRUE(ResolveWeek(across, 601000.0, week));
    EXPECT_EQ(week, 2100);
    ASSERT_TRUE(ResolveWeek(across, 2000.0, week));
    EXPECT_EQ(week, 2101);
    ASSERT_TRUE(ResolveWeek(across, 100000.0, week));  // nearer the end
    EXPECT_EQ(week, 2101);
    ASSERT_TRUE(ResolveWeek(across, 500000.0, week));  // nearer the start
    EXPECT_EQ(week, 2100);

    // Within one week: near either end keeps it, far moves by one.
    const GpsTimeRange early = Range(2100, 100000.0, 2100, 150000.0);
    ASSERT_TRUE(ResolveWeek(early, 400000.0, week));
    EXPECT_EQ(week, 2100);
    ASSERT_TRUE(ResolveWeek(early, 500000.0, week));
    EXPECT_EQ(week, 2099);
    const GpsTimeRange late = Range(2100, 550000.0, 2100, 600000.0);
    ASSERT_TRUE(ResolveWeek(late, 500000.0, week));
    EXPECT_EQ(week, 2100);
    ASSERT_TRUE(ResolveWeek(late, 100.0, week));
    EXPECT_EQ(week, 2101);
    // The comparison with the week number itself keeps the week for that one second.
    ASSERT_TRUE(ResolveWeek(late, 2100.0, week));
    EXPECT_EQ(week, 2100);
}

}  // namespace
