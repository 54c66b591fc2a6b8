#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "timebase/GpsTime.h"

TEST(ResolveWeek, NearReference) {
    EXPECT_EQ(ResolveWeekNear(1, 2048), 2049);
    EXPECT_EQ(ResolveWeekNear(1023, 2048), 2047);
    EXPECT_EQ(ResolveWeekNear(1023, 1000), 1023);
    EXPECT_EQ(ResolveWeekNear(2100, 5000), 2100);  // already full
    EXPECT_EQ(ResolveWeekNear(512, 2048), 2560);
    EXPECT_EQ(ResolveWeekNear(513, 2048), 1537);
    EXPECT_EQ(ResolveWeekNear(88, 2648), 2136);
    EXPECT_EQ(ResolveWeekNear(87, 2648), 3159);
}

TEST(ResolveWeek, ByClockWindow) {
    EXPECT_EQ(ResolveWeekByClock(-1), -1);
    // The local clock's week by the C library.
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    const int current = static_cast<int>((timegm(&local) - 315964800LL) / 604800);
    const int c10 = current % 1024;
    EXPECT_EQ(ResolveWeekByClock(c10), current);
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

TEST(ResolveWeek, ByTimesAndAbsoluteSeconds) {
    EXPECT_EQ(ResolveWeekByTimes(2048, 604000.0, 100.0), 2049);
    EXPECT_EQ(ResolveWeekByTimes(2048, 1000.0, 300999.0), 2048);
    EXPECT_EQ(ResolveWeekByTimes(2048, 1000.0, 301000.0), 2047);
    EXPECT_EQ(ResolveWeekByTimes(1023, 604000.0, 100.0), 1024);
    EXPECT_EQ(ResolveWeekByTimes(5, 0.0, 0.0), ResolveWeekByClock(5));

    EXPECT_EQ(AbsoluteSeconds(10.0, 2048), 2048 * 604800.0 + 10.0);
    EXPECT_EQ(AbsoluteSeconds(10.0, 0), ResolveWeekByClock(0) * 604800.0 + 10.0);
    EXPECT_DOUBLE_EQ(SecondsOfWeek(2048 * 604800.0 + 12.5), 12.5);
    EXPECT_EQ(SecondsOfWeek(-10.0), -10.0);
}

TEST(WrapTimeDifference, IntoOneWeekAndBounded) {
    EXPECT_EQ(WrapTimeDifference(1.0, 604799.0), 2.0);
    EXPECT_EQ(WrapTimeDifference(604799.0, 1.0), -2.0);
    EXPECT_EQ(WrapTimeDifference(2 * 604800.0 + 1.0, 0.0), 1.0);
    EXPECT_EQ(WrapTimeDifference(-500000.0, 0.0), -500000.0);
    EXPECT_GT(WrapTimeDifference(1e30, 0.0), 1e29);  // gives up rather than hang
    EXPECT_TRUE(std::isinf(WrapTimeDifference(INFINITY, 0.0)));
}
