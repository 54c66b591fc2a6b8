// RXM-RAW and RXM-RAWX: each record is one whole epoch. The decoder fills
// the caller's epoch and answers kDecodeEpoch; the driver writes and resets
// it.
#include <cmath>

#include "conversion/Converter.h"
#include "conversion/FrameFields.h"
#include "conversion/HostMessages.h"
#include "conversion/UbxDecoders.h"
#include "rawfile/GnssEpoch.h"
#include "timebase/GpsTime.h"

namespace ublox2trv {

namespace {

// RXM-RAW layout: 8-byte header, then 24-byte blocks.
constexpr int kRawTowMs = 0;
constexpr int kRawWeek = 4;
constexpr int kRawNumSv = 6;
constexpr int kRawFirstBlock = 8;
constexpr int kRawBlockSize = 24;
constexpr int kRawCpMes = 0;
constexpr int kRawPrMes = 8;
constexpr int kRawDoMes = 16;
constexpr int kRawSv = 20;
constexpr int kRawMesQi = 21;
constexpr int kRawCno = 22;
constexpr int kRawLli = 23;
// RXM-RAW records with more blocks than this are refused, although a frame
// may hold far more.
constexpr int kRawMaxSatellites = 16;
constexpr int kRawHighestPrn = 32;
// Below this quality the phase is not trusted to carry the lock on.
constexpr int kRawMinHeldQuality = 6;

// RXM-RAWX layout: 16-byte header, then 32-byte blocks.
constexpr int kRawxTow = 0;
constexpr int kRawxWeek = 8;
constexpr int kRawxNumMeas = 11;
constexpr int kRawxFirstBlock = 16;
constexpr int kRawxBlockSize = 32;
constexpr int kRawxPrMes = 0;
constexpr int kRawxCpMes = 8;
constexpr int kRawxDoMes = 16;
constexpr int kRawxGnssId = 20;
constexpr int kRawxSvId = 21;
constexpr int kRawxSigId = 22;
constexpr int kRawxFreqId = 23;
constexpr int kRawxLocktime = 24;
constexpr int kRawxCno = 26;
constexpr int kRawxPrStdev = 27;
constexpr int kRawxCpStdev = 28;
constexpr int kRawxTrkStat = 30;
constexpr uint8_t kTrkPseudorangeValid = 0x01;
constexpr uint8_t kTrkPhaseValid = 0x02;
constexpr uint8_t kTrkHalfCycleResolved = 0x04;
constexpr uint8_t kStdevMask = 0x0F;
constexpr int kGlonassFreqIdOffset = 7;
constexpr int kGlonassSlotUnknown = 255;
constexpr double kPhaseStdDevStep = 0.004;  // cycles per step of cpStdev

constexpr double kClockMatchWindow = 30.0;  // seconds
constexpr double kFiftyMsSteps = 0.05;

const char* LastWarningSuffix(int32_t count) { return count == kUnknownSignalWarningCap ? " [last warning]" : ""; }

void SetMotionAndWeek(PortArray& port, CGnssEpoch& epoch, int week) {
    port.gpsWeek = week;
    epoch.week = static_cast<uint16_t>(week);
    epoch.flags |= kEpochWeekValid;
    if (port.options.motionMode == kMotionKinematic)
        epoch.flags |= kEpochKinematic;
    else
        epoch.flags &= ~static_cast<uint32_t>(kEpochKinematic);
}

void ApplyPosition(const PortArray& port, CGnssEpoch& epoch) {
    if (!port.positionValid) return;
    epoch.position.latitude = port.latitude;
    epoch.position.longitude = port.longitude;
    epoch.position.height = port.height;
    epoch.flags |= kEpochPositionValid;
}

void ApplyClock(const PortArray& port, CGnssEpoch& epoch) {
    if (!port.clockValid || std::fabs(epoch.rawRcvTime - port.clockTime) >= kClockMatchWindow) return;
    epoch.clockOffset = port.clockBias * kSpeedOfLight;
    epoch.flags |= kEpochClockValid;
    epoch.trueRcvTime -= port.clockBias;
}

// The receiver's pseudorange deviation code n is kept as 2^n * (n * 0.01),
// with the product n * 0.01 formed in single precision; this is the value
// the suite's files have always carried, not the description's 0.01 * 2^n.
float PseudorangeStdDev(int n) {
    const float step = static_cast<float>(n) * 0.01f;
    // n is a 4-bit code: 2^n is exact as an integer, and so is the product.
    return static_cast<float>(static_cast<double>(step) * static_cast<double>(1u << n));
}

// A satellite record reused for every block that starts a new satellite,
// so that decoding allocates nothing once its signal slots are warm.
CGnssSatellite& ScratchSatellite(const SatelliteId& id) {
    static CGnssSatellite scratch;
    scratch.Reset();
    scratch.id = id;
    return scratch;
}

}  // namespace

int RoundToFiftyMs(double seconds) { return static_cast<int>(seconds * 1000.0 / 50.0 + 0.5) * 50; }

int DecodeRxmRaw(StationRecord*) {
    PortArray& port = *portArray;
    CGnssEpoch& epoch = *port.epoch;
    const uint8_t* frame = port.frame;

    const double t = PayloadI32(frame, kRawTowMs) * 0.001;
    epoch.rawRcvTime = t;
    if (t < 0.0 || t > kSecondsPerWeek) {
        ReportPortMessage(kLevelAlways, t, "Invalid GPS time in measurement record 0x10");
        return kDecodeNothing;
    }
    const double dt = port.lastEpochTime > 0.0 ? WrapTimeDifference(t, port.lastEpochTime) : 0.0;

    const int week = PayloadI16(frame, kRawWeek);
    if (week <= 0) {
        ReportPortMessage(kLevelDetail, t, "Invalid week number in measurement record 0x10");
        return kDecodeNothing;
    }
    SetMotionAndWeek(port, epoch, week);

    const int satellites = PayloadU8(frame, kRawNumSv);
    if (satellites > kRawMaxSatellites) {
        ReportPortMessage(kLevelAlways, t, "Invalid number of satellites in measurement record 0x10");
        return kDecodeNothing;
    }

    for (int n = 0; n < satellites; ++n) {
        const int block = kRawFirstBlock + n * kRawBlockSize;
        const int sv = PayloadU8(frame, block + kRawSv);
        if (sv > kRawHighestPrn) continue;
        const double cpMes = PayloadF64(frame, block + kRawCpMes);

        CGnssSatellite& satellite = ScratchSatellite(SatelliteId(kGps, sv));
        CGnssSignal signal;
        signal.signalId = 0;
        signal.flags = kSigPresent | kSigLockTime;

        // The lock time grows while the phase is held and restarts from 0
        // after a slip: that is how RXM-RAW slips reach the file.
        const bool held = PayloadI8(frame, block + kRawMesQi) >= kRawMinHeldQuality && cpMes != 0.0 &&
                          PayloadU8(frame, block + kRawLli) == 0;
        if (held) {
            const double lock = dt + port.lockTimePrevious[sv];
            signal.lockTime = static_cast<float>(lock);
            port.lockTimeNew[sv] = lock;
        } else {
            port.lockTimeNew[sv] = 0.0;
        }

        signal.pseudorange = PayloadF64(frame, block + kRawPrMes);
        signal.flags |= kSigPseudorange;
        if (cpMes != 0.0) {
            // The suite keeps phase with the opposite sign to the receiver.
            signal.carrierPhase = -cpMes;
            signal.flags |= kSigPhaseResolved | kSigPhaseValue;
        }
        signal.doppler = PayloadF32(frame, block + kRawDoMes);
        signal.cn0 = PayloadI8(frame, block + kRawCno);
        signal.flags |= kSigDoppler | kSigCn0;

        satellite.SetSignal(signal);
        epoch.SetSatellite(satellite);
    }

    // A satellite missing from this record starts again from 0 in the next.
    for (int i = 0; i < kLockTimeSlots; ++i) {
        port.lockTimePrevious[i] = port.lockTimeNew[i];
        port.lockTimeNew[i] = 0.0;
    }

    epoch.trueRcvTime = epoch.rawRcvTime;
    const double rounded = static_cast<int>(t / kFiftyMsSteps + 0.5) * kFiftyMsSteps;
    epoch.rcvTimeMs = static_cast<uint32_t>((rounded + 0.0005) * 1000.0);
    ApplyClock(port, epoch);
    ApplyPosition(port, epoch);
    port.lastEpochTime = t;
    return kDecodeEpoch;
}

int DecodeRxmRawx(StationRecord*) {
    PortArray& port = *portArray;
    CGnssEpoch& epoch = *port.epoch;
    const uint8_t* frame = port.frame;

    const double rcvTow = PayloadF64(frame, kRawxTow);
    epoch.rawRcvTime = rcvTow;
    // Written so that a NaN time is refused as well.
    if (!(rcvTow >= 0.0 && rcvTow < kSecondsPerWeek)) {
        ReportPortMessage(kLevelAlways, rcvTow, "RXM-RAWX: Invalid time of week (%lf)", rcvTow);
        return kDecodeNothing;
    }
    const int week = PayloadU16(frame, kRawxWeek);
    if (week == 0) {
        ReportPortMessage(kLevelDetail, epoch.rawRcvTime, "RXM-RAWX: Invalid week number");
        return kDecodeNothing;
    }
    SetMotionAndWeek(port, epoch, week);

    const int measurements = PayloadU8(frame, kRawxNumMeas);
    for (int n = 0; n < measurements; ++n) {
        const int block = kRawxFirstBlock + n * kRawxBlockSize;
        const int gnssId = PayloadU8(frame, block + kRawxGnssId);
        const int sigId = PayloadU8(frame, block + kRawxSigId);
        const int svId = PayloadU8(frame, block + kRawxSvId);

        GnssConstellation constellation = kInvalidConstellation;
        GnssSignalId signalId = kNoSignal;
        if (!MapUbloxSignal(gnssId, sigId, constellation, signalId)) {
            // One counter for all pairs and satellites: a receiver that
            // tracks a signal we do not take would otherwise flood the host.
            ++unknownSignalWarnings;
            if (unknownSignalWarnings <= kUnknownSignalWarningCap)
                ReportPortMessage(kLevelDetail, epoch.rawRcvTime,
                                  "RXM-RAWX: Unrecognized constellation ID (%d) or signal ID (%d)%s", gnssId, sigId,
                                  LastWarningSuffix(unknownSignalWarnings));
            continue;
        }

        SatelliteId id;
        if (!id.Set(constellation, svId)) {
            if (constellation == kGlonass && svId == kGlonassSlotUnknown)
                ReportPortMessage(kLevelDetail, epoch.rawRcvTime, "RXM-RAWX: GLONASS PRN number not yet known");
            else
                ReportPortMessage(kLevelDetail, epoch.rawRcvTime, "RXM-RAWX: Invalid %s PRN (%d)",
                                  ConstellationText(constellation), svId);
            continue;
        }
        const uint8_t channel = static_cast<uint8_t>(PayloadU8(frame, block + kRawxFreqId) - kGlonassFreqIdOffset);

        CGnssSignal signal;
        signal.signalId = signalId;
        signal.flags = kSigPresent;
        const uint8_t trkStat = PayloadU8(frame, block + kRawxTrkStat);
        if (trkStat & kTrkPseudorangeValid) {
            signal.pseudorange = PayloadF64(frame, block + kRawxPrMes);
            signal.flags |= kSigPseudorange;
        }
        // A phase whose half cycle is not yet resolved is dropped, not
        // marked.
        if ((trkStat & (kTrkPhaseValid | kTrkHalfCycleResolved)) == (kTrkPhaseValid | kTrkHalfCycleResolved)) {
            signal.carrierPhase = -PayloadF64(frame, block + kRawxCpMes);
            signal.flags |= kSigPhaseResolved | kSigPhaseValue;
        }
        signal.doppler = PayloadF32(frame, block + kRawxDoMes);
        signal.flags |= kSigDoppler;
        const int locktime = PayloadU16(frame, block + kRawxLocktime);
        if (locktime != 0) {
            signal.lockTime = static_cast<float>(locktime * 0.001);
            signal.flags |= kSigLockTime;
        }
        signal.cn0 = PayloadU8(frame, block + kRawxCno);
        signal.flags |= kSigCn0;
        signal.pseudorangeStdDev = PseudorangeStdDev(PayloadU8(frame, block + kRawxPrStdev) & kStdevMask);
        signal.flags |= kSigPseudorangeStdDev;
        signal.carrierPhaseStdDev =
            static_cast<float>((PayloadU8(frame, block + kRawxCpStdev) & kStdevMask) * kPhaseStdDevStep);
        signal.flags |= kSigPhaseStdDev;

        // Signals of one satellite share its record; a later block on the
        // same slot replaces the earlier one.
        CGnssSatellite* held = epoch.GetSatellite(id);
        CGnssSatellite& satellite = held != nullptr ? *held : ScratchSatellite(id);
        if (constellation == kGlonass) satellite.glonassChannel = channel;
        satellite.SetSignal(signal);
        if (held == nullptr) epoch.SetSatellite(satellite);
    }

    epoch.trueRcvTime = epoch.rawRcvTime;
    epoch.rcvTimeMs = static_cast<uint32_t>((epoch.rawRcvTime + 0.0005) * 1000.0);
    ApplyPosition(port, epoch);
    // The nominal epoch time is rounded to 50 ms; the 1 ms value above
    // never reaches the file.
    epoch.rcvTimeMs = static_cast<uint32_t>(RoundToFiftyMs(rcvTow));
    ApplyClock(port, epoch);
    port.lastEpochTime = epoch.rawRcvTime;
    return kDecodeEpoch;
}

}  // namespace ublox2trv
