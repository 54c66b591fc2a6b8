#pragma once
// The BeiDou D1 assembler: subframes 1 to 3 of one medium or inclined orbit
// satellite into a BdsEphemerisRecord. Geostationary satellites send D2,
// which never reaches this class.
#include <cstdint>

#include "ephemeris/EphemerisRecords.h"
#include "navmsg/INavigationMessage.h"

class CBeiDouD1NavigationMessage : public INavigationMessage {
public:
    // One subframe as a contiguous bit string: 300 bits in 38 bytes.
    static constexpr int kSubframeBytes = 38;
    static constexpr int kSlotCount = 3;
    // One second past the end of the week: no 20-bit SOW of a real subframe
    // reads so, and it marks a slot as empty.
    static constexpr int32_t kEmptySlot = 604801;

    // layout 0: 300 bits back to back in 38 bytes; layout 1: ten 32-bit
    // words, most significant byte first, two spare bits above each word.
    explicit CBeiDouD1NavigationMessage(int layout);

    int GetItemCount() const override { return kSlotCount; }
    int GetLastStored() const override { return lastStored; }
    void Reset() override;
    int Store(const uint8_t* buffer) override;
    bool IsComplete() const override;
    // record is a BdsEphemerisRecord; prn and the GPS time pair are left for
    // the caller and the ephemeris class.
    int GetEphemeris(void* record) override;

private:
    using CopyInFunction = void (*)(uint8_t* slot, const uint8_t* input);

    uint8_t subframes[kSlotCount][kSubframeBytes];  // always layout 0
    int32_t sow[kSlotCount];  // seconds of week of each stored subframe
    int32_t lastStored = 0;
    uint64_t preambleBit;
    uint64_t subframeIdBit;
    uint64_t sowHighBit;
    uint64_t sowLowBit;
    CopyInFunction copyIn;
};
