// NAV-POSLLH, the receiver's position held for the following epochs, and
// TIM-TM2, an external event mark that becomes a Mrk record of the station
// file.
#include <cstdio>
#include <cstring>

#include "conversion/FrameFields.h"
#include "conversion/HostMessages.h"
#include "conversion/UbxDecoders.h"

namespace ublox2trv {

namespace {

constexpr int kPosllhLongitude = 4;
constexpr int kPosllhLatitude = 8;
constexpr int kPosllhHeight = 12;
constexpr double kDegreesPerUnit = 1e-7;
constexpr double kMetresPerMillimetre = 0.001;

constexpr int kTm2Flags = 1;
constexpr int kTm2WeekRising = 4;
constexpr int kTm2TowMsRising = 8;
constexpr int kTm2TowSubMsRising = 12;
constexpr uint8_t kTm2UtcBase = 0x10;
constexpr uint8_t kTm2TimeValid = 0x40;

}  // namespace

int DecodeNavPosllh(StationRecord*) {
    PortArray& port = *portArray;
    const int32_t lat = PayloadI32(port.frame, kPosllhLatitude);
    const int32_t lon = PayloadI32(port.frame, kPosllhLongitude);
    port.latitude = lat * kDegreesPerUnit;
    port.longitude = lon * kDegreesPerUnit;
    port.height = PayloadI32(port.frame, kPosllhHeight) * kMetresPerMillimetre;
    // Once set, never cleared: a later all-zero record leaves zero
    // coordinates that still reach the epochs.
    if (lat != 0 || lon != 0) port.positionValid = 1;
    return kDecodePosition;
}

// Only the rising edge of a mark reaches the station file, whatever the
// edge flags say; a record that reports only a new falling edge therefore
// repeats the last rising time.
int DecodeTimTm2(StationRecord* record) {
    PortArray& port = *portArray;
    const uint8_t flags = PayloadU8(port.frame, kTm2Flags);

    StationRecord mark;
    std::memset(&mark, 0, sizeof mark);
    mark.kind = kStaMark;
    std::snprintf(mark.description, sizeof mark.description, "Rising Edge");
    mark.timeType = (flags & kTm2UtcBase) ? kTimeUtc : kTimeGps;
    mark.time = PayloadU32(port.frame, kTm2TowSubMsRising) * 1e-9 + PayloadU32(port.frame, kTm2TowMsRising) * 0.001;
    mark.week = PayloadU16(port.frame, kTm2WeekRising);

    if (!(flags & kTm2TimeValid)) {
        SetErrorText("Event mark has invalid time - skipped");
        return kDecodeRejected;
    }
    ++port.eventCount;
    std::snprintf(mark.name, sizeof mark.name, "%d", port.eventCount);
    if (record != nullptr) std::memcpy(record, &mark, sizeof mark);
    return kDecodeStationRecord;
}

}  // namespace ublox2trv
