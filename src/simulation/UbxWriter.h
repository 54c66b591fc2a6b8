#pragma once
// Builds UBX frames for tests and for the bundled sample log: measurement,
// position and event records, unknown records, broken frames and garbage.
#include <cstdint>
#include <string>
#include <vector>

namespace simulation {

using Bytes = std::vector<uint8_t>;

// Little-endian payload builder.
class PayloadWriter {
public:
    PayloadWriter& U8(uint8_t v);
    PayloadWriter& I8(int8_t v) { return U8(static_cast<uint8_t>(v)); }
    PayloadWriter& U16(uint16_t v);
    PayloadWriter& I16(int16_t v) { return U16(static_cast<uint16_t>(v)); }
    PayloadWriter& U32(uint32_t v);
    PayloadWriter& I32(int32_t v) { return U32(static_cast<uint32_t>(v)); }
    PayloadWriter& F32(float v);
    PayloadWriter& F64(double v);
    PayloadWriter& Zeros(size_t n);
    const Bytes& Data() const { return data; }
    Bytes& Data() { return data; }

private:
    Bytes data;
};

// The 8-bit Fletcher sum of UBX over class, id, length and payload.
void UbxChecksum(const uint8_t* from, size_t count, uint8_t& a, uint8_t& b);
// A whole frame: sync, class, id, length, payload, checksum.
Bytes MakeFrame(uint8_t cls, uint8_t id, const Bytes& payload);

struct RawBlock {          // one RXM-RAW satellite block
    double cpMes = 0.0;
    double prMes = 0.0;
    float doMes = 0.0f;
    uint8_t sv = 0;
    int8_t mesQI = 7;
    int8_t cno = 40;
    uint8_t lli = 0;
};
Bytes MakeRxmRaw(int32_t rcvTowMs, int16_t week, const std::vector<RawBlock>& blocks);

struct RawxBlock {         // one RXM-RAWX measurement block
    double prMes = 0.0;
    double cpMes = 0.0;
    float doMes = 0.0f;
    uint8_t gnssId = 0;
    uint8_t svId = 0;
    uint8_t sigId = 0;
    uint8_t freqId = 7;
    uint16_t locktime = 0;
    uint8_t cno = 40;
    uint8_t prStdev = 0;
    uint8_t cpStdev = 0;
    uint8_t doStdev = 0;
    uint8_t trkStat = 7;
};
Bytes MakeRxmRawx(double rcvTow, uint16_t week, const std::vector<RawxBlock>& blocks, int8_t leapS = 18);

Bytes MakeNavPosllh(uint32_t iTow, double latitudeDeg, double longitudeDeg, double heightM);

struct TimeMark {
    uint8_t flags = 0x40 | 0x20 | 0x04;   // time valid, GPS time base, rising edge new
    uint16_t wnR = 0, wnF = 0;
    uint32_t towMsR = 0, towSubMsR = 0, towMsF = 0, towSubMsF = 0;
    uint16_t count = 0;
};
Bytes MakeTimTm2(const TimeMark& mark);

// A frame of a record the converter does not know (NAV-PVT sized).
Bytes MakeUnknownFrame(uint8_t cls = 0x01, uint8_t id = 0x07, size_t payloadLength = 92);
// A frame whose checksum is off by one.
Bytes BreakChecksum(Bytes frame);
// Pseudo-random bytes from a seed, with no 0xB5 0x62 pair inside.
Bytes Garbage(size_t count, uint32_t seed);

// Appends frames and garbage and writes the whole to a file.
class UbxLog {
public:
    UbxLog& Add(const Bytes& bytes);
    const Bytes& Data() const { return data; }
    bool Save(const std::string& path) const;

private:
    Bytes data;
};

}  // namespace simulation
