#include "preprocess/DataIntervalAnalyser.h"

#include <cmath>

namespace {
constexpr double kMicrosecondsPerSecond = 1000000.0;
// Above this rate an interval is taken to a multiple of 10 Hz, which absorbs
// the jitter of millisecond-rounded receiver times.
constexpr double kRoundedRateAbove = 100.0;
}  // namespace

bool CDataIntervalAnalyser::Add(double time) {
    if (epochs > 0) {
        double step = time - lastTime;
        if (step < 0.0) {
            ++backwardSteps;
            if (epochs == 1) {
                // A first epoch that lies after the second is not trusted as
                // the start of the series.
                lastTime = time;
                return true;
            }
        } else if (step == 0.0) {
            ++zeroSteps;
        } else {
            ++forwardSteps;
            CHistogramAnalyser::Add(std::trunc(std::fabs(step) * kMicrosecondsPerSecond + 0.5));
        }
    }
    ++epochs;
    lastTime = time;
    return true;
}

void CDataIntervalAnalyser::Reset() {
    CHistogramAnalyser::Reset();
    lastTime = 0.0;
    epochs = 0;
    forwardSteps = 0;
    backwardSteps = 0;
    zeroSteps = 0;
}

double CDataIntervalAnalyser::Interval() {
    double microseconds = std::trunc(Mode() + 0.5);
    double rate = 1.0;
    if (microseconds > 0.0) {
        rate = kMicrosecondsPerSecond / microseconds;
        if (rate > kRoundedRateAbove) rate = std::trunc(rate / 10.0 + 0.5) * 10.0;
    }
    return 1.0 / rate;
}
