#pragma once
// One satellite antenna of an ANTEX file as it is kept: who the satellite
// is, when the antenna served it, and per frequency the phase centre offset
// and the phase variation grid.
#include <cstdint>
#include <vector>

#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

// Frequencies a record can hold, and the id of a frequency code that is not
// in our table (the slot of an empty frequency carries it too).
inline constexpr int kAntennaFrequencySlots = 21;
inline constexpr int32_t kUnknownFrequencyId = 21;
// A block type text that is not in our table.
inline constexpr int32_t kUnknownBlockType = 32;

// Parse bits of a record: all set at the start, each cleared by its label.
// A record is usable only when none is left.
inline constexpr int32_t kRecordBitType = 1;
inline constexpr int32_t kRecordBitMethod = 2;
inline constexpr int32_t kRecordBitDazi = 4;
inline constexpr int32_t kRecordBitZenith = 8;
inline constexpr int32_t kRecordBitFrequencyCount = 16;
inline constexpr int32_t kRecordBitsEmpty = 31;

// Bits of a frequency: all set while it is empty, cleared as its code, its
// offset line, its azimuth-independent row, an azimuth row and its end are read.
inline constexpr int32_t kFrequencyBitCode = 1;
inline constexpr int32_t kFrequencyBitOffset = 2;
inline constexpr int32_t kFrequencyBitNoAzimuth = 4;
inline constexpr int32_t kFrequencyBitAzimuth = 8;
inline constexpr int32_t kFrequencyBitEnd = 16;
inline constexpr int32_t kFrequencyBitsEmpty = 31;

// Text sizes of a record, terminator included.
inline constexpr int kBlockNameSize = 21;
inline constexpr int kSatelliteCodeSize = 21;
inline constexpr int kSerialSize = 11;        // svn, cospar, sinex code, date
inline constexpr int kMethodSize = 21;        // method, agency
inline constexpr int kCommentSize = 541;      // nine lines of 59 characters and ';'

struct AntennaFrequency {
    int32_t bits = kFrequencyBitsEmpty;
    int32_t frequencyId = kUnknownFrequencyId;
    // Phase centre offset in metres.
    double north = 0.0;
    double east = 0.0;
    double up = 0.0;
    // Phase variations in metres, rows by columns: row 0 is the
    // azimuth-independent one, row r > 0 lies at azimuth (r - 1) x dazi;
    // column c at zenith zen1 + c x dzen.
    int32_t rows = 0;
    int32_t columns = 0;
    std::vector<double> variations;

    double Variation(int row, int column) const { return variations[static_cast<size_t>(row * columns + column)]; }
};

struct SatelliteAntennaRecord {
    int32_t bits = kRecordBitsEmpty;
    AntennaFrequency frequencies[kAntennaFrequencySlots];
    int32_t declaredFrequencies = 0;
    int32_t foundFrequencies = 0;
    SatelliteId id;
    int32_t blockType = kUnknownBlockType;
    char blockName[kBlockNameSize] = {};
    char sinexCode[kSerialSize] = {};
    char satelliteCode[kSatelliteCodeSize] = {};
    char svn[kSerialSize] = {};
    char cospar[kSerialSize] = {};
    // Each end holds only when its flag is set; an open end reaches as far
    // as time goes.
    GpsTime validFrom;
    GpsTime validUntil;
    bool hasValidFrom = false;
    bool hasValidUntil = false;
    char method[kMethodSize] = {};
    char agency[kMethodSize] = {};
    int32_t antennaCount = 0;
    char date[kSerialSize] = {};
    // Grid steps and bounds in radians.
    double dazi = 0.0;
    double zen1 = 0.0;
    double zen2 = 0.0;
    double dzen = 0.0;
    char comment[kCommentSize] = {};

    // True if the antenna served at the time, give or take a millisecond.
    bool Holds(const GpsTime& time) const;
};
