// The frame scanner: frame boundaries, length and count proofs, checksum,
// and the replay of rejected frames.
#include "PortHarness.h"
#include "conversion/HostMessages.h"
#include "conversion/UbxChecksum.h"

using namespace simulation;
using convtest::Lines;
using convtest::PortTest;

namespace {

Bytes Mark(uint32_t towMs) {
    TimeMark m;
    m.towMsR = towMs;
    return MakeTimTm2(m);
}

Bytes Rawx(double tow, size_t measurements) {
    RawxBlock b;
    b.svId = 1;
    return MakeRxmRawx(tow, 2100, std::vector<RawxBlock>(measurements, b));
}

}  // namespace

TEST(ScannerClosed, DecodeByteNeedsAnOpenPort) {
    ublox2trv::ClosePort();
    EXPECT_EQ(ublox2trv::DecodeByte(0xB5, nullptr), -1);
    EXPECT_STREQ(ublox2trv::errorText, "U-blox OpenPort not called");
    CGnssEpoch epoch;
    ASSERT_EQ(ublox2trv::OpenPort(nullptr, &epoch), 0);
    EXPECT_EQ(ublox2trv::DecodeByte(0xB5, nullptr), 0);
    ublox2trv::ClosePort();
    EXPECT_EQ(ublox2trv::DecodeByte(0x62, nullptr), -1);
}

TEST_F(PortTest, FalseSyncGarbageAndUnknownRecordsAreSilent) {
    Bytes bytes{0xB5};  // a false start right before a true frame
    Bytes mark = Mark(1000);
    bytes.insert(bytes.end(), mark.begin(), mark.end());
    EXPECT_EQ(Feed(bytes), (std::vector<std::pair<size_t, int>>{{bytes.size() - 1, 5}}));

    UbxLog log;
    log.Add(Garbage(3000, 7))
        .Add(MakeNavPosllh(1, 52.0, 4.0, 10.0))
        .Add(MakeUnknownFrame(0x01, 0x07, 92))   // NAV-PVT: a scanned class, an unknown id
        .Add(MakeUnknownFrame(0x0A, 0x09, 60))   // MON-HW: a class never scanned
        .Add(MakeUnknownFrame(0x0B, 0x31, 104))  // AID-EPH, the twin of RXM-EPH
        .Add(Garbage(500, 9))
        .Add(Mark(2000))
        .Add(Garbage(777, 11))
        .Add(Rawx(3000.0, 1));
    std::vector<int> results;
    for (auto [at, r] : Feed(log.Data())) results.push_back(r);
    EXPECT_EQ(results, (std::vector<int>{4, 5, 1}));
    EXPECT_STREQ(record.name, "2");
    EXPECT_TRUE(messages().empty());
}

TEST_F(PortTest, GoodFrameInsideBadFrameIsFoundAndTheRestIsDropped) {
    // Two marks behind the count field of a damaged RAWX frame: the replay
    // returns the first and drops the bytes behind it, the second among them.
    Bytes outer = Rawx(1000.0, 3);
    Bytes first = Mark(1000), second = Mark(2000);
    std::copy(first.begin(), first.end(), outer.begin() + 18);
    std::copy(second.begin(), second.end(), outer.begin() + 18 + 36);
    ASSERT_FALSE(ublox2trv::IsUbxChecksumValid(outer.data(), static_cast<int>(outer.size())));
    EXPECT_EQ(Feed(outer), (std::vector<std::pair<size_t, int>>{{outer.size() - 1, 5}}));
    EXPECT_DOUBLE_EQ(record.time, 1.0);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text, "Checksum failure on 'MEASUREMENTX' record (0x15)");
    EXPECT_EQ(messages()[0].level, 2);
    EXPECT_EQ(messages()[0].time, -1.0);
    EXPECT_EQ(FeedOne(Mark(3000)), 5);
    EXPECT_STREQ(record.name, "2");  // the dropped mark was never counted
}

TEST_F(PortTest, LengthFailures) {
    // A fixed record with a wrong length: two messages, in this order.
    EXPECT_EQ(FeedOne(MakeFrame(0x01, 0x02, Bytes(30, 0))), 0);
    EXPECT_EQ(Texts(), (Lines{"Fixed record size failure (expecting 36, found 38, record=2)",
                              "Invalid record length for 'POSITION' record (0x2)"}));
    // Records with items are tested by division: RXM-EPH, with no count
    // field, passes with 8, 104 and 200 bytes and fails with 0 and 50.
    messages().clear();
    for (size_t length : {8u, 104u, 200u, 0u, 50u}) EXPECT_EQ(FeedOne(MakeFrame(0x02, 0x31, Bytes(length, 0))), 0);
    Feed(MakeFrame(0x02, 0x15, Bytes(16 + 31)));
    EXPECT_EQ(Texts(), (Lines{"Invalid record length for 'EPHEMERIS' record (0x31)",
                              "Invalid record length for 'EPHEMERIS' record (0x31)",
                              "Invalid record length for 'MEASUREMENTX' record (0x15)"}));
}

TEST_F(PortTest, CountFieldMismatchFailsAtCount18) {
    Bytes frame = Rawx(1000.0, 1);
    frame[6 + 11] = 2;  // two measurements claimed, one present
    Feed(Bytes(frame.begin(), frame.begin() + 17));
    EXPECT_TRUE(messages().empty());
    Feed(Bytes(frame.begin() + 17, frame.begin() + 18));
    EXPECT_EQ(Texts(), Lines{"Invalid variable data length on record 0x15"});

    // The count byte is signed: 128 measurements fit the length but not the
    // count; 127 pass.
    Reopen();
    EXPECT_TRUE(Feed(Rawx(1000.0, 128)).empty());
    EXPECT_EQ(Texts(), Lines{"Invalid variable data length on record 0x15"});
    EXPECT_EQ(FeedOne(Rawx(1000.0, 127)), 1);
}

TEST_F(PortTest, OverrunAt8096DropsTheFrameAndScansOnlyItsTail) {
    // RXM-EPH has no count field, so only the buffer limit stops a long one.
    Bytes payload(8 + 96 * 85, 0x11);  // 8176 bytes in all
    Bytes lost = Mark(4000), found = Mark(5000);
    std::copy(lost.begin(), lost.end(), payload.begin() + 100);
    std::copy(found.begin(), found.end(), payload.begin() + 8100 - 6);
    EXPECT_EQ(Feed(MakeFrame(0x02, 0x31, payload)),
              (std::vector<std::pair<size_t, int>>{{8100 + found.size() - 1, 5}}));
    EXPECT_EQ(Texts(), Lines{"U-blox buffer overrun for record 0x31"});
    EXPECT_STREQ(record.name, "1");
}
