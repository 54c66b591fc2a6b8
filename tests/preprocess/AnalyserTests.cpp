#include <gtest/gtest.h>

#include "preprocess/DataIntervalAnalyser.h"
#include "preprocess/HistogramAnalyser.h"

namespace {

TEST(HistogramAnalyser, BinsFromTheOriginAndPicksTheMostCounted) {
    CHistogramAnalyser histogram(0.5, 2.0);
    // Bins at 0.5 + 2k: 3.4 falls into 2.5, 4.4 and 4.6 into 4.5, 5.6 into 6.5.
    for (double v : {3.4, 2.6, 4.4, 4.6, 4.5, 5.6}) histogram.Add(v);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 4.0);  // the bin less the origin
    for (int i = 0; i < 4; ++i) histogram.Add(6.4);  // adding after a mode unsorts
    EXPECT_DOUBLE_EQ(histogram.Mode(), 6.0);

    // A width of zero is taken as one; Reset forgets the origin too.
    CHistogramAnalyser other(10.0, 0.0);
    other.Add(12.4);
    EXPECT_DOUBLE_EQ(other.Mode(), 2.0);
    other.Reset();
    for (double v : {7.0, 3.0, 7.0, 3.0, 5.0}) other.Add(v);
    EXPECT_DOUBLE_EQ(other.Mode(), 3.0);  // a tie picks the smaller value
}

TEST(DataIntervalAnalyser, IntervalOfRegularSeries) {
    // Step, number of steps, interval. Above 100 Hz the rate goes to a multiple
    // of 10 Hz; 19.96 Hz is left alone; no step at all gives one second.
    const double cases[][3] = {{0.00499, 50, 1.0 / 200.0}, {0.0501, 20, 0.0501}, {0.2, 20, 0.2},
                               {30.0, 5, 30.0}, {1.0, 0, 1.0}};
    for (const auto& c : cases) {
        CDataIntervalAnalyser analyser;
        for (int i = 0; i <= c[1]; ++i) analyser.Add(1000.0 + i * c[0]);
        EXPECT_NEAR(analyser.Interval(), c[2], 1e-12) << c[0];
    }
}

TEST(DataIntervalAnalyser, ZeroAndBackwardStepsNeverEnterTheHistogram) {
    CDataIntervalAnalyser analyser;
    analyser.Add(100.0);
    analyser.Add(50.0);  // before the first: replaces it, not counted as an epoch
    EXPECT_EQ(analyser.Epochs(), 1);
    analyser.Add(55.0);  // the step is from 50, not from 100
    analyser.Add(55.0);
    analyser.Add(40.0);  // later backward steps are epochs
    analyser.Add(45.0);
    EXPECT_TRUE(analyser.Epochs() == 5 && analyser.BackwardSteps() == 2 && analyser.ZeroSteps() == 1 &&
                analyser.ForwardSteps() == 2 && analyser.Total() == 2);
    EXPECT_DOUBLE_EQ(analyser.Interval(), 5.0);
    analyser.Reset();
    EXPECT_EQ(analyser.Epochs() + analyser.BackwardSteps() + analyser.Total(), 0);
}

}  // namespace
