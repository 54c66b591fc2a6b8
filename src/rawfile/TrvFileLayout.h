#pragma once
// Byte layout of the .trv headers and small helpers to read and write packed
// little-endian fields of a header image. Private to the raw file code.
#include <cstdint>
#include <cstring>

#include "rawfile/TrvFile.h"

namespace trv {

inline constexpr char kMagicV3[8] = {'$', 'T', 'R', 'V', 'R', 'A', 'W', '\0'};
inline constexpr char kMagicV2[8] = {'$', 'N', 'E', 'W', 'T', 'R', 'V', '\0'};
inline constexpr int kMagicSize = 8;
inline constexpr int kProbeSize = 16;
// A shorter file cannot hold a header and a useful amount of records.
inline constexpr long kMinimumFileSize = 1024;
// The oldest generation: first byte CA and the float 1.02 at offset 2.
inline constexpr uint8_t kV1FirstByte = 0xCA;
inline constexpr float kV1Marker = 1.02f;

// Version 3 header.
inline constexpr int kV3HeaderSizeAt = 16;        // u16
inline constexpr int kV3ReceiverTypeAt = 18;      // u16
inline constexpr int kV3ReceiverNameAt = 20;      // 32 characters
inline constexpr int kV3DateAt = 52;              // 6 x u16
inline constexpr int kV3ProgramNameAt = 64;       // 32 characters
inline constexpr int kV3ProgramVersionAt = 96;    // f64
inline constexpr int kV3DataIntervalAt = 104;     // f64
inline constexpr int kV3PreprocessAt = 112;       // 19-byte block
inline constexpr int kV3FormatVersionAt = 157;    // u16
inline constexpr int kV3EpochCountAt = 159;       // u32
inline constexpr int kV3IntervalMsAt = 163;       // u32
inline constexpr int kV3FirstTimeAt = 167;        // f64
inline constexpr int kV3LastTimeAt = 175;         // f64
inline constexpr int kV3PositionAt = 183;         // 3 x f64
inline constexpr int kV3SummaryEnd = 207;
inline constexpr uint16_t kFormatVersion3 = 3;

// Version 2 header.
inline constexpr int kV2HeaderSizeAt = 16;        // u32
inline constexpr int kV2ReceiverTypeAt = 20;      // u32
inline constexpr int kV2DateAt = 24;              // 6 x u16
inline constexpr int kV2ReceiverNameAt = 36;      // 32 characters
inline constexpr int kV2ProgramNameAt = 68;       // 32 characters
inline constexpr int kV2ProgramVersionAt = 100;   // f64
inline constexpr int kV2DataKindAt = 108;         // u32
inline constexpr int kV2DataIntervalAt = 112;     // f64
inline constexpr int kV2PreprocessAt = 120;       // 13-byte block
// Program versions from which the version 2 header carries the results block,
// and the version stamped when a block is first written into an older file.
inline constexpr double kV2BlockSinceVersion = 8.4;
inline constexpr double kV2BlockStampVersion = 8.5;

inline constexpr int kNameFieldSize = 32;

// Version 3 records.
inline constexpr uint16_t kRecordSync = 0xC33C;
inline constexpr int kMaxRecordSatellites = 128;
inline constexpr int kSatelliteBlockSize = 8;
inline constexpr int kSignalBlockSize = 48;
inline constexpr int kPositionBlockSize = 24;
inline constexpr size_t kInitialRecordBuffer = 11224;
inline constexpr size_t kStreamBufferSize = 4096;
// The full reader allows 2 ms of rounding past the week end; the fast reader
// used for indexing and summaries is more lenient.
inline constexpr double kFullReaderTimeLimit = 604800.002;
inline constexpr double kFastReaderTimeLimit = 604801.0;
inline constexpr uint32_t kEpochBitsMask = 0xF;

template <typename T>
inline T Get(const uint8_t* image, int offset) {
    T value;
    memcpy(&value, image + offset, sizeof value);
    return value;
}

template <typename T>
inline void Put(uint8_t* image, int offset, T value) {
    memcpy(image + offset, &value, sizeof value);
}

// Zero-padded copy of at most 32 characters, not necessarily terminated.
inline void PutName(uint8_t* image, int offset, const char* text) {
    memset(image + offset, 0, kNameFieldSize);
    for (int i = 0; text && i < kNameFieldSize && text[i]; ++i) image[offset + i] = static_cast<uint8_t>(text[i]);
}

// Month, day, year - 1900, hour, minute, second of the local time now.
void PutLocalDate(uint8_t* image, int offset);

// Body size of a version 3 record from its counts.
inline size_t BodySizeV3(unsigned satellites, unsigned signals) {
    return (static_cast<size_t>(satellites) + 6 * static_cast<size_t>(signals)) * 8 + kPositionBlockSize;
}

// The tests every reader makes on a record header before it trusts the counts.
// The time is refused only when it is below zero or beyond the limit: a NaN
// time passes, as every reader of these files has always taken it.
inline bool HeaderPasses(const TrvRecordHeaderV3& header, double timeLimit) {
    return header.sync == kRecordSync && header.satelliteCount <= kMaxRecordSatellites &&
           !(header.rawRcvTime < 0.0 || header.rawRcvTime > timeLimit);
}

}  // namespace trv
