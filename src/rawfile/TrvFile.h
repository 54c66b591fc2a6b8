#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>
#include "rawfile/GnssEpoch.h"
#include "timebase/GpsTime.h"

class CDataIntervalAnalyser;

enum TrvFileMode : int { kTrvRead = 1, kTrvWrite = 2, kTrvReadWrite = 3, kTrvAppend = 4 };

inline constexpr int kTrvHeaderSize = 512;
inline constexpr int kTrvErrorTextSize = 512;
inline constexpr int kTrvFileNameSize = 256;
inline constexpr double kThisProgramVersion = 9.002207;

#pragma pack(push, 1)
// Pre-processing results as the version 3 header keeps them at offset 112.
struct TrvPreprocessBlockV3 {
    uint8_t status;          // 0 not done, 1 done, 2 failed
    uint32_t problemBits;
    uint32_t dynamicsClass;
    uint16_t constellationBits;
    uint32_t signalsDetected;
    uint32_t signalsWithProblems;
};
// The same for version 2, at offset 120.
struct TrvPreprocessBlockV2 {
    uint8_t status;
    uint32_t problemBits;
    uint32_t dynamicsClass;
    uint32_t constellationBits;
};
#pragma pack(pop)
static_assert(sizeof(TrvPreprocessBlockV3) == 19);
static_assert(sizeof(TrvPreprocessBlockV2) == 13);

// The 72-byte epoch header of a version 3 record.
#pragma pack(push, 1)
struct TrvRecordHeaderV3 {
    uint16_t sync;
    double rawRcvTime;
    double trueRcvTime;
    uint32_t rcvTimeMs;
    double clockOffset;
    uint16_t week;
    uint16_t epochFlags;
    uint16_t satelliteCount;
    uint16_t signalCount;
    uint16_t checksum;
    uint8_t zero[32];
};
#pragma pack(pop)
static_assert(sizeof(TrvRecordHeaderV3) == 72);

struct TrvEpochIndexEntry {
    int32_t channels;   // satellites (version 3) or channels (version 2)
    int32_t flags;      // epoch bits
    int64_t offset;     // byte offset of the record
    GpsTime time;
};

// The one class through which a .trv raw measurement file is read and written.
class CTrvFile {
public:
    CTrvFile();
    virtual ~CTrvFile();
    CTrvFile(const CTrvFile&) = delete;
    CTrvFile& operator=(const CTrvFile&) = delete;

    bool Create(const char* name, int receiverType, const char* receiverName, const char* programName,
                double programVersion, double dataInterval, const TrvPreprocessBlockV3* preprocessingBlock,
                int version);
    bool Open(const char* name, int mode, bool ensurePreprocessed);
    void Close(bool runChecks = false);

    bool RewindToFirstEpoch();
    bool SeekEpoch(int index);
    int ReadEpochAt(int index, CGnssEpoch& epoch);
    int ReadNextEpoch(CGnssEpoch& epoch, bool forward = true);
    int WriteEpochAt(int index, const CGnssEpoch& epoch, bool flush);
    int AppendEpoch(const CGnssEpoch& epoch, bool flush);
    int UpdateHeaderInfo(const char* receiverName, const int* receiverType, bool stampDate, int reserved,
                         int dataKind, double dataInterval, const TrvPreprocessBlockV2* blockV2,
                         const TrvPreprocessBlockV3* blockV3);
    bool BuildEpochIndex();

    int EpochCount() const;
    int ReceiverType() const;
    const char* ReceiverName() const;
    bool IsPreprocessed() const;
    bool IsTrimbleData() const;

    // Version 3 record level, exposed for the checks and for tests.
    int WriteRecordV3(const CGnssEpoch& epoch);
    int ReadRecordV3(CGnssEpoch& epoch);
    int ReadRecordHeaderV3(TrvRecordHeaderV3& header, GeodeticPosition& position);
    bool RebuildSummaryV3();

    bool IsOpen() const { return file != nullptr; }
    int Version() const { return version; }
    int Mode() const { return fileMode; }
    const char* FileName() const { return fileName; }
    const char* ErrorText() const { return errorText; }
    const GpsTimeRange& TimeRange() const { return timeRange; }
    int CurrentEpoch() const { return currentEpoch; }
    const std::vector<TrvEpochIndexEntry>& EpochIndex() const { return epochIndex; }
    const uint8_t* HeaderImage() const { return headerV3; }

protected:
    // The generation of a file from its first bytes: 1, 2, 3, or 0 when unknown.
    int IdentifyVersion(const char* name);
    bool OpenByVersion(const char* name, int mode, int fileVersion);
    bool OpenStream(const char* name, int mode);
    bool OpenV3(const char* name, int mode);
    bool OpenV2(const char* name, int mode);
    // Record level by the version of the open file.
    int WriteRecord(const CGnssEpoch& epoch);
    int ReadRecord(CGnssEpoch& epoch);
    int WriteRecordV2(const CGnssEpoch& epoch);
    int ReadRecordV2(CGnssEpoch* epoch);
    bool IndexFileV2();
    bool IndexFileV3();
    // Writes a whole 512-byte header image at offset 0, also for append streams.
    bool WriteHeaderImage(const uint8_t* image);
    // Pre-processes the closed file of that name once; see Close(true).
    static void RunPreprocessingChecks(const char* name);
    bool GrowRecordBuffer(size_t size);
    void ResetState();
    void SetError(const char* format, ...) __attribute__((format(printf, 2, 3)));

    std::unique_ptr<uint8_t[]> recordBuffer;
    size_t recordBufferSize = 0;
    FILE* file = nullptr;
    GpsTimeRange timeRange;
    std::unique_ptr<CDataIntervalAnalyser> intervalAnalyser;
    int32_t currentEpoch = -1;
    int readState = 0;
    int64_t lastWrittenSize = 0;
    int64_t lastReadSize = 0;
    std::vector<TrvEpochIndexEntry> epochIndex;
    uint8_t headerV3[kTrvHeaderSize] = {};
    int indexedEpochCount = 0;
    double epochInterval = 0.0;
    GeodeticPosition meanPosition;
    uint8_t hasL2Phase = 0;
    uint8_t scanDone = 0;
    GpsTimeRange ephemerisRange;
    int ephemerisRangeState = 0;
    uint8_t headerV2[kTrvHeaderSize] = {};
    char errorText[kTrvErrorTextSize] = {};
    int version = 3;
    char fileName[kTrvFileNameSize] = {};
    int fileMode = kTrvRead;
    std::unique_ptr<char[]> streamBuffer;
    // Reused by the record reader so that reading allocates nothing once warm.
    CGnssSatellite scratchSatellite;
    // ReceiverName() returns this terminated copy of the 32-character field.
    mutable char receiverNameText[33] = {};
};

// Text of a receiver type from one shared buffer (each call overwrites it).
const char* ReceiverTypeName(int receiverType);
// Both weeks at least minWeek and the end not before the start.
bool IsValidRange(const GpsTimeRange& range, int minWeek);
bool ResolveWeek(const GpsTimeRange& range, double timeOfWeek, int& week);
