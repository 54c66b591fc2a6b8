// The raw data promises: an epoch holds valid satellites with their own system's signals, in order, and
// copies deeply. A .trv file has a 512-byte header at fixed offsets; its records give back every field, read
// and written by index and mode; its summary is rebuilt on closing; damage costs only bad records.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "rawfile/GnssEpoch.h"
#include "rawfile/TrvFile.h"
#include "support/TestPaths.h"

namespace {
CGnssSatellite Satellite(GnssConstellation c, int prn, std::initializer_list<GnssSignalId> signals) {
    CGnssSatellite satellite(SatelliteId(c, prn));
    for (GnssSignalId id : signals) satellite.SetSignal(CGnssSignal{kSigPresent, id, 2e7 + id});
    return satellite;
}

TEST(GnssEpochModel, SatelliteIdsAndTheirSignals) {
    SatelliteId id;  // an invalid id keeps its system and stores PRN 0
    EXPECT_TRUE(id.Set(kGps, 32) && !id.Set(kGps, 33) && id.constellation == kGps && id.prn == 0);
    EXPECT_TRUE(SatelliteId(kGps, 1).IsValid() && !SatelliteId(kGps, 0).IsValid() && !SatelliteId(kSbas, 1).IsValid());
    CGnssSatellite glonass(SatelliteId(kGlonass, 3));
    for (auto [id, taken] : {std::pair{0, false}, {21, true}, {kNoSignal, false}})
        EXPECT_EQ(glonass.SetSignal(CGnssSignal{kSigPresent, id}), taken) << id;
    EXPECT_FALSE(CGnssSatellite(SatelliteId(kGps, 40)).SetSignal(CGnssSignal{kSigPresent, 0}));
    CGnssSatellite gps = Satellite(kGps, 7, {0, 3, 4});
    EXPECT_TRUE(gps.GetSignalByRole(5)->signalId == 3 && gps.GetSignalByRole(3) == nullptr);
    gps.GetSignal(4)->flags = 0;  // a record with its id but no flags counts as allocated yet absent
    GnssSignalId listed[kMaxSignalSlots];
    EXPECT_TRUE(gps.GetSignal(4) == nullptr && gps.CountSignals() == 3 && gps.ListSignals(listed) == 2);
    EXPECT_TRUE(listed[0] == 0 && listed[1] == 3);
}

TEST(GnssEpochModel, SatellitesAreListedBySystemThenPrnAndCopiedDeeply) {
    CGnssEpoch epoch, copy;
    for (const auto& [c, prn, signal] : {std::tuple{kBeiDou, 10, 40}, {kGlonass, 3, 20}, {kGps, 5, 0},
                                         {kGalileo, 1, 60}, {kQzss, 2, 80}, {kGps, 2, 0}})
        EXPECT_TRUE(epoch.SetSatellite(Satellite(c, prn, {signal})));
    EXPECT_FALSE(epoch.SetSatellite(CGnssSatellite(SatelliteId(kGps, 33))));
    const std::vector<SatelliteId> order{{kGps, 2}, {kGps, 5}, {kGlonass, 3}, {kBeiDou, 10}, {kQzss, 2}, {kGalileo, 1}};
    EXPECT_EQ(epoch.satelliteList, order);
    CGnssSatellite out;
    EXPECT_TRUE(epoch.SatelliteAt(3, out) && out.id == SatelliteId(kBeiDou, 10) && !epoch.SatelliteAt(6, out));
    // Reset keeps the records; assignment keeps the target's and clears what the source lacks.
    const CGnssSatellite* kept = epoch.satellites[kGps][5].get();
    epoch.flags = kEpochWeekValid;
    epoch.week = 2200;
    epoch.Reset();
    EXPECT_TRUE(epoch.satelliteList.empty() && !epoch.HasSatellite(SatelliteId(kGps, 5)) && epoch.week == 0 &&
                epoch.flags == 0 && epoch.satellites[kGps][5].get() == kept);
    epoch.clockOffset = 12.5;
    epoch.SetSatellite(Satellite(kGalileo, 11, {60, 62}));
    copy.SetSatellite(Satellite(kGps, 9, {0}));
    copy.SetSatellite(Satellite(kGalileo, 11, {61}));
    kept = copy.satellites[kGalileo][11].get();
    copy = epoch;
    EXPECT_TRUE(copy.satellites[kGalileo][11].get() == kept && !copy.HasSatellite(SatelliteId(kGps, 9)));
    EXPECT_TRUE(copy.satelliteList == epoch.satelliteList && copy.clockOffset == 12.5);
    CGnssSatellite* e11 = copy.GetSatellite(SatelliteId(kGalileo, 11));
    EXPECT_TRUE(e11->GetSignal(62) != nullptr && e11->GetSignal(61) == nullptr);
    e11->GetSignal(60)->pseudorange = 1.0;  // the source is left alone
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGalileo, 11))->GetSignal(60)->pseudorange, 2e7 + 60);
}

TEST(GnssEpochModel, UsablePositionsAndDistances) {
    char text[64] = "";
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 0.0}, text));
    EXPECT_STREQ(text, " == (0., 0. 0.)");
    EXPECT_TRUE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 1.0}));
    for (const auto& [height, usable] : {std::pair{-1000.0, false}, {-999.0, true}, {5e6, false}, {4999999.0, true}})
        EXPECT_EQ(IsUsablePosition(GeodeticPosition{45.0, 7.0, height}), usable) << height;
    double east = 0.0, north = 0.0;
    HorizontalDifference(GeodeticPosition{60.0, 10.0, 0.0}, GeodeticPosition{60.001, 10.002, 0.0}, east, north);
    EXPECT_TRUE(std::fabs(north - 111.31949) < 1e-4 && std::fabs(east - 0.002 * kMetresPerDegree * 0.5) < 1e-6);
}

constexpr int kWeek = 2250;
constexpr double kStart = 345600.0000001, kStep = 0.2;
constexpr size_t kHeader = 512, kRecordHeader = 72, kRecord = 520;  // kRecord: one of MakeEpoch
constexpr uint32_t kAll = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigPhaseValue | kSigDoppler |
                          kSigLockTime | kSigCn0 | kSigPseudorangeStdDev | kSigPhaseStdDev;
// A phase with the half cycle unresolved, and a record with only a range.
constexpr uint32_t kHalfCycle = kSigPresent | kSigPseudorange | kSigPhaseValue | kSigHalfCycle | kSigCn0;
constexpr uint32_t kRangeOnly = kSigPresent | kSigPseudorange;
CGnssSignal MakeSignal(GnssSignalId id, double base, uint32_t flags = kAll) {
    const bool phase = flags & kSigPhaseValue, all = flags & kSigDoppler;
    return CGnssSignal{flags, id, 2.1e7 + base + 0.123456789,
                       phase ? (flags & kSigHalfCycle ? 1000.75 : 1.1e8 + 0.987654321) + base : 0.0,
                       flags & kSigCn0 ? 43.25f : 0.0f, all ? -1234.5678f + static_cast<float>(base) : 0.0f,
                       all ? 64.5f : 0.0f, all ? 0.32f : 0.0f, all ? 0.004f : 0.0f};
}
// Epoch i of a test file: five systems, every kind of signal record. As read
// back, the unresolved phase of GLONASS signal 20 is half a cycle lower.
CGnssEpoch MakeEpoch(int i, bool kinematic = false, bool asRead = false) {
    CGnssEpoch e;
    e.flags = kEpochWeekValid | kEpochClockValid | kEpochPositionValid | (kinematic ? kEpochKinematic : 0u);
    e.week = kWeek;
    e.rawRcvTime = kStart + i * kStep;
    e.trueRcvTime = e.rawRcvTime - 1.5e-4;
    e.rcvTimeMs = static_cast<uint32_t>(345600000 + 200 * i);
    e.clockOffset = 44968.8687 + i;
    e.position = GeodeticPosition{47.123456789 + 1e-6 * i, 8.5 - 2e-6 * i, 512.25 + 0.5 * i};
    CGnssSignal half = MakeSignal(20, i, kHalfCycle);
    half.carrierPhase -= asRead ? 0.5 : 0.0;
    const std::pair<SatelliteId, std::vector<CGnssSignal>> satellites[] = {
        {{kGps, 5}, {MakeSignal(0, i), MakeSignal(3, i, kRangeOnly)}}, {{kGlonass, 7}, {half, MakeSignal(21, i + 0.5)}},
        {{kBeiDou, 30}, {MakeSignal(45, i)}}, {{kQzss, 2}, {MakeSignal(84, i)}},
        {{kGalileo, 11}, {MakeSignal(60, i), MakeSignal(63, i, kRangeOnly)}}};
    for (const auto& [id, signals] : satellites) {
        CGnssSatellite satellite(id);
        satellite.glonassChannel = id.constellation == kGlonass ? 250 : kNoGlonassChannel;
        for (const CGnssSignal& signal : signals) satellite.SetSignal(signal);
        e.SetSatellite(satellite);
    }
    return e;
}

// Everything an epoch holds, exactly, as text.
std::string Dump(const CGnssEpoch& e) {
    std::ostringstream out;
    out.precision(17);
    auto line = [&out](auto... values) { ((out << values << ' '), ...) << '\n'; };
    line(e.flags, e.rawRcvTime, e.trueRcvTime, e.rcvTimeMs, e.week, e.clockOffset, e.position.latitude,
         e.position.longitude, e.position.height);
    for (const SatelliteId& id : e.satelliteList) {
        const CGnssSatellite* s = e.GetSatellite(id);
        line(id.constellation, id.prn, int(s->glonassChannel), s->CountSignals());
        for (const auto& g : s->signals)
            if (g && g->flags)
                line(g->signalId, g->flags, g->pseudorange, g->carrierPhase, g->cn0, g->doppler, g->lockTime,
                     g->pseudorangeStdDev, g->carrierPhaseStdDev);
    }
    return out.str();
}
std::string AsRead(int i) { return Dump(MakeEpoch(i, false, true)); }
// Writes epochs 0..count-1 of MakeEpoch into a new version 3 file.
void WriteFile(const std::string& path, int count, bool kinematic = false) {
    CTrvFile trv;
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, kStep, nullptr, 3)) << trv.ErrorText();
    for (int i = 0; i < count; ++i) ASSERT_EQ(trv.AppendEpoch(MakeEpoch(i, kinematic), false), 0) << trv.ErrorText();
}
std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}
template <typename T>
T At(const std::vector<uint8_t>& bytes, size_t offset) {
    T value;
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}
template <typename T>
void Put(std::vector<uint8_t>& bytes, size_t offset, T value) {
    memcpy(bytes.data() + offset, &value, sizeof value);
}

class TrvFileTest : public ::testing::Test {
protected:
    CTrvFile& Open(int mode = kTrvRead) {
        EXPECT_TRUE(trv.Open(path.c_str(), mode, false)) << trv.ErrorText();
        return trv;
    }
    CTrvFile& Create() {
        EXPECT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 3)) << trv.ErrorText();
        return trv;
    }
    std::vector<int> ReadResults() {  // of every forward read from the first epoch
        std::vector<int> results;
        EXPECT_TRUE(trv.RewindToFirstEpoch());
        for (int r; (r = trv.ReadNextEpoch(epoch)) != -1;) results.push_back(r);
        return results;
    }

    ubxtest::TempDir dir;
    const std::string path = dir.File("test.trv");
    CTrvFile trv;
    CGnssEpoch epoch;
};

TEST_F(TrvFileTest, CreatedHeaderLayout) {
    const TrvPreprocessBlockV3 block{2, 0x11, 3, 0x1F, 0x12345, 0x10};
    ASSERT_TRUE(trv.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 0.5, &block, 3));
    EXPECT_EQ(ReadBytes(path).size(), 512u);  // flushed at once
    trv.Close();
    auto Text = [](const std::vector<uint8_t>& h, size_t at) {  // a name of full length leaves no terminator
        return std::string(h.begin() + at, h.begin() + at + strnlen(reinterpret_cast<const char*>(&h[at]), 32));
    };
    const std::vector<uint8_t> h = ReadBytes(path);
    EXPECT_TRUE(h.size() == 512u && memcmp(h.data(), "$TRVRAW\0", 8) == 0 && memcmp(&h[112], &block, 19) == 0);
    EXPECT_TRUE(At<uint16_t>(h, 16) == 512 && At<uint16_t>(h, 18) == 39 && At<uint16_t>(h, 157) == 3);
    const uint16_t month = At<uint16_t>(h, 52), day = At<uint16_t>(h, 54), year = At<uint16_t>(h, 56);
    EXPECT_TRUE(month >= 1 && month <= 12 && day >= 1 && day <= 31 && year >= 120) << month << " " << day;
    EXPECT_TRUE(Text(h, 64) == "UBLOX2TRV" && At<double>(h, 96) == kThisProgramVersion && At<double>(h, 104) == 0.5);
    // No epochs: count zero, interval of one second, no times.
    EXPECT_TRUE(At<uint32_t>(h, 159) == 0u && At<uint32_t>(h, 163) == 1000u);
    // Without a program name the running program's goes in; names are cut at 32.
    ASSERT_TRUE(trv.Create(path.c_str(), 39, "A-NAME-LONGER-THAN-THIRTY-TWO-CHARS", nullptr, 8.1, 1, nullptr, 3));
    trv.Close();
    EXPECT_EQ(Text(ReadBytes(path), 64) + "|" + Text(ReadBytes(path), 20),
              "test_rawfile|A-NAME-LONGER-THAN-THIRTY-TWO-CH");
    auto typeName = [](int type) { return std::string(ReceiverTypeName(type)); };  // from one shared buffer
    EXPECT_EQ(typeName(39) + "|" + typeName(42) + "|" + typeName(-1), "U-Blox|UNKNOWN|UNKNOWN");
}

TEST_F(TrvFileTest, IdentificationFailuresAndOneFileAtATime) {
    WriteFile(path, 3);
    const std::vector<uint8_t> good = ReadBytes(path);
    const std::string other = dir.File("x.trv"), unknown = "Invalid or unsupported TRV file type for '" + other + "'",
                      unreadable = "TRV file '" + other + "' does not exist or cannot be opened for reading";
    std::vector<uint8_t> v2(1024, 0), v1(2048, 0), format = good, headerSize = good, cut = good;
    memcpy(v2.data(), "$NEWTRV", 8);
    v1[0] = 0xCA;
    Put(v1, 2, 1.02f);
    format[157] = 2;
    headerSize[17] = 1;
    cut.resize(1023);  // too short to be a file
    for (const auto& [bytes, text] : {std::pair{good, std::string("")},
                                      {v2, "TRV version 2 files are not supported yet"},
                                      {v1, "Invalid TRV version 1 is not supported"}, {format, unknown},
                                      {headerSize, unknown}, {cut, unreadable}}) {
        WriteBytes(other, bytes);
        CTrvFile file;
        EXPECT_TRUE(file.Open(other.c_str(), kTrvRead, false) == text.empty() && file.IsOpen() == text.empty());
        EXPECT_EQ(file.ErrorText(), text);
    }
    std::remove(other.c_str());
    EXPECT_FALSE(trv.Open(other.c_str(), kTrvRead, false) || trv.Open(path.c_str(), 7, false));
    EXPECT_STREQ(trv.ErrorText(), "Invalid FileMode");
    EXPECT_FALSE(trv.Create(other.c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 1));
    EXPECT_STREQ(trv.ErrorText(), "TRV Version 1 is not supported any more.");
    EXPECT_FALSE(Open().Open(path.c_str(), kTrvRead, false));
    EXPECT_EQ(trv.ErrorText(), "Cannot open file--class already using a file " + path);
    EXPECT_FALSE(trv.Create(other.c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 3));
    EXPECT_EQ(trv.ErrorText(), "Cannot create file--class already using a file " + path);
    EXPECT_FALSE(trv.Create(other.c_str(), 39, nullptr, nullptr, -1.0, 1.0, nullptr, 4) || trv.IsOpen())
        << "an unknown version closes what is open";
    EXPECT_EQ(trv.ReadEpochAt(0, epoch), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
}

TEST_F(TrvFileTest, HeaderUpdatesCountAndWriteOnlyChanges) {
    WriteFile(path, 4);
    const std::vector<uint8_t> before = ReadBytes(path);
    EXPECT_EQ(Open().UpdateHeaderInfo("X", nullptr, false, 0, -1, 0.0, nullptr, nullptr), -1);
    EXPECT_STREQ(trv.ErrorText(), "UpdateHeaderInfo() only supports WRITE or READWRITE files");
    trv.Close();
    EXPECT_EQ(trv.UpdateHeaderInfo("X", nullptr, false, 0, -1, 0.0, nullptr, nullptr), -1);
    EXPECT_STREQ(trv.ErrorText(), "TRV file not opened");
    const int sameType = 39, trimble = 26;
    EXPECT_EQ(Open(kTrvReadWrite).UpdateHeaderInfo("", &sameType, false, 0, 0, 0.2 + 1e-7, nullptr, nullptr), 0);
    trv.Close();
    EXPECT_EQ(ReadBytes(path), before);
    ASSERT_EQ(Open(kTrvReadWrite).ReadEpochAt(0, epoch), 0);
    const TrvPreprocessBlockV3 done{1, 0, 2, 1, 1, 0};
    EXPECT_EQ(trv.UpdateHeaderInfo("ZED-F9P", &trimble, false, 0, 0, 1.0, nullptr, &done), 4);
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);  // the stream is back where it was: on to the next epoch
    EXPECT_EQ(Dump(epoch), AsRead(1));
    trv.Close();
    EXPECT_TRUE(Open().ReceiverType() == 26 && trv.IsTrimbleData() && trv.IsPreprocessed() && trv.EpochCount() == 4);
    EXPECT_STREQ(trv.ReceiverName(), "ZED-F9P");
    EXPECT_EQ(At<double>(ReadBytes(path), 104), 1.0);
    trv.Close();
    // Data from RINEX counts as Trimble data by its receiver name alone.
    const int rinex = 6;
    for (auto [name, trimbleData] : {std::pair{"trimble NetR9", true}, {"ZED-F9P", false}}) {
        EXPECT_GE(Open(kTrvReadWrite).UpdateHeaderInfo(name, &rinex, false, 0, 0, 1.0, nullptr, nullptr), 0);
        trv.Close();
        EXPECT_EQ(Open().IsTrimbleData(), trimbleData) << name;
        trv.Close();
    }
}

TEST(TrvTimeRange, ValidityAndWeekResolution) {
    using R = GpsTimeRange;
    EXPECT_TRUE(IsValidRange(R{{2000, 10.0}, {2000, 10.0}}, 1024) && IsValidRange(R{{1000, 10.0}, {1001, 9.0}}, 0));
    EXPECT_FALSE(IsValidRange(R{{2000, 10.0}, {2000, 9.0}}, 1024) || IsValidRange(R{{1000, 10.0}, {2000, 9.0}}, 1024));
    int week = 0;
    EXPECT_FALSE(ResolveWeek(R{{500, 0.0}, {500, 10.0}}, 5.0, week));
    const R across{{2100, 600000.0}, {2101, 3000.0}}, early{{2100, 100000.0}, {2100, 150000.0}},
        late{{2100, 550000.0}, {2100, 600000.0}};
    // Within one week a far time moves by one week; the last compares with the week number itself, as ever.
    for (const auto& [range, timeOfWeek, expected] :
         {std::tuple{across, 601000.0, 2100}, {across, 2000.0, 2101}, {across, 100000.0, 2101},
          {across, 500000.0, 2100}, {early, 400000.0, 2100}, {early, 500000.0, 2099}, {late, 500000.0, 2100},
          {late, 100.0, 2101}, {late, 2100.0, 2100}})
        EXPECT_TRUE(ResolveWeek(range, timeOfWeek, week) && week == expected) << range.first.seconds << timeOfWeek;
}

TEST_F(TrvFileTest, EpochsReadBackThroughTheIndexAndSummary) {
    WriteFile(path, 10);
    ASSERT_EQ(Open().EpochCount(), 10);
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(trv.ReadNextEpoch(epoch) == 0 && Dump(epoch) == AsRead(i)) << Dump(epoch);
    const auto& index = trv.EpochIndex();
    ASSERT_EQ(index.size(), 10u);
    for (size_t i = 0; i < index.size(); ++i)
        EXPECT_TRUE(index[i].channels == 5 && index[i].flags == 14 && index[i].time.week == kWeek &&
                    index[i].time.seconds == kStart + i * kStep && size_t(index[i].offset) == kHeader + i * kRecord)
            << i;
    EXPECT_TRUE(trv.TimeRange().first.week == kWeek && trv.TimeRange().last.week == kWeek);
    EXPECT_NEAR(trv.TimeRange().last.seconds - trv.TimeRange().first.seconds, 9 * kStep, 1e-6);
    // The summary of static data: the mean position.
    const std::vector<uint8_t> h = ReadBytes(path);
    EXPECT_TRUE(At<uint32_t>(h, 159) == 10u && At<uint32_t>(h, 163) == 200u);
    EXPECT_DOUBLE_EQ(At<double>(h, 167), kWeek * 604800.0 + kStart);
    EXPECT_DOUBLE_EQ(At<double>(h, 175), kWeek * 604800.0 + kStart + 9 * kStep);
    EXPECT_NEAR(At<double>(h, 183) + At<double>(h, 191), 47.123456789 + 4.5e-6 + 8.5 - 9e-6, 1e-12);
    EXPECT_NEAR(At<double>(h, 199), 512.25 + 2.25, 1e-9);
    WriteFile(dir.File("moving.trv"), 7, true);  // kinematic data: the last position
    EXPECT_EQ(At<double>(ReadBytes(dir.File("moving.trv")), 199), 515.25);
    // Which epoch each read gives, after a read by index, a seek, and backwards.
    auto next = [&](bool forward = true) {
        return trv.ReadNextEpoch(epoch, forward) == 0 ? static_cast<int>(epoch.rcvTimeMs - 345600000) / 200 : -1;
    };
    EXPECT_TRUE(trv.ReadEpochAt(7, epoch) == 0 && Dump(epoch) == AsRead(7));
    EXPECT_TRUE(trv.ReadEpochAt(10, epoch) == -1 && trv.ReadEpochAt(-1, epoch) == -1 && !trv.SeekEpoch(10));
    ASSERT_EQ(trv.ReadEpochAt(2, epoch), 0);
    EXPECT_EQ(next(), 3);
    ASSERT_TRUE(trv.SeekEpoch(8));
    EXPECT_TRUE(next() == 8 && next() == 9 && trv.CurrentEpoch() == 9 && next() == -1);
    ASSERT_TRUE(trv.SeekEpoch(1));
    EXPECT_TRUE(next(false) == 1 && next(false) == 0 && next(false) == -1);
    ASSERT_TRUE(trv.RewindToFirstEpoch());
    EXPECT_EQ(next(), 0);
}

TEST_F(TrvFileTest, AnEpochOfMoreSatellitesThanARecordHoldsIsRefusedWhole) {
    // The first count satellites of GPS, GLONASS, BeiDou and QZSS, one signal each.
    auto epochOf = [](size_t count) {
        CGnssEpoch many;
        for (auto [constellation, signalId] : {std::pair{kGps, 0}, {kGlonass, 20}, {kBeiDou, 40}, {kQzss, 80}})
            for (int prn = 1; prn <= HighestPrn(constellation) && many.satelliteList.size() < count; ++prn) {
                CGnssSatellite satellite(SatelliteId(constellation, prn));
                satellite.SetSignal(CGnssSignal{kSigPresent, signalId});
                many.SetSatellite(satellite);
            }
        return many;
    };
    EXPECT_EQ(Create().AppendEpoch(epochOf(129), true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Failed to write epoch to disk");
    EXPECT_EQ(trv.AppendEpoch(epochOf(128), true), 0) << "128 fit";
    trv.Close();
    EXPECT_EQ(Open().EpochCount(), 1);
}

TEST_F(TrvFileTest, RewriteAndAppendByMode) {
    WriteFile(path, 8);
    ASSERT_EQ(Open(kTrvReadWrite).ReadEpochAt(3, epoch), 0);
    CGnssSignal* l1 = epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0);
    l1->pseudorange = 1.5e7;
    l1->flags &= ~static_cast<uint32_t>(kSigDoppler);
    epoch.flags |= kEpochKinematic;
    CGnssEpoch changed = epoch;
    changed.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0)->doppler = 0.0f;  // not stored without its bit
    changed.GetSatellite(SatelliteId(kGlonass, 7))->GetSignal(20)->carrierPhase -= 0.5;  // each write: half a cycle
    ASSERT_EQ(trv.WriteEpochAt(3, epoch, false), 0) << trv.ErrorText();
    ASSERT_EQ(trv.ReadNextEpoch(epoch), 0);  // the next forward read follows on with epoch 4
    EXPECT_EQ(epoch.rcvTimeMs, MakeEpoch(4).rcvTimeMs);
    ASSERT_EQ(trv.WriteEpochAt(8, MakeEpoch(8), true), 0) << trv.ErrorText();
    EXPECT_EQ(trv.EpochCount(), 9);
    EXPECT_EQ(trv.WriteEpochAt(-1, epoch, true), 1);
    trv.Close();
    // Append mode adds at the end and updates the header in place.
    ASSERT_EQ(Open(kTrvAppend).AppendEpoch(MakeEpoch(9), false), 0);
    trv.Close();
    ASSERT_EQ(Open().EpochCount(), 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(trv.ReadEpochAt(i, epoch) == 0 && Dump(epoch) == (i == 3 ? Dump(changed) : AsRead(i))) << i;
    // A file open for reading is never written, nor one in write mode by index.
    EXPECT_EQ(trv.WriteEpochAt(0, epoch, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
    EXPECT_EQ(trv.AppendEpoch(epoch, true), 1);
    EXPECT_STREQ(trv.ErrorText(), "Invalid TRV class setup");
    trv.Close();
    EXPECT_EQ(Create().WriteEpochAt(0, MakeEpoch(0), false), 1);
}

TEST_F(TrvFileTest, ReaderTimeBoundsDifferBetweenFullAndFastReads) {
    Create();
    for (double t : {604799.0, 604800.001, 604800.5, 604799.5, std::nan("")}) {
        CGnssEpoch e = MakeEpoch(0);
        e.rawRcvTime = t;
        ASSERT_EQ(trv.AppendEpoch(e, false), 0);
    }
    trv.Close();
    // The fast reader behind index and summary takes all five; the full reader refuses
    // 604800.5 silently and reads on. A NaN time is neither below 0 nor beyond the limit.
    ASSERT_TRUE(Open().EpochCount() == 5 && trv.EpochIndex().size() == 5u);
    EXPECT_TRUE(trv.ReadEpochAt(1, epoch) == 0 && epoch.rawRcvTime == 604800.001);
    EXPECT_EQ(trv.ReadEpochAt(2, epoch), 1);
    EXPECT_STREQ(trv.ErrorText(), "");
    EXPECT_EQ(ReadResults(), (std::vector<int>{0, 0, 1, 0, 0}));
    EXPECT_TRUE(trv.ReadEpochAt(4, epoch) == 0 && std::isnan(epoch.rawRcvTime));
}

TEST_F(TrvFileTest, ChecksumAndWildSummaries) {
    WriteFile(path, 3);
    std::vector<uint8_t> bytes = ReadBytes(path);
    bytes[kHeader + kRecord + kRecordHeader + 30] ^= 0x40;  // a changed body byte without a new checksum
    Put(bytes, 167, 2.4e77);  // a first time far beyond any week, a last time below zero
    Put(bytes, 175, -3.7e63);
    WriteBytes(path, bytes);
    EXPECT_EQ(Open().EpochCount(), 3);
    EXPECT_EQ(ReadResults(), (std::vector<int>{0, 1, 0}));
    EXPECT_TRUE(trv.TimeRange().first.week == 0 && trv.TimeRange().last.week == 0);
}

TEST_F(TrvFileTest, BrokenHeaderInTheMiddle) {
    WriteFile(path, 6);
    std::vector<uint8_t> bytes = ReadBytes(path);
    const size_t fourth = kHeader + 3 * kRecord;
    bytes[fourth] = 0;  // sync word of the fourth record
    WriteBytes(path, bytes);
    // The index keeps an entry for every 72 bytes tried at the bad spot.
    ASSERT_GT(Open(kTrvReadWrite).EpochIndex().size(), 4u);
    EXPECT_TRUE(size_t(trv.EpochIndex()[3].offset) == fourth && size_t(trv.EpochIndex()[4].offset) == fourth + 72);
    // The header still counts six epochs: three good ones, then the index entries of the bad spot.
    EXPECT_EQ(trv.EpochCount(), 6);
    EXPECT_EQ(ReadResults(), (std::vector<int>{0, 0, 0, 1, 1, 1}));
    trv.Close();
    EXPECT_STREQ(trv.ErrorText(), "Could not read epoch header");
    EXPECT_EQ(ReadBytes(path), bytes);  // the summary is left as it was
    // A summary that must be rebuilt at opening, and cannot be, vouches for
    // nothing: the count is 0, while the file keeps its old header.
    Put(bytes, 199, 0.0);
    WriteBytes(path, bytes);
    EXPECT_EQ(Open().EpochCount(), 0);
    EXPECT_EQ(At<uint32_t>(ReadBytes(path), 159), 6u);
}
}  // namespace
