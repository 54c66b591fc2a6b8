// Version 3 epoch records: the writer, the full reader and the fast header reader.
#include <cstdio>
#include <cstring>

#include "rawfile/TrvFile.h"
#include "rawfile/TrvFileLayout.h"

using namespace trv;

namespace {

// Offsets inside a 48-byte signal block.
constexpr int kSigIdAt = 0;
constexpr int kSigBitsAt = 2;
constexpr int kSigPseudorangeAt = 4;
constexpr int kSigPseudorangeStdAt = 12;
constexpr int kSigPhaseAt = 16;
constexpr int kSigPhaseStdAt = 24;
constexpr int kSigDopplerAt = 28;
constexpr int kSigCn0At = 40;
constexpr int kSigLockTimeAt = 44;

// Offsets inside an 8-byte satellite block.
constexpr int kSatConstellationAt = 0;
constexpr int kSatPrnAt = 1;
constexpr int kSatChannelAt = 3;
constexpr int kSatSignalCountAt = 4;

// The half cycle that an unresolved phase carries.
constexpr double kHalfCycle = 0.5;

uint16_t Checksum(const uint8_t* bytes, size_t size) {
    uint32_t sum = 0;
    for (size_t i = 0; i < size; ++i) sum += bytes[i];
    return static_cast<uint16_t>(sum);
}

void PutSignalBlock(uint8_t* block, const CGnssSignal& signal) {
    const uint32_t f = signal.flags;
    Put<uint16_t>(block, kSigBitsAt, static_cast<uint16_t>(f));
    if (f & kSigPresent) Put<uint16_t>(block, kSigIdAt, static_cast<uint16_t>(signal.signalId));
    if (f & kSigPseudorange) Put<double>(block, kSigPseudorangeAt, signal.pseudorange);
    if (f & kSigPhaseResolved) {
        Put<double>(block, kSigPhaseAt, signal.carrierPhase);
    } else if (f & kSigPhaseValue) {
        // The file value carries no half cycle; bit 512 keeps the record of it.
        Put<double>(block, kSigPhaseAt, signal.carrierPhase - ((f & kSigHalfCycle) ? kHalfCycle : 0.0));
    }
    if (f & kSigDoppler) Put<double>(block, kSigDopplerAt, static_cast<double>(signal.doppler));
    if (f & kSigLockTime) Put<float>(block, kSigLockTimeAt, signal.lockTime);
    if (f & kSigCn0) Put<float>(block, kSigCn0At, signal.cn0);
    if (f & kSigPseudorangeStdDev) Put<float>(block, kSigPseudorangeStdAt, signal.pseudorangeStdDev);
    if (f & kSigPhaseStdDev) Put<float>(block, kSigPhaseStdAt, signal.carrierPhaseStdDev);
}

void GetSignalBlock(const uint8_t* block, CGnssSignal& signal) {
    signal.Clear();
    const uint32_t stored = Get<uint16_t>(block, kSigBitsAt);
    uint32_t f = stored & (kSigPresent | kSigPseudorange | kSigDoppler | kSigLockTime | kSigCn0 |
                           kSigPseudorangeStdDev | kSigPhaseStdDev | kSigHalfCycle);
    if (stored & kSigPhaseResolved) f |= kSigPhaseResolved | kSigPhaseValue;
    if (stored & kSigPhaseValue) f |= kSigPhaseValue;
    signal.flags = f;
    if (f & kSigPresent) signal.signalId = Get<uint16_t>(block, kSigIdAt);
    if (f & kSigPseudorange) signal.pseudorange = Get<double>(block, kSigPseudorangeAt);
    if (f & kSigPhaseValue) signal.carrierPhase = Get<double>(block, kSigPhaseAt);
    if (f & kSigDoppler) signal.doppler = static_cast<float>(Get<double>(block, kSigDopplerAt));
    if (f & kSigLockTime) signal.lockTime = Get<float>(block, kSigLockTimeAt);
    if (f & kSigCn0) signal.cn0 = Get<float>(block, kSigCn0At);
    if (f & kSigPseudorangeStdDev) signal.pseudorangeStdDev = Get<float>(block, kSigPseudorangeStdAt);
    if (f & kSigPhaseStdDev) signal.carrierPhaseStdDev = Get<float>(block, kSigPhaseStdAt);
}

}  // namespace

int CTrvFile::WriteRecordV3(const CGnssEpoch& epoch) {
    if (!file) return 1;
    // At most 128 satellites fit a record. An epoch with more is refused
    // whole, so that the caller reports it, rather than written without some
    // of its satellites.
    const size_t satellites = epoch.satelliteList.size();
    if (satellites > static_cast<size_t>(kMaxRecordSatellites)) return 1;

    GnssSignalId ids[kMaxSignalSlots];
    size_t signals = 0;
    for (size_t i = 0; i < satellites; ++i) {
        const CGnssSatellite* satellite = epoch.GetSatellite(epoch.satelliteList[i]);
        if (satellite) signals += static_cast<size_t>(satellite->ListSignals(ids));
    }
    const size_t bodySize = BodySizeV3(static_cast<unsigned>(satellites), static_cast<unsigned>(signals));
    const size_t total = sizeof(TrvRecordHeaderV3) + bodySize;
    if (!GrowRecordBuffer(total)) {
        SetError("Buffer overflow. Check TRV for corruption");
        return 1;
    }
    uint8_t* record = recordBuffer.get();
    memset(record, 0, total);
    uint8_t* body = record + sizeof(TrvRecordHeaderV3);

    if (epoch.flags & kEpochPositionValid) {
        Put<double>(body, 0, epoch.position.latitude);
        Put<double>(body, 8, epoch.position.longitude);
        Put<double>(body, 16, epoch.position.height);
    }
    uint8_t* cursor = body + kPositionBlockSize;
    for (size_t i = 0; i < satellites; ++i) {
        const CGnssSatellite* satellite = epoch.GetSatellite(epoch.satelliteList[i]);
        if (!satellite) {
            // A list entry without its table entry: keep the counts honest.
            cursor += kSatelliteBlockSize;
            continue;
        }
        int count = satellite->ListSignals(ids);
        cursor[kSatConstellationAt] = static_cast<uint8_t>(satellite->id.constellation);
        Put<uint16_t>(cursor, kSatPrnAt, satellite->id.prn);
        cursor[kSatChannelAt] = satellite->glonassChannel;
        cursor[kSatSignalCountAt] = static_cast<uint8_t>(count);
        cursor += kSatelliteBlockSize;
        // The slots ListSignals counted, in the same slot order.
        for (const auto& record : satellite->signals) {
            if (!record || record->flags == 0) continue;
            PutSignalBlock(cursor, *record);
            cursor += kSignalBlockSize;
        }
    }

    TrvRecordHeaderV3 header{};
    header.sync = kRecordSync;
    header.rawRcvTime = epoch.rawRcvTime;
    header.trueRcvTime = epoch.trueRcvTime;
    header.rcvTimeMs = epoch.rcvTimeMs;
    if (epoch.flags & kEpochClockValid) header.clockOffset = epoch.clockOffset;
    if (epoch.flags & kEpochWeekValid) header.week = epoch.week;
    header.epochFlags = static_cast<uint16_t>(epoch.flags & kEpochBitsMask);
    header.satelliteCount = static_cast<uint16_t>(satellites);
    header.signalCount = static_cast<uint16_t>(signals);
    header.checksum = Checksum(body, bodySize);
    memcpy(record, &header, sizeof header);

    if (fwrite(record, 1, total, file) != total) return 1;
    lastWrittenSize = static_cast<int64_t>(total);
    return 0;
}

int CTrvFile::ReadRecordV3(CGnssEpoch& epoch) {
    if (!file) return 1;
    TrvRecordHeaderV3 header;
    if (fread(&header, sizeof header, 1, file) != 1) return -1;
    if (!HeaderPasses(header, kFullReaderTimeLimit)) return 1;
    const size_t bodySize = BodySizeV3(header.satelliteCount, header.signalCount);
    lastReadSize = static_cast<int64_t>(bodySize);
    if (!GrowRecordBuffer(bodySize)) {
        SetError("Buffer overflow. Check TRV for corruption");
        return 1;
    }
    const uint8_t* body = recordBuffer.get();
    if (fread(recordBuffer.get(), 1, bodySize, file) != bodySize) return -1;
    if (Checksum(body, bodySize) != header.checksum) return 1;

    epoch.Reset();
    epoch.rawRcvTime = header.rawRcvTime;
    epoch.trueRcvTime = header.trueRcvTime;
    epoch.rcvTimeMs = header.rcvTimeMs;
    epoch.flags = header.epochFlags & kEpochBitsMask;
    if (epoch.flags & kEpochClockValid) epoch.clockOffset = header.clockOffset;
    if (epoch.flags & kEpochWeekValid) epoch.week = header.week;
    if (epoch.flags & kEpochPositionValid) {
        epoch.position.latitude = Get<double>(body, 0);
        epoch.position.longitude = Get<double>(body, 8);
        epoch.position.height = Get<double>(body, 16);
    }

    // The walk trusts the per-satellite counts only as far as the body goes.
    const uint8_t* cursor = body + kPositionBlockSize;
    const uint8_t* end = body + bodySize;
    CGnssSignal signal;
    for (unsigned i = 0; i < header.satelliteCount && end - cursor >= kSatelliteBlockSize; ++i) {
        CGnssSatellite& satellite = scratchSatellite;
        satellite.Reset();
        satellite.id.Set(cursor[kSatConstellationAt], Get<uint16_t>(cursor, kSatPrnAt));
        satellite.glonassChannel = cursor[kSatChannelAt];
        const int count = cursor[kSatSignalCountAt];
        cursor += kSatelliteBlockSize;
        for (int s = 0; s < count && end - cursor >= kSignalBlockSize; ++s) {
            GetSignalBlock(cursor, signal);
            satellite.SetSignal(signal);  // an unknown signal is dropped
            cursor += kSignalBlockSize;
        }
        epoch.SetSatellite(satellite);  // an invalid satellite is dropped
    }
    return 0;
}

int CTrvFile::ReadRecordHeaderV3(TrvRecordHeaderV3& header, GeodeticPosition& position) {
    if (!file) return 1;
    if (fread(&header, sizeof header, 1, file) != 1) return -1;
    if (!HeaderPasses(header, kFastReaderTimeLimit)) return 1;
    const size_t bodySize = BodySizeV3(header.satelliteCount, header.signalCount);
    double triple[3];
    if (fread(triple, sizeof triple, 1, file) != 1) return -1;
    position.latitude = triple[0];
    position.longitude = triple[1];
    position.height = triple[2];
    if (fseeko(file, static_cast<off_t>(bodySize - kPositionBlockSize), SEEK_CUR) != 0) return -1;
    return 0;
}
