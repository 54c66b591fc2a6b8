#include <gtest/gtest.h>

#include "timebase/GpsTime.h"

TEST(GpsTime, NormalisesOneStepOnly) {
    GpsTime t;
    EXPECT_TRUE(t.Set(2000, -1.0));
    EXPECT_EQ(t.week, 1999);
    EXPECT_EQ(t.seconds, 604799.0);
    t.Set(2000, 604800.0);  // exactly a week stays
    EXPECT_EQ(t.week, 2000);
    t.Set(2000, 1300000.0);  // more than a week out: one step, still out
    EXPECT_EQ(t.week, 2001);
    EXPECT_EQ(t.seconds, 695200.0);

    EXPECT_TRUE(t.Set(1023, 604801.0));  // true once the week is full
    EXPECT_FALSE(t.Set(1024, -1.0));

    const GpsTime u = GpsTime(2000, 604790.0) + 20.0;
    EXPECT_EQ(u.week, 2001);
    EXPECT_DOUBLE_EQ(u.seconds, 10.0);
    EXPECT_EQ((u - 30.0).week, 2000);
    EXPECT_EQ((u - 10.0).week, 2001);
}

TEST(GpsTime, ComparisonToleranceDiffersByDirection) {
    EXPECT_TRUE(GpsTime(1999, 604799.0) < GpsTime(2000, 0.0));  // weeks decide first
    EXPECT_FALSE(GpsTime(2000, 0.0) <= GpsTime(1999, 604799.0));

    const GpsTime a(2000, 100.0), b(2000, 100.0 + 1.5e-5);
    EXPECT_TRUE(a <= b);
    EXPECT_TRUE(b <= a);   // within 2e-5
    EXPECT_FALSE(a >= b);  // beyond 1e-5
    EXPECT_TRUE(b >= a);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(GpsTime(2000, 100.0 + 2.5e-5) <= a);
}

TEST(GpsTime, DifferencesAndMjd) {
    const GpsTime a(2001, 10.0), b(2000, 604790.0);
    EXPECT_DOUBLE_EQ(a.Difference(b), 20.0);
    EXPECT_DOUBLE_EQ(a.DifferenceFrom(b), -20.0);
    EXPECT_DOUBLE_EQ(b.AbsDifference(2001, 10.0), 20.0);
    EXPECT_TRUE(b.IsEarlierThan(2001, 10.0));
    EXPECT_FALSE(a.IsEarlierThan(2001, 10.0));  // equal is not later

    int day = 0;
    double fraction = -1.0;
    GpsTime().GetMjd(day, fraction);
    EXPECT_EQ(day, 44244);
    EXPECT_EQ(fraction, 0.0);
    GpsTime(2048, 3 * 86400.0 + 86399.75).GetMjd(day, fraction);
    EXPECT_EQ(day, 58583);  // 7 April 2019 is MJD 58580
    EXPECT_NEAR(fraction, 86399.75 / 86400.0, 1e-12);
}

TEST(GpsTimeRange, SetExtendAndMiddle) {
    GpsTimeRange r;
    r.Set(2001, 5.0, 2000, -10.0);  // normalised and put in order
    EXPECT_EQ(r.first.week, 1999);
    EXPECT_EQ(r.first.seconds, 604790.0);
    EXPECT_EQ(r.last.week, 2001);

    r = GpsTimeRange();
    for (double s : {100.0, 50.0, 70.0}) r.Extend(2000, s);
    r.Extend(2001, 10.0);
    EXPECT_EQ(r.first.seconds, 50.0);
    EXPECT_EQ(r.last.week, 2001);
    EXPECT_EQ(r.last.seconds, 10.0);

    // Times without a usable week (1024 and below) move the seconds only.
    r.Extend(0, 600.0);
    r.Extend(1024, 40.0);
    r.Extend(5, 300.0);
    EXPECT_EQ(r.first.week, 2000);
    EXPECT_EQ(r.first.seconds, 40.0);
    EXPECT_EQ(r.last.week, 2001);
    EXPECT_EQ(r.last.seconds, 600.0);

    GpsTime m;
    r.Set(2000, 604000.0, 2001, 1000.0);
    r.GetMiddle(m);
    EXPECT_EQ(m.week, 2001);
    EXPECT_DOUBLE_EQ(m.seconds, 100.0);
}

TEST(GpsTimeRange, WeeklessRangeTakesTheFirstWeekSeen) {
    GpsTimeRange r;
    r.Extend(0, 100.0);
    r.Extend(2000, 50.0);
    EXPECT_EQ(r.first.week, 2000);
    EXPECT_EQ(r.first.seconds, 50.0);
    EXPECT_EQ(r.last.week, 2000);
    EXPECT_EQ(r.last.seconds, 100.0);
}
