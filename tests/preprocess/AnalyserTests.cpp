#include <gtest/gtest.h>

#include "preprocess/DataIntervalAnalyser.h"
#include "preprocess/HistogramAnalyser.h"

namespace {

TEST(HistogramAnalyser, BinsByWidthAndOriginAndReportsTheMostCountedBin) {
    CHistogramAnalyser histogram(0.5, 2.0);
    // 0.5 + 2k: 3.4 falls into 2.5, 4.4 into 4.5, 5.6 into 6.5.
    for (double v : {3.4, 2.6, 4.4, 4.6, 4.5, 5.6}) histogram.Add(v);
    EXPECT_EQ(histogram.Total(), 6);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 4.0);  // bin 4.5 less the origin
    // Adding after a mode unsorts; the new winner is found.
    for (int i = 0; i < 4; ++i) histogram.Add(6.4);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 6.0);
}

TEST(HistogramAnalyser, NonPositiveWidthBecomesOneAndResetRestoresDefaults) {
    CHistogramAnalyser histogram(10.0, 0.0);
    histogram.Add(12.4);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 2.0);
    histogram.Reset();
    EXPECT_EQ(histogram.Total(), 0);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 0.0);
    histogram.Add(12.4);  // origin is 0 again
    EXPECT_DOUBLE_EQ(histogram.Mode(), 12.0);
}

TEST(HistogramAnalyser, TiePrefersTheSmallerValue) {
    CHistogramAnalyser histogram;
    for (double v : {7.0, 3.0, 7.0, 3.0, 5.0}) histogram.Add(v);
    EXPECT_DOUBLE_EQ(histogram.Mode(), 3.0);
}

double IntervalOf(double step, int steps, double start = 1000.0) {
    CDataIntervalAnalyser analyser;
    for (int i = 0; i <= steps; ++i) analyser.Add(start + i * step);
    return analyser.Interval();
}

TEST(DataIntervalAnalyser, MostFrequentStepWins) {
    CDataIntervalAnalyser analyser;
    double t = 100.0;
    analyser.Add(t);
    for (int i = 0; i < 10; ++i) analyser.Add(t += 1.0);
    analyser.Add(t += 2.0);
    EXPECT_DOUBLE_EQ(analyser.Interval(), 1.0);
    EXPECT_EQ(analyser.Epochs(), 12);
    EXPECT_EQ(analyser.ForwardSteps(), 11);
}

TEST(DataIntervalAnalyser, HighRatesRoundToTenHertz) {
    EXPECT_DOUBLE_EQ(IntervalOf(0.00499, 50), 1.0 / 200.0);
    EXPECT_DOUBLE_EQ(IntervalOf(0.2, 20), 0.2);
    EXPECT_DOUBLE_EQ(IntervalOf(30.0, 5), 30.0);
    // 0.0501 s is 19.96 Hz, below the rounding threshold.
    EXPECT_NEAR(IntervalOf(0.0501, 20), 0.0501, 1e-12);
}

TEST(DataIntervalAnalyser, NoStepMeansOneSecond) {
    CDataIntervalAnalyser analyser;
    EXPECT_DOUBLE_EQ(analyser.Interval(), 1.0);
    analyser.Add(5000.0);
    EXPECT_DOUBLE_EQ(analyser.Interval(), 1.0);
    analyser.Add(5000.0);  // a zero step is counted but not binned
    EXPECT_EQ(analyser.ZeroSteps(), 1);
    EXPECT_EQ(analyser.Total(), 0);
    EXPECT_DOUBLE_EQ(analyser.Interval(), 1.0);
}

TEST(DataIntervalAnalyser, BackwardStepsNeverEnterTheHistogram) {
    CDataIntervalAnalyser analyser;
    // A second epoch before the first replaces it without being counted.
    analyser.Add(100.0);
    analyser.Add(50.0);
    EXPECT_EQ(analyser.Epochs(), 1);
    EXPECT_EQ(analyser.BackwardSteps(), 1);
    analyser.Add(55.0);  // step from 50, not from 100
    analyser.Add(40.0);  // later backward steps are counted as epochs
    analyser.Add(45.0);
    EXPECT_EQ(analyser.Epochs(), 4);
    EXPECT_EQ(analyser.BackwardSteps(), 2);
    EXPECT_EQ(analyser.ForwardSteps(), 2);
    EXPECT_EQ(analyser.Total(), 2);
    EXPECT_DOUBLE_EQ(analyser.Interval(), 5.0);
    analyser.Reset();
    EXPECT_EQ(analyser.Epochs(), 0);
    EXPECT_EQ(analyser.BackwardSteps(), 0);
    EXPECT_EQ(analyser.Total(), 0);
}

}  // namespace
