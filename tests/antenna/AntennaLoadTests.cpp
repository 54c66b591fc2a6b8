// What Load keeps of a file for a time range, and when it reads at all.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <filesystem>

#include "antenna/AntennaTables.h"
#include "antenna/AntexTestKit.h"
#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "support/TestPaths.h"

using namespace antextest;

namespace {

const SatelliteId kG05(kGps, 5);

class AntennaLoad : public ::testing::Test {
protected:
    bool Load(const GpsTimeRange& range, const std::string& path, char* error = nullptr) {
        return antenna.Load(nullptr, range, path.c_str(), error);
    }
    const char* OnlySvnOfG05() const {
        const SatelliteAntennaList* list = antenna.Records(kG05);
        return list != nullptr && list->size() == 1 ? list->front().svn : "";
    }

    ubxtest::TempDir temp;
    CSatelliteAntennaPCVCorrection antenna;
};

TEST_F(AntennaLoad, RecordsMustOverlapTheRangeAndTheFirstMustHoldItWhole) {
    // G05 changes antenna at the start of 2022; the old one ends the moment before.
    SatelliteBlock old, current;
    old.code = current.code = "G05";
    old.validFrom = "  2010     1     1     0     0    0.0000000";
    old.validUntil = "  2021    12    31    23    59   59.9999999";
    current.svn = "G074", current.validFrom = "  2022     1     1     0     0    0.0000000";
    const std::string path = Write(temp.File("change.atx"), Header() + old.Text() + current.Text());

    ASSERT_TRUE(Load(Days(2015, 3, 1), path));
    EXPECT_STREQ(OnlySvnOfG05(), "G063");
    // The antenna still in service ends with the range.
    const GpsTimeRange later = Days(2023, 6, 1, 2);
    ASSERT_TRUE(Load(later, path));
    EXPECT_STREQ(OnlySvnOfG05(), "G074");
    EXPECT_EQ(antenna.OrbitClassAt(kG05, later.last), kOrbitClassMedium);
    EXPECT_EQ(antenna.OrbitClassAt(kG05, later.last + 0.002), kOrbitClassUnknown);

    // Across the change neither antenna holds the whole range, so G05 has none.
    EXPECT_FALSE(Load(Days(2021, 12, 31, 2), path));
    EXPECT_EQ(antenna.Records(kG05), nullptr);
    // That range counts as loaded all the same: one inside it is not read. Clear makes it read.
    GpsTimeRange edge = Days(2022, 1, 1);
    edge.first -= 0.0009;
    EXPECT_TRUE(Load(edge, path));
    EXPECT_EQ(antenna.Records(kG05), nullptr);
    // A millisecond of slack at the ends, and no more.
    antenna.Clear();
    ASSERT_TRUE(Load(edge, path));
    EXPECT_STREQ(OnlySvnOfG05(), "G074");
    edge.first -= 0.0011;
    antenna.Clear();
    EXPECT_FALSE(Load(edge, path));

    // Without a range all are kept, and the open one ends at the start of tomorrow (UTC).
    ASSERT_TRUE(Load(GpsTimeRange{}, path));
    ASSERT_EQ(antenna.Records(kG05)->size(), 2u);
    const std::time_t now = std::time(nullptr);
    std::tm today{};
    gmtime_r(&now, &today);
    const GpsTime tomorrow = At(today.tm_year + 1900, today.tm_mon + 1, today.tm_mday) + 86400.0;
    EXPECT_DOUBLE_EQ(antenna.Records(kG05)->back().validUntil.Difference(tomorrow), 0.0);
}

TEST_F(AntennaLoad, ASecondLoadInsideTheLoadedRangeReadsNothing) {
    const std::string path = Write(temp.File("once.atx"), Header() + SatelliteBlock().Text());
    ASSERT_TRUE(Load(Days(2024, 1, 1, 3), path));
    std::filesystem::remove(path);

    // The same file in another case, or no file named: nothing is read.
    std::string shouted = path;
    std::transform(shouted.begin(), shouted.end(), shouted.begin(), [](unsigned char c) { return std::toupper(c); });
    EXPECT_TRUE(Load(Days(2024, 1, 1), shouted));
    EXPECT_TRUE(antenna.Load(nullptr, Days(2024, 1, 3), nullptr));
    EXPECT_EQ(antenna.RecordCount(), 1);

    // Beyond the loaded range the file is read again, and it is gone.
    char error[kAntennaErrorSize] = "before. ";
    EXPECT_FALSE(Load(Days(2024, 1, 5), path, error));
    EXPECT_EQ(std::string(error), "before. Failed to open antenna atx file " + path + "\n");
    EXPECT_EQ(antenna.RecordCount(), 0);
}

TEST_F(AntennaLoad, TheHeaderNeedsItsTwoLabelsAndPathsMayUseBackslashes) {
    const std::string block = SatelliteBlock().Text(), end = Line("", "END OF HEADER");
    const std::string version = Line("     1.4            M", "ANTEX VERSION / SYST");
    char error[kAntennaErrorSize] = "";
    // A version line after the end of the header does not count.
    EXPECT_FALSE(Load(GpsTimeRange{}, Write(temp.File("a.atx"), Line("A", "PCV TYPE") + end + version + block), error));
    EXPECT_NE(std::string(error).find("ANTEX VERSION"), std::string::npos);
    EXPECT_FALSE(Load(GpsTimeRange{}, Write(temp.File("b.atx"), version + end + block)));
    EXPECT_EQ(antenna.RecordCount(), 0);

    std::string windows = Write(temp.File("c.atx"), Header() + block);
    std::replace(windows.begin(), windows.end(), '/', '\\');
    ASSERT_TRUE(Load(GpsTimeRange{}, windows));
    EXPECT_EQ(std::string(antenna.Version()) + antenna.SystemLetter() + antenna.PcvType(), "1.4MA");
}

}  // namespace
