#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>

// One record of the station and event file, moved as a 440-byte block between
// the decoders and the driver; cleared to zero before it is filled.
#pragma pack(push, 1)
struct StationRecord {
    uint8_t kind;              // 1 Hdr, 2 Sta, 4 Mrk, 16 body without opening line
    char name[64];
    char description[64];
    char remark[64];
    char receiverSub[64];
    uint8_t pad0[7];
    uint8_t timeType;          // 0 none, 1 GPS, 2 UTC, 3 local
    uint8_t pad1[7];
    double time;
    int32_t week;              // negative: none
    uint8_t pad2[4];
    uint8_t heightType;        // 0 none, 1 vertical, 2 slant, 3 measured with antenna model
    uint8_t pad3[7];
    double height;
    char antenna[80];
    float antennaValueA;
    float antennaValueB;
    int8_t antExValues[3];
    uint8_t pad4;
    float antExValue;
    uint8_t positionMode;
    double latitude;
    double longitude;
    double positionHeight;
    uint8_t heightReference;   // 1 ellipsoidal, 2 orthometric
    uint8_t pad5[14];
};
#pragma pack(pop)

static_assert(sizeof(StationRecord) == 440);
static_assert(offsetof(StationRecord, name) == 1);
static_assert(offsetof(StationRecord, description) == 65);
static_assert(offsetof(StationRecord, remark) == 129);
static_assert(offsetof(StationRecord, receiverSub) == 193);
static_assert(offsetof(StationRecord, timeType) == 264);
static_assert(offsetof(StationRecord, time) == 272);
static_assert(offsetof(StationRecord, week) == 280);
static_assert(offsetof(StationRecord, heightType) == 288);
static_assert(offsetof(StationRecord, height) == 296);
static_assert(offsetof(StationRecord, antenna) == 304);
static_assert(offsetof(StationRecord, antennaValueA) == 384);
static_assert(offsetof(StationRecord, antennaValueB) == 388);
static_assert(offsetof(StationRecord, antExValues) == 392);
static_assert(offsetof(StationRecord, antExValue) == 396);
static_assert(offsetof(StationRecord, positionMode) == 400);
static_assert(offsetof(StationRecord, latitude) == 401);
static_assert(offsetof(StationRecord, longitude) == 409);
static_assert(offsetof(StationRecord, positionHeight) == 417);
static_assert(offsetof(StationRecord, heightReference) == 425);

enum StationRecordKind : uint8_t { kStaHeader = 1, kStaStation = 2, kStaMark = 4, kStaBody = 16 };
enum StationTimeType : uint8_t { kTimeNone = 0, kTimeGps = 1, kTimeUtc = 2, kTimeLocal = 3 };

// Writes one record; 0 on success, 1 on failure with the reason in errorText
// (which may be null).
int WriteStationRecord(FILE* file, const StationRecord* record, char* errorText);
