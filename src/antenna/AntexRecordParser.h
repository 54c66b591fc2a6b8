#pragma once
// Turns the lines of a satellite antenna block into a SatelliteAntennaRecord.
#include "antenna/AntexBlock.h"
#include "antenna/SatelliteAntennaRecord.h"

class CAntexRecordParser {
public:
    // True if the block gives a whole record: its head labels all read and
    // sound, each grid in the shape that DAZI and ZEN1 / ZEN2 / DZEN give,
    // and as many frequencies found as were declared, less those with codes
    // we do not know. The record is filled as far as the block went.
    bool Parse(const CAntexBlock& block, SatelliteAntennaRecord& record);

private:
    bool ParseHeadLine(const char* line, SatelliteAntennaRecord& record);
    // From the line after "START OF FREQUENCY"; index ends after "END OF
    // FREQUENCY", or at the end of the block when that line is missing.
    bool ParseFrequency(const CAntexBlock& block, int& index, const SatelliteAntennaRecord& record,
                        AntennaFrequency& frequency);
    bool ParseGridRow(const char* line, const SatelliteAntennaRecord& record, AntennaFrequency& frequency);

    // The row of the grid line read last. The parser reads one block at a
    // time: one parser must not serve two parses at once.
    int gridRow = 0;
};
