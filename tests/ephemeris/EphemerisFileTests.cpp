// The .epp file: a written file reads back into the same store and writes
// again byte for byte; headers, the two non-ephemeris records, the record
// order, the time filter of the writer and the words of its failures.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "SampleRecords.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisStore.h"
#include "StoreReports.h"
#include "support/TestPaths.h"

namespace {

using storetest::Record;
using storetest::Report;
using storetest::Reports;

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteAll(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

// The tokens of the records in file order.
std::vector<std::string> Tokens(const std::string& text) {
    std::vector<std::string> tokens;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        if (line.find(" {") != std::string::npos) tokens.push_back(line.substr(0, line.find(' ')));
    return tokens;
}

GpsEphemerisRecord GpsAt(int prn, int toe) {
    GpsEphemerisRecord r = sample::Gps();
    r.prn = prn;
    r.elements.toe = r.elements.toc = toe;
    return r;
}

// tb 10800 is 03:00 Moscow time, 00:00:18 GPS time with 18 leap seconds:
// on Thursday of week 2300 (8 February 2024) that is 345618 s into the
// week. The writer finds a record's day from its reference time less the
// leap seconds and three hours, 21:00 on 7 February: day 38 of the
// four-year interval.
constexpr int kGlonassTb = 10800;
constexpr double kGlonassGpsSeconds = 345618.0;
constexpr int kGlonassDayNumber = 38;

GloEphemerisRecord GlonassAt(double gpsSeconds) {
    GloEphemerisRecord r = sample::Glonass();
    r.tb = kGlonassTb;
    r.tk = kGlonassTb - 900;
    r.gpsWeek = 2300;
    r.gpsSeconds = gpsSeconds;
    r.hasReceptionTime = true;
    r.receptionTime = 2300 * 604800.0 + gpsSeconds - 30.0;
    r.tauC = 2.5e-8;
    r.NT = 300;
    return r;
}

// One of everything, GPS records out of time order.
void Fill(CEphemerisStore& store) {
    store.SetIonosphere({kIonosphereModelValid,
                         {1.1175870895e-08, 7.4505805969e-09, -5.9604644775e-08, -5.9604644775e-08},
                         {90112.0, 0.0, -196608.0, -65536.0}});
    TimeOffsetRecord gput{"GPUT", 2300, 405504, -9.3132257462e-10, -2.664535259e-15, "GPS", 0};
    TimeOffsetRecord gaut{"GAUT", 2300, 345600, 1.8626451492e-09, 8.881784197e-16, "GAL", 0};
    // The reader takes the offsets in the order of its name table (GAUT,
    // GPUT, ...), whatever the file's order: a store filled in that order
    // writes the same file again.
    store.AddTimeOffset(gaut);
    store.AddTimeOffset(gput);
    ASSERT_TRUE(store.AddGps(GpsAt(12, 352800)));
    ASSERT_TRUE(store.AddGps(GpsAt(5, 352800)));
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    ASSERT_TRUE(store.AddQzss(sample::QzssQuasiZenith()));
    ASSERT_TRUE(store.AddBeiDou(sample::BeiDouMeo()));
    ASSERT_TRUE(store.AddGalileo(sample::Galileo()));
    auto* glonass = new GNSS::CEphemerisGLO(GlonassAt(kGlonassGpsSeconds));
    ASSERT_EQ(store.Insert(kGlonass, 9, glonass), CEphemerisStore::kInserted);
}

class EppFileTest : public ::testing::Test {
protected:
    void SetUp() override { Reports().clear(); }
    ubxtest::TempDir dir;
};

}  // namespace

TEST_F(EppFileTest, WriteReadWriteIsStableByteForByte) {
    CEphemerisStore first(Record);
    Fill(first);
    const std::string a = dir.File("a.epp"), b = dir.File("b.epp");
    ASSERT_EQ(SaveEphemerisFile(first, a.c_str(), false, "UBLOX2TRV", "U-Blox"), 7);

    CEphemerisStore second(Record);
    ASSERT_TRUE(LoadEphemerisFile(second, a.c_str(), true));
    ASSERT_EQ(SaveEphemerisFile(second, b.c_str(), false, "UBLOX2TRV", "U-Blox"), 7);
    const std::string text = ReadAll(a);
    EXPECT_EQ(text, ReadAll(b));

    EXPECT_EQ(text.substr(0, text.find('\n')), "$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox");
    const std::vector<std::string> order = {"GpsIon", "STcorr", "GpsEph", "GpsEph", "GpsEph", "BdsEph",
                                            "QzsEph", "GalEph", "GloEph"};
    EXPECT_EQ(Tokens(text), order);
    EXPECT_NE(text.find("GpsIon {\n\tCfa: 1.117587089500e-08 7.450580596900e-09 -5.960464477500e-08 "
                        "-5.960464477500e-08\n\tCfb: 9.011200000000e+04 0.000000000000e+00 -1.966080000000e+05 "
                        "-6.553600000000e+04\n}\n"),
              std::string::npos);
    EXPECT_NE(text.find("STcorr {\n\tGAUT: 1.8626451492e-09 8.881784197e-16 345600 2300 GAL 0\n"
                        "\tGPUT: -9.3132257462e-10 -2.664535259e-15 405504 2300 GPS 0\n}\n"),
              std::string::npos);

    // The reader gives back the records themselves, PRN 5 sorted by toe.
    const auto& gps = second.GetRecords({kGps, 5});
    ASSERT_EQ(gps.size(), 2u);
    const GpsEphemerisRecord& r = static_cast<const GNSS::CEphemerisGPS*>(gps[0])->Record();
    const GpsEphemerisRecord expected = GpsAt(5, 345600);
    EXPECT_EQ(r.elements.toe, 345600);
    EXPECT_DOUBLE_EQ(r.elements.sqrtA, expected.elements.sqrtA);
    EXPECT_DOUBLE_EQ(r.elements.M0, expected.elements.M0);
    EXPECT_NEAR(r.elements.Cuc, expected.elements.Cuc, 1e-14);
    EXPECT_EQ(second.Ionosphere().flags, kIonosphereModelValid);
    EXPECT_EQ(second.TimeOffsets().size(), 2u);
    GpsTimeRange range;
    ASSERT_TRUE(second.GetTimeRange(range));
    EXPECT_DOUBLE_EQ(range.first.seconds, 345000.0 - 7200.0);   // Galileo toe
}

TEST_F(EppFileTest, GlonassTauCIsTheOneOfItsMoscowDay) {
    CEphemerisStore store(Record);
    Fill(store);
    // Only another day's offset: the record is left without one.
    store.AddGlonassTimeOffset(2.5e-8, 300);
    ASSERT_EQ(SaveEphemerisFile(store, dir.File("g.epp").c_str(), false, nullptr, nullptr), 7);
    std::string text = ReadAll(dir.File("g.epp"));
    EXPECT_EQ(text.substr(0, text.find('\n')), "$EPHV3B Ver9.00.2207");
    EXPECT_NE(text.find("\tAsh: 0 0.000000000000000e+00 -2 9\n"), std::string::npos) << text;

    store.AddGlonassTimeOffset(-1.0 / (1 << 27), kGlonassDayNumber);
    ASSERT_EQ(SaveEphemerisFile(store, dir.File("g.epp").c_str(), false, nullptr, nullptr), 7);
    text = ReadAll(dir.File("g.epp"));
    EXPECT_NE(text.find("\tAsh: 38 -7.450580596923828e-09 -2 9\n"), std::string::npos) << text;
}

struct HeaderCase {
    const char* name;
    const char* header;          // null: no file at all
    bool result;
    int level;                   // of the last report
    const char* words;           // %s is the file name
};

class EppHeaderTest : public EppFileTest, public ::testing::WithParamInterface<HeaderCase> {};

TEST_P(EppHeaderTest, AcceptsTheThreeMagicsAndRefusesThe870Layout) {
    const HeaderCase& c = GetParam();
    const std::string path = dir.File("h.epp");
    if (c.header != nullptr) {
        std::ostringstream text;
        text << c.header;
        if (text.str().size() > 0) text << "\n";
        if (std::string(c.header).rfind("$EPHREC", 0) == 0)
            text << "GpsEph { Prn: 5\n El1: 1276 0 -1.1e-08 77 345600\n El2: 0 -3.4e-12 -1.2e-04\n"
                    " El3: 77 -22.3 4.5e-09 1.23\n El4: -1.2e-06 0.0102 7.5e-06 5153.655\n"
                    " El5: 345600 1.1e-07 -2.01 -5.2e-08\n El6: 0.9616 230.5 0.81 -8.1e-09 2.1e-10\n}\n";
        else if (!text.str().empty())
            text << "GpsEph { Prn: 5\n\tE31: 2300 345600 -1.1e-08\n\tE32: 77 345600 -1.2e-04 -3.4e-12 0\n"
                    "\tE33: 77 5153.655 0.0102\n\tE34: 0.81 -2.01 -8.1e-09\n\tE35: 0.9616 2.1e-10 4.5e-09 1.23\n"
                    "\tE36: -1.2e-06 230.5 1.1e-07\n\tE37: 7.5e-06 -22.3 -5.2e-08\n}\n";
        WriteAll(path, text.str());
    }
    CEphemerisStore store(Record);
    EXPECT_EQ(LoadEphemerisFile(store, path.c_str(), true), c.result);
    ASSERT_FALSE(Reports().empty());
    char words[600];
    std::snprintf(words, sizeof words, c.words, path.c_str());
    EXPECT_EQ(Reports().back().level, c.level);
    EXPECT_EQ(Reports().back().text, words);
    EXPECT_EQ(store.HasRecords({kGps, 5}), c.result);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EppHeaderTest,
    ::testing::Values(
        HeaderCase{"Current", "$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox", true, 3,
                   "\nReading broadcast ephemeris data %s"},
        HeaderCase{"CurrentOf870IsFine", "$EPHV3B Ver8.70.1", true, 3, "\nReading broadcast ephemeris data %s"},
        HeaderCase{"Version1Of870Refused", "$EPHVER3 Ver8.70.1", false, 2,
                   "8.70 has modified its eph file format, please recreate '%s'"},
        HeaderCase{"Oldest", "$EPHREC", true, 3, "\nReading broadcast ephemeris data %s"},
        HeaderCase{"UnknownMagic", "$EPHV2 Ver1", false, 3, "Invalid ephemeris file '%s'"},
        HeaderCase{"EmptyFile", "", false, 3, "Invalid ephemeris file '%s'"},
        HeaderCase{"NoFile", nullptr, false, 3, "Failed to open ephemeris file '%s'"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(EppFileTest, TrvNameReadsTheEppBesideIt) {
    CEphemerisStore store(Record);
    Fill(store);
    ASSERT_GT(SaveEphemerisFile(store, dir.File("survey.trv").c_str(), false, nullptr, nullptr), 0);
    CEphemerisStore again(Record);
    EXPECT_TRUE(LoadEphemerisFile(again, dir.File("survey.trv").c_str(), true));
    GpsTimeRange range;
    char message[512] = "";
    ASSERT_TRUE(GetFileTimeRange(dir.File("survey.trv").c_str(), range, message, false));
    // GPS, BeiDou (GPS time 345614) and GLONASS only: 345600 .. 352800.
    EXPECT_DOUBLE_EQ(range.first.seconds, 345600.0);
    EXPECT_DOUBLE_EQ(range.last.seconds, 352800.0);
    ASSERT_TRUE(GetFileTimeRange(dir.File("survey.epp").c_str(), range, message, true));
    EXPECT_DOUBLE_EQ(range.first.seconds, 345600.0 - 7200.0);
    EXPECT_FALSE(GetFileTimeRange(dir.File("absent.epp").c_str(), range, message, true));
    EXPECT_EQ(std::string(message), "Failed to open " + dir.File("absent.epp"));
}

TEST_F(EppFileTest, TimeOffsetAndIonosphereRecordsKeepTheFirstGoodOne) {
    const std::string path = dir.File("t.epp");
    WriteAll(path,
             "$EPHV3B Ver9.00.2207\n"
             "STcorr {\n"
             "\tGPUT: -9.3e-10 -2.6e-15 405504 2300 GPS 0\n"
             "\tGAUT: 1.8e-09 8.8e-16 345600 2300 GAL\n"          // five values: dropped alone
             "\tGLGP: 1.0e-09 0.0e+00 345600 2300 GLO 0\n"
             "}\n"
             "STcorr {\n\tGPUT: 5.0e-10 0.0e+00 1 2301 XXX 0\n}\n"   // GPUT held already
             "GpsIon {\n\tCfa: 1e-8 2e-8 3e-8 4e-8\n\tCfb: 1e5 2e5 3e5 4e5\n}\n"
             "GpsIon {\n\tCfa: 9e-8 9e-8 9e-8 9e-8\n\tCfb: 9e5 9e5 9e5 9e5\n}\n"
             "GpsAlm {\n\tX: 1\n}\n"
             "GpsEph { Prn: 5\n\tE31: 2300 345600 -1.1e-08\n\tE32: 77 345600 -1.2e-04 -3.4e-12 0\n"
             "\tE33: 77 5153.655 0.0102\n\tE34: 0.81 -2.01 -8.1e-09\n\tE35: 0.9616 2.1e-10 4.5e-09 1.23\n"
             "\tE36: -1.2e-06 230.5 1.1e-07\n\tE37: 7.5e-06 -22.3 -5.2e-08\n}\n");
    CEphemerisStore store(Record);
    ASSERT_TRUE(LoadEphemerisFile(store, path.c_str(), true));
    ASSERT_EQ(store.TimeOffsets().size(), 2u);
    EXPECT_STREQ(store.TimeOffsets()[0].name, "GPUT");
    EXPECT_DOUBLE_EQ(store.TimeOffsets()[0].a0, -9.3e-10);
    EXPECT_STREQ(store.TimeOffsets()[1].name, "GLGP");
    EXPECT_EQ(store.Ionosphere().flags, kIonosphereModelValid);
    EXPECT_DOUBLE_EQ(store.Ionosphere().alpha[0], 1e-8);
    EXPECT_DOUBLE_EQ(store.Ionosphere().beta[3], 4e5);
}

TEST_F(EppFileTest, BrokenRecordsAreReportedAndPassedOver) {
    const std::string path = dir.File("bad.epp");
    WriteAll(path,
             "$EPHV3B Ver9.00.2207\n"
             "GpsEph { Prn: 40\n\tE31: 2300 345600 -1.1e-08\n}\n"
             "GloEph { Prn: 9 0\n\tTkb: 45000 46800\n}\n");
    CEphemerisStore store(Record);
    EXPECT_FALSE(LoadEphemerisFile(store, path.c_str(), true));
    std::vector<std::string> texts;
    for (const Report& r : Reports()) texts.push_back(std::to_string(r.level) + " " + r.text);
    const std::vector<std::string> expected = {"3 \nReading broadcast ephemeris data " + path,
                                               "2 Warning: Invalid GPS PRN 40--Ephemeris record ignored",
                                               // No GPS record, so no time to look up GPS - UTC for.
                                               "3 Input GPS time not valid, UTC offset has not been altered",
                                               "2 No valid record found in the ephemeris file"};
    EXPECT_EQ(texts, expected);

    IonosphereModelRecord model{};
    TextRecord text;
    FILE* file = std::fopen(path.c_str(), "r");
    ASSERT_NE(file, nullptr);
    char line[80];
    ASSERT_NE(std::fgets(line, sizeof line, file), nullptr);
    ASSERT_TRUE(text.Read(file));
    std::fclose(file);
    char message[512] = "";
    EXPECT_FALSE(ReadIonosphereRecord(text, model, message));
    EXPECT_STREQ(message, "Not a valid record for ionospheric model");
}

struct FilterCase {
    const char* name;
    GpsTimeRange range;
    int written;
};

class EppWriteFilterTest : public EppFileTest, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(EppWriteFilterTest, WritesOnlyRecordsInsideAProperRange) {
    CEphemerisStore store(Record);
    Fill(store);
    const FilterCase& c = GetParam();
    EXPECT_EQ(SaveEphemerisFile(store, dir.File("f.epp").c_str(), false, nullptr, nullptr, &c.range), c.written);
}

// Reference times in the store: GPS 345600 345600 352800 (PRN 5, 5, 12),
// BeiDou 345614, QZSS 349200, Galileo 345000, GLONASS 345618.
INSTANTIATE_TEST_SUITE_P(
    Cases, EppWriteFilterTest,
    ::testing::Values(FilterCase{"Proper", {{2300, 345000.0}, {2300, 349200.0}}, 5},
                      FilterCase{"EndsWithinAMillisecond", {{2300, 345000.0005}, {2300, 345599.9995}}, 2},
                      FilterCase{"OnlyOneEndValid", {{0, 0.0}, {2300, 345600.0}}, 7},
                      FilterCase{"Reversed", {{2300, 352800.0}, {2300, 345000.0}}, 7}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(EppFileTest, AppendAddsRecordsWithoutHeader) {
    CEphemerisStore store(Record);
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    const std::string path = dir.File("append.txt");
    WriteAll(path, "$EPHV3B Ver9.00.2207\n");
    ASSERT_EQ(SaveEphemerisFile(store, path.c_str(), true, "X", "Y"), 1);
    const std::string text = ReadAll(path);
    EXPECT_EQ(text.rfind("$EPHV3B Ver9.00.2207\nGpsEph { Prn: 5\n", 0), 0u) << text;
    EXPECT_EQ(SaveEphemerisFile(store, dir.File("no/such/folder/x.epp").c_str(), false, nullptr, nullptr), 0);
}

TEST_F(EppFileTest, GalileoFilterKeepsOneNavigationMessage) {
    CEphemerisStore source(Record);
    GalEphemerisRecord fnavOnly = sample::Galileo();
    fnavOnly.iNavValid = false;
    fnavOnly.prn = 12;
    ASSERT_TRUE(source.AddGalileo(sample::Galileo()));
    ASSERT_TRUE(source.AddGalileo(fnavOnly));
    const std::string path = dir.File("gal.epp");
    ASSERT_EQ(SaveEphemerisFile(source, path.c_str(), false, nullptr, nullptr), 2);

    for (int filter : {0, 1, 2}) {
        SCOPED_TRACE(filter);
        CEphemerisStore store(Record);
        store.SetGalileoFilter(filter);
        LoadEphemerisFile(store, path.c_str(), true);
        EXPECT_EQ(store.HasRecords({kGalileo, 12}), filter != 2);
        ASSERT_TRUE(store.HasRecords({kGalileo, 11}));
        const GalEphemerisRecord& r =
            static_cast<const GNSS::CEphemerisGAL*>(store.GetRecords({kGalileo, 11})[0])->Record();
        EXPECT_EQ(r.iNavValid, filter != 1);
        EXPECT_EQ(r.fNavValid, filter != 2);
    }
}
