#pragma once
#include "preprocess/HistogramAnalyser.h"

// Measures a file's data interval as the most frequent step between epochs.
class CDataIntervalAnalyser : public CHistogramAnalyser {
public:
    CDataIntervalAnalyser() : CHistogramAnalyser(0.0, 1.0) {}

    bool Add(double time);
    void Reset();
    double Interval();

    int Epochs() const { return epochs; }
    int ForwardSteps() const { return forwardSteps; }
    int BackwardSteps() const { return backwardSteps; }
    int ZeroSteps() const { return zeroSteps; }

private:
    double lastTime = 0.0;
    int32_t epochs = 0;
    int32_t forwardSteps = 0;
    int32_t backwardSteps = 0;
    int32_t zeroSteps = 0;
};
