// The decoder port. The frame scanner finds frames among any other bytes, proves their length, item count and
// checksum, and scans a rejected frame again from its second byte. The record decoders turn RXM-RAW, RXM-RAWX,
// NAV-POSLLH, TIM-TM2 and RXM-EPH into the epoch, the port's state, the station record and the store, and refuse what
// they must with their own words. The RAWX fields of every tracking state are shown by the driver's synthetic log.
#include "Harness.h"
#include "conversion/HostMessages.h"
#include "conversion/RxmEphDecoder.h"
#include "ephemeris/EphemerisStore.h"
#include "simulation/NavEncoders.h"
#include "timebase/GpsTime.h"

using namespace simulation;
using convtest::Elements;
using convtest::Lines;
using convtest::PortTest;
using convtest::Results;

namespace {

Bytes Mark(uint32_t towMs) { return MakeTimTm2(TimeMark{.towMsR = towMs}); }

constexpr uint32_t kRangePhase = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigDoppler | kSigLockTime |
                                 kSigCn0 | kSigPhaseValue;

RawBlock Raw(uint8_t sv, double cp = 1.1e8, int8_t quality = 7, uint8_t lli = 0) {
    return RawBlock{cp, 2.2e7 + sv, -1234.5f, sv, quality, 44, lli};
}

RawxBlock Rawx(uint8_t gnssId, uint8_t svId, uint8_t sigId = 0) {
    return {.gnssId = gnssId, .svId = svId, .sigId = sigId};
}

Bytes RawxFrame(double tow, size_t measurements) { return MakeRxmRawx(tow, 2100, {measurements, Rawx(0, 1)}); }

const CGnssSignal* Signal(const CGnssEpoch& e, int prn) {
    return e.HasSatellite({kGps, prn}) ? e.GetSatellite(SatelliteId(kGps, prn))->GetSignal(0) : nullptr;
}

const KeplerElements kSample = Elements(2300, 345600);

LnavSubframeSet Subframes(const KeplerElements& k, int health = 0) {
    return EncodeLnav(k, LnavExtras{.towCount = 57601, .health = health});
}

Bytes Frame(uint32_t svid, const KeplerElements& k = kSample, int health = 0) {
    const LnavSubframeSet set = Subframes(k, health);
    return MakeRxmEph(svid, HowData(set), EphemerisWords(set));
}

int DecodeBytes(const KeplerElements& k, int health, GpsEphemerisRecord& record, int prn) {
    uint8_t bytes[ublox2trv::kEphemerisByteCount];
    ublox2trv::PackEphemerisWords(EphemerisWords(Subframes(k, health)).data(), bytes);
    record = GpsEphemerisRecord{};
    return ublox2trv::DecodeGpsEphemerisBytes(bytes, record, prn);
}

}  // namespace

TEST_F(PortTest, FalseSyncGarbageAndUnknownRecordsAreSilent) {
    UbxLog log;
    log.Add({0xB5}).Add(Mark(1000));  // a false start right before a true frame
    EXPECT_EQ(Feed(log.Data()), (Results{{log.Data().size() - 1, 5}}));
    log.Add(Garbage(3000, 7)).Add(MakeNavPosllh(1, 52.0, 4.0, 10.0)).Add(MakeUnknownFrame(0x01, 0x07, 92));
    log.Add(MakeUnknownFrame(0x0A, 0x09, 60)).Add(MakeUnknownFrame(0x0B, 0x31, 104));  // MON-HW, AID-EPH
    log.Add(Garbage(500, 9)).Add(Mark(2000)).Add(Garbage(777, 11)).Add(RawxFrame(3000.0, 1));
    std::vector<int> results;
    for (auto [at, r] : Feed(log.Data())) results.push_back(r);
    EXPECT_EQ(results, (std::vector<int>{5, 4, 5, 1}));
    EXPECT_STREQ(record.name, "3");
    EXPECT_TRUE(messages().empty());
}

TEST_F(PortTest, GoodFrameInsideBadFrameIsFoundAndTheRestIsDropped) {
    // Two marks behind the count field of a damaged RAWX frame: the replay returns the first and drops the bytes
    // behind it, the second among them.
    Bytes outer = RawxFrame(1000.0, 3);
    const Bytes first = Mark(1000), second = Mark(2000);
    std::copy(first.begin(), first.end(), outer.begin() + 18);
    std::copy(second.begin(), second.end(), outer.begin() + 18 + 36);
    EXPECT_EQ(Feed(outer), (Results{{outer.size() - 1, 5}}));
    EXPECT_DOUBLE_EQ(record.time, 1.0);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(std::tie(messages()[0].text, messages()[0].level, messages()[0].time),
              std::make_tuple("Checksum failure on 'MEASUREMENTX' record (0x15)", 2, -1.0));
    EXPECT_EQ(FeedOne(Mark(3000)), 5);
    EXPECT_STREQ(record.name, "2");  // the dropped mark was never counted
}

TEST_F(PortTest, LengthAndCountFailures) {
    // A fixed record with a wrong length: two messages, in this order.
    EXPECT_EQ(FeedOne(MakeFrame(0x01, 0x02, Bytes(30, 0))), 0);
    EXPECT_EQ(Texts(), (Lines{"Fixed record size failure (expecting 36, found 38, record=2)",
                              "Invalid record length for 'POSITION' record (0x2)"}));
    // Records with items are tested by division: RXM-EPH, with no count field, passes with 8, 104 and 200 bytes and
    // fails with 0 and 50.
    messages().clear();
    for (size_t length : {8u, 104u, 200u, 0u, 50u}) EXPECT_EQ(FeedOne(MakeFrame(0x02, 0x31, Bytes(length, 0))), 0);
    Feed(MakeFrame(0x02, 0x15, Bytes(16 + 31)));
    const std::string eph = "Invalid record length for 'EPHEMERIS' record (0x31)";
    EXPECT_EQ(Texts(), (Lines{eph, eph, "Invalid record length for 'MEASUREMENTX' record (0x15)"}));
    // The count is proved as soon as it is in, at byte 18 of RXM-RAWX; the count byte is signed: 128 measurements
    // fit the length but not the count, 127 pass.
    Reopen();
    Bytes frame = RawxFrame(1000.0, 1);
    frame[6 + 11] = 2;  // two measurements claimed, one present
    Feed(Bytes(frame.begin(), frame.begin() + 17));
    EXPECT_TRUE(messages().empty());
    Feed(Bytes(frame.begin() + 17, frame.begin() + 18));
    EXPECT_TRUE(Feed(RawxFrame(1000.0, 128)).empty());
    EXPECT_EQ(Texts(), Lines(2, "Invalid variable data length on record 0x15"));
    EXPECT_EQ(FeedOne(RawxFrame(1000.0, 127)), 1);
}

TEST_F(PortTest, OverrunAt8096DropsTheFrameAndScansOnlyItsTail) {
    // RXM-EPH has no count field, so only the buffer limit stops a long one.
    Bytes payload(8 + 96 * 85, 0x11);  // 8176 bytes in all
    const Bytes lost = Mark(4000), found = Mark(5000);
    std::copy(lost.begin(), lost.end(), payload.begin() + 100);
    std::copy(found.begin(), found.end(), payload.begin() + 8100 - 6);
    EXPECT_EQ(Feed(MakeFrame(0x02, 0x31, payload)), (Results{{8100 + found.size() - 1, 5}}));
    EXPECT_EQ(Texts(), Lines{"U-blox buffer overrun for record 0x31"});
    EXPECT_STREQ(record.name, "1");
}

TEST_F(PortTest, RawFieldsAndLockTime) {
    DecoderOptions kinematic{1, 0, 0};
    ublox2trv::SetPortOptions(&kinematic, sizeof kinematic);
    ASSERT_EQ(FeedOne(MakeRxmRaw(604798026, 2100, {Raw(2), Raw(3), Raw(4), Raw(6), Raw(12, 0.0), Raw(33)})), 1);
    EXPECT_EQ(epoch.flags, kEpochWeekValid | kEpochKinematic);
    EXPECT_EQ(epoch.rcvTimeMs, 604798050u);
    EXPECT_EQ(epoch.satelliteList.size(), 5u);  // PRN 33 skipped
    const CGnssSignal* s = Signal(epoch, 2);
    EXPECT_EQ(std::tie(s->flags, s->pseudorange, s->carrierPhase), std::make_tuple(kRangePhase, 2.2e7 + 2, -1.1e8));
    EXPECT_EQ(std::tie(s->doppler, s->cn0), std::make_tuple(-1234.5f, 44.0f));
    EXPECT_EQ(Signal(epoch, 12)->flags, kRangePhase & ~(kSigPhaseResolved | kSigPhaseValue));
    // Lock time grows while held; a slip (lli), low quality or absence restarts it from 0; the week wraps.
    const struct {
        int32_t towMs;
        int16_t week;
        std::vector<RawBlock> blocks;
        std::vector<float> lock;  // PRN 2, 3, 4, 6
    } steps[] = {{604799026, 2100, {Raw(2), Raw(3, 1e8, 7, 1), Raw(4, 1e8, 5)}, {1, 0, 0}},
                 {1026, 2101, {Raw(2), Raw(3), Raw(4), Raw(6)}, {3, 2, 2, 2}}};
    for (const auto& step : steps) {
        epoch.Reset();
        ASSERT_EQ(FeedOne(MakeRxmRaw(step.towMs, step.week, step.blocks)), 1);
        std::vector<float> lock;
        for (int prn : {2, 3, 4, 6})
            if (Signal(epoch, prn) != nullptr) lock.push_back(Signal(epoch, prn)->lockTime);
        EXPECT_EQ(lock, step.lock);
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(PortTest, RawAndRawxRefusals) {
    std::vector<RawBlock> many;
    for (uint8_t sv = 1; sv <= 17; ++sv) many.push_back(Raw(sv));
    for (const Bytes& frame : {MakeRxmRaw(604800001, 2100, {Raw(1)}), MakeRxmRaw(1000, -5, {Raw(1)}),
                               MakeRxmRaw(1000, 2101, many), MakeRxmRawx(604800.0, 2100, {Rawx(0, 1)}),
                               MakeRxmRawx(std::nan(""), 2100, {Rawx(0, 1)}), MakeRxmRawx(18.0, 0, {Rawx(0, 1)})})
        EXPECT_EQ(FeedOne(frame), 0);
    const std::tuple<int, double, std::string> expected[] = {
        {2, 604800.001, "Invalid GPS time in measurement record 0x10"},
        {3, 1.0, "Invalid week number in measurement record 0x10"},
        {2, 1.0, "Invalid number of satellites in measurement record 0x10"},
        {2, 604800.0, "RXM-RAWX: Invalid time of week (604800.000000)"},
        {2, std::nan(""), "RXM-RAWX: Invalid time of week (nan)"},
        {3, 18.0, "RXM-RAWX: Invalid week number"}};
    ASSERT_EQ(messages().size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        const auto& [level, time, text] = expected[i];
        EXPECT_EQ(std::tie(messages()[i].text, messages()[i].level), std::tie(text, level));
        EXPECT_TRUE(messages()[i].time == time || (std::isnan(time) && std::isnan(messages()[i].time))) << i;
    }
    // The week's last instants are taken.
    EXPECT_EQ(FeedOne(MakeRxmRaw(604800000, 2100, {Raw(1)})), 1);
    EXPECT_EQ(FeedOne(MakeRxmRawx(604799.999, 2100, {Rawx(0, 1)})), 1);
}

TEST_F(PortTest, RawxUnknownSignalsWarnTwentyTimesBadSatellitesEveryTime) {
    std::vector<RawxBlock> blocks(15, Rawx(0, 1, 6));  // GPS L5 is not taken
    blocks.push_back(Rawx(1, 131));                      // nor SBAS
    blocks.insert(blocks.end(), 10, Rawx(6, 255));
    for (const RawxBlock& b : {Rawx(0, 33), Rawx(2, 37), Rawx(3, 0)}) blocks.push_back(b);
    ASSERT_EQ(FeedOne(MakeRxmRawx(1000.0, 2100, blocks)), 1);
    EXPECT_TRUE(epoch.satelliteList.empty());  // still an epoch
    ASSERT_EQ(FeedOne(MakeRxmRawx(1001.0, 2100, blocks)), 1);
    const Lines texts = Texts();
    ASSERT_EQ(texts.size(), 2u * 13 + 20);
    EXPECT_EQ(std::tie(texts[0], messages()[0].level, messages()[0].time),
              std::make_tuple("RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6)", 3, 1000.0));
    EXPECT_EQ(texts[15], "RXM-RAWX: Unrecognized constellation ID (1) or signal ID (0)");
    EXPECT_EQ(Lines(texts.begin() + 16, texts.begin() + 26), Lines(10, "RXM-RAWX: GLONASS PRN number not yet known"));
    EXPECT_EQ(Lines(texts.begin() + 26, texts.begin() + 29), (Lines{"RXM-RAWX: Invalid GPS PRN (33)",
                                                                   "RXM-RAWX: Invalid GALILEO PRN (37)",
                                                                   "RXM-RAWX: Invalid BEIDOU PRN (0)"}));
    EXPECT_EQ(texts[32], "RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6) [last warning]");
    EXPECT_EQ(texts[33], "RXM-RAWX: GLONASS PRN number not yet known");  // not capped
    Reopen();  // a new conversion warns again
    FeedOne(MakeRxmRawx(1002.0, 2100, {Rawx(2, 1, 3)}));  // nor Galileo E5a
    EXPECT_EQ(Texts(), Lines{"RXM-RAWX: Unrecognized constellation ID (2) or signal ID (3)"});
}

// The usual position and GPS-based marks are shown by the driver's synthetic log.
TEST_F(PortTest, PositionAndTimeMarkRules) {
    // A longitude alone is a fix, and a later all-zero record keeps it, with zero coordinates.
    for (double longitude : {1e-7, 0.0}) EXPECT_EQ(FeedOne(MakeNavPosllh(1, 0.0, longitude, 0.0)), 4);
    EXPECT_EQ(ublox2trv::portArray->positionValid, 1);
    EXPECT_EQ(ublox2trv::portArray->longitude, 0.0);
    // Only the rising edge counts; a mark without a valid time is skipped quietly and leaves no gap.
    TimeMark m{0x40 | 0x10 | 0x80, 2022, 2023, 217355138, 250, 5};
    ASSERT_EQ(FeedOne(MakeTimTm2(m)), 5);
    EXPECT_EQ(std::tie(record.kind, record.timeType, record.week), std::make_tuple(kStaMark, kTimeUtc, 2022));
    EXPECT_STREQ(record.name, "1");
    EXPECT_DOUBLE_EQ(record.time, 217355.138 + 250e-9);
    m.flags = 0x20 | 0x10;
    EXPECT_EQ(FeedOne(MakeTimTm2(m)), -1);
    EXPECT_STREQ(ublox2trv::errorText, "Event mark has invalid time - skipped");
    EXPECT_EQ(FeedOne(Mark(1000)), 5);
    EXPECT_EQ(record.timeType, kTimeGps);
    EXPECT_STREQ(record.name, "2");
    EXPECT_TRUE(messages().empty());
}

TEST(RxmEphBytes, DecodeEveryFieldWithItsSignAndAnswerHealthOrABadPrn) {
    KeplerElements flipped = kSample;
    for (double* f : {&flipped.i0, &flipped.Omega0, &flipped.omega, &flipped.M0, &flipped.deltaN, &flipped.OmegaDot,
                      &flipped.IDOT, &flipped.Cuc, &flipped.Cus, &flipped.Crc, &flipped.Crs, &flipped.Cic,
                      &flipped.Cis, &flipped.af0, &flipped.af1, &flipped.TGD})
        *f = -*f;
    flipped.af2 = -5 * 2.77555756156289e-17;
    for (const KeplerElements& k : {kSample, flipped}) {
        GpsEphemerisRecord r;
        ASSERT_EQ(DecodeBytes(k, 0, r, 7), 0);
        KeplerElements want = QuantiseLnav(k);
        want.week = ResolveWeekByClock(2300 % 1024);
        // The record's decimal scale factors differ from the powers of two by a few parts in 1e12.
        convtest::ExpectSameElements(r.elements, want, 1e-11);
        EXPECT_EQ(r.prn, 7);
    }
    const int cases[][3] = {{0, 1, 0},  {0, 32, 0},  {0x2A, 5, 0x2A}, {0x3F, 5, 0x3F}, {1, 5, 1},
                            {0, 0, -1}, {0, 33, -1}, {0x3F, 33, -1},  {0, -4, -1}};  // health, PRN, result
    for (const auto& c : cases) {
        GpsEphemerisRecord r;
        EXPECT_EQ(DecodeBytes(kSample, c[0], r, c[1]), c[2]) << c[0] << " " << c[1];
        EXPECT_EQ(r.elements.toe, 345600);                // filled even when the PRN is bad
        EXPECT_EQ(r.elements.IODC, (c[0] << 10) + 77);  // the whole byte of health and IODC bits
    }
}

TEST_F(PortTest, RxmEphIsStoredOrRefusedWithItsReason) {
    KeplerElements flat = kSample;
    flat.sqrtA = 0.0;  // the store refuses an orbit of no size
    const LnavSubframeSet set = Subframes(kSample);
    const struct {
        Bytes frame;
        int result;
        const char* text;  // null: none
    } cases[] = {{Frame(5), 2, "GPS Ephemeris received for PRN 5"},
                 {Frame(5), 2, "GPS Ephemeris received for PRN 5"},  // a repeat, kept once
                 {Frame(33), 0, "GPS Ephemeris received with invalid PRN number (33)"},
                 {Frame(0), 0, "GPS Ephemeris received with invalid PRN number (0)"},
                 {Frame(~0u), 0, "GPS Ephemeris received with invalid PRN number (4294967295)"},
                 {Frame(6, kSample, 1), 0, "GPS Ephemeris received for PRN 6 with BAD HEALTH"},
                 {Frame(6, kSample, 0x20), 0, "GPS Ephemeris received for PRN 6 with BAD HEALTH"},
                 {Frame(6, flat), 0, "GPS Ephemeris rejected for PRN 6"},
                 // No ephemeris (a zero HOW) is silent; a short record with a HOW holds no words to store.
                 {MakeRxmEph(7, 0), 0, nullptr},
                 {MakeRxmEph(7, 0, EphemerisWords(set)), 0, nullptr},
                 {MakeRxmEph(40, 0, EphemerisWords(set)), 0, nullptr},
                 {MakeRxmEph(8, 1), 0, nullptr}};
    for (const auto& c : cases) {
        messages().clear();
        EXPECT_EQ(FeedOne(c.frame), c.result) << c.text;
        if (c.text == nullptr) continue;
        ASSERT_EQ(messages().size(), 1u) << c.text;
        EXPECT_EQ(std::tie(messages()[0].text, messages()[0].level, messages()[0].time),
                  std::make_tuple(c.text, 3, 345600.0));
    }
    const CEphemerisStore& store = *ublox2trv::portArray->ephemerisStore;
    for (int prn : {6, 7, 8}) EXPECT_FALSE(store.HasRecords({kGps, prn})) << prn;
    ASSERT_EQ(store.GetRecords({kGps, 5}).size(), 1u);
    GpsEphemerisRecord r{};
    ASSERT_TRUE(store.GetRecords({kGps, 5})[0]->GetRecord(&r));
    EXPECT_EQ(r.prn, 5);
    EXPECT_EQ(r.elements.sqrtA, QuantiseLnav(kSample).sqrtA);
    // The clock's era is a guess; the week of the measurements, once seen, puts the ephemeris in theirs.
    for (int prn : {9, 10}) {
        ublox2trv::portArray->gpsWeek = prn == 9 ? 1500 : 0;
        ASSERT_EQ(FeedOne(Frame(uint32_t(prn), Elements(1503, 345600))), 2);
        ASSERT_TRUE(store.GetRecords({kGps, prn})[0]->GetRecord(&r));
        EXPECT_EQ(r.elements.week, prn == 9 ? 1503 : ResolveWeekByClock(1503 % 1024));
    }
}
