#pragma once
// The lines of one antenna of an ANTEX file, from after "START OF ANTENNA"
// up to and including "END OF ANTENNA".
#include <cstdio>
#include <memory>

#include "antenna/AntexText.h"

inline constexpr int kAntexBlockLines = 2048;
// A block of this many lines or fewer cannot hold an antenna; it ends the
// reading of the file.
inline constexpr int kAntexShortestBlock = 5;

class CAntexBlock {
public:
    // Takes the room for a whole block once.
    CAntexBlock();

    // Finds the next "START OF ANTENNA" and keeps the lines after it, at
    // most kAntexBlockLines. False at the end of the file and for a block of
    // kAntexShortestBlock lines or fewer. A block cut off by the end of the
    // file is still given.
    bool ReadNext(FILE* file);

    int LineCount() const { return count; }
    const char* Line(int index) const { return lines.get() + static_cast<size_t>(index) * kAntexLineSize; }

    // True if the first line labelled "TYPE" names a satellite antenna
    // (GPS, GLONASS, Galileo, BeiDou, IRNSS or QZSS); receiver antennas give false.
    bool IsSatelliteBlock() const;

private:
    char* Slot(int index) { return lines.get() + static_cast<size_t>(index) * kAntexLineSize; }

    std::unique_ptr<char[]> lines;
    int count = 0;
};
