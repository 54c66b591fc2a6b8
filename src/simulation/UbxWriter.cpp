#include "simulation/UbxWriter.h"

#include <cmath>
#include <cstring>
#include <fstream>

namespace simulation {

namespace {
constexpr uint8_t kSync1 = 0xB5;
constexpr uint8_t kSync2 = 0x62;
constexpr uint8_t kClassNav = 0x01;
constexpr uint8_t kClassRxm = 0x02;
constexpr uint8_t kClassTim = 0x0D;
}  // namespace

PayloadWriter& PayloadWriter::U8(uint8_t v) {
    data.push_back(v);
    return *this;
}

PayloadWriter& PayloadWriter::U16(uint16_t v) {
    data.push_back(static_cast<uint8_t>(v));
    data.push_back(static_cast<uint8_t>(v >> 8));
    return *this;
}

PayloadWriter& PayloadWriter::U32(uint32_t v) {
    for (int i = 0; i < 4; ++i) data.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
}

PayloadWriter& PayloadWriter::F32(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return U32(bits);
}

PayloadWriter& PayloadWriter::F64(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    for (int i = 0; i < 8; ++i) data.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    return *this;
}

PayloadWriter& PayloadWriter::Zeros(size_t n) {
    data.insert(data.end(), n, 0);
    return *this;
}

void UbxChecksum(const uint8_t* from, size_t count, uint8_t& a, uint8_t& b) {
    a = 0;
    b = 0;
    for (size_t i = 0; i < count; ++i) {
        a = static_cast<uint8_t>(a + from[i]);
        b = static_cast<uint8_t>(b + a);
    }
}

Bytes MakeFrame(uint8_t cls, uint8_t id, const Bytes& payload) {
    const size_t length = payload.size();
    Bytes frame(length + 8);
    frame[0] = kSync1;
    frame[1] = kSync2;
    frame[2] = cls;
    frame[3] = id;
    frame[4] = static_cast<uint8_t>(length);
    frame[5] = static_cast<uint8_t>(length >> 8);
    if (length) std::memcpy(frame.data() + 6, payload.data(), length);
    UbxChecksum(frame.data() + 2, length + 4, frame[length + 6], frame[length + 7]);
    return frame;
}

Bytes MakeRxmRaw(int32_t rcvTowMs, int16_t week, const std::vector<RawBlock>& blocks) {
    PayloadWriter p;
    p.I32(rcvTowMs).I16(week).U8(static_cast<uint8_t>(blocks.size())).U8(0);
    for (const RawBlock& b : blocks)
        p.F64(b.cpMes).F64(b.prMes).F32(b.doMes).U8(b.sv).I8(b.mesQI).I8(b.cno).U8(b.lli);
    return MakeFrame(kClassRxm, 0x10, p.Data());
}

Bytes MakeRxmRawx(double rcvTow, uint16_t week, const std::vector<RawxBlock>& blocks, int8_t leapS) {
    PayloadWriter p;
    p.F64(rcvTow).U16(week).I8(leapS).U8(static_cast<uint8_t>(blocks.size())).U8(0x01).U8(1).Zeros(2);
    for (const RawxBlock& b : blocks) {
        p.F64(b.prMes).F64(b.cpMes).F32(b.doMes);
        p.U8(b.gnssId).U8(b.svId).U8(b.sigId).U8(b.freqId).U16(b.locktime).U8(b.cno);
        p.U8(b.prStdev).U8(b.cpStdev).U8(b.doStdev).U8(b.trkStat).U8(0);
    }
    return MakeFrame(kClassRxm, 0x15, p.Data());
}

Bytes MakeNavPosllh(uint32_t iTow, double latitudeDeg, double longitudeDeg, double heightM) {
    PayloadWriter p;
    p.U32(iTow)
        .I32(static_cast<int32_t>(std::lround(longitudeDeg * 1e7)))
        .I32(static_cast<int32_t>(std::lround(latitudeDeg * 1e7)))
        .I32(static_cast<int32_t>(std::lround(heightM * 1000.0)))
        .I32(static_cast<int32_t>(std::lround(heightM * 1000.0)))
        .U32(1500)
        .U32(2500);
    return MakeFrame(kClassNav, 0x02, p.Data());
}

Bytes MakeTimTm2(const TimeMark& m) {
    PayloadWriter p;
    p.U8(0).U8(m.flags).U16(m.count).U16(m.wnR).U16(m.wnF);
    p.U32(m.towMsR).U32(m.towSubMsR).U32(m.towMsF).U32(m.towSubMsF).U32(20);
    return MakeFrame(kClassTim, 0x03, p.Data());
}

Bytes MakeUnknownFrame(uint8_t cls, uint8_t id, size_t payloadLength) {
    Bytes payload(payloadLength);
    for (size_t i = 0; i < payloadLength; ++i) payload[i] = static_cast<uint8_t>(i * 7 + 3);
    return MakeFrame(cls, id, payload);
}

Bytes BreakChecksum(Bytes frame) {
    if (!frame.empty()) frame.back() = static_cast<uint8_t>(frame.back() + 1);
    return frame;
}

Bytes Garbage(size_t count, uint32_t seed) {
    Bytes out;
    out.reserve(count);
    uint32_t x = seed ? seed : 1;
    for (size_t i = 0; i < count; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        uint8_t byte = static_cast<uint8_t>(x >> 11);
        if (byte == kSync2 && !out.empty() && out.back() == kSync1) byte = 0x61;
        out.push_back(byte);
    }
    if (!out.empty() && out.back() == kSync1) out.back() = 0xB4;
    return out;
}

UbxLog& UbxLog::Add(const Bytes& bytes) {
    data.insert(data.end(), bytes.begin(), bytes.end());
    return *this;
}

bool UbxLog::Save(const std::string& path) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<bool>(out);
}

}  // namespace simulation
