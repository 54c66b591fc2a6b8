// The UBX frame scanner: one byte at a time, it finds frames, proves their
// length, item count and checksum, and runs the decoder of the record. Logs
// mix UBX with NMEA, RTCM and noise, so a 0xB5 is often no frame start; a
// rejected frame is scanned again from its second byte, since the false
// start may have swallowed the beginning of a true frame.
#include <algorithm>
#include <cstring>

#include "conversion/HostMessages.h"
#include "conversion/PortArray.h"
#include "conversion/UbxChecksum.h"

namespace ublox2trv {

namespace {

// Class and id bytes and the two length bytes complete the header at these
// counts.
constexpr int kCountSync2 = 2;
constexpr int kCountClass = 3;
constexpr int kCountId = 4;
constexpr int kCountLength = 6;

// Buffer offset of the first item for the records with items: RXM-RAWX has
// a 16-byte payload header, the others 8 bytes.
constexpr int kItemBaseShortHeader = 8;
constexpr int kItemBaseRawx = 16;

int PayloadLength(const PortArray& port) { return port.frame[4] | (port.frame[5] << 8); }

bool IsScannedClass(uint8_t byte) { return byte == kClassNav || byte == kClassRxm || byte == kClassTim; }

bool ItemBase(int messageClass, int id, int& base) {
    if (messageClass != kClassRxm) return false;
    switch (id) {
        case kIdRxmRaw:
        case kIdRxmSfrbx:
        case kIdRxmEph: base = kItemBaseShortHeader; return true;
        case kIdRxmRawx: base = kItemBaseRawx; return true;
        default: return false;
    }
}

// Proves the frame's total length against its row and prepares the body.
bool CheckLength(PortArray& port, int total) {
    const RecordRow* row = port.record;
    if (row == nullptr) return false;

    if (row->itemSize == 0) {
        if (total != row->fixedLength) {
            ReportPortMessage(kLevelAlways, kNoMessageTime,
                              "Fixed record size failure (expecting %d, found %d, record=%x)", row->fixedLength,
                              total, row->id);
            return false;
        }
        port.countFieldEnd = 0;
        port.frameLength = total;
        return true;
    }

    int base = 0;
    if (!ItemBase(row->messageClass, row->id, base)) return false;
    if (total < row->fixedLength) return false;
    // A truncating remainder: a negative difference passes only when it is
    // a whole number of items.
    if ((total - base - kUbxFrameOverhead) % row->itemSize != 0) return false;
    port.countFieldEnd = row->countOffset + row->countWidth;
    port.frameLength = total;
    return true;
}

// Proves the item count against the payload length as soon as the count
// field is in, long before the checksum could.
bool CheckCount(const PortArray& port) {
    const RecordRow* row = port.record;
    const uint8_t* field = port.frame + row->countOffset;
    int64_t items = 0;
    switch (row->countWidth) {
        case 1: items = static_cast<int8_t>(field[0]); break;  // signed: above 127 never fits
        case 2: items = field[0] | (field[1] << 8); break;
        case 4: {
            uint32_t value = static_cast<uint32_t>(field[0]) | (static_cast<uint32_t>(field[1]) << 8) |
                             (static_cast<uint32_t>(field[2]) << 16) | (static_cast<uint32_t>(field[3]) << 24);
            items = static_cast<int32_t>(value);
            break;
        }
        default: return false;
    }
    return items * row->itemSize + row->fixedLength == PayloadLength(port) + kUbxHeaderSize;
}

// Drops the current frame and scans its bytes again, less the false 0xB5.
// The first non-zero result ends the replay and becomes the result of the
// byte that caused the rejection; the bytes left in the copy are dropped.
int RejectFrame(PortArray& port, StationRecord* record) {
    port.state = kScanSearching;
    if (port.replaying) return kDecodeNothing;

    port.replaying = 1;
    uint8_t copy[kFrameBufferSize];
    const int copied = port.count;
    std::memcpy(copy, port.frame, static_cast<size_t>(copied));
    size_t used = 0;
    const int result = copied > 1 ? DecodeBytes(copy + 1, static_cast<size_t>(copied - 1), used, record) : 0;
    port.replaying = 0;
    return result;
}

int ScanHeader(PortArray& port, uint8_t byte, StationRecord* record) {
    port.frame[port.count++] = byte;
    switch (port.count) {
        case kCountSync2:
            if (byte != kUbxSync2) return RejectFrame(port, record);
            return kDecodeNothing;
        case kCountClass:
            if (!IsScannedClass(byte)) return RejectFrame(port, record);
            return kDecodeNothing;
        case kCountId:
            port.record = FindRecord(port.frame[2], byte);
            if (port.record == nullptr) return RejectFrame(port, record);
            return kDecodeNothing;
        case kCountLength: {
            const int id = port.frame[3];
            if (CheckLength(port, PayloadLength(port) + kUbxFrameOverhead)) {
                port.state = id;
                return kDecodeNothing;
            }
            if (port.record != nullptr)
                ReportPortMessage(kLevelAlways, kNoMessageTime, "Invalid record length for '%s' record (0x%x)",
                                  port.record->name, id);
            else
                ReportPortMessage(kLevelAlways, kNoMessageTime, "Invalid record length for record 0x%x", id);
            return RejectFrame(port, record);
        }
        default: return kDecodeNothing;
    }
}

int ScanBody(PortArray& port, uint8_t byte, StationRecord* record) {
    const int id = port.frame[3];
    port.frame[port.count++] = byte;

    if (port.count >= kFrameBufferSize) {
        // The one rejection that is not scanned again: the rest of the
        // frame's bytes are searched as ordinary input.
        ReportPortMessage(kLevelAlways, kNoMessageTime, "U-blox buffer overrun for record 0x%x", id);
        port.state = kScanSearching;
        return kDecodeNothing;
    }
    if (port.count == port.countFieldEnd && !CheckCount(port)) {
        ReportPortMessage(kLevelAlways, kNoMessageTime, "Invalid variable data length on record 0x%x", id);
        return RejectFrame(port, record);
    }
    if (port.count < port.frameLength) return kDecodeNothing;

    if (!IsUbxChecksumValid(port.frame, port.frameLength)) {
        if (port.record != nullptr)
            ReportPortMessage(kLevelAlways, kNoMessageTime, "Checksum failure on '%s' record (0x%x)",
                              port.record->name, id);
        else
            ReportPortMessage(kLevelAlways, kNoMessageTime, "Checksum failure on record 0x%x", id);
        return RejectFrame(port, record);
    }
    if (port.record == nullptr) {
        ReportPortMessage(kLevelAlways, kNoMessageTime, "Internal error - no decode address in u-blox decoder");
        port.state = kScanSearching;
        return kDecodeNothing;
    }
    port.state = kScanSearching;
    if (port.record->decode == nullptr) return kDecodeNothing;
    return port.record->decode(record);
}

}  // namespace

int DecodeByte(uint8_t byte, StationRecord* record) {
    if (portNeverOpened || portArray == nullptr) {
        SetErrorText("U-blox OpenPort not called");
        return kDecodeRejected;
    }
    PortArray& port = *portArray;

    if (port.state == kScanSearching) {
        if (byte != kUbxSync1) return kDecodeNothing;
        // The frame starts cleared. Only the previous frame's bytes can be
        // set: count is their extent, and OpenPort cleared the rest.
        std::memset(port.frame, 0, static_cast<size_t>(std::clamp(port.count, 0, kFrameBufferSize)));
        port.frame[0] = byte;
        port.count = 1;
        port.record = nullptr;
        port.state = kScanHeader;
        return kDecodeNothing;
    }
    if (port.state == kScanHeader) return ScanHeader(port, byte, record);
    return ScanBody(port, byte, record);
}

// The same scan over a block of bytes, with the same results, for the
// driver's read loop: it jumps to the next 0xB5 while searching and copies
// the body bytes of a frame that can trigger none of the checks in one go;
// every other byte goes through DecodeByte. Returns at the first non-zero
// result with `used` the count of bytes consumed, including the one that
// gave it.
int DecodeBytes(const uint8_t* data, size_t size, size_t& used, StationRecord* record) {
    size_t i = 0;
    while (i < size) {
        PortArray* port = portNeverOpened ? nullptr : portArray;
        if (port != nullptr && port->state == kScanSearching) {
            const void* sync = std::memchr(data + i, kUbxSync1, size - i);
            if (sync == nullptr) break;
            i = static_cast<size_t>(static_cast<const uint8_t*>(sync) - data);
        } else if (port != nullptr && port->state >= 0) {
            int limit = std::min(port->frameLength, kFrameBufferSize);
            if (port->countFieldEnd > port->count) limit = std::min(limit, port->countFieldEnd);
            const int quiet = limit - port->count - 1;
            if (quiet > 0) {
                const size_t take = std::min(static_cast<size_t>(quiet), size - i);
                std::memcpy(port->frame + port->count, data + i, take);
                port->count += static_cast<int32_t>(take);
                i += take;
                if (i == size) break;
            }
        }
        const int result = DecodeByte(data[i++], record);
        if (result != kDecodeNothing) {
            used = i;
            return result;
        }
    }
    used = size;
    return kDecodeNothing;
}

}  // namespace ublox2trv
