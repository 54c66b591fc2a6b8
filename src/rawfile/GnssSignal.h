#pragma once
#include <cstdint>
#include "rawfile/GnssTypes.h"

// Validity bits of CGnssSignal::flags.
enum SignalFlag : uint32_t {
    kSigPresent = 1,
    kSigPseudorange = 2,
    kSigPhaseResolved = 4,
    kSigDoppler = 8,
    kSigLockTime = 16,
    kSigCn0 = 32,
    kSigPseudorangeStdDev = 64,
    kSigPhaseStdDev = 128,
    kSigPhaseValue = 256,
    kSigHalfCycle = 512,
};

struct CGnssSignal {
    uint32_t flags = 0;
    GnssSignalId signalId = kNoSignal;
    double pseudorange = 0.0;
    double carrierPhase = 0.0;
    float cn0 = 0.0f;
    float doppler = 0.0f;
    float lockTime = 0.0f;
    float pseudorangeStdDev = 0.0f;
    float carrierPhaseStdDev = 0.0f;

    void Clear() { *this = CGnssSignal(); }
};
