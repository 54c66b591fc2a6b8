#pragma once
// The Galileo I/NAV assembler of the E1-B signal: word types 1 to 6 of one
// satellite into a GalEphemerisRecord.
#include <cstdint>

#include "ephemeris/EphemerisRecords.h"
#include "navmsg/INavigationMessage.h"

class CGalileoINavE1bNavigationMessage : public INavigationMessage {
public:
    // One I/NAV word: 128 bits, the 6-bit word type first.
    static constexpr int kWordBytes = 16;
    static constexpr int kSlotCount = 6;
    // IOD is a 10-bit field; 1024 marks an empty slot.
    static constexpr int32_t kEmptySlot = 1024;

    // layout 0: the 128-bit word itself; layout 1: the nominal page pair as
    // RXM-SFRBX carries it, its eight 32-bit words most significant byte
    // first (even page from bit 0, odd page from bit 128).
    explicit CGalileoINavE1bNavigationMessage(int layout);

    int GetItemCount() const override { return kSlotCount; }
    int GetLastStored() const override { return lastStored; }
    void Reset() override;
    int Store(const uint8_t* buffer) override;
    bool IsComplete() const override;
    // record is a GalEphemerisRecord. Its prn is the SVID of word 4, since
    // the words name their satellite; the GPS time pair is left for the
    // ephemeris class.
    int GetEphemeris(void* record) override;

private:
    using CopyInFunction = void (*)(uint8_t* slot, const uint8_t* input);

    uint8_t words[kSlotCount][kWordBytes];
    int32_t iod[kSlotCount];
    int32_t lastStored = 0;
    uint64_t typeBit;
    uint64_t iodBit;
    CopyInFunction copyIn;
};
