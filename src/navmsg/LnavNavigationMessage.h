#pragma once
// The legacy navigation message (LNAV) of GPS L1 C/A, which QZSS L1 C/A
// repeats: three subframes of ten 30-bit words make one ephemeris. This base
// collects the subframes of one satellite and decodes them into the Kepler
// block; the GPS and QZSS assemblers differ only in what record they fill.
#include <cstdint>

#include "ephemeris/EphemerisRecords.h"
#include "navmsg/INavigationMessage.h"

// What subframes 1 and 2 carry besides the Kepler block.
struct LnavHealthBits {
    uint32_t uraIndex;   // 4 bits of subframe 1
    uint32_t health;     // the six health bits of subframe 1
    uint32_t antiSpoof;  // A-S flag of the HOW of subframe 1
    uint32_t fitFlag;    // fit interval flag of subframe 2
};

class CLnavNavigationMessage : public INavigationMessage {
public:
    // One subframe as a contiguous bit string: 300 bits in 38 bytes.
    static constexpr int kSubframeBytes = 38;
    static constexpr int kSlotCount = 3;
    // An issue no 8-bit field can hold marks a slot as empty.
    static constexpr int32_t kEmptySlot = 256;

    int GetItemCount() const override { return kSlotCount; }
    int GetLastStored() const override { return lastStored; }
    void Reset() override;
    int Store(const uint8_t* buffer) override;
    bool IsComplete() const override;

protected:
    // layout 0: 300 bits back to back in 38 bytes; layout 1: ten 32-bit
    // words, most significant byte first, two spare bits above each word.
    explicit CLnavNavigationMessage(int layout);

    // False, with the number of the first missing subframe in errorText,
    // while a slot is empty.
    bool RequireComplete();

    // The checks and the scaling that GPS and QZSS share. Fills elements
    // (week made full by the computer's clock) and bits; false with
    // errorText set at the first failed check.
    bool DecodeSubframes(KeplerElements& elements, LnavHealthBits& bits);

private:
    using CopyInFunction = void (*)(uint8_t* slot, const uint8_t* input);

    uint8_t subframes[kSlotCount][kSubframeBytes];  // always layout 0
    int32_t issue[kSlotCount];  // IODC low 8 bits for slot 1, IODE for slots 2 and 3
    int32_t lastStored = 0;
    uint64_t preambleBit;
    uint64_t subframeIdBit;
    uint64_t issueBit[kSlotCount];
    CopyInFunction copyIn;
};
