// The quick UBX probe a host runs before it offers a file for conversion.
#include <gtest/gtest.h>

#include "conversion/Converter.h"
#include "support/TestPaths.h"
#include "simulation/UbxWriter.h"

using namespace ubxtest;
using namespace simulation;

TEST(Api, AutoDetectWantsAWholeFrameOfSensibleLength) {
    TempDir dir;
    auto detect = [&](std::initializer_list<Bytes> parts) {
        UbxLog log;
        for (const Bytes& part : parts) log.Add(part);
        log.Save(dir.File("probe.bin"));
        return ublox2trv::AutoDetect(dir.File("probe.bin").c_str());
    };
    const Bytes mark = MakeTimTm2(TimeMark{}), tail{0};
    EXPECT_EQ(detect({Garbage(1000, 3), mark, tail}), 1);
    EXPECT_EQ(detect({MakeUnknownFrame(0x0A, 0x09, 60), tail}), 1);  // class and id are not looked at
    EXPECT_EQ(detect({mark}), 0);  // the frame must end before the end of the probe
    EXPECT_EQ(detect({BreakChecksum(mark), tail}), 0);
    EXPECT_EQ(detect({Bytes{0xB5, 0x62, 0x05, 0x01, 0, 0}}), 0);
    for (auto [length, found] : {std::pair{3, 0}, {4, 1}, {2048, 1}, {2049, 0}})
        EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(static_cast<size_t>(length), 1)), tail}), found) << length;
    // Only the first 16 KiB are looked at.
    EXPECT_EQ(detect({Garbage(16384 - 37, 5), mark, tail}), 1);
    EXPECT_EQ(detect({Garbage(16384 - 36, 5), mark, tail}), 0);
    EXPECT_EQ(ublox2trv::AutoDetect(dir.File("missing").c_str()), 0);
}
