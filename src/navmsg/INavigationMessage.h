#pragma once
// Per-satellite assemblers of broadcast navigation data: they collect the
// raw pieces (subframes, words, strings) of one satellite until a whole
// ephemeris stands, and decode it into a flat record.
#include <cstdint>
#include <string>

class INavigationMessage {
public:
    virtual ~INavigationMessage() = default;

    // Pieces in a complete set: 3 GPS, QZSS, BeiDou; 4 GLONASS; 6 Galileo.
    virtual int GetItemCount() const = 0;
    virtual int GetLastStored() const = 0;
    // Empties all slots.
    virtual void Reset() = 0;
    // The piece's number (positive) if taken or passed over; a negative code
    // if refused, with errorText set.
    virtual int Store(const uint8_t* buffer) = 0;
    virtual bool IsComplete() const = 0;
    // 1 with the record filled, 0 with errorText set. record points to the
    // flat record of the assembler's constellation (GpsEphemerisRecord,
    // QzssEphemerisRecord, BdsEphemerisRecord, GalEphemerisRecord,
    // GloEphemerisRecord).
    virtual int GetEphemeris(void* record) = 0;

    const std::string& ErrorText() const { return errorText; }

protected:
    std::string errorText;
};

// count bits (1 to 32) from bitOffset, most significant first; all ones when
// count is out of range.
uint32_t ReadBits(const uint8_t* buffer, uint64_t bitOffset, int count);
// Two's complement of a count-bit field (GPS, QZSS, BeiDou, Galileo).
int32_t TwosComplement(uint32_t value, int count);
// Sign and magnitude, top bit the sign (GLONASS).
int32_t SignMagnitude(uint32_t value, int count);
