#include "preprocess/HistogramAnalyser.h"

#include <algorithm>
#include <cmath>

namespace {
// Two bin values closer than this are the same bin.
constexpr double kBinTolerance = 1e-5;
}  // namespace

CHistogramAnalyser::CHistogramAnalyser(double origin, double binWidth)
    : origin(origin), binWidth(binWidth > 0.0 ? binWidth : 1.0) {}

void CHistogramAnalyser::Add(double value) {
    double binValue = std::trunc((value - origin) / binWidth + 0.5) * binWidth + origin;
    ++total;
    sorted = 0;
    for (Bin& bin : bins) {
        if (std::fabs(bin.value - binValue) <= kBinTolerance) {
            ++bin.count;
            return;
        }
    }
    try {
        bins.push_back(Bin{binValue, 1});
    } catch (...) {
        // Out of memory: the value is counted in the total only.
    }
}

void CHistogramAnalyser::Reset() {
    bins.clear();
    total = 0;
    sorted = 0;
    origin = 0.0;
    binWidth = 1.0;
}

double CHistogramAnalyser::Mode() {
    if (bins.empty()) return 0.0;
    if (!sorted && bins.size() >= 2) {
        // Rising count, so the most counted bin ends up last. Among equal
        // counts the smaller value goes last, so that a tie picks the
        // smaller step.
        std::stable_sort(bins.begin(), bins.end(), [](const Bin& a, const Bin& b) {
            if (a.count != b.count) return a.count < b.count;
            if (std::fabs(a.value - b.value) <= kBinTolerance) return false;
            return a.value > b.value;
        });
    }
    sorted = 1;
    return bins.back().value - origin;
}
