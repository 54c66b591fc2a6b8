#include "antenna/AntexBlock.h"

#include <cstring>

namespace {

// Antenna types of satellites begin with one of these words.
constexpr const char* kSatelliteTypePrefixes[] = {"BLOCK", "GLONASS", "GALILEO", "BEIDOU", "IRNSS", "QZSS"};

}  // namespace

CAntexBlock::CAntexBlock() : lines(new char[static_cast<size_t>(kAntexBlockLines) * kAntexLineSize]) {}

bool CAntexBlock::ReadNext(FILE* file) {
    count = 0;
    char* scan = Slot(0);
    do {
        if (!ReadAntexLine(file, scan)) return false;
    } while (!HasAntexLabel(scan, "START OF ANTENNA"));

    while (count < kAntexBlockLines && ReadAntexLine(file, Slot(count)))
        if (HasAntexLabel(Slot(count++), "END OF ANTENNA")) break;
    return count > kAntexShortestBlock;
}

bool CAntexBlock::IsSatelliteBlock() const {
    for (int i = 0; i < count; ++i) {
        const char* line = Line(i);
        if (!HasAntexLabel(line, "TYPE")) continue;
        for (const char* prefix : kSatelliteTypePrefixes)
            if (std::strncmp(line, prefix, std::strlen(prefix)) == 0) return true;
        return false;
    }
    return false;
}
