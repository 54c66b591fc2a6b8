#pragma once
#include <cstdint>
#include <vector>

// Counts values in bins of a fixed width; the mode is the most counted bin.
class CHistogramAnalyser {
public:
    CHistogramAnalyser(double origin = 0.0, double binWidth = 1.0);
    virtual ~CHistogramAnalyser() = default;

    void Add(double value);
    void Reset();
    double Mode();
    int Total() const { return total; }

protected:
#pragma pack(push, 1)
    struct Bin {
        double value;
        int32_t count;
    };
#pragma pack(pop)
    static_assert(sizeof(Bin) == 12);

    double origin;
    double binWidth;
    std::vector<Bin> bins;
    int32_t total = 0;
    uint8_t sorted = 0;
};
