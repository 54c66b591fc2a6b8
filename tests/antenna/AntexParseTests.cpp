// The parse rules of satellite antenna blocks, through Load on small files.
#include <gtest/gtest.h>

#include <functional>
#include <numbers>

#include "antenna/AntennaTables.h"
#include "antenna/AntexTestKit.h"
#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "support/TestPaths.h"

using namespace antextest;

namespace {

const SatelliteId kG02(kGps, 2);

class AntexParse : public ::testing::Test {
protected:
    // Loads the blocks over all times; the records taken.
    int LoadAll(const std::string& blocks) {
        antenna.Load(nullptr, GpsTimeRange{}, Write(temp.File("test.atx"), Header() + blocks).c_str());
        return antenna.RecordCount();
    }

    ubxtest::TempDir temp;
    CSatelliteAntennaPCVCorrection antenna;
};

TEST_F(AntexParse, ReadsARecordInMetresAndRadians) {
    SatelliteBlock geo;
    geo.type = "BEIDOU-2G", geo.code = "C03", geo.svn = "C018", geo.cospar = "2016-037A";
    geo.dazi = "   180.0", geo.count = "     3";
    geo.extra = Line("first remark", "COMMENT") + Line("second", "COMMENT");
    // C05 is not a code of ours: it is left out and not missed.
    const std::string rows = Row("NOAZI", 1, 2, 3) + Row("0.0", 4, 5, 6) + Row("180.0", 7, 8, 9) + Row("360.0", -1.5, 0, 2.25);
    geo.frequencies = Frequency("C01", rows) + Frequency("C05", rows) + Frequency("C07", rows);
    ASSERT_EQ(LoadAll(geo.Text()), 1);

    const SatelliteAntennaRecord& r = antenna.Records(SatelliteId(kBeiDou, 3))->front();
    EXPECT_EQ(r.blockType, 0);
    EXPECT_EQ(std::string(r.svn) + r.cospar + r.date, "C0182016-037A01-JAN-26");
    EXPECT_EQ(std::string(r.comment), "first remark" + std::string(47, ' ') + ";second" + std::string(53, ' ') + ";");
    EXPECT_DOUBLE_EQ(r.dazi, std::numbers::pi);
    EXPECT_DOUBLE_EQ(r.dzen, std::numbers::pi / 180.0);
    EXPECT_DOUBLE_EQ(r.validFrom.Difference(At(2010, 5, 28)), 0.0);
    EXPECT_EQ(r.declaredFrequencies, 2);
    EXPECT_EQ(r.foundFrequencies, 2);
    EXPECT_EQ(r.frequencies[0].frequencyId, 6);    // C01
    EXPECT_EQ(r.frequencies[1].frequencyId, 10);   // C07

    const AntennaFrequency& f = r.frequencies[1];
    EXPECT_EQ(f.bits, 0);
    EXPECT_DOUBLE_EQ(f.east, -0.002);
    EXPECT_DOUBLE_EQ(f.up, 1.5);
    ASSERT_EQ(f.rows, 4);
    ASSERT_EQ(f.columns, 3);
    EXPECT_DOUBLE_EQ(f.Variation(0, 2), 0.003);
    EXPECT_DOUBLE_EQ(f.Variation(2, 0), 0.007);
    EXPECT_DOUBLE_EQ(f.Variation(3, 2), 0.00225);
}

// Each case spoils one thing of the G02 block; the G01 block beside it must
// still load. Those that spoil a grid keep one frequency, so that only the
// grid can fail them.
TEST_F(AntexParse, ABadBlockDropsOnlyItsOwnRecord) {
    using Spoil = std::function<void(SatelliteBlock&)>;
    const auto grid = [](const std::string& dazi, const std::string& frequency) {
        return Spoil([=](SatelliteBlock& b) { b.dazi = dazi, b.count = "     1", b.frequencies = frequency; });
    };
    const std::vector<std::pair<const char*, Spoil>> spoilers = {
        {"DAZI 7.0 does not divide 360", [](SatelliteBlock& b) { b.dazi = "     7.0"; }},
        {"DAZI not a number", [](SatelliteBlock& b) { b.dazi = "    five"; }},
        {"ZEN1 above ZEN2", [](SatelliteBlock& b) { b.zenith = "     3.0   2.0   1.0"; }},
        {"ZEN2 not a multiple of DZEN", [](SatelliteBlock& b) { b.zenith = "     0.0   2.5   1.0"; }},
        {"DZEN too small", [](SatelliteBlock& b) { b.zenith = "     0.0   2.0   0.0"; }},
        {"frequency count not a number", [](SatelliteBlock& b) { b.count = "   two"; }},
        {"fewer frequencies than declared", [](SatelliteBlock& b) { b.count = "     3"; }},
        {"frequency without its end", [](SatelliteBlock& b) { b.frequencies.resize(b.frequencies.rfind("   G02")); }},
        {"PRN G99", [](SatelliteBlock& b) { b.code = "G99"; }},
        {"IRNSS", [](SatelliteBlock& b) { b.type = "IRNSS-1IGSO", b.code = "I01"; }},
        {"block type not in the table", [](SatelliteBlock& b) { b.type = "BLOCK IIIF"; }},
        {"DAZI too fine for a block", [](SatelliteBlock& b) { b.dazi = "     0.1"; }},
        {"zenith grid wider than a line", [](SatelliteBlock& b) { b.zenith = "     0.0 9000000000000.0   1.0"; }},
        {"no NORTH / EAST / UP line",
         grid("     0.0", Line("   G01", "START OF FREQUENCY") + Row("NOAZI", 1, 2, 3) + Line("", "END OF FREQUENCY"))},
        {"NORTH / EAST / UP without numbers",
         grid("     0.0", Line("   G01", "START OF FREQUENCY") + Line("  north", "NORTH / EAST / UP") +
                               Row("NOAZI", 1, 2, 3) + Line("", "END OF FREQUENCY"))},
        {"azimuth row without DAZI", grid("     0.0", Frequency("G01", Row("0.0", 1, 2, 3)))},
        {"azimuth row out of place",
         grid("   180.0", Frequency("G01", Row("NOAZI", 1, 2, 3) + Row("0.0", 1, 2, 3) + Row("181.0", 1, 2, 3)))},
        {"grid value not a number", grid("     0.0", Frequency("G01", "   NOAZI    1.00    x.00    3.00\n"))},
    };
    for (const auto& [name, spoil] : spoilers) {
        SatelliteBlock good, bad;
        bad.code = "G02";
        spoil(bad);
        EXPECT_EQ(LoadAll(bad.Text() + good.Text()), 1) << name;
        EXPECT_EQ(antenna.Records(kG02), nullptr) << name;
    }
}

// The ids are stored; the gaps in their numbering belong to them.
TEST(AntexFrequencyCodes, KeepTheirIds) {
    const std::vector<std::pair<const char*, int>> ids = {{"G05", 2}, {"R01", 3}, {"C01", 6}, {"C06", 9}, {"E01", 12},
                                                          {"E08", 16}, {"J01", 17}, {"J06", 20}, {"C05", 21}};
    for (const auto& [code, id] : ids) EXPECT_EQ(FrequencyIdFromCode(code), id) << code;
}

TEST_F(AntexParse, AShortBlockEndsTheReading) {
    SatelliteBlock second;
    second.code = "G02";
    const std::string shortBlock = Line("", "START OF ANTENNA") + std::string(4, '\n') + Line("", "END OF ANTENNA");
    EXPECT_EQ(LoadAll(SatelliteBlock().Text() + shortBlock + second.Text()), 1);
    EXPECT_EQ(antenna.Records(kG02), nullptr);
}

}  // namespace
