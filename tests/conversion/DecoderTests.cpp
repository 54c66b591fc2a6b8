// The record decoders: what each field of RXM-RAW, RXM-RAWX, NAV-POSLLH and
// TIM-TM2 becomes in the epoch, the port and the station record.
#include <cmath>

#include "PortHarness.h"
#include "conversion/HostMessages.h"

using namespace ubxtest;
using convtest::PortTest;
using Lines = std::vector<std::string>;

namespace {

constexpr uint32_t kRangePhase = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigDoppler | kSigLockTime |
                                 kSigCn0 | kSigPhaseValue;
constexpr uint32_t kDeviations = kSigPseudorangeStdDev | kSigPhaseStdDev;

RawBlock Raw(uint8_t sv, double cp = 1.1e8, int8_t quality = 7, uint8_t lli = 0) {
    return RawBlock{cp, 2.2e7 + sv, -1234.5f, sv, quality, 44, lli};
}

RawxBlock Rawx(uint8_t gnssId, uint8_t svId, uint8_t sigId = 0, uint8_t trkStat = 7) {
    RawxBlock b;
    b.gnssId = gnssId;
    b.svId = svId;
    b.sigId = sigId;
    b.trkStat = trkStat;
    b.prMes = 2.3e7 + svId;
    b.cpMes = 1.2e8 + svId;
    b.doMes = 321.25f;
    b.locktime = 1500;
    b.cno = 38;
    return b;
}

const CGnssSignal* Signal(const CGnssEpoch& epoch, GnssConstellation c, int prn, GnssSignalId id) {
    const CGnssSatellite* sat = epoch.GetSatellite(SatelliteId(c, prn));
    return sat != nullptr ? sat->GetSignal(id) : nullptr;
}

float LockTime(const CGnssEpoch& epoch, int prn) { return Signal(epoch, kGps, prn, 0)->lockTime; }

}  // namespace

TEST_F(PortTest, RawFieldsMapToTheEpoch) {
    DecoderOptions kinematic{1, 0, 0};
    ublox2trv::SetPortOptions(&kinematic, sizeof kinematic);
    ASSERT_EQ(FeedOne(MakeRxmRaw(345600026, 2100, {Raw(7), Raw(12, 0.0), Raw(33), Raw(0)})), 1);
    EXPECT_EQ(epoch.week, 2100);
    EXPECT_EQ(epoch.flags, kEpochWeekValid | kEpochKinematic);
    EXPECT_DOUBLE_EQ(epoch.rawRcvTime, 345600.026);
    EXPECT_DOUBLE_EQ(epoch.trueRcvTime, 345600.026);
    EXPECT_EQ(epoch.rcvTimeMs, 345600050u);
    EXPECT_EQ(epoch.satelliteList.size(), 2u);  // PRN 33 skipped, PRN 0 refused

    const CGnssSignal* s = Signal(epoch, kGps, 7, 0);
    EXPECT_EQ(s->flags, kRangePhase);
    EXPECT_DOUBLE_EQ(s->pseudorange, 2.2e7 + 7);
    EXPECT_DOUBLE_EQ(s->carrierPhase, -1.1e8);  // the suite's sign
    EXPECT_FLOAT_EQ(s->doppler, -1234.5f);
    EXPECT_FLOAT_EQ(s->cn0, 44.0f);
    EXPECT_FLOAT_EQ(s->lockTime, 0.0f);  // the first record: no time has passed
    EXPECT_EQ(Signal(epoch, kGps, 12, 0)->flags, kRangePhase & ~(kSigPhaseResolved | kSigPhaseValue));
    EXPECT_TRUE(messages().empty());
}

TEST_F(PortTest, RawLockTimeGrowsWhileHeldAndRestartsAfterASlip) {
    // t=604798; t=604799 with PRN 3 slipped (lli), PRN 4 of low quality and
    // PRN 6 missing; then t=1 of the next week.
    FeedOne(MakeRxmRaw(604798000, 2100, {Raw(2), Raw(3), Raw(4), Raw(6)}));
    epoch.Reset();
    FeedOne(MakeRxmRaw(604799000, 2100, {Raw(2), Raw(3, 1e8, 7, 1), Raw(4, 1e8, 5)}));
    EXPECT_FLOAT_EQ(LockTime(epoch, 2), 1.0f);
    EXPECT_FLOAT_EQ(LockTime(epoch, 3), 0.0f);
    EXPECT_FLOAT_EQ(LockTime(epoch, 4), 0.0f);
    epoch.Reset();
    FeedOne(MakeRxmRaw(1000, 2101, {Raw(2), Raw(3), Raw(4), Raw(6)}));
    EXPECT_FLOAT_EQ(LockTime(epoch, 2), 3.0f);  // the week wraps
    EXPECT_FLOAT_EQ(LockTime(epoch, 3), 2.0f);
    EXPECT_FLOAT_EQ(LockTime(epoch, 6), 2.0f);  // absent from the record before: from 0 again
}

TEST_F(PortTest, RawRefusals) {
    EXPECT_EQ(FeedOne(MakeRxmRaw(604800000, 2100, {Raw(1)})), 1);  // the week's end is allowed here
    EXPECT_EQ(FeedOne(MakeRxmRaw(604800001, 2100, {Raw(1)})), 0);
    EXPECT_EQ(FeedOne(MakeRxmRaw(1000, -5, {Raw(1)})), 0);
    std::vector<RawBlock> many;
    for (uint8_t sv = 1; sv <= 17; ++sv) many.push_back(Raw(sv));
    EXPECT_EQ(FeedOne(MakeRxmRaw(604801000 - 604800000, 2101, many)), 0);
    EXPECT_EQ(Texts(), (Lines{"Invalid GPS time in measurement record 0x10",
                              "Invalid week number in measurement record 0x10",
                              "Invalid number of satellites in measurement record 0x10"}));
    EXPECT_EQ(messages()[0].level, 2);
    EXPECT_DOUBLE_EQ(messages()[0].time, 604800.001);
    EXPECT_EQ(messages()[1].level, 3);
    EXPECT_EQ(messages()[2].level, 2);

    // The refused records moved no lock time: 4 s after the accepted one.
    epoch.Reset();
    FeedOne(MakeRxmRaw(4000, 2101, {Raw(1)}));
    EXPECT_FLOAT_EQ(LockTime(epoch, 1), 4.0f);
}

TEST_F(PortTest, RawxFieldsMapToTheEpoch) {
    std::vector<RawxBlock> blocks;
    for (uint8_t n = 0; n < 6; ++n) {
        blocks.push_back(Rawx(0, static_cast<uint8_t>(n + 1)));
        blocks.back().prStdev = static_cast<uint8_t>(0xF0 | n);  // low 4 bits only
        blocks.back().cpStdev = static_cast<uint8_t>(0x30 | n);
    }
    ASSERT_EQ(FeedOne(MakeRxmRawx(345600.026, 2100, blocks)), 1);
    EXPECT_EQ(epoch.week, 2100);
    EXPECT_EQ(epoch.flags, kEpochWeekValid);  // static by default
    EXPECT_DOUBLE_EQ(epoch.rawRcvTime, 345600.026);
    EXPECT_DOUBLE_EQ(epoch.trueRcvTime, 345600.026);
    EXPECT_EQ(epoch.rcvTimeMs, 345600050u);  // rounded to 50 ms

    const CGnssSignal* s = Signal(epoch, kGps, 5, 0);
    EXPECT_EQ(s->flags, kRangePhase | kDeviations);
    EXPECT_DOUBLE_EQ(s->pseudorange, 2.3e7 + 5);
    EXPECT_DOUBLE_EQ(s->carrierPhase, -(1.2e8 + 5));
    EXPECT_FLOAT_EQ(s->doppler, 321.25f);
    EXPECT_FLOAT_EQ(s->lockTime, 1.5f);
    EXPECT_FLOAT_EQ(s->cn0, 38.0f);
    // 2^n * (n * 0.01), not the 0.01 * 2^n of the receiver's description.
    const float deviation[] = {0.0f, 0.02f, 0.08f, 0.24f, 0.64f, 1.6f};
    for (int n = 0; n < 6; ++n) {
        EXPECT_FLOAT_EQ(Signal(epoch, kGps, n + 1, 0)->pseudorangeStdDev, deviation[n]) << n;
        EXPECT_FLOAT_EQ(Signal(epoch, kGps, n + 1, 0)->carrierPhaseStdDev, n * 0.004f) << n;
    }
}

TEST_F(PortTest, RawxTrackingStatusGlonassChannelAndSharedSatellites) {
    RawxBlock none = Rawx(0, 1, 0, 0);
    none.locktime = 0;
    RawxBlock glonassLow = Rawx(6, 3, 0);
    glonassLow.freqId = 0;
    RawxBlock glonassHigh = Rawx(6, 3, 2);
    glonassHigh.freqId = 13;
    RawxBlock l2cm = Rawx(0, 8, 4);
    l2cm.prMes = 1.0;
    ASSERT_EQ(FeedOne(MakeRxmRawx(1000.0, 2100,
                                  {none, Rawx(0, 2, 0, 3), Rawx(0, 3, 0, 5), glonassLow, Rawx(0, 8, 0),
                                   Rawx(0, 8, 3), l2cm, glonassHigh})),
              1);
    const uint32_t always = kSigPresent | kSigDoppler | kSigCn0 | kDeviations;
    EXPECT_EQ(Signal(epoch, kGps, 1, 0)->flags, always);  // no range, phase or lock time
    // A phase whose half cycle is open, or that is not valid, is dropped.
    EXPECT_EQ(Signal(epoch, kGps, 2, 0)->flags, always | kSigPseudorange | kSigLockTime);
    EXPECT_EQ(Signal(epoch, kGps, 3, 0)->flags, always | kSigPseudorange | kSigLockTime);
    // Signals of one satellite share it; the later block on a slot wins.
    const CGnssSatellite* g08 = epoch.GetSatellite(SatelliteId(kGps, 8));
    EXPECT_EQ(g08->CountSignals(), 2);
    EXPECT_DOUBLE_EQ(g08->GetSignal(3)->pseudorange, 1.0);
    EXPECT_EQ(g08->glonassChannel, kNoGlonassChannel);
    // The channel is freqId - 7 as a byte; the last GLONASS block sets it.
    const CGnssSatellite* r03 = epoch.GetSatellite(SatelliteId(kGlonass, 3));
    EXPECT_EQ(r03->CountSignals(), 2);
    EXPECT_EQ(r03->glonassChannel, 6);
    epoch.Reset();
    FeedOne(MakeRxmRawx(1001.0, 2100, {glonassLow}));
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGlonass, 3))->glonassChannel, 249);
}

TEST_F(PortTest, RawxUnknownSignalsWarnTwentyTimesBadSatellitesEveryTime) {
    std::vector<RawxBlock> blocks(15, Rawx(0, 1, 6));  // GPS L5 is not taken
    blocks.push_back(Rawx(1, 131));                      // nor SBAS
    for (int i = 0; i < 10; ++i) blocks.push_back(Rawx(6, 255));
    blocks.push_back(Rawx(0, 33));
    blocks.push_back(Rawx(2, 37));
    blocks.push_back(Rawx(3, 0));
    ASSERT_EQ(FeedOne(MakeRxmRawx(1000.0, 2100, blocks)), 1);
    EXPECT_TRUE(epoch.satelliteList.empty());  // still an epoch
    ASSERT_EQ(FeedOne(MakeRxmRawx(1001.0, 2100, blocks)), 1);
    Lines texts = Texts();
    ASSERT_EQ(texts.size(), 2u * 13 + 20);
    EXPECT_EQ(texts[0], "RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6)");
    EXPECT_EQ(messages()[0].level, 3);
    EXPECT_DOUBLE_EQ(messages()[0].time, 1000.0);
    EXPECT_EQ(texts[15], "RXM-RAWX: Unrecognized constellation ID (1) or signal ID (0)");
    EXPECT_EQ(Lines(texts.begin() + 16, texts.begin() + 26), Lines(10, "RXM-RAWX: GLONASS PRN number not yet known"));
    EXPECT_EQ(texts[26], "RXM-RAWX: Invalid GPS PRN (33)");
    EXPECT_EQ(texts[27], "RXM-RAWX: Invalid GALILEO PRN (37)");
    EXPECT_EQ(texts[28], "RXM-RAWX: Invalid BEIDOU PRN (0)");
    EXPECT_EQ(texts[32], "RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6) [last warning]");
    EXPECT_EQ(texts[33], "RXM-RAWX: GLONASS PRN number not yet known");  // not capped

    Reopen();  // a new conversion warns again
    FeedOne(MakeRxmRawx(1002.0, 2100, {Rawx(2, 1, 3)}));  // nor Galileo E5a
    EXPECT_EQ(Texts(), Lines{"RXM-RAWX: Unrecognized constellation ID (2) or signal ID (3)"});
}

TEST_F(PortTest, RawxRefusals) {
    EXPECT_EQ(FeedOne(MakeRxmRawx(604800.0, 2100, {Rawx(0, 1)})), 0);
    EXPECT_EQ(FeedOne(MakeRxmRawx(-0.5, 2100, {Rawx(0, 1)})), 0);
    EXPECT_EQ(FeedOne(MakeRxmRawx(std::nan(""), 2100, {Rawx(0, 1)})), 0);
    EXPECT_EQ(FeedOne(MakeRxmRawx(18.0, 0, {Rawx(0, 1)})), 0);
    ASSERT_EQ(messages().size(), 4u);
    EXPECT_EQ(messages()[0].text, "RXM-RAWX: Invalid time of week (604800.000000)");
    EXPECT_EQ(messages()[0].level, 2);
    EXPECT_EQ(messages()[3].text, "RXM-RAWX: Invalid week number");
    EXPECT_EQ(messages()[3].level, 3);
    EXPECT_DOUBLE_EQ(messages()[3].time, 18.0);
    EXPECT_EQ(FeedOne(MakeRxmRawx(604799.999, 2100, {Rawx(0, 1)})), 1);
}

TEST_F(PortTest, PositionReachesTheFollowingEpochs) {
    FeedOne(MakeRxmRawx(999.0, 2100, {Rawx(0, 1)}));
    EXPECT_FALSE(epoch.flags & kEpochPositionValid);
    epoch.Reset();
    EXPECT_EQ(FeedOne(MakeNavPosllh(1, 52.1234567, -4.7654321, 123.456)), 4);
    FeedOne(MakeRxmRawx(1000.0, 2100, {Rawx(0, 1)}));
    EXPECT_TRUE(epoch.flags & kEpochPositionValid);
    EXPECT_NEAR(epoch.position.latitude, 52.1234567, 1e-12);
    EXPECT_NEAR(epoch.position.longitude, -4.7654321, 1e-12);
    EXPECT_NEAR(epoch.position.height, 123.456, 1e-12);

    // A later all-zero record keeps the fix with zero coordinates.
    epoch.Reset();
    FeedOne(MakeNavPosllh(2, 0.0, 0.0, 0.0));
    FeedOne(MakeRxmRaw(1001000, 2100, {Raw(1)}));
    EXPECT_TRUE(epoch.flags & kEpochPositionValid);
    EXPECT_EQ(epoch.position.latitude, 0.0);

    Reopen();  // a longitude alone is a fix
    FeedOne(MakeNavPosllh(1, 0.0, 1e-7, 5.0));
    EXPECT_EQ(ublox2trv::portArray->positionValid, 1);
}

TEST_F(PortTest, TimeMarkBecomesARisingEdgeRecord) {
    TimeMark m;
    m.flags = 0x40 | 0x10 | 0x80;
    m.wnR = 2022;
    m.towMsR = 217355138;
    m.towSubMsR = 250;
    m.wnF = 2023;
    m.towMsF = 5;
    ASSERT_EQ(FeedOne(MakeTimTm2(m)), 5);
    EXPECT_EQ(record.kind, kStaMark);
    EXPECT_STREQ(record.name, "1");
    EXPECT_STREQ(record.description, "Rising Edge");
    EXPECT_EQ(record.timeType, kTimeUtc);
    EXPECT_DOUBLE_EQ(record.time, 217355.138 + 250e-9);
    EXPECT_EQ(record.week, 2022);

    m.flags = 0x20 | 0x10;  // no valid time: skipped quietly, leaving no gap
    EXPECT_EQ(FeedOne(MakeTimTm2(m)), -1);
    EXPECT_STREQ(ublox2trv::errorText, "Event mark has invalid time - skipped");
    m.flags = 0x40;  // GPS time base
    ASSERT_EQ(FeedOne(MakeTimTm2(m)), 5);
    EXPECT_EQ(record.timeType, kTimeGps);
    EXPECT_STREQ(record.name, "2");
    EXPECT_TRUE(messages().empty());
}
