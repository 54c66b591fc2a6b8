#pragma once
// The decoder's state block and the frame scanner's interface. There is one
// PortArray per process, allocated by OpenPort and reached through
// portArray; every record decoder works on it.
#include <cstddef>
#include <cstdarg>
#include <cstdint>

#include "conversion/ConvertApi.h"
#include "rawfile/GnssTypes.h"
#include "timebase/StationRecord.h"

class CGnssEpoch;
class CEphemerisStore;
class INavigationMessage;

namespace ublox2trv {

// message(level, time, text); may be null, then texts are only built.
using PortMessageFunction = void (*)(int level, double time, const char* text);
// A record decoder works on PortArray::frame; record receives a station
// record when the result is kDecodeStationRecord.
using RecordDecoder = int (*)(StationRecord* record);

// Results of DecodeByte, which are the results of the decoders.
enum DecodeResult : int {
    kDecodeRejected = -1,      // port not open, or the decoder refused quietly
    kDecodeNothing = 0,        // more bytes needed, or the frame was dropped
    kDecodeEpoch = 1,          // the epoch record is complete
    kDecodeEphemeris = 2,      // an ephemeris was stored
    kDecodePosition = 4,       // a position was taken
    kDecodeStationRecord = 5,  // a StationRecord is in the caller's buffer
};

inline constexpr uint8_t kUbxSync1 = 0xB5;
inline constexpr uint8_t kUbxSync2 = 0x62;
inline constexpr uint8_t kClassNav = 0x01;
inline constexpr uint8_t kClassRxm = 0x02;
inline constexpr uint8_t kClassTim = 0x0D;
inline constexpr uint8_t kIdRxmRaw = 0x10;
inline constexpr uint8_t kIdRxmSfrbx = 0x13;
inline constexpr uint8_t kIdRxmRawx = 0x15;
inline constexpr uint8_t kIdRxmEph = 0x31;
inline constexpr uint8_t kIdNavPosllh = 0x02;
inline constexpr uint8_t kIdTimTm2 = 0x03;

// Sync, class, id and length stand before the payload; the two checksum
// bytes follow it.
inline constexpr int kUbxHeaderSize = 6;
inline constexpr int kUbxFrameOverhead = 8;
inline constexpr int kFrameBufferSize = 8096;
inline constexpr int kLockTimeSlots = 72;
inline constexpr int kGlonassSlotTable = 25;
inline constexpr int kNoGlonassSuperframe = 65536;
inline constexpr int kNoGlonassFrame = 256;

// PortArray::state outside a frame body; inside one it holds the frame's id.
inline constexpr int32_t kScanSearching = -1;
inline constexpr int32_t kScanHeader = -2;

// One row of the record table. itemSize 0 marks a fixed record whose total
// length is fixedLength; otherwise fixedLength is the buffer offset of the
// first item and the item count sits at buffer offset countOffset.
struct RecordRow {
    int32_t messageClass;
    int32_t id;
    char name[32];
    int32_t fixedLength;
    int32_t itemSize;
    int32_t countOffset;
    int32_t countWidth;
    RecordDecoder decode;
};

// Finds the row of a class and id, or null for a record this converter
// does not read.
const RecordRow* FindRecord(int messageClass, int id);

struct PortArray {
    PortMessageFunction message;
    int32_t state;          // kScanSearching, kScanHeader, or the id of the frame being read
    int32_t count;          // bytes now in frame
    int32_t frameLength;    // total length of the current frame
    const RecordRow* record;
    int32_t countFieldEnd;  // count at which the item count is complete; 0 for none
    int32_t replaying;      // 1 while the bytes of a rejected frame are scanned again
    uint8_t frame[kFrameBufferSize];
    double lastEpochTime;   // seconds of week of the last epoch; -1.0 at the start
    int32_t positionValid;
    int32_t clockValid;     // no record read here sets it; the clock branch stays idle
    double clockTime;
    double clockBias;       // seconds
    double latitude;        // degrees
    double longitude;       // degrees
    double height;          // metres
    int32_t gpsWeek;        // last week of a measurement record; 0 until then
    int32_t eventCount;
    CGnssEpoch* epoch;
    double lockTimeNew[kLockTimeSlots];
    double lockTimePrevious[kLockTimeSlots];
    DecoderOptions options;
    CEphemerisStore* ephemerisStore;
    INavigationMessage* assemblers[kStoredConstellations][kPrnTableSize];
    int32_t lastSuperframe[kGlonassSlotTable];
    int32_t lastFrame[kGlonassSlotTable];
};

// The process-wide state of the scanner. portNeverOpened starts at 1 and is
// cleared by the first OpenPort; unknownSignalWarnings caps the RXM-RAWX
// warnings about signals this converter does not map.
extern PortArray* portArray;
extern int32_t portNeverOpened;
extern int32_t unknownSignalWarnings;

// 0 on success, 1 when the state block cannot be allocated.
int OpenPort(PortMessageFunction message, CGnssEpoch* epoch);
void SetPortOptions(const void* options, int size);
int DecodeByte(uint8_t byte, StationRecord* record);
// DecodeByte over a block: stops after the first byte with a non-zero
// result, which it returns, and tells in used how many bytes it took.
int DecodeBytes(const uint8_t* data, size_t size, size_t& used, StationRecord* record);
// Writes the .epp file beside path; the count of records written, or -1
// when the port is not open.
int WriteEphemerisFile(const char* path);
void ClosePort();

// Formats into the error text and hands it to the port's message function.
void ReportPortMessage(int level, double time, const char* format, ...) __attribute__((format(printf, 3, 4)));
void ReportPortMessageV(int level, double time, const char* format, va_list args);
// Whether a message of this level reaches anyone. Detail messages go nowhere
// unless the options ask for every message, and then their text is not
// even built: the navigation decoders have one for nearly every record.
bool PortReports(int level);

// The store and the assemblers that PortArray owns.
void CreateNavigationState(PortArray& port);
void ReleaseNavigationState(PortArray& port);

}  // namespace ublox2trv
