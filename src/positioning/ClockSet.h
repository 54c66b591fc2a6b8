#pragma once
// Receiver clocks of one solution. The primary constellation's clock is
// absolute; every other entry holds the offset of its constellation's time
// from the primary's.
#include <cstdint>

#pragma pack(push, 1)
struct ClockEntry {
    uint32_t flags = 0;          // kClockHeld when clock holds a value
    double clock = 0.0;          // metres
    double spare[3] = {};
    double stdDev = 0.0;         // metres
    double spare2[2] = {};
};

struct ClockSet {
    static constexpr uint32_t kClockHeld = 2;
    static constexpr int kEntries = 6;

    double time = 0.0;           // seconds of week of the last update
    int32_t primary = 0;
    uint8_t enabled = 1;
    ClockEntry entries[kEntries];

    // The primary's clock, plus this constellation's offset when it has one;
    // metres, or seconds when inMetres is false.
    double GetClock(int constellation, bool inMetres) const;
    // stdDev is taken only when above 0.
    void SetClock(int constellation, double value, double stdDev);
    // The stored clock is reduced by delta.
    void AdjustClock(int constellation, double delta, double stdDev);
    void SetTime(double seconds) { time = seconds; }
    // Empties every entry and the time; the primary stays.
    void Reset();
};
#pragma pack(pop)
