// The UTC offset lookup promises: GPS minus UTC from the installation's
// manufact.utc, else from a built-in table (with the file's failure kept),
// never before week 1024, and a positive answer cached for the same day.
#include <gtest/gtest.h>

#include <cmath>

#include "settings/SettingsFixture.h"
#include "timebase/UtcOffset.h"

using namespace settingstest;

static GpsTime GpsAt(int year, int month, int day, int hour = 0, int minute = 0, double second = 0.0) {
    int week = 0;
    GpsTime time;
    CalendarToGps(hour, minute, second, month, day, year, week, time.seconds);
    time.week = static_cast<int16_t>(week);
    return time;
}

// The answer for that time, with the error text, from the lookup given or a fresh one.
static std::string Ask(const GpsTime& time, CUtcOffset&& lookup = CUtcOffset()) {
    int offset = -7;
    const bool found = lookup.GetUtcOffset(time, offset);
    EXPECT_EQ(lookup.IsValid(), found);
    return (found ? "" : "refused ") + std::to_string(offset) + " " + lookup.GetErrorText();
}
static std::string Ask(const GpsTime& time, CUtcOffset& lookup) { return Ask(time, std::move(lookup)); }

static const std::string kNoFile = "18 Could not open manufact.utc file, UTC offset has not been altered";
static const std::string kUnknown = "18 Unknown error occurred, UTC offset has not been altered";
static const std::string kNoEndDate = "18 End date of UTC offset could not be found, UTC offset has not been altered";

TEST(UtcOffsetTable, RowsHoldFromTheirDateToTheNext) {
    const std::pair<GpsTime, int> cases[] = {  // offset 0: no row
        {GpsAt(1980, 1, 31, 23, 59, 59), 0}, {GpsAt(1980, 2, 1), -1}, {GpsAt(1991, 1, 1), 7}, {GpsAt(1998, 12, 31), 12},
        {GpsAt(1999, 1, 1), 13}, {GpsAt(2005, 12, 31, 23, 59, 59.5), 13}, {GpsAt(2006, 1, 1), 14},
        {GpsAt(2012, 6, 30), 15}, {GpsAt(2012, 7, 1), 16}, {GpsAt(2016, 12, 31, 23, 59, 59.999), 17},
        {GpsAt(2017, 1, 1), 18}, {GpsAt(2029, 12, 31, 23, 59, 59), 18}, {GpsAt(2030, 1, 1), 0}};
    for (const auto& [time, expected] : cases) {
        int offset = 0;
        const bool found = CUtcOffset().GetBackupUtcOffset(time.seconds, time.week, offset);
        EXPECT_EQ(found ? offset : 0, expected) << time.week << " " << time.seconds;
    }
}

class UtcOffsetFile : public SettingsWorld {
protected:
    void SetUp() override {
        SettingsWorld::SetUp();
        if (!IsSkipped()) Host("App/bin");
    }
    std::string UtcFile() const { return At("App/resources/Manufact/manufact.utc"); }
    void WriteUtcFile(const std::string& offsets) {
        WriteText(UtcFile(), "<?xml version=\"1.0\"?>\n<UtcOffsets>" + offsets + "</UtcOffsets>\n");
    }
    void WriteOpenEnded(const std::string& value) {
        WriteUtcFile("<offset endyear='0' endmonth='0' endday='0' value='" + value + "'/>");
    }
};

TEST_F(UtcOffsetFile, ShippedHistoryAgreesWithTheBuiltInTable) {
    WriteText(UtcFile(), ReadText(ubxtest::BinaryDir() / "resources/Manufact/manufact.utc"));
    CUtcOffset fromFile, fromTable;
    for (GpsTime time = GpsAt(1999, 8, 22, 12); time < GpsAt(2030, 1, 1); time.week += 3) {
        int fileOffset = 0, tableOffset = 0;
        ASSERT_TRUE(fromFile.GetUtcOffset(time, fileOffset));
        ASSERT_TRUE(fromTable.GetBackupUtcOffset(time.seconds, time.week, tableOffset));
        EXPECT_EQ(fileOffset, tableOffset) << "week " << time.week;
    }
    // Around a leap second and beyond the table, the file answers, not the table.
    EXPECT_EQ(Ask(GpsAt(2016, 12, 31)) + "|" + Ask(GpsAt(2017, 1, 1)) + "|" + Ask(GpsAt(2060, 1, 1)), "17 |18 |18 ");
}

TEST_F(UtcOffsetFile, FailuresFallBackOrReportTheirText) {
    for (const auto& [offsets, answer] : {
             std::pair<const char*, std::string>{nullptr, kNoFile},  // no file at all
             {"<offset", kNoFile},
             {"<other value='3'/>", kUnknown},
             {"<offset endyear='2030' endmonth='1' value='3'/>", kNoEndDate},
             {"<offset/>", kNoEndDate},
             {"<offset endyear='2010' endmonth='1' endday='1' value='3'/>", kUnknown},  // the list runs out
             {"<offset endyear='0' endmonth='0' endday='0'/>", kUnknown},              // no value
             {"<offset endyear='' endmonth='' endday='' value='21'/>", "21 "},  // an empty end date is open-ended
             {"<offset endyear='0' endmonth='0' endday='0' value='abc'/>", "refused -7 invalid stoi argument"},
             {"<offset endyear='0' endmonth='0' endday='0' value='9999999999'/>",
              "refused -7 stoi argument out of range"}}) {
        std::filesystem::remove(UtcFile());
        if (offsets != nullptr) WriteUtcFile(offsets);
        EXPECT_EQ(Ask(GpsAt(2020, 5, 5)), answer) << (offsets ? offsets : "no file");
    }
    std::filesystem::remove(UtcFile());
    EXPECT_EQ(Ask(GpsAt(2031, 5, 5)), "refused -7 Backup UTC offset code failed as well") << "no table row either";
    // An offset ends at the start of its end day; document order rules, not the dates.
    WriteUtcFile("<offset endyear='2020' endmonth='1' endday='1' value='5'/>"
                 "<offset endyear='2010' endmonth='1' endday='1' value='4'/>"
                 "<offset endyear='0' endmonth='0' endday='0' value='6'/>");
    EXPECT_EQ(Ask(GpsAt(2012, 1, 1)) + "|" + Ask(GpsAt(2019, 12, 31, 23, 59, 59.9)) + "|" + Ask(GpsAt(2020, 1, 1)),
              "5 |5 |6 ");
}

TEST_F(UtcOffsetFile, TimesBeforeWeek1024AreRefusedAndPositiveAnswersCachedForTheDay) {
    WriteOpenEnded("18");
    EXPECT_EQ(Ask(GpsTime(1023, 345600.0)), "refused -7 Input GPS time not valid, UTC offset has not been altered");
    GpsTime time(1024, 0.0);
    time.seconds = -0.5;
    EXPECT_EQ(Ask(time), "refused -7 Input GPS time is from before week 1024, UTC offset has not been altered");
    CUtcOffset lookup;
    EXPECT_EQ(Ask(GpsAt(1999, 8, 22), lookup), "18 ") << "the first full week is served";
    // A NaN second in the remembered week misses the cache without an
    // undefined conversion (the sanitizer build checks that).
    time = GpsAt(1999, 8, 22);
    time.seconds = std::nan("");
    Ask(time, lookup);

    // Only a positive offset is cached, and only for the same day.
    WriteOpenEnded("25");
    lookup = CUtcOffset();
    ASSERT_EQ(Ask(GpsAt(2020, 6, 1, 0, 0, 1), lookup), "25 ");
    std::filesystem::remove(UtcFile());
    EXPECT_EQ(Ask(GpsAt(2020, 6, 1, 23, 59, 59), lookup), "25 ") << "same day: the cache answers";
    EXPECT_EQ(Ask(GpsAt(2020, 6, 2), lookup), kNoFile) << "next day: the file is asked";
    WriteOpenEnded("26");
    EXPECT_EQ(Ask(GpsAt(2020, 6, 9), lookup).substr(0, 3), "26 ") << "the same weekday a week on is another day";
    WriteOpenEnded("0");
    CUtcOffset zero;
    ASSERT_EQ(Ask(GpsAt(2020, 6, 1), zero), "0 ");
    WriteOpenEnded("7");
    EXPECT_EQ(Ask(GpsAt(2020, 6, 1, 6), zero), "7 ") << "an offset of 0 is asked again";
}
