#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "timebase/GpsTime.h"

TEST(GpsTime, NormalisesOneStepOnly) {
    // Week and seconds given, week and seconds kept, and whether the week is full.
    const double cases[][5] = {{2000, -1.0, 1999, 604799.0, 1},
                               {2000, 604800.0, 2000, 604800.0, 1},   // exactly a week stays
                               {2000, 1300000.0, 2001, 695200.0, 1},  // more than a week out: still out
                               {1023, 604801.0, 1024, 1.0, 1},        // true once the week is full
                               {1024, -1.0, 1023, 604799.0, 0}};
    for (const auto& c : cases) {
        GpsTime t;
        EXPECT_EQ(t.Set(int(c[0]), c[1]), c[4] != 0) << c[0] << " " << c[1];
        EXPECT_TRUE(t.week == c[2] && t.seconds == c[3]) << c[0] << " " << c[1];
    }
    const GpsTime u = GpsTime(2000, 604790.0) + 20.0;
    EXPECT_TRUE(u.week == 2001 && u.seconds == 10.0);
    EXPECT_EQ((u - 30.0).week, 2000);
    EXPECT_EQ((u - 10.0).week, 2001);
}

TEST(GpsTime, ComparisonToleranceDiffersByDirection) {
    EXPECT_TRUE(GpsTime(1999, 604799.0) < GpsTime(2000, 0.0));  // weeks decide first
    EXPECT_FALSE(GpsTime(2000, 0.0) <= GpsTime(1999, 604799.0));
    const GpsTime a(2000, 100.0), b(2000, 100.0 + 1.5e-5);
    EXPECT_TRUE(a < b && a <= b && b >= a);
    EXPECT_TRUE(b <= a);   // within 2e-5
    EXPECT_FALSE(a >= b);  // beyond 1e-5
    EXPECT_FALSE(GpsTime(2000, 100.0 + 2.5e-5) <= a);

    const GpsTime c(2001, 10.0), d(2000, 604790.0);
    EXPECT_DOUBLE_EQ(d.DifferenceFrom(c), 20.0);  // across the week change
    EXPECT_TRUE(d.IsEarlierThan(2001, 10.0));
    EXPECT_FALSE(c.IsEarlierThan(2001, 10.0));  // equal is not later
}

TEST(GpsTime, Mjd) {
    int day = 0;
    double fraction = -1.0;
    GpsTime().GetMjd(day, fraction);
    EXPECT_TRUE(day == 44244 && fraction == 0.0);
    GpsTime(2048, 3 * 86400.0 + 86399.75).GetMjd(day, fraction);
    EXPECT_EQ(day, 58583);  // 7 April 2019 is MJD 58580
    EXPECT_NEAR(fraction, 86399.75 / 86400.0, 1e-12);

    // Times from damaged files give some day, never an undefined conversion
    // (the sanitizer build checks that).
    for (double wild : {std::nan(""), 1e300, -1e300}) {
        GpsTime t;
        t.week = 2048;
        t.seconds = wild;
        t.GetMjd(day, fraction);
    }
}

TEST(GpsTimeRange, SetExtendAndMiddle) {
    GpsTimeRange r;
    r.Set(2001, 5.0, 2000, -10.0);  // normalised and put in order
    EXPECT_TRUE(r.first.week == 1999 && r.first.seconds == 604790.0 && r.last.week == 2001);

    // A range without a week takes the first week seen.
    r = GpsTimeRange();
    r.Extend(0, 100.0);
    r.Extend(2000, 50.0);
    EXPECT_TRUE(r.first.week == 2000 && r.first.seconds == 50.0 && r.last.week == 2000 && r.last.seconds == 100.0);
    r.Extend(2001, 10.0);
    // Times without a usable week (1024 and below) move the seconds only.
    for (int w : {0, 1024, 5}) r.Extend(w, w == 1024 ? 40.0 : 600.0);
    EXPECT_TRUE(r.first.week == 2000 && r.first.seconds == 40.0);
    EXPECT_TRUE(r.last.week == 2001 && r.last.seconds == 600.0);

    GpsTime m;
    r.Set(2000, 604000.0, 2001, 1000.0);
    r.GetMiddle(m);
    EXPECT_EQ(m.week, 2001);
    EXPECT_DOUBLE_EQ(m.seconds, 100.0);
}

TEST(ResolveWeek, NearReferenceAndByTimes) {
    const int near[][3] = {{1, 2048, 2049},     {1023, 2048, 2047}, {1023, 1000, 1023}, {2100, 5000, 2100},
                           {512, 2048, 2560},   {513, 2048, 1537},  {88, 2648, 2136},   {87, 2648, 3159}};
    for (const auto& n : near) EXPECT_EQ(ResolveWeekNear(n[0], n[1]), n[2]) << n[0] << " near " << n[1];

    EXPECT_EQ(ResolveWeekByTimes(2048, 604000.0, 100.0), 2049);
    EXPECT_EQ(ResolveWeekByTimes(2048, 1000.0, 300999.0), 2048);
    EXPECT_EQ(ResolveWeekByTimes(2048, 1000.0, 301000.0), 2047);
    EXPECT_EQ(ResolveWeekByTimes(1023, 604000.0, 100.0), 1024);
    EXPECT_EQ(ResolveWeekByTimes(5, 0.0, 0.0), ResolveWeekByClock(5));
    EXPECT_EQ(AbsoluteSeconds(10.0, 0), ResolveWeekByClock(0) * 604800.0 + 10.0);
    EXPECT_DOUBLE_EQ(SecondsOfWeek(2048 * 604800.0 + 12.5), 12.5);
    EXPECT_EQ(SecondsOfWeek(-10.0), -10.0);
}

TEST(ResolveWeek, ByClockWindow) {
    EXPECT_EQ(ResolveWeekByClock(-1), -1);
    // The local clock's week by the C library.
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    const int current = static_cast<int>((timegm(&local) - 315964800LL) / 604800);
    const int c10 = current % 1024;
    EXPECT_EQ(ResolveWeekByClock(current + 1024), current);
    if (c10 + 200 < 1024) {
        EXPECT_EQ(ResolveWeekByClock(c10 + 199), current + 199);
        EXPECT_EQ(ResolveWeekByClock(c10 + 200), current + 200 - 1024);
    }
    for (int w = 0; w < 1024; ++w) {
        const int full = ResolveWeekByClock(w);
        ASSERT_EQ(full % 1024, w);
        ASSERT_TRUE(full - current >= -824 && full - current <= 200) << w;
    }
}

TEST(WrapTimeDifference, IntoOneWeekAndBounded) {
    const double cases[][3] = {{1.0, 604799.0, 2.0}, {604799.0, 1.0, -2.0}, {2 * 604800.0 + 1.0, 0.0, 1.0},
                               {-500000.0, 0.0, -500000.0}};
    for (const auto& c : cases) EXPECT_EQ(WrapTimeDifference(c[0], c[1]), c[2]) << c[0] << " " << c[1];
    EXPECT_GT(WrapTimeDifference(1e30, 0.0), 1e29);  // gives up rather than hang
    EXPECT_TRUE(std::isinf(WrapTimeDifference(INFINITY, 0.0)));
}
