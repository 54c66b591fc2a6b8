// Time promises: calendar and GPS time convert as the C library's calendar does
// from 1980 to 2099; texts format and parse back within lax limits; weeks
// normalise by one step, compare with set tolerances, and are made full.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <ctime>

#include "timebase/GpsTime.h"

static constexpr long long kGpsEpochUnix = 315964800;  // 1980-01-06 00:00:00 UTC
static constexpr double kWeek = 604800.0;

// Every day to 2099, at a time of day that wanders over the day, against gmtime.
TEST(Calendar, AgreesWithGmtimeEveryDayTo2099) {
    struct tm t {};
    for (long long day = 315532800, offset = 0; day < 4102444800LL; day += 86400) {  // 1 January 1980 to 2100
        offset = (offset + 3671) % 86400;
        const time_t unix = static_cast<time_t>(day + offset);
        gmtime_r(&unix, &t);
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
    EXPECT_TRUE(week == 2048 && seconds == 0.0);
    CalendarToGps(0, 0, 0.0, 8, 22, 99, week, seconds);  // 99 is 1999: the first roll-over
    EXPECT_EQ(week, 1024);
    GpsCalendarTime g;
    g.Set(1999, 8, 21, 0, 0, 0.0);  // valid, but still a broadcast week
    EXPECT_EQ(g.GetDayOfYear(), -1.0);
    EXPECT_TRUE(DaysSinceLeapYear(10, 2020) == 10 && DaysSinceLeapYear(0, 2023) == 366 + 365 + 365);
    // Invalid input keeps the fields and zeroes the time.
    g.Set(2019, 4, 7, 12, 30, 59.5);
    for (const auto& b : {std::array{1998, 4, 0, 0}, {2019, 13, 0, 0}, {2019, 4, 24, 0}, {2019, 4, 0, 60}}) {
        g.Set(b[0], b[1], 7, b[2], 0, b[3]);  // year, month, hour or second out of range
        EXPECT_TRUE(g.time.week == 0 && g.time.seconds == 0.0 && g.year == 2019 && g.hour == 12 && g.second == 59.5)
            << b[0] << "-" << b[1];
    }
    EXPECT_FALSE(g.SetFromGpsTime(GpsTime(1023, 0.0)));
    ASSERT_TRUE(g.SetFromGpsTime(GpsTime(2048, 3 * 86400.0 + 45296.5)));
    EXPECT_TRUE(g.month == 4 && g.day == 10 && g.minute == 34 && g.second == 56.5);
}

TEST(CalendarText, FormatParseRoundTrip) {
    char timeText[32], dateText[32];
    FormatGpsTime(2048 * kWeek + 3 * 86400.0 + 45296.789, 3, timeText, dateText);
    EXPECT_EQ(std::string(timeText) + " " + dateText, "12:34:56.789 04/10/2019");
    FormatGpsTime(2048 * kWeek + 45296.789, 0, timeText, nullptr);
    EXPECT_STREQ(timeText, "12:34:57");
    double a = 0.0;  // a broadcast week is made full by the clock
    EXPECT_TRUE(ParseGpsTime("0:00:00", "1/6/80", a) == 0 && a == ResolveWeekByClock(0) * kWeek);
}

// Times from damaged files still give a text and some day, never an
// undefined conversion (the sanitizer build checks that).
TEST(CalendarText, WildTimesStillFormat) {
    char timeText[32], dateText[32];
    int day = 0;
    double fraction = 0.0;
    for (double wild : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300}) {
        FormatGpsTime(wild, 3, timeText, dateText);
        EXPECT_NE(std::strchr(dateText, '/'), nullptr) << wild;
        GpsTime time(2048, 0.0);
        time.seconds = wild;
        time.GetMjd(day, fraction);
    }
}

TEST(CalendarText, ParseLimits) {
    const std::tuple<const char*, const char*, double> cases[] = {  // seconds after week 2048; -1: refused
        {"36:00:00", "04/07/19", 36 * 3600.0},  // hours beyond a day pass
        {" 9:05:07.25xyz", "4/7/2019", 32707.25}, {"255:60:60.0", "4/7/2019", 255 * 3600.0 + 3660.0},  // the limits
        {"12:00:00", "4-7-2019", -1},  {"12:00:00", "4/7", -1},       {"12:00", "4/7/2019", -1},
        {"256:00:00", "4/7/2019", -1}, {"12:61:00", "4/7/2019", -1},  {"12:-1:00", "4/7/2019", -1},
        {"12:00:60.5", "4/7/2019", -1}, {"12:00:-1", "4/7/2019", -1}};
    for (const auto& [time, date, seconds] : cases) {
        double a = 7.0;
        EXPECT_EQ(ParseGpsTime(time, date, a), seconds < 0 ? 1 : 0) << time << " " << date;
        EXPECT_EQ(a, seconds < 0 ? 7.0 : 2048 * kWeek + seconds) << time << " " << date;
    }
}

TEST(GpsTime, NormalisesComparesWrapsAndGivesTheMjd) {
    EXPECT_TRUE(GpsTime(2000, 604800.0).week == 2000 && GpsTime(2000, 1300000.0).seconds == 695200.0);  // one step
    EXPECT_TRUE(GpsTime().Set(1023, 604801.0) && !GpsTime().Set(1024, -1.0));  // whether the week is then full
    const GpsTime a(2000, 100.0), b(2000, 100.0 + 1.5e-5);
    EXPECT_TRUE(a < b && b <= a && !(a >= b) && !(a <= GpsTime(1999, 604799.0)));  // <= allows 2e-5, >= only 1e-5
    // A difference is wrapped into half a week either side, giving up on numbers too wild to wrap.
    for (const auto& [x, y, d] : {std::array{1.0, 604799.0, 2.0}, {604799.0, 1.0, -2.0}, {1209601.0, 0.0, 1.0},
                                  {-500000.0, 0.0, -500000.0}})
        EXPECT_EQ(WrapTimeDifference(x, y), d) << x << " " << y;
    EXPECT_TRUE(WrapTimeDifference(1e30, 0.0) > 1e29 && std::isinf(WrapTimeDifference(INFINITY, 0.0)));
    int day = 0;
    double fraction = -1.0;
    GpsTime(2048, 3 * 86400.0 + 86399.75).GetMjd(day, fraction);
    EXPECT_TRUE(day == 58583 && std::fabs(fraction - 86399.75 / 86400.0) < 1e-12);  // 7 April 2019 is MJD 58580
}

TEST(GpsTimeRange, SetAndExtend) {
    GpsTimeRange r;
    r.Set(2001, 5.0, 2000, -10.0);  // normalised and put in order
    EXPECT_TRUE(r.first.week == 1999 && r.first.seconds == 604790.0 && r.last.week == 2001);
    r = GpsTimeRange();  // a range without a week takes the first week seen
    r.Extend(0, 100.0);
    r.Extend(2000, 50.0);
    EXPECT_TRUE(r.first.week == 2000 && r.first.seconds == 50.0 && r.last.week == 2000 && r.last.seconds == 100.0);
    r.Extend(2001, 10.0);
    // Times without a usable week (1024 and below) move the seconds only.
    for (int w : {0, 1024, 5}) r.Extend(w, w == 1024 ? 40.0 : 600.0);
    EXPECT_TRUE(r.first.week == 2000 && r.first.seconds == 40.0 && r.last.week == 2001 && r.last.seconds == 600.0);
}

TEST(ResolveWeek, NearReferenceByTimesAndByClock) {
    for (const auto& [week, reference, full] : {std::array{1, 2048, 2049}, {1023, 2048, 2047}, {1023, 1000, 1023},
                                                {2100, 5000, 2100}, {512, 2048, 2560}, {513, 2048, 1537}})
        EXPECT_EQ(ResolveWeekNear(week, reference), full) << week << " near " << reference;
    EXPECT_TRUE(ResolveWeekByTimes(2048, 604000.0, 100.0) == 2049 &&
                ResolveWeekByTimes(1023, 604000.0, 100.0) == 1024);
    EXPECT_TRUE(ResolveWeekByTimes(2048, 1000.0, 300999.0) == 2048 &&
                ResolveWeekByTimes(2048, 1000.0, 301000.0) == 2047);
    EXPECT_TRUE(ResolveWeekNear(88, 2648) == 2136 && ResolveWeekNear(87, 2648) == 3159);
    EXPECT_EQ(ResolveWeekByTimes(5, 0.0, 0.0), ResolveWeekByClock(5));
    EXPECT_EQ(AbsoluteSeconds(10.0, 0), ResolveWeekByClock(0) * kWeek + 10.0);
    EXPECT_TRUE(SecondsOfWeek(2048 * kWeek + 12.5) == 12.5 && SecondsOfWeek(-10.0) == -10.0);
    // By the clock: up to 199 weeks ahead of the local clock's week, else from the era before.
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    const int current = static_cast<int>((timegm(&local) - kGpsEpochUnix) / 604800);
    EXPECT_TRUE(ResolveWeekByClock(-1) == -1 && ResolveWeekByClock(current + 1024) == current);
    const int ahead = current % 1024 + 199;
    EXPECT_TRUE(ahead >= 1023 || (ResolveWeekByClock(ahead) == current + 199 &&
                                  ResolveWeekByClock(ahead + 1) == current + 200 - 1024));
    for (int w = 0; w < 1024; ++w) {
        const int full = ResolveWeekByClock(w);
        ASSERT_TRUE(full % 1024 == w && full - current >= -824 && full - current <= 200) << w;
    }
}
