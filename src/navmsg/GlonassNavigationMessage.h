#pragma once
// The GLONASS L1/L2 FDMA assembler: strings 1 to 4 of one frame of one
// satellite into a GloEphemerisRecord, and a stand-alone reader of string 5
// for the GLONASS time scale correction.
//
// A string is 85 bits in 11 bytes, first bit in the top bit of the first
// byte. Bit 0 here is the idle chip (bit 85 of the GLONASS ICD), bits 1 to 4
// the string number, and bits 77 to 84 the Hamming check bits; bit i here is
// bit 85 - i of the ICD.
#include <cstdint>

#include "ephemeris/EphemerisRecords.h"
#include "navmsg/INavigationMessage.h"

class CGlonassNavigationMessage : public INavigationMessage {
public:
    static constexpr int kStringBytes = 11;
    static constexpr int kStringCount = 4;

    CGlonassNavigationMessage();

    int GetItemCount() const override { return kStringCount; }
    int GetLastStored() const override { return lastStored; }
    void Reset() override;
    // buffer holds at least the 11 bytes of one string. 1 to 4 are kept,
    // 5 to 15 are passed over (returned, not kept); -1 idle chip set,
    // -2 string number 0, -3 a lower string is missing.
    int Store(const uint8_t* buffer) override;
    bool IsComplete() const override;
    // record is a GloEphemerisRecord. prn, channel, tauC, the reception time
    // and the GPS time stay zero: they are not in strings 1 to 4.
    int GetEphemeris(void* record) override;

protected:
    uint8_t strings[kStringCount][kStringBytes];
    bool loaded[kStringCount];
    int32_t lastStored = 0;
};

// The GLONASS time scale correction tauC (seconds) and the day number NA of
// string 5. The outputs are 0.0 and 0 unless the string is a string 5 with
// its idle chip clear, NA in 1 to 1461 and abs(tauC) at most 1 s; only then
// is the result true.
bool ReadString5(const uint8_t* buffer, double& tauC, int& NA);
