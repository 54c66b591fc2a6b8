#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ctime>

#include "timebase/GpsTime.h"

namespace {
constexpr long long kGpsEpochUnix = 315964800;  // 1980-01-06 00:00:00 UTC
constexpr double kWeek = 604800.0;
}  // namespace

// Every day from 1980 to 2099, at a time of day that wanders over the day,
// against the C library's UTC calendar.
TEST(Calendar, AgreesWithGmtimeEveryDayTo2099) {
    struct tm t {};
    t.tm_year = 80;
    t.tm_mday = 1;
    long long offset = 0;
    for (long long day = timegm(&t); day < 4102444800LL; day += 86400) {
        offset = (offset + 3671) % 86400;
        const long long unix = day + offset;
        const time_t tt = static_cast<time_t>(unix);
        gmtime_r(&tt, &t);
        const int year = t.tm_year + 1900, month = t.tm_mon + 1;

        const UnixCalendar* c = SplitUnixSeconds(unix);
        ASSERT_TRUE(c->yearsSince1900 == t.tm_year && c->month == t.tm_mon && c->dayOfMonth == t.tm_mday &&
                    c->hour == t.tm_hour && c->minute == t.tm_min && c->second == t.tm_sec)
            << unix;

        int week = 0;
        double seconds = 0.0;
        CalendarToGps(t.tm_hour, t.tm_min, t.tm_sec + 0.25, month, t.tm_mday, year, week, seconds);
        ASSERT_EQ(week * kWeek + seconds, (unix - kGpsEpochUnix) + 0.25) << unix;

        if (year < 2000) continue;
        GpsCalendarTime g;
        g.Set(year, month, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec + 0.125);
        ASSERT_EQ(g.time.week * kWeek + g.time.seconds, (unix - kGpsEpochUnix) + 0.125) << unix;
        const double secondOfDay = t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec + 0.125;
        ASSERT_NEAR(g.GetDayOfYear(), t.tm_yday + secondOfDay / 86400.0, 1e-9) << unix;
    }
}

TEST(Calendar, QuirksAndInvalidInput) {
    int week = -5;
    double seconds = -5.0;
    CalendarToGps(0, 0, 0.0, 4, 7, 19, week, seconds);  // two-digit 19 is 2019
    EXPECT_EQ(week, 2048);
    EXPECT_EQ(seconds, 0.0);
    CalendarToGps(0, 0, 0.0, 8, 22, 99, week, seconds);  // 99 is 1999: the first roll-over
    EXPECT_EQ(week, 1024);

    // Every fourth year is leap in the split calendar, even 2100 ...
    const UnixCalendar* c = SplitUnixSeconds(4107456000LL + 86400);
    EXPECT_TRUE(c->month == 1 && c->dayOfMonth == 29);
    // ... but not for the day of the year.
    GpsCalendarTime g;
    g.Set(2100, 3, 1, 6, 0, 0.0);
    EXPECT_DOUBLE_EQ(g.GetDayOfYear(), 59.25);
    g.Set(1999, 8, 21, 0, 0, 0.0);  // valid, but still a broadcast week
    EXPECT_EQ(g.GetDayOfYear(), -1.0);

    EXPECT_EQ(DaysSinceLeapYear(10, 2020), 10);
    EXPECT_EQ(DaysSinceLeapYear(0, 2023), 366 + 365 + 365);

    // Invalid input keeps the fields and zeroes the time.
    const double bad[][6] = {{1998, 4, 7, 0, 0, 0}, {2019, 13, 7, 0, 0, 0}, {2019, 4, 7, 24, 0, 0},
                             {2019, 4, 7, 0, 0, 60}};
    for (const auto& b : bad) {
        g.Set(2019, 4, 7, 12, 30, 59.5);
        ASSERT_EQ(g.time.week, 2048);
        g.Set(int(b[0]), int(b[1]), int(b[2]), int(b[3]), int(b[4]), b[5]);
        EXPECT_TRUE(g.time.week == 0 && g.time.seconds == 0.0) << b[0] << "-" << b[1];
        EXPECT_TRUE(g.year == 2019 && g.hour == 12 && g.second == 59.5);
    }
    EXPECT_FALSE(g.SetFromGpsTime(GpsTime(1023, 0.0)));
    ASSERT_TRUE(g.SetFromGpsTime(GpsTime(2048, 3 * 86400.0 + 45296.5)));
    EXPECT_TRUE(g.year == 2019 && g.month == 4 && g.day == 10 && g.hour == 12 && g.minute == 34);
    EXPECT_DOUBLE_EQ(g.second, 56.5);
}

TEST(CalendarText, FormatParseRoundTrip) {
    char timeText[32], dateText[32], clockDate[32];
    FormatGpsTime(2048 * kWeek + 3 * 86400.0 + 45296.789, 3, timeText, dateText);
    EXPECT_STREQ(timeText, "12:34:56.789");
    EXPECT_STREQ(dateText, "04/10/2019");
    FormatGpsTime(2048 * kWeek + 45296.789, 0, timeText, nullptr);
    EXPECT_STREQ(timeText, "12:34:57");

    // A broadcast week is made full by the clock, alike in both directions.
    FormatGpsTime(100.0, 0, nullptr, dateText);
    FormatGpsTime(ResolveWeekByClock(0) * kWeek + 100.0, 0, nullptr, clockDate);
    EXPECT_STREQ(dateText, clockDate);
    double a = 0.0;
    ASSERT_EQ(ParseGpsTime("0:00:00", "1/6/80", a), 0);
    EXPECT_EQ(a, ResolveWeekByClock(0) * kWeek);

    for (double at = 1100 * kWeek + 0.125; at < 4000 * kWeek; at += 3.3e7 + 0.25) {
        FormatGpsTime(at, 3, timeText, dateText);
        ASSERT_EQ(ParseGpsTime(timeText, dateText, a), 0) << timeText << " " << dateText;
        ASSERT_NEAR(a, at, 1e-6) << timeText << " " << dateText;
    }
}

TEST(CalendarText, WildTimesStillFormat) {
    char timeText[32], dateText[32];
    for (double wild : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300}) {
        FormatGpsTime(wild, 3, timeText, dateText);
        EXPECT_NE(std::strchr(dateText, '/'), nullptr) << wild;
    }
}

TEST(CalendarText, ParseLimits) {
    const struct {
        const char* time;
        const char* date;
        int result;
        double seconds;  // after week 2048; unchecked when refused
    } cases[] = {
        {"36:00:00", "04/07/19", 0, 36 * 3600.0},  // hours beyond a day pass
        {" 9:05:07.25xyz", "4/7/2019", 0, 32707.25},
        {"255:60:60.0", "4/7/2019", 0, 255 * 3600.0 + 3660.0},  // the upper limits themselves
        {"12:00:00", "4-7-2019", 1, 0}, {"12:00:00", "4/7", 1, 0}, {"12:00", "4/7/2019", 1, 0},
        {"256:00:00", "4/7/2019", 1, 0}, {"12:61:00", "4/7/2019", 1, 0}, {"12:-1:00", "4/7/2019", 1, 0},
        {"12:00:60.5", "4/7/2019", 1, 0}, {"12:00:-1", "4/7/2019", 1, 0},
    };
    for (const auto& c : cases) {
        double a = 7.0;
        EXPECT_EQ(ParseGpsTime(c.time, c.date, a), c.result) << c.time << " " << c.date;
        EXPECT_EQ(a, c.result ? 7.0 : 2048 * kWeek + c.seconds) << c.time << " " << c.date;
    }
}
