#include <gtest/gtest.h>

#include <cmath>

#include <filesystem>
#include <string>

#include "settings/SettingsFixture.h"
#include "timebase/GpsTime.h"
#include "timebase/UtcOffset.h"

namespace fs = std::filesystem;
using settingstest::SettingsWorld;
using settingstest::WriteText;

namespace {

GpsTime GpsAt(int year, int month, int day, int hour = 0, int minute = 0, double second = 0.0) {
    GpsTime time;
    int week = 0;
    CalendarToGps(hour, minute, second, month, day, year, week, time.seconds);
    time.week = static_cast<int16_t>(week);
    return time;
}

std::string OffsetFile(const std::string& elements) {
    return "<?xml version=\"1.0\"?>\n<UtcOffsets>" + elements + "</UtcOffsets>\n";
}

const char kNoFile[] = "Could not open manufact.utc file, UTC offset has not been altered";
const char kUnknown[] = "Unknown error occurred, UTC offset has not been altered";
const char kNoEndDate[] = "End date of UTC offset could not be found, UTC offset has not been altered";
const char kBackupFailed[] = "Backup UTC offset code failed as well";

}  // namespace

TEST(UtcOffsetTable, RowsHoldFromTheirDateToTheNext) {
    struct Case {
        GpsTime time;
        bool found;
        int offset;
    };
    const Case cases[] = {
        {GpsAt(1980, 1, 31, 23, 59, 59), false, 0},
        {GpsAt(1980, 2, 1), true, -1},
        {GpsAt(1990, 12, 31, 23, 59, 59), true, -1},
        {GpsAt(1991, 1, 1), true, 7},
        {GpsAt(1998, 12, 31), true, 12},
        {GpsAt(1999, 1, 1), true, 13},
        {GpsAt(2003, 6, 1), true, 13},
        {GpsAt(2005, 12, 31, 23, 59, 59.5), true, 13},
        {GpsAt(2006, 1, 1), true, 14},
        {GpsAt(2012, 6, 30), true, 15},
        {GpsAt(2012, 7, 1), true, 16},
        {GpsAt(2016, 12, 31), true, 17},
        {GpsAt(2016, 12, 31, 23, 59, 59.999), true, 17},
        {GpsAt(2017, 1, 1), true, 18},
        {GpsAt(2029, 12, 31, 23, 59, 59), true, 18},
        {GpsAt(2030, 1, 1), false, 0},
        {GpsAt(2045, 3, 1), false, 0},
    };
    for (const Case& c : cases) {
        CUtcOffset lookup;
        int offset = 99;
        EXPECT_EQ(lookup.GetBackupUtcOffset(c.time.seconds, c.time.week, offset), c.found)
            << c.time.week << " " << c.time.seconds;
        EXPECT_EQ(lookup.IsValid(), c.found);
        if (c.found) {
            EXPECT_EQ(offset, c.offset) << c.time.week << " " << c.time.seconds;
        } else {
            EXPECT_EQ(offset, 99);
            EXPECT_STREQ(lookup.GetErrorText(), kBackupFailed);
        }
    }
    // The week is taken as it is: seconds beyond a week still count.
    CUtcOffset lookup;
    int offset = 0;
    const GpsTime time = GpsAt(2017, 1, 1);
    ASSERT_TRUE(lookup.GetBackupUtcOffset(time.seconds + kSecondsPerWeek, time.week - 1, offset));
    EXPECT_EQ(offset, 18);
}

class UtcOffsetFile : public SettingsWorld {
protected:
    void SetUp() override {
        SettingsWorld::SetUp();
        if (IsSkipped()) return;
        Host("App/bin");
    }
    std::string UtcFile() const { return At("App/resources/Manufact/manufact.utc"); }
    void WriteUtcFile(const std::string& elements) { WriteText(UtcFile(), OffsetFile(elements)); }
    void UseShippedFile() {
        fs::create_directories(At("App/resources/Manufact"));
        fs::copy_file(ubxtest::BinaryDir() / "resources/Manufact/manufact.utc", UtcFile(),
                      fs::copy_options::overwrite_existing);
    }
};

TEST_F(UtcOffsetFile, ShippedHistoryAgreesWithTheBuiltInTable) {
    UseShippedFile();
    CUtcOffset fromFile, fromTable;
    for (GpsTime time = GpsAt(1999, 8, 22, 12); time < GpsAt(2030, 1, 1); time.week += 3) {
        int fileOffset = 0, tableOffset = 0;
        ASSERT_TRUE(fromFile.GetUtcOffset(time, fileOffset));
        ASSERT_TRUE(fromTable.GetBackupUtcOffset(time.seconds, time.week, tableOffset));
        EXPECT_EQ(fileOffset, tableOffset) << "week " << time.week;
    }
    // At the leap seconds themselves, and beyond the end of the table.
    struct Case {
        GpsTime time;
        int offset;
    };
    const Case cases[] = {
        {GpsAt(2005, 12, 31, 23, 59, 59), 13}, {GpsAt(2006, 1, 1), 14}, {GpsAt(2016, 12, 31), 17},
        {GpsAt(2017, 1, 1), 18},               {GpsAt(2030, 1, 1), 18}, {GpsAt(2060, 1, 1), 18},
    };
    for (const Case& c : cases) {
        CUtcOffset lookup;
        int offset = 0;
        ASSERT_TRUE(lookup.GetUtcOffset(c.time, offset)) << lookup.GetErrorText();
        EXPECT_EQ(offset, c.offset) << c.time.week << " " << c.time.seconds;
        EXPECT_STREQ(lookup.GetErrorText(), "") << "the file answered, not the table";
    }
}

TEST_F(UtcOffsetFile, FailuresFallBackOrReportTheirText) {
    struct Case {
        const char* label;
        const char* elements;  // null: no file at all
        GpsTime time;
        bool found;
        int offset;
        const char* text;
    };
    const Case cases[] = {
        {"no file", nullptr, GpsAt(2020, 5, 5), true, 18, kNoFile},
        {"no file, no table row", nullptr, GpsAt(2031, 5, 5), false, -7, kBackupFailed},
        {"not XML", "<offset", GpsAt(2020, 5, 5), true, 18, kNoFile},
        {"no offset elements", "<other value='3'/>", GpsAt(2020, 5, 5), true, 18, kUnknown},
        {"end day missing", "<offset endyear='2030' endmonth='1' value='3'/>", GpsAt(2020, 5, 5), true, 18,
         kNoEndDate},
        {"no attributes", "<offset/>", GpsAt(2020, 5, 5), true, 18, kNoEndDate},
        {"list runs out", "<offset endyear='2010' endmonth='1' endday='1' value='3'/>", GpsAt(2020, 5, 5),
         true, 18, kUnknown},
        {"value missing", "<offset endyear='0' endmonth='0' endday='0'/>", GpsAt(2020, 5, 5), true, 18,
         kUnknown},
        {"empty end date is open-ended", "<offset endyear='' endmonth='' endday='' value='21'/>",
         GpsAt(2020, 5, 5), true, 21, ""},
        {"value not a number", "<offset endyear='0' endmonth='0' endday='0' value='abc'/>",
         GpsAt(2020, 5, 5), false, -7, "invalid stoi argument"},
        {"value too large", "<offset endyear='0' endmonth='0' endday='0' value='99999999999'/>",
         GpsAt(2020, 5, 5), false, -7, "stoi argument out of range"},
        {"end year not a number", "<offset endyear='soon' endmonth='1' endday='1' value='3'/>",
         GpsAt(2020, 5, 5), false, -7, "invalid stoi argument"},
        {"a leading number is read", "<offset endyear='0' endmonth='0' endday='0' value='19 s'/>",
         GpsAt(2020, 5, 5), true, 19, ""},
    };
    for (const Case& c : cases) {
        fs::remove(UtcFile());
        if (c.elements != nullptr) WriteUtcFile(c.elements);
        CUtcOffset lookup;
        int offset = -7;
        EXPECT_EQ(lookup.GetUtcOffset(c.time, offset), c.found) << c.label;
        EXPECT_EQ(offset, c.offset) << c.label;
        EXPECT_STREQ(lookup.GetErrorText(), c.text) << c.label;
        EXPECT_EQ(lookup.IsValid(), c.found) << c.label;
    }
}

TEST_F(UtcOffsetFile, AnOffsetEndsAtTheStartOfItsEndDay) {
    WriteUtcFile("<offset endyear='2020' endmonth='1' endday='1' value='5'/>"
                 "<offset endyear='2010' endmonth='1' endday='1' value='4'/>"
                 "<offset endyear='0' endmonth='0' endday='0' value='6'/>");
    struct Case {
        GpsTime time;
        int offset;
    };
    const Case cases[] = {
        {GpsAt(2012, 1, 1), 5},  // document order rules, not the dates
        {GpsAt(2019, 12, 31, 23, 59, 59.9), 5},
        {GpsAt(2020, 1, 1), 6},
    };
    for (const Case& c : cases) {
        CUtcOffset lookup;
        int offset = 0;
        ASSERT_TRUE(lookup.GetUtcOffset(c.time, offset));
        EXPECT_EQ(offset, c.offset) << c.time.week << " " << c.time.seconds;
    }
}

TEST_F(UtcOffsetFile, TimesBeforeWeek1024AreRefusedWithoutFallback) {
    WriteUtcFile("<offset endyear='0' endmonth='0' endday='0' value='18'/>");
    struct Case {
        int week;
        double seconds;
        const char* text;
    };
    const Case cases[] = {
        {1023, 345600.0, "Input GPS time not valid, UTC offset has not been altered"},
        {-1, 0.0, "Input GPS time not valid, UTC offset has not been altered"},
        {1024, -0.5, "Input GPS time is from before week 1024, UTC offset has not been altered"},
    };
    for (const Case& c : cases) {
        CUtcOffset lookup;
        GpsTime time;
        time.week = static_cast<int16_t>(c.week);
        time.seconds = c.seconds;
        int offset = -7;
        EXPECT_FALSE(lookup.GetUtcOffset(time, offset));
        EXPECT_EQ(offset, -7);
        EXPECT_STREQ(lookup.GetErrorText(), c.text);
        EXPECT_FALSE(lookup.IsValid());
    }
    CUtcOffset lookup;
    int offset = 0;
    EXPECT_TRUE(lookup.GetUtcOffset(GpsAt(1999, 8, 22), offset)) << "the first full week is served";
    // A NaN second in the remembered week misses the cache without an
    // undefined conversion (the sanitizer build checks that).
    GpsTime wild = GpsAt(1999, 8, 22);
    wild.seconds = std::nan("");
    lookup.GetUtcOffset(wild, offset);
}

TEST_F(UtcOffsetFile, PositiveCachedOffsetAnswersTheSameDayWithoutTheFile) {
    WriteUtcFile("<offset endyear='0' endmonth='0' endday='0' value='25'/>");
    CUtcOffset lookup;
    int offset = 0;
    ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 1, 0, 0, 1), offset));
    ASSERT_EQ(offset, 25);

    fs::remove(UtcFile());
    ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 1, 23, 59, 59), offset));
    EXPECT_EQ(offset, 25) << "same day: the cache answers";
    EXPECT_STREQ(lookup.GetErrorText(), "");

    ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 2), offset));
    EXPECT_EQ(offset, 18) << "next day: the file is asked, and the table answers";
    EXPECT_STREQ(lookup.GetErrorText(), kNoFile);

    // Same day of the week one week on is another day.
    WriteUtcFile("<offset endyear='0' endmonth='0' endday='0' value='26'/>");
    ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 9), offset));
    EXPECT_EQ(offset, 26);
}

TEST_F(UtcOffsetFile, CachedOffsetOfZeroOrBelowIsLookedUpAgain) {
    for (const char* stored : {"0", "-3"}) {
        WriteUtcFile(std::string("<offset endyear='0' endmonth='0' endday='0' value='") + stored + "'/>");
        CUtcOffset lookup;
        int offset = 99;
        ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 1), offset));
        ASSERT_EQ(offset, std::stoi(stored));
        WriteUtcFile("<offset endyear='0' endmonth='0' endday='0' value='7'/>");
        ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2020, 6, 1, 6), offset));
        EXPECT_EQ(offset, 7) << stored;
    }
}

TEST_F(SettingsWorld, InstalledTreeFindsTheShippedOffsets) {
    // An installation as cmake --install lays it out: PREFIX/bin beside
    // PREFIX/resources. The build tree has the same shape.
    fs::create_directories(At("prefix"));
    fs::copy(ubxtest::BinaryDir() / "resources", At("prefix/resources"), fs::copy_options::recursive);
    Host("prefix/bin");
    {
        const CProductSettings settings;
        EXPECT_EQ(settings.GetManufactDir(), At("prefix/resources/Manufact"));
    }
    CUtcOffset lookup;
    int offset = 0;
    ASSERT_TRUE(lookup.GetUtcOffset(GpsAt(2024, 2, 29), offset));
    EXPECT_EQ(offset, 18);
    EXPECT_STREQ(lookup.GetErrorText(), "");
}
